#!/usr/bin/env bash
# Counts the instructions of the library's jobs: on this PC with callgrind, and with "armhf" for the target
# under qemu. A figure is the difference between two inputs, divided by the difference in their numbers of
# records or names, or the cost of one whole file. Each run gives the same figures.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() {
    echo "usage: $self [pc] [armhf]" >&2
    exit 2
}

for machine; do
    [[ $machine == pc || $machine == armhf ]] || usage
done
[ $# -gt 0 ] || set -- pc

need cmake g++ ninja-build qtbase5-dev libbenchmark-dev tzdata valgrind
build bench counts
counts=$top/build/bench/bench/counts
export QT_HASH_SEED=0 LC_ALL=C.UTF-8

work=$(mktemp -d "${TMPDIR:-/tmp}/counts.XXXXXX")
trap 'rm -rf "$work"' EXIT
"$counts" "$work" >/dev/null # writes the inputs

# Both of these print the names from bench/counts.cpp, each with the instructions between its two marks.
count_pc() {
    valgrind --tool=callgrind --dump-after=bench_mark --callgrind-out-file="$work/profile" \
        "$counts" "$work" >"$work/names" 2>"$work/log" || fail "$(tail -n 3 "$work/log")"
    local dump=0 name
    while read -r name; do
        dump=$((dump + 2))
        echo "$name $(sed -n 's/^summary: //p' "$work/profile.$dump")"
    done <"$work/names"
}

# In single steps, each translated block is one instruction, and the log has a line for each that runs.
count_armhf() {
    need g++-arm-linux-gnueabihf qemu-user-static
    "$top/scripts/sysroot.sh"
    quiet bench-armhf-configure cmake -S "$top" --preset armhf -B "$top/build/bench-armhf" \
        -DDOWNLOADKEY_BENCH=ON -DDOWNLOADKEY_TESTS=OFF -DDOWNLOADKEY_TOOLS=OFF
    quiet bench-armhf-build cmake --build "$top/build/bench-armhf" --target counts
    qemu-arm-static -L "$top/build/sysroot-armhf" -singlestep -d exec,nochain,strace \
        "$top/build/bench-armhf/bench/counts" "$work" 2>&1 >"$work/names" |
        awk '/^Trace/ { ++n; next } /getppid/ { if (++marks % 2 == 0) print n; n = 0 }' >"$work/counts"
    paste -d ' ' "$work/names" "$work/counts"
}

# Prints the table of the counted figures: what one record, day, file or name costs.
table() {
    awk -v machine="$1" '
        function row(what, count) { printf "| %-44s | %12d |\n", what, count }
        { count[$1] = $2 }
        END {
            printf "| %-44s | %12s |\n", "instructions, " machine, "each"
            print "|:---------------------------------------------|-------------:|"
            split("gen1 gen2v1 gen2v2", generations, " ")
            for (i = 1; i <= 3; ++i) {
                g = generations[i]
                row(g ": a card record, of 100", (count[g "-1-100"] - count[g "-1-50"]) / 50)
                row(g ": a card record, of 1,000", (count[g "-1-1000"] - count[g "-1-500"]) / 500)
                row(g ": a day without card records", (count[g "-40-0"] - count[g "-20-0"]) / 20)
                row(g ": a file of 30 days, 300 records", count[g "-30-10"])
            }
            row("a name: is it valid, of which kind, when", count["names"] / 8)
            row("a name of a key with 200 that is opened", (count["key-100"] - count["key-50"]) / 100)
            row("a name of a key with 4,000 that is opened", (count["key-2000"] - count["key-1000"]) / 2000)
        }'
}

mkdir -p "$top/build/bench"
for machine; do
    "count_$machine" >"$work/figures"
    [ "$(wc -l <"$work/figures")" -eq "$(wc -l <"$work/names")" ] || fail 'figures are missing'
    table "$machine" <"$work/figures" | tee "$top/build/bench/counts-$machine.md"
done
