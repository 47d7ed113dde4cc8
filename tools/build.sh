#!/usr/bin/env bash
# build.sh PRESET [TARGET...]: configures the preset and builds the targets, all of them when none is named.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
targets=()
if (($# > 0)); then
    targets=(--target "$@")
fi

tools/step.sh "configure $preset" "build/$preset/configure.log" cmake --preset "$preset"
tools/step.sh "build $preset" "build/$preset/build.log" cmake --build --preset "$preset" "${targets[@]}"
