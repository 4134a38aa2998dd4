#!/bin/sh
# Renders every catalogue report with two galvix builds and compares the PDFs byte for byte
# (the creation date masked). Identical bytes mean identical texts, positions and pages.
#   bench/compare_outputs.sh OLD_GALVIX NEW_GALVIX DB
set -eu
old=$1 new=$2 db=$3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
"$old" render-all --db "$db" -o "$dir/old" >/dev/null
"$new" render-all --db "$db" -o "$dir/new" >/dev/null
mask() { sed -E 's/CreationDate \(D:[0-9]+Z?\)/CreationDate (D:0)/' "$1"; }
same=0 differ=0
for f in "$dir"/old/*; do
  name=$(basename "$f")
  [ -f "$dir/new/$name" ] && mask "$dir/new/$name" >"$dir/new.masked" || : >"$dir/new.masked"
  if mask "$f" | cmp -s - "$dir/new.masked"; then
    same=$((same + 1))
  else
    differ=$((differ + 1))
    echo "differs: $name"
  fi
done
echo "$same identical, $differ different"
[ "$differ" -eq 0 ]
