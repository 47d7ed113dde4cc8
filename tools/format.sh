#!/usr/bin/env bash
# Formats all sources in place.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/step.sh "install packages" build/install.log tools/install_dependencies.sh lint
tools/sources.sh all | xargs -r -d '\n' clang-format-14 -i
