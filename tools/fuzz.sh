#!/usr/bin/env bash
# fuzz.sh [SECONDS|--replay|--runs N]: builds the fuzz targets, replays the inputs in fuzz/corpus, then lets each target
# look for new ones for SECONDS (20 when nothing is given) or for N executions; --replay leaves that out. Prints a
# line per target. What fuzzing learns stays in build/fuzz/learned, an input that breaks a rule in
# build/fuzz/findings; the status is 0 only when there is none of the latter.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(config per_project_config registry hash_table render_queue tokenizer settings_entry added_entries)
folder=$PWD/build/fuzz
row='%-20s %12s %10s %9s %9s  %s\n'

usage() {
    echo "usage: fuzz.sh [SECONDS|--replay|--runs N]" >&2
    exit 2
}

is_number() {
    [[ $1 =~ ^[1-9][0-9]*$ ]]
}

# One target: replays, fuzzes with the libFuzzer options that are given, and prints its line.
run_target() {
    local target=$1 log=$folder/log/$1.txt status=0
    # Somewhat longer than the longest line: more says the same again, more slowly.
    local options=(-max_len=1200 -timeout=30 -print_final_stats=1 "-artifact_prefix=$folder/findings/$target-")
    shift
    case $target in
    settings_entry) options+=("-dict=$PWD/fuzz/settings_entry.dict") ;;
    tokenizer) ;;
    *) options+=("-dict=$PWD/fuzz/store.dict") ;;
    esac
    # The first folder takes what is learned.
    local inputs=("$folder/learned/$target" "$PWD/fuzz/corpus/$target")
    mkdir -p "${inputs[0]}"
    replay() {
        "$folder/fuzz/fuzz_$target" "${options[@]}" -runs=0 "${inputs[@]}" >"$1" 2>&1
    }
    replay "$log" || status=$?
    if ((status == 0 && $# > 0)); then
        # Looking for leaks each time costs a quarter of the speed; those of what it learns show when that is replayed.
        "$folder/fuzz/fuzz_$target" "${options[@]}" -detect_leaks=0 "$@" "${inputs[@]}" >"$log" 2>&1 || status=$?
        ((status != 0)) || replay "${log%.txt}.replay.txt" || status=$?
    fi
    print_line "$target" "$log" "$status"
    return "$status"
}

# libFuzzer's "#1024 pulse cov: 330 ft: 676 ..." counts edges and features; its inputs may hold any bytes.
print_line() {
    local target=$1 log=$2 status=$3 edges features runs rate result=clean
    edges=$(grep -a -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d ' ' -f 2 || true)
    features=$(grep -a -o 'ft: [0-9]*' "$log" | tail -n 1 | cut -d ' ' -f 2 || true)
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
    if ((status != 0)); then
        result="FINDING, see build/fuzz/log"
    fi
    # shellcheck disable=SC2059 # the format is the table's
    printf "$row" "$target" "${runs:--}" "${rate:--}" "${features:--}" "${edges:--}" "$result"
}

run_all() {
    local target running=0 jobs failed=0
    jobs=$(getconf _NPROCESSORS_ONLN)
    # shellcheck disable=SC2059
    printf "$row" target executions per-second features edges result
    for target in "${targets[@]}"; do
        if ((running == jobs)); then
            wait -n || failed=1
            running=$((running - 1))
        fi
        run_target "$target" "$@" &
        running=$((running + 1))
    done
    for (( ; running > 0; running--)); do
        wait -n || failed=1
    done
    return "$failed"
}

options=()
case $#:${1:-} in
0:*) options=("-max_total_time=20") ;;
1:--replay) ;;
2:--runs)
    is_number "$2" || usage
    options=("-runs=$2")
    ;;
1:*)
    is_number "$1" || usage
    options=("-max_total_time=$1")
    ;;
*) usage ;;
esac

tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build clang
tools/build.sh fuzz fuzzers
mkdir -p "$folder/log" "$folder/findings"

# The targets keep their files in memory where there is such a place, and leave none behind, not even after a finding.
scratch=$(mktemp -d "$([[ -d /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")/corvid-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export CORVIDPRO_ROOT=$scratch

if ! run_all "${options[@]}"; then
    echo "Inputs that break a rule are in build/fuzz/findings; fuzz_<target> FILE shows what happens" >&2
    exit 1
fi
