#!/usr/bin/env bash
# Builds the fuzz targets and runs all of them, SECONDS in all (60 without an argument). What they learn is
# kept in build/fuzz/corpus; a finding stops its target and lies in build/fuzz/findings.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

seconds=${1:-60}
[ $# -le 1 ] && [[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $self [SECONDS]" >&2; exit 2; }

need cmake clang libclang-rt-14-dev ninja-build qtbase5-dev
targets=(vehicleinfo filenames cardfile key)
build fuzz write_seeds "${targets[@]/#/fuzz_}"
work=$top/build/fuzz
mkdir -p "$work/findings" "${targets[@]/#/$work/corpus/}"
"$work/fuzz/write_seeds" "$work/seeds"

# The keys of fuzz_key lie in memory where there is a place for that.
TMPDIR=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

# A millisecond is long for these targets, so a second is a hang. An input longer than this is no new case.
run() {
    local target=$1
    "$work/fuzz/fuzz_$target" -max_total_time=$(((seconds + ${#targets[@]} - 1) / ${#targets[@]})) \
        -max_len=16384 -len_control=20 -timeout=5 -rss_limit_mb=1024 -use_value_profile=1 \
        -dict="$top/fuzz/tags.dict" -artifact_prefix="$work/findings/$target-" -print_final_stats=1 \
        "$work/corpus/$target" "$work/seeds/$target" >"$work/$target.log" 2>&1 </dev/null
}

failed=0
printf '%-12s %12s %10s %10s  %s\n' target executions coverage inputs findings
for target in "${targets[@]}"; do
    status=0
    run "$target" || status=$?
    log=$work/$target.log
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' "$log" | tail -n 1)
    inputs=$(sed -n 's/.* corp: \([0-9]*\).*/\1/p' "$log" | tail -n 1)
    finding=none
    if [ "$status" -ne 0 ]; then
        failed=1
        finding=$(sed -n "s|.*Test unit written to $top/||p" "$log" | tail -n 1)
        tail -n 40 "$log" >&2
    fi
    printf '%-12s %12s %10s %10s  %s\n' "$target" "${executions:-?}" "${coverage:-?}" "${inputs:-?}" \
        "${finding:-see build/fuzz/$target.log}"
done
exit $failed
