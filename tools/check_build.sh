#!/usr/bin/env bash
# check_build.sh [configurations] [layers] [interface] [failure]: checks what is promised about building, or only what is named.
# It builds in folders of its own, outside the source tree; the logs are in build/check_build.
set -euo pipefail
cd "$(dirname "$0")/.."

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
logs=build/check_build

fail() {
    echo "check_build.sh: $*" >&2
    exit 1
}

# Every combination of the options configures, also where valgrind is installed: any program stands for it here.
check_configurations() {
    local window benchmarks folder preset
    for window in ON OFF; do
        for benchmarks in ON OFF; do
            folder=$scratch/window-$window-benchmarks-$benchmarks
            tools/step.sh "window $window, benchmarks $benchmarks" "$logs/${folder##*/}.log" \
                cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVALGRIND=/bin/true \
                "-DCORVID_BUILD_WINDOW=$window" "-DCORVID_BUILD_BENCHMARKS=$benchmarks"
        done
    done
    for preset in $(cmake --list-presets=configure | sed -n 's/^ *"\([^"]*\)".*/\1/p'); do
        grep -q "\`$preset\`" README.md || fail "README.md does not name the preset $preset"
    done
    echo "Configurations: clean"
}

# The compiler guards the floors: what a target does not link it cannot include. Tried for each pair of them.
check_layers() {
    local from to flags folder=$scratch/layers
    local -A source=([runtime]=runtime/maro_log.cpp [files]=files/text_file.cpp [store]=store/hash_table.cpp
        [upkeep]=upkeep/cache_list.cpp [commands]=commands/list.cpp [tree]=MacCacheManager/FrameCacheEntry.cpp [window]=MacCacheManager/AppController.cpp)
    local -A header=([runtime]=runtime/maro_log.h [files]=files/text_file.h [store]=store/hash_table.h
        [upkeep]=upkeep/cache_list.h [commands]=commands/program.h [tree]=MacCacheManager/FrameCacheEntry.h [window]=MacCacheManager/AppController.h
        [qt]=QString [widgets]=QWidget)
    local -A sees=([runtime]="runtime" [files]="files" [store]="runtime files store"
        [upkeep]="runtime files store upkeep" [commands]="runtime files store upkeep commands"
        [tree]="runtime files store tree qt" [window]="runtime files store tree window qt widgets")
    tools/step.sh "configure" "$logs/layers.log" cmake -S . -B "$folder" -G Ninja -DCORVID_BUILD_BENCHMARKS=OFF
    for from in "${!source[@]}"; do
        flags=$(sed -n "s|^ *\"command\": \"\(.*\) -o .* -c $PWD/${source[$from]}\".*|\1|p" \
            "$folder/compile_commands.json" | tr ' ' '\n' | grep -E '^-(I|std)' || true)
        flags+=" $(sed -n "s|^ *\"command\": \"\(.*\) -o .* -c $PWD/${source[$from]}\".*|\1|p" \
            "$folder/compile_commands.json" | grep -oE -- '-isystem [^ ]*' || true)"
        for to in "${!header[@]}"; do
            echo "#include <${header[$to]}>" >"$scratch/probe.cpp"
            # shellcheck disable=SC2086 # one flag per word
            if c++ $flags -fPIC -M "$scratch/probe.cpp" >"$scratch/probe.log" 2>&1; then
                [[ " ${sees[$from]} " == *" $to "* ]] || fail "$from can include ${header[$to]}"
            else
                [[ " ${sees[$from]} " != *" $to "* ]] || fail "$from cannot include ${header[$to]}: $(<"$scratch/probe.log")"
            fi
        done
    done
    echo "Layers: clean"
}

# A copy of the sources, to be edited and built. The build rules are those of the users' preset; only the optimiser
# is spared.
copy_sources() {
    copy=$scratch/copy
    if [[ ! -d $copy ]]; then
        mkdir "$copy"
        tar -c --exclude=./build --exclude=./.git . | tar -x -C "$copy"
        sed -i 's/"CMAKE_BUILD_TYPE": "Release"/&, "CMAKE_CXX_FLAGS_RELEASE": "-O0"/' "$copy/CMakePresets.json"
    fi
}

# After an edit of an interface file one build suffices: the object that the texts are in is looked at.
check_interface() {
    local source unity
    copy_sources
    tools/step.sh "configure a copy" "$logs/configure.log" cmake -S "$copy" --preset release
    source=$(grep -l '"ui_SettingsSheet\.h"' MacCacheManager/*.cpp) || fail "no source includes ui_SettingsSheet.h"
    unity=$(cd "$copy/build/release" &&
        grep -lF "/$source\"" MacCacheManager/CMakeFiles/corvid_window.dir/Unity/*.cxx) || fail "$source is not built"
    build_sheet() {
        tools/step.sh "$1" "$logs/$2.log" ninja -C "$copy/build/release" "$unity.o"
    }
    build_sheet "build the settings sheet" first
    sed -i '0,/<string>/s//<string>Edited title: /' "$copy/MacCacheManager/resources/SettingsSheet.ui"
    build_sheet "build it edited" second
    grep -q "Edited title: " "$copy/build/release/$unity.o" ||
        fail "after an edit of SettingsSheet.ui the first build leaves the old sheet"
    build_sheet "build it again" third
    grep -q "no work to do" "$logs/third.log" ||
        fail "after an edit of SettingsSheet.ui the second build has something to do"
    echo "Interface files: clean"
}

# A failure says in a few lines what went wrong and names the log; a success says a line for each step.
check_failure() {
    local said
    copy_sources
    mv "$copy/runtime/fixed_paths.cpp" "$scratch/"
    echo 'int wrong = "text";' >"$copy/runtime/fixed_paths.cpp"
    if said=$("$copy/tools/build.sh" release corvid_runtime 2>&1); then
        fail "what does not compile was built"
    fi
    [[ $said == *"fixed_paths.cpp:1:"*"error: "* ]] || fail "the first error is not told: $said"
    [[ $said == *"build/release/build.log"* && -f $copy/build/release/build.log ]] || fail "no log is named: $said"
    (($(wc -l <<<"$said") <= 20)) || fail "a failure takes more than 20 lines: $said"

    mv "$scratch/fixed_paths.cpp" "$copy/runtime/"
    said=$("$copy/tools/build.sh" release corvid_runtime 2>&1)
    (($(wc -l <<<"$said") == 2)) || fail "two steps do not take two lines: $said"

    mkdir "$scratch/tests"
    echo 'add_test(good echo fine)
        add_test(bad sh -c "echo reason; false")
        add_test(other echo fine)
        add_test(unwanted echo fine)
        set_tests_properties(unwanted PROPERTIES DISABLED TRUE)' >"$scratch/tests/CTestTestfile.cmake"
    said=$(tools/step.sh tests "$logs/ctest.txt" ctest --test-dir "$scratch/tests" --output-on-failure) &&
        fail "a failed test is no failure"
    [[ $said == *bad*reason* && $said != *fine* && $said != *good* && $said != *unwanted* ]] ||
        fail "not the failed test is told: $said"
    echo "Failures: clean"
}

tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build
if (($# == 0)); then
    set -- configurations layers interface failure
fi
for check in "$@"; do
    case $check in
    configurations | layers | interface | failure) "check_$check" ;;
    *)
        echo "check_build.sh: unknown check '$check' (configurations, layers, interface or failure)" >&2
        exit 1
        ;;
    esac
done
