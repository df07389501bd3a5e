#!/usr/bin/env bash
# Creates docs/page.png, the picture in README.md: readkey's page of a sample key.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need cmake g++ ninja-build qtbase5-dev chromium pngquant
build release readkey makekey

tools=$top/build/release/tools
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
quiet picture-key "$tools/makekey/makekey" --oddities --days 9 sample-key
# The damaged files among the oddities give status 3; the page shows them.
"$tools/readkey/readkey" --utc --as-of 2024-03-15 --html page.html sample-key 2>/dev/null || [ $? -eq 3 ]
quiet picture chromium --headless=new --no-sandbox --disable-gpu --no-first-run --hide-scrollbars \
    --user-data-dir="$work/profile" --window-size=1600,1140 --screenshot=page.png "file://$work/page.html"
pngquant --force --output "$top/docs/page.png" page.png
echo "docs/page.png: $(wc -c <"$top/docs/page.png") bytes"
