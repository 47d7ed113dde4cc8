#!/usr/bin/env bash
# test.sh PRESET: builds the preset and runs all its tests. Of the tests it prints those that failed and the summary;
# all that was said is in build/PRESET/ctest.txt. The last line reads "N passed, N failed"; the same line is left in
# build/PRESET/tests.txt. Ends with the status of the test run.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
folder=build/$preset
rm -f "$folder/tests.txt"

groups=(build display check)
[[ $preset != asan-ubsan && $preset != tsan ]] || groups+=(clang)
tools/step.sh "install packages" build/install.log tools/install_dependencies.sh "${groups[@]}"
tools/build.sh "$preset"

status=0
tools/step.sh "run tests $preset" "$folder/ctest.txt" ctest --preset "$preset" || status=$?
sed -n '/^[0-9]*% tests passed/,$p' "$folder/ctest.txt"

# "98% tests passed, 2 tests failed out of 100"
read -r failed all < <(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests* failed out of \([0-9]*\)$/\1 \2/p' \
    "$folder/ctest.txt") || { failed=0 && all=0; }
skipped=$(grep -c '\*\*\*Skipped' "$folder/ctest.txt" || true)
if ((skipped > 0)); then
    echo "$skipped of them skipped"
fi
echo "$((all - failed - skipped)) passed, $failed failed" | tee "$folder/tests.txt"
exit "$status"
