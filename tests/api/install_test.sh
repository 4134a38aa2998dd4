#!/usr/bin/env bash
# Installs the built project into a temporary prefix and builds the README's two host programs
# against it, as a host's developer would: the C++ one with find_package(Galvix), the C one with
# pkg-config. Both must render the demo guest list.
#   install_test.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
src=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
"$prefix/bin/galvix" demo-db "$work/demo.sqlite" >/dev/null

cmake -S "$src/examples/cpp" -B "$work/cpp" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cpp" >/dev/null
"$work/cpp/guests" "$work/demo.sqlite" "$work/cpp.pdf"
# The static library too: its designers must be there without --whole-archive.
cmake -S "$src/examples/cpp" -B "$work/cpp-static" -DCMAKE_PREFIX_PATH="$prefix" \
  -DGUESTS_STATIC=ON >/dev/null
cmake --build "$work/cpp-static" >/dev/null
"$work/cpp-static/guests" "$work/demo.sqlite" "$work/cpp-static.pdf"

libdir=$(dirname "$(find "$prefix" -name galvix.pc)")
export PKG_CONFIG_PATH=$libdir
cc -std=c11 -Wall -Wextra -Werror "$src/examples/c/guests.c" $(pkg-config --cflags --libs galvix) \
  -o "$work/c-guests"
LD_LIBRARY_PATH=$(dirname "$libdir") "$work/c-guests" "$work/demo.sqlite" "$work/c.pdf"

for f in "$work/cpp.pdf" "$work/cpp-static.pdf" "$work/c.pdf"; do
  head -c 5 "$f" | grep -q '%PDF-' || { echo "$f is not a PDF"; exit 1; }
done
# The headers stand alone: nothing of the project's internal folders is needed.
if grep -rn '#include "\(db\|engine\|frame\|render\|runtime\|reports\)/' "$prefix/include/galvix"; then
  echo "installed headers include internal ones"
  exit 1
fi
echo "installed, and both hosts rendered the guest list"
