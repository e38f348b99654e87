#!/usr/bin/env bash
# Runs every benchmark of a built tree, printing the processor first: the
# figures mean something only beside it and beside the memory floor that
# each benchmark measures in the same run.
#   tools/run-bench.sh [Google Benchmark options...]
# On a shared machine, --benchmark_repetitions=7
# --benchmark_report_aggregates_only=true adds each row's _min: the least
# disturbed of its runs.
# SQ_BUILD_DIR picks the build tree (default: build).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${SQ_BUILD_DIR:-$root/build}
for program in effect_bench filter_bench memory_bench; do
    if [[ ! -x "$build/bench/$program" ]]; then
        echo "run-bench: $build/bench/$program is not built (run tools/run-tests.sh first)" >&2
        exit 1
    fi
done
echo "processor: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//'), $(nproc) threads"
for program in effect_bench filter_bench memory_bench; do
    "$build/bench/$program" "$@"
done
