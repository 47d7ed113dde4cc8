#!/usr/bin/env bash
# what_failed.sh LOG: prints the part of a log that tells what went wrong: the output of the tests that failed, or else
# what stands from the first error on, or else the last lines.
set -euo pipefail

log=$1
first_error='(^|[ :])(fatal )?error:|^CMake Error|: undefined reference to |^E: '

tests=$(awk '
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: / { show = /\*\*\*(Failed|Timeout|Exception|Not Run)/ && !/\(Disabled\)/ }
    /^ +Start +[0-9]+: |^[0-9]+% tests passed/ { show = 0 }
    show' "$log" | tail -n 200)
if [[ -n $tests ]]; then
    echo "$tests"
elif line=$(grep -n -m 1 -a -E "$first_error" "$log"); then
    sed -n "${line%%:*},+14p" "$log"
else
    tail -n 30 "$log"
fi
