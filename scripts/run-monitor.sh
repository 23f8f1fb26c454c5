#!/usr/bin/env bash
# Sets everything up, builds the optimised configuration and runs the monitor.
# Arguments are passed to plvmonitor (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target plvmonitor plv_modules
exec build/release/bin/plvmonitor "$@"
