#!/usr/bin/env bash
# Builds the fuzz targets and runs them one after another, for SECONDS in all (60 by default). They start from
# the inputs in fuzz/corpus. New inputs go to build/fuzz/corpus. A finding stops its target and is kept in
# build/fuzz/findings.
#
#   scripts/fuzz.sh [SECONDS]
#   scripts/fuzz.sh --keep     keeps in fuzz/corpus the fewest inputs, old and new, that reach the same code
set -euo pipefail
. "$(dirname "$0")/lib.sh"

seconds=${1:-60}
if [ $# -gt 1 ] || ! [[ $seconds =~ ^([1-9][0-9]*|--keep)$ ]]; then
    echo "usage: $self [SECONDS | --keep]" >&2
    exit 2
fi

need cmake clang libclang-rt-14-dev ninja-build qtbase5-dev
targets=(vehicleinfo filenames key readkey)
build fuzz "${targets[@]/#/fuzz_}"
work=$top/build/fuzz
mkdir -p "$work/findings" "${targets[@]/#/$work/corpus/}" "${targets[@]/#/$work/seeds/}"
for target in "${targets[@]}"; do
    (cd "$work/seeds/$target" && cmake -E tar xf "$top/fuzz/corpus/$target.zip")
done

# fuzz_key and fuzz_readkey write their keys to a file system in memory if there is one.
TMPDIR=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
# These settings make the targets fast. Run a finding again without them to see more details.
export ASAN_OPTIONS=quarantine_size_mb=1:malloc_context_size=1 QT_ENABLE_REGEXP_JIT=0
# Longer inputs reach nothing new.
options=(-max_len=4096 -timeout=5 -rss_limit_mb=1024)

keep() {
    local target=$1 least=$TMPDIR/$1
    mkdir "$least"
    "$work/fuzz/fuzz_$target" "${options[@]}" -merge=1 "$least" "$work/corpus/$target" "$work/seeds/$target" \
        >"$work/$target.log" 2>&1 || fail "$(tail -n 20 "$work/$target.log")"
    (cd "$least" && cmake -E tar cf "$top/fuzz/corpus/$target.zip" --format=zip --mtime=2024-01-01 -- *)
    printf '%-12s %6d inputs %8d bytes\n' "$target" "$(find "$least" -type f | wc -l)" \
        "$(stat -c %s "$top/fuzz/corpus/$target.zip")"
}

run() {
    local target=$1
    "$work/fuzz/fuzz_$target" "${options[@]}" -len_control=20 -print_final_stats=1 \
        -max_total_time=$(((seconds + ${#targets[@]} - 1) / ${#targets[@]})) \
        -dict="$top/fuzz/tags.dict" -artifact_prefix="$work/findings/$target-" \
        "$work/corpus/$target" "$work/seeds/$target" >"$work/$target.log" 2>&1 </dev/null
}

if [ "$seconds" = --keep ]; then
    for target in "${targets[@]}"; do
        keep "$target"
    done
    exit
fi

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
