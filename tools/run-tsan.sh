#!/usr/bin/env bash
# Builds the plug-in, our host and the concurrency tests with ThreadSanitizer
# and runs them: many frames rendered at once from several host threads, each
# split over the multi-thread suite, with cancels arriving mid-render, and
# the bridge's thread runner and progress reports. Any data race fails it.
#   tools/run-tsan.sh [build dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-tsan}

"$root/tools/install-deps.sh" --clang
# clang: its ThreadSanitizer build takes two thirds of GCC's time.
cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DSQ_WERROR=ON \
    -DSQ_SANITIZE=thread -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
# Only what the concurrency tests load: the plug-in and the test program.
cmake --build "$build" -j"$(nproc)" --target StutterQuirk bridge_concurrency_tests

export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
"$build/tests/bridge/bridge_concurrency_tests"
