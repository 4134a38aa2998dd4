#!/usr/bin/env bash
# Builds everything, writes the demo event database and renders the catalogue reports to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
mkdir -p out
if [ ! -x build/galvix ]; then
  echo "galvix: the command-line tool is not built yet" >&2
  exit 0
fi
./build/galvix demo-db out/demo.sqlite
./build/galvix render-all --db out/demo.sqlite -o out/
