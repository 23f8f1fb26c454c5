#!/usr/bin/env bash
# Sets everything up, builds the debug configuration and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset dev
cmake --build --preset dev
ctest --preset dev "$@"
