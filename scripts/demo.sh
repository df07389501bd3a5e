#!/usr/bin/env bash
# Shows what is on a download key: the one mounted at DIR, or else a sample that is created here.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

if [ $# -gt 1 ] || [[ ${1-} == -* ]]; then
    echo "usage: $self [DIR]" >&2
    exit 2
fi

need cmake g++ ninja-build qtbase5-dev
echo "Building readkey and makekey in build/release (a minute or two the first time)"
build release readkey makekey

tools=$top/build/release/tools
options=()
if [ $# -eq 0 ]; then
    options=(--as-of 2024-03-16) # the sample key is from the day before
    set -- "$top/build/sample-key"
    rm -rf "$1"
    echo "Writing a sample key: makekey --days 2 --files 3 $1"
    "$tools/makekey/makekey" --days 2 --files 3 "$1"
fi
echo "Showing it: build/release/tools/readkey/readkey ${options[*]+${options[*]} }$1"
echo
exec "$tools/readkey/readkey" "${options[@]}" -- "$1"
