#!/bin/sh
# remount.sh MAKEKEY READKEY: `readkey --remount` leaves a real mount read-only and its other flags as they were. If
# files are in the root of a stick, readkey says that a device does not look for them there.
# The mount is in a mount namespace of its own; where the system allows none, the test is skipped (status 77).
set -eu
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
mkdir "$dir/mount"
"$1" --days 1 --files 1 "$dir/key" >/dev/null

for options in -m -rm; do
    status=0
    unshare $options sh -euc '
        mount -t tmpfs -o rw,nosuid,nodev key "$1" || exit 77
        echo mounted >"$4"
        cp "$2"/download/* "$1"
        "$3" "$1" 2>&1 >/dev/null | grep -F "its files are not in \"download\""
        rm "$1"/*
        cp -r "$2"/. "$1"
        "$3" --remount --events "$1" >>"$4"
        tail -n 1 "$4" | grep -Fx "{\"event\":\"read\",\"errors\":[]}"
        flags=$(findmnt -n -o VFS-OPTIONS "$1")
        echo "flags: $flags"
        [ "$flags" = ro,nosuid,nodev,relatime ]
        ! touch "$1/more" 2>/dev/null || exit 5' \
        sh "$dir/mount" "$dir/key" "$2" "$dir/output" || status=$?
    # unshare itself fails with 1, or there is none (127).
    [ -s "$dir/output" ] && exit $status
done
echo "skipped: this system allows no mount namespace"
exit 77
