#!/usr/bin/env bash
# reliability.sh [RUNS] [SECONDS]: the tests of what may happen to the program from outside, at full length: RUNS
# kills, hostile caches and races each (2000), several programs at once for SECONDS (120), five times RUNS refreshes of
# one window. `make test` runs the same tests, shorter.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${1:-2000}
seconds=${2:-120}
tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build
tools/build.sh release reliability_tests window_tests

export CORVID_RELIABILITY_SECONDS=$seconds
CORVID_RELIABILITY_RUNS=$runs build/release/tests/reliability/reliability_tests
CORVID_RELIABILITY_RUNS=$((5 * runs)) QT_QPA_PLATFORM=offscreen \
    build/release/tests/MacCacheManager/window_tests --gtest_filter='Endurance*'
