#!/usr/bin/env bash
# step.sh NAME LOG COMMAND...: runs the command and prints one line, its name and how many seconds it took; what the
# command says goes to the file LOG, which is written anew. When it fails, what the log says about that follows, and
# where the log is. Ends with the command's status.
set -euo pipefail

name=$1
log=$2
shift 2
mkdir -p "$(dirname "$log")"

status=0
printf '%-32s ' "$name"
"$@" >"$log" 2>&1 || status=$?
if ((status == 0)); then
    printf '%4d s\n' "$SECONDS"
    exit 0
fi
printf '%4d s, failed\n' "$SECONDS"
"${BASH_SOURCE%/*}/what_failed.sh" "$log"
echo "Log: $log"
exit "$status"
