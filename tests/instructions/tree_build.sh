#!/usr/bin/env bash
# tree_build.sh SAMPLE_CACHE BUILD_TREE BOUND: builds the tree of a small fixed cache under callgrind and fails
# when that takes more than BOUND instructions. Unlike times, instructions hardly differ between runs and
# machines, so that work done twice shows at once.
set -euo pipefail

sample_cache=$1
build_tree=$2
bound=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$sample_cache" --root "$folder" --projects 20 --compositions 5 --features 3 --frames 10 \
    --newest 1700000000 >"$folder/expected.json"
report=$(CORVIDPRO_ROOT=$folder TZ=UTC LC_ALL=C valgrind --tool=callgrind --callgrind-out-file=/dev/null \
    "$build_tree" 2>&1)
instructions=$(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' <<<"$report")

echo "$instructions instructions for 3,000 frames in 300 features, at most $bound"
[[ $report == *"3000 files"* ]]
((instructions <= bound))
