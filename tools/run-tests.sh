#!/usr/bin/env bash
# Builds everything and runs every test.
#   tools/run-tests.sh [build-dir] [extra cmake options...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
shift || true
mkdir -p "$build"
build=$(cd "$build" && pwd)

# A build with clang (the CI's sanitizer build) needs clang installed too.
deps=()
[[ " $* " == *clang* ]] && deps+=(--clang)
"$root/tools/install-deps.sh" "${deps[@]}"
cmake -S "$root" -B "$build" -DSQ_WERROR=ON "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
cd "$build"
rm -rf test-reports
status=0
ctest --output-on-failure -j"$(nproc)" || status=$?
"$root/tools/test-report-summary.sh" "$build"
exit "$status"
