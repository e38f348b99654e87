#!/usr/bin/env bash
# Builds everything and runs every test.
#   tools/run-tests.sh [build-dir] [extra cmake options...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
shift || true

"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" -DSQ_WERROR=ON "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
cd "$build"
ctest --output-on-failure -j"$(nproc)"
