#!/usr/bin/env bash
# Measures the library: its jobs beside their floors, how its work grows, and what memory it needs.
# Results go to build/bench, as JSON for other programs and as text. Give it a quiet machine.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() {
    cat >&2 <<END
usage: $self [PART...]
  ratios  each job beside its floor
  growth  how the work grows with its input
  memory  what a read needs beyond its results
  docs    puts the results, and those of scripts/counts.sh, into docs/performance.md
Without an argument: ratios growth memory.
END
    exit 2
}

part_ratios() {
    "$programs/ratios" --benchmark_min_time="${BENCH_TIME:-1}" \
        --benchmark_repetitions="${BENCH_REPETITIONS:-9}" \
        --benchmark_out="$results/ratios.json" | tee "$results/ratios.md"
}

part_growth() {
    "$programs/growth" --benchmark_out="$results/growth.json" | tee "$results/growth.txt"
}

part_memory() {
    "$programs/memory" | tee "$results/memory.txt"
}

# Replaces what stands between a name's two marks; where there are no results it stays.
part_docs() {
    local doc=$top/docs/performance.md
    {
        sed 's/^/ratios\t/' "$results/ratios.md"
        grep -E '_(BigO|RMS) ' "$results/growth.txt" | sed 's/^/growth\t    /'
        sed 's/^/memory\t    /' "$results/memory.txt"
        for machine in pc armhf; do
            [ ! -e "$results/counts-$machine.md" ] || sed 's/^/counts\t/; $ s/$/\ncounts\t/' \
                "$results/counts-$machine.md"
        done
    } | awk -F '\t' '
        FNR == NR { text[$1] = text[$1] $2 "\n"; next }
        /^<!-- \// { skip = 0 }
        !skip
        /^<!-- [a-z]/ {
            name = substr($0, 6, length($0) - 9)
            if (name in text) {
                printf "\n%s\n", text[name]
                skip = 1
            }
        }
    ' - "$doc" >"$results/performance.md"
    cp "$results/performance.md" "$doc"
}

[ $# -gt 0 ] || set -- ratios growth memory
for part; do
    declare -F "part_$part" >/dev/null || usage
done

need cmake g++ ninja-build qtbase5-dev libbenchmark-dev tzdata
build bench
results=$top/build/bench
programs=$results/bench
for part; do
    echo "== $part"
    "part_$part"
done
