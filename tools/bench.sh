#!/usr/bin/env bash
# Builds the benchmarks optimised and runs the program that compares them. Arguments go to it. The caches that it
# measures on are kept in build/bench, where its reports and its plot are left, too.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build bench
tools/build.sh release bench
exec build/release/benchmarks/bench "$@"
