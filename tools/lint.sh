#!/usr/bin/env bash
# The format check, the linter over the production sources and the layer check. With arguments, only the named
# ones: lint.sh [format] [tidy] [layers].
set -euo pipefail
cd "$(dirname "$0")/.."

check_format() {
    tools/sources.sh all | xargs -r -d '\n' clang-format-14 --dry-run -Werror
    echo "Format: clean"
}

# The interface files and the meta-object code are generated during the build; the linter needs the former.
generate_sources() {
    local generators
    cmake --preset lint >/dev/null
    generators=$(ninja -C build/lint -t targets all | sed -n 's/^\(MacCacheManager\/[^: ]*_autogen\): .*/\1/p')
    # shellcheck disable=SC2086 # one target per word
    [[ -z $generators ]] || ninja -C build/lint $generators >/dev/null
}

# The sources of each production target, joined into one, those of many sources first: most of the linter's time goes
# into what sources include. What an earlier configuration left in the folder has no compile command.
joined_sources() {
    sed -n 's/^ *"file": "\(.*\/Unity\/.*\)".*/\1/p' build/lint/compile_commands.json |
        grep -v '/build/lint/tests/' | sort -u | xargs -d '\n' stat -c '%s %n' | sort -rn | cut -d ' ' -f 2-
}

without_counts() {
    sed '/^[0-9]* warnings\? generated\.$/d'
}

check_tidy() {
    local jobs
    jobs=$(getconf _NPROCESSORS_ONLN)
    generate_sources
    # The compile commands are the compiler's, which knows warnings that the linter does not.
    joined_sources | xargs -r -d '\n' -n 1 -P "$jobs" clang-tidy-14 --quiet -p build/lint \
        '--checks=-clang-analyzer-*,-bugprone-suspicious-include' --extra-arg=-Wno-unknown-warning-option 2>&1 |
        without_counts
    # Following all paths through a function takes long; it is done for what touches files, each source by itself.
    find runtime store -name '*.cpp' | xargs -r -d '\n' -P "$jobs" -I {} clang-tidy-14 --quiet \
        '--checks=-*,clang-analyzer-*,-clang-analyzer-cplusplus.NewDeleteLeaks' {} -- -std=c++20 -I. 2>&1 |
        without_counts
    echo "Linter: clean"
}

# Nothing below the window may know Qt: not in an include, not in a link, not in what was compiled.
check_layers() {
    local found=0
    if grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"](Q[A-Za-z]|Qt|q[a-z]+\.h)' runtime store ||
        grep -rniE 'Qt[0-9]*::|find_package\([[:space:]]*Qt|AUTOMOC|AUTOUIC' \
            runtime/CMakeLists.txt store/CMakeLists.txt; then
        echo "Qt stands below MacCacheManager/" >&2
        found=1
    fi
    if grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"](store|MacCacheManager)/' runtime ||
        grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]MacCacheManager/' store; then
        echo "An include points up: only MacCacheManager -> store -> runtime is allowed" >&2
        found=1
    fi
    ((found == 0)) || return 1
    echo "Layers: clean"
}

if (($# == 0)); then
    set -- format tidy layers
fi
for check in "$@"; do
    case $check in
    format)
        tools/install_dependencies.sh lint
        check_format
        ;;
    tidy)
        tools/install_dependencies.sh build lint
        check_tidy
        ;;
    layers) check_layers ;;
    *)
        echo "lint.sh: unknown check '$check' (format, tidy or layers)" >&2
        exit 1
        ;;
    esac
done
