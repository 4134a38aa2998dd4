#!/usr/bin/env bash
# Builds everything, writes the demo event database and renders every available catalogue
# report into out/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target galvix -j "$(nproc)"
mkdir -p out
./build/galvix demo-db --force out/demo.sqlite
./build/galvix render-all --db out/demo.sqlite -o out
echo "Reports are in $(pwd)/out/ (galvix list shows the catalogue)."
