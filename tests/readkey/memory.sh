#!/usr/bin/env bash
# memory.sh MAKEKEY READKEY: files that would not fit into memory together are read one by one, one that no download
# can be is not loaded at all, and where memory is too small all the same, readkey says so and leaves no half page.
# Where memory cannot be limited, the test is skipped (status 77).
set -eu
makekey=$1
readkey=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# within MIB ARGUMENT...: readkey with no more memory than that; its outputs and its status, which is kept
within() {
    status=0
    (ulimit -v $(($1 * 1024)) && shift && exec "$readkey" "$@") >"$dir/output" 2>&1 || status=$?
    cat "$dir/output"
}

# says STATUS LINE: how the last one ended, and a line of what it said
says() {
    if [ "$status" -ne "$1" ] || ! grep -Fqx "$2" "$dir/output"; then
        echo "expected $1: $2"
        exit 1
    fi
}

"$readkey" --version
within 160 --version
[ "$status" -eq 0 ] || { echo "skipped: it needs more memory from the start"; exit 77; }

# A first-generation overview, and then zeros, which the disk need not hold.
mkdir -p "$dir/key/download"
for number in 1 2 3 4 5; do
    file=$dir/key/download/M_20240315_083${number}_A.DDD
    printf '\166\001' >"$file"
    truncate -s 60M "$file"
done
within 160 --summary "$dir/key"
says 0 '5 files, 0 driver cards, 5 vehicle downloads, 0 insertions.'
within 256 --events "$dir/key"
says 1 "readkey: $dir/key: not read: its files are too large to be read at once"

truncate -s 60G "$file"
within 256 --summary "$dir/key"
says 3 'readkey: M_20240315_0835_A.DDD: too large for a download (60 GB)'
says 3 '5 files, 0 driver cards, 4 vehicle downloads, 0 insertions, 1 failed.'

# 60 MB of card records, and what becomes of them.
"$makekey" --files 1 --days 365 --records 2400 "$dir/records" >/dev/null
within 160 --html "$dir/page" "$dir/records"
says 1 'readkey: not enough memory'
[ -z "$(find "$dir" -name '*page*')" ]
