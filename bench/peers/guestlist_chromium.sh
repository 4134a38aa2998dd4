#!/bin/sh
# The reception guest list printed by headless Chromium from the HTML guestlist_html.py writes.
#   Install (Debian): apt-get install chromium
#   bench/peers/guestlist_chromium.sh DB OUT.pdf [PARTY]
set -eu
here=$(dirname "$0")
db=$1 out=$2 party=${3:-Reception}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
"${PYTHON:-python3}" "$here/guestlist_html.py" "$db" "$dir/guests.html" --party "$party"
# --no-sandbox: root in a container has no user namespaces for the sandbox.
"${CHROMIUM:-chromium}" --headless --no-sandbox --disable-gpu --no-pdf-header-footer \
  --user-data-dir="$dir/profile" --print-to-pdf="$out" "file://$dir/guests.html" 2>/dev/null
