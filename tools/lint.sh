#!/usr/bin/env bash
# The format check and the linter over the production sources. With arguments, only the named ones: lint.sh [format]
# [tidy].
set -euo pipefail
cd "$(dirname "$0")/.."

check_format() {
    tools/sources.sh all | xargs -r -d '\n' clang-format-14 --dry-run -Werror
    echo "Format: clean"
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
    # What the sources include and the build makes.
    tools/build.sh lint interface_headers
    # The compile commands are the compiler's, which knows warnings that the linter does not.
    joined_sources | xargs -r -d '\n' -n 1 -P "$jobs" clang-tidy-14 --quiet -p build/lint \
        '--checks=-clang-analyzer-*,-bugprone-suspicious-include' --extra-arg=-Wno-unknown-warning-option 2>&1 |
        without_counts
    # Following all paths through a function takes long; it is done for what touches files, each source by itself.
    find runtime files store upkeep -name '*.cpp' | xargs -r -d '\n' -P "$jobs" -I {} clang-tidy-14 --quiet \
        '--checks=-*,clang-analyzer-*,-clang-analyzer-cplusplus.NewDeleteLeaks' {} -- -std=c++20 -I. 2>&1 |
        without_counts
    echo "Linter: clean"
}

if (($# == 0)); then
    set -- format tidy
fi
for check in "$@"; do
    case $check in
    format)
        tools/step.sh "install packages" build/install.log tools/install_dependencies.sh lint
        check_format
        ;;
    tidy)
        tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build lint
        check_tidy
        ;;
    *)
        echo "lint.sh: unknown check '$check' (format or tidy)" >&2
        exit 1
        ;;
    esac
done
