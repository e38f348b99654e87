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
# The targets run side by side, one per core; each one's log is printed when
# all are done, and any failure fails the run.
pids=()
for t in "${targets[@]}"; do
    mkdir -p "$build/corpus/$t"
    # The first folder takes what the fuzzer finds; the seeds stay as checked in.
    "$build/tests/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$t-" \
        "$build/corpus/$t" "$root/tests/fuzz/corpus/$t" >"$build/fuzz_$t.log" 2>&1 &
    pids+=($!)
done
status=0
for i in "${!targets[@]}"; do
    result=0
    wait "${pids[$i]}" || result=$?
    echo "=== fuzz_${targets[$i]} for ${seconds} s: exit $result"
    tail -n 40 "$build/fuzz_${targets[$i]}.log"
    [ "$result" -eq 0 ] || status=$result
done
exit "$status"
