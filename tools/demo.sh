#!/usr/bin/env bash
# demo.sh SAMPLE_CACHE_PROGRAM: makes the sample cache below build/demo and prints the folder to use as
# CORVIDPRO_ROOT. An existing one is kept until the tool that makes it, or the place it lies in, has changed.
set -euo pipefail
cd "$(dirname "$0")/.."

sample_cache=$1
demo=$PWD/build/demo
made_by="$demo $(cat tools/sample_*.h tools/sample_*.cpp | cksum)"

if [[ ! -f $demo/made_by || $(<"$demo/made_by") != "$made_by" ]]; then
    rm -rf "$demo"
    mkdir -p "$demo"
    "$sample_cache" --root "$demo" --shape demo >"$demo/expected.json"
    echo "$made_by" >"$demo/made_by"
fi
echo "$demo"
