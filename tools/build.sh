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

cmake --preset "$preset"
cmake --build --preset "$preset" "${targets[@]}"
