#!/usr/bin/env bash
# tree_build.sh SAMPLE_CACHE BUILD_TREE BOUND: builds the tree of a small fixed cache under callgrind and fails
# when that takes more than BOUND instructions. Unlike times, instructions hardly differ between runs and
# machines, so that work done twice shows at once. On a busy machine a reading takes its threads for waiting ones and
# starts more of them; the least of a few runs counts.
set -euo pipefail

sample_cache=$1
build_tree=$2
bound=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$sample_cache" --root "$folder" --projects 20 --compositions 5 --features 3 --frames 10 \
    --newest 1700000000 >"$folder/expected.json"
count() {
    local report
    report=$(CORVIDPRO_ROOT=$folder TZ=UTC LC_ALL=C valgrind --tool=callgrind --callgrind-out-file=/dev/null \
        "$build_tree" 2>&1)
    [[ $report == *"3000 files"* ]]
    sed -n 's/.*Collected : \([0-9]*\).*/\1/p' <<<"$report"
}

instructions=$(count)
for ((run = 1; run < 5 && instructions > bound; ++run)); do
    again=$(count)
    instructions=$((again < instructions ? again : instructions))
done

echo "$instructions instructions for 3,000 frames in 300 features, at most $bound"
((instructions <= bound))
