#!/usr/bin/env bash
# Sums up the GoogleTest XML reports of a test run: per test program (or
# shard) its cases, failures and skips, the failing cases by name, and any
# program that wrote no report (it crashed, timed out or never ran).
#   tools/test-report-summary.sh <build dir>
# Prints only; the run's status is CTest's.
set -euo pipefail
build=${1:?usage: test-report-summary.sh <build dir>}
reports="$build/test-reports"
list="$build/test-reports.list"
[[ -f "$list" ]] || exit 0

cases=0
failed=0
skipped=0
missing=()
while read -r name; do
    [[ -n "$name" ]] || continue
    report="$reports/$name.xml"
    if [[ ! -f "$report" ]]; then
        missing+=("$name")
        continue
    fi
    n=$(grep -c '<testcase ' "$report" || true)
    s=$(grep -c '<testcase [^>]*result="skipped"' "$report" || true)
    # A case that failed: the <testcase> line before its <failure>.
    names=$(awk '/<testcase /{match($0, /name="[^"]*"/); name=substr($0, RSTART+6, RLENGTH-7);
                             match($0, /classname="[^"]*"/); cls=substr($0, RSTART+11, RLENGTH-12)}
                /<failure /{print cls "." name}' "$report" | sort -u)
    f=0
    [[ -z "$names" ]] || f=$(printf '%s\n' "$names" | wc -l)
    cases=$((cases + n))
    failed=$((failed + f))
    skipped=$((skipped + s))
    printf 'tests: %-28s %5d cases, %d failed, %d skipped\n' "$name" "$n" "$f" "$s"
    [[ -z "$names" ]] || printf 'tests:     failed: %s\n' $names
done <"$list"
for name in "${missing[@]}"; do
    echo "tests: $name wrote no report: it crashed, timed out or did not run"
done
echo "tests: $cases cases, $failed failed, $skipped skipped, ${#missing[@]} programs without a report"
