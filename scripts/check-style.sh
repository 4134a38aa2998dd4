#!/usr/bin/env bash
# Style checks run as a test: C and C++ sources clang-formatted, layout files in the
# one-control-per-line shape that scripts/format-layouts.py writes.
set -euo pipefail
cd "$(dirname "$0")/.."
status=0
mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.c' 2>/dev/null || find src include tests bench fuzz -name '*.cpp' -o -name '*.h' -o -name '*.c')
if ! clang-format --dry-run --Werror "${sources[@]}"; then
  echo "style: run clang-format -i on the files above" >&2
  status=1
fi
python3 scripts/format-layouts.py --check || status=1
exit $status
