#!/usr/bin/env bash
# memory.sh READKEY: a file on a key may be larger than the memory of the device. It is in memory once, and one that
# does not fit there fails like any other. Where memory cannot be limited, the test is skipped (status 77).
set -eu
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
# A first-generation overview, and then zeros, which the disk need not hold.
mkdir "$dir/download"
file=$dir/download/M_20240315_0830_1.DDD
printf '\166\001' >"$file"
truncate -s 512M "$file"

# within MIB COMMAND...: with no more memory than that
within() {
    (ulimit -v $(($1 * 1024)) && shift && exec "$@")
}

"$1" --version
within 256 "$1" --version || { echo "skipped: it needs more memory from the start"; exit 77; }
within 768 "$1" "$dir" >"$dir/output"
grep -Fx '1 file, 0 driver cards, 1 vehicle download, 0 insertions.' "$dir/output"

# fails MESSAGE: with too little memory readkey ends with status 1 and says this
fails() {
    status=0
    within 256 "$readkey" "$dir" >"$dir/output" 2>&1 || status=$?
    cat "$dir/output"
    [ "$status" -eq 1 ] && grep -F "readkey: M_20240315_0830_1.DDD: $1" "$dir/output"
}
readkey=$1
fails 'damaged or cut off'
printf 'xx' | dd of="$file" conv=notrunc status=none
fails 'not a vehicle-unit download (begins with 78 78)'
