#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for a while from its seed corpus.
#   tools/run-fuzz.sh [seconds per target, default 60] [build dir]
# A build dir already configured with -DSQ_BUILD_FUZZERS=ON (clang, with the
# sanitizers) is used as it is; any other is configured for fuzzing.
# New inputs the fuzzer finds go to <build>/corpus/<target>; a crashing input
# is kept as <build>/artifacts/<target>-crash-... and the script fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
build=${2:-$root/build-fuzz}
jobs=$(nproc)

"$root/tools/install-deps.sh" --clang
if [[ -f "$build/CMakeCache.txt" ]] && grep -q '^SQ_BUILD_FUZZERS:BOOL=ON' "$build/CMakeCache.txt"; then
    # A tree already set up for fuzzing (the CI's sanitizer build): its
    # targets are built as it was configured.
    :
else
    cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSQ_SANITIZE=address,undefined -DSQ_BUILD_FUZZERS=ON \
        -DSQ_BUILD_TESTS=OFF -DSQ_WERROR=ON >/dev/null
fi

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
