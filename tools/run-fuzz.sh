#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for a while from its seed corpus.
#   tools/run-fuzz.sh [seconds per target, default 60] [build dir]
# New inputs the fuzzer finds go to <build>/corpus/<target>; a crashing input
# is kept as <build>/artifacts/<target>-crash-... and the script fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
build=${2:-$root/build-fuzz}
jobs=$(nproc)

"$root/tools/install-deps.sh" --fuzz
# Warnings are the GCC builds' business (-DSQ_WERROR=ON there): clang warns
# about other things.
cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSQ_SANITIZE=address,undefined -DSQ_BUILD_FUZZERS=ON \
    -DSQ_BUILD_TESTS=OFF >/dev/null

targets=(param_text image_description)
cmake --build "$build" -j"$jobs" --target "${targets[@]/#/fuzz_}"

mkdir -p "$build/artifacts"
for t in "${targets[@]}"; do
    echo "=== fuzz_$t for ${seconds} s"
    mkdir -p "$build/corpus/$t"
    # The first folder takes what the fuzzer finds; the seeds stay as checked in.
    "$build/tests/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$t-" \
        "$build/corpus/$t" "$root/tests/fuzz/corpus/$t"
done
