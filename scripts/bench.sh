#!/usr/bin/env bash
# Measures the library's jobs against their floors, its memory, and readkey's views. Results go to build/bench,
# as JSON for other programs and as text. No other program should be busy meanwhile.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() {
    cat >&2 <<END
usage: $self [PART...]
  ratios  each job against its floor
  memory  what a read needs beyond its results
  tools   readkey's views against the library's open() and read(), files per second, and the page in a browser
  docs    puts the results, and those of scripts/counts.sh, into docs/performance.md
Without an argument: ratios memory tools.
END
    exit 2
}

# For jq: the jobs with the medians of their repetitions, and "fixed", which writes a number with that many decimals.
jobs='
    def median: sort | .[length / 2 | floor];
    def fixed($digits): (. * pow(10; $digits) | round | tostring) as $all
        | ("0" * ([$digits + 1 - ($all | length), 0] | max) // "") + $all
        | .[:-$digits] + "." + .[-$digits:];
    [.benchmarks[] | select(.run_type == "iteration")] | group_by(.family_index)
    | map({name: (.[0].run_name | rtrimstr("/manual_time")), goal: .[0].goal, ratio: (map(.ratio) | median),
           job: (map(.job_us) | median), floor: (map(.floor_us) | median),
           least: (map(.ratio) | min), most: (map(.ratio) | max)})'

part_ratios() {
    "$programs/ratios" --benchmark_min_time="${BENCH_TIME:-1}" \
        --benchmark_repetitions="${BENCH_REPETITIONS:-9}" --benchmark_out="$results/ratios.json" >/dev/null
    {
        echo '| job | job, us | floor, us | ratio | from - to | goal | |'
        echo '|:---|---:|---:|---:|---:|---:|:---|'
        jq -r "$jobs"' | .[] | "| " + ([.name, (.job | fixed(1)), (.floor | fixed(1)), (.ratio | fixed(3)),
            (.least | fixed(3)) + " - " + (.most | fixed(3)), (.goal | fixed(2)),
            if .ratio <= .goal then "met" else "not met" end] | join(" | ")) + " |"' "$results/ratios.json"
    } | tee "$results/ratios.md"
    {
        echo '| a card record | with TZ, us | without, us |'
        echo '|:---|---:|---:|'
        jq -r "$jobs"' | map({(.name): (.job / 300)}) | add | . as $each
            | "gen1", "gen2v1", "gen2v2" | "VehicleInfo/\(.)/30_days" as $name
            | "| \(.) | \($each[$name] | fixed(2)) | \($each[$name + "/no_TZ"] | fixed(2)) |"' \
            "$results/ratios.json"
    } | tee "$results/timezone.md"
}

# key NAME OPTION...: prints the path of a key of that name, as makekey writes it with these options.
key() {
    [ -e "$keys/$1" ] || "$tools/makekey/makekey" "${@:2}" "$keys/$1" >/dev/null
    echo "$keys/$1"
}

# A read() may use the memory of one file beyond its results. The process's own memory counts as results here.
part_memory() {
    local key largest
    key=$(key memory --files 100 --days 365)
    largest=$(find "$key" -type f -printf '%s\n' | sort -n | tail -n 1)
    valgrind --tool=dhat --dhat-out-file=/dev/null "$programs/reader" "$key" 2>&1 | awk -v largest="$largest" '
        { gsub(",", "") }
        / At t-gmax: / { peak = $4 }
        / At t-end: / { results = $4 }
        END { printf "largest file       %10d bytes\nresults            %10d bytes\n", largest, results
              printf "beyond the results %10d bytes\n", peak - results
              exit !results || peak - results > largest }' | tee "$results/memory.txt"
}

# The key has 90,000 insertions in its 100 vehicle files. The rate is that of one process on an archive of
# 2,000 ordinary files, half of them card files.
part_tools() {
    local large archive
    large=$(key large --files 100 --days 55 --records 30)
    archive=$(key archive --files 1000)
    "$top/bench/tools.py" "$programs/reader" "$tools/readkey/readkey" "$large" | tee "$results/tools.md"
    "$top/bench/tools.py" "$programs/reader" "$tools/readkey/readkey" "$archive" | awk -F '|' '
        / --csv / { printf "\nOne process: %.0f files per second, %d MB; a million files: %.0f minutes of one core.\n",
                    2000 / $3 * 1000, $5, 1e6 / 2000 * $3 / 60000 }' | tee -a "$results/tools.md"
    "$top/bench/page.py" "$tools/readkey/readkey" "$(key year --files 36 --days 365)" | tee "$results/page.md"
}

# Replaces the text between a name's two marks. If there are no results, the text stays.
part_docs() {
    local doc=$top/docs/performance.md file name
    for file in "$results"/{ratios.md,timezone.md,memory.txt,tools.md,page.md,counts-pc.md,counts-armhf.md}; do
        [ -e "$file" ] || continue
        name=$(basename "${file%.*}")
        sed -i -e "/^<!-- $name -->/,/^<!-- \/$name -->/ { /^<!--/!d }" -e "/^<!-- $name -->/r "<(
            echo
            case $file in *.txt) sed 's/^/    /' "$file" ;; *) cat "$file" ;; esac
            echo
        ) "$doc"
    done
}

[ $# -gt 0 ] || set -- ratios memory tools
for part; do
    declare -F "part_$part" >/dev/null || usage
done

need cmake g++ ninja-build qtbase5-dev libbenchmark-dev tzdata jq python3 python3-selenium valgrind chromium \
    chromium-driver
build bench
build release readkey makekey
results=$top/build/bench
programs=$results/bench
keys=$results/keys
tools=$top/build/release/tools
for part; do
    echo "== $part"
    "part_$part"
done
