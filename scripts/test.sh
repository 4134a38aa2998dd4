#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
#   scripts/test.sh             normal build in build/
#   scripts/test.sh --sanitize  AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
#   scripts/test.sh --thread    ThreadSanitizer build in build-tsan/ of the tests that run threads
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
dir=build
flags=()
# A compiler cache, when the machine has one, makes the second and later builds quick.
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  flags=(-DGALVIX_SANITIZE=ON -DGALVIX_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug)
fi
if [ "${1:-}" = "--thread" ]; then
  # The tests that run threads: runs of one process at once on one database (the work tables of
  # each run are its own) and reports rendered on four threads at once. -O1 without debug
  # information keeps this build short; ThreadSanitizer's reports still name the lines.
  dir=build-tsan
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE= -DGALVIX_BENCH=OFF "${launcher[@]}" \
    "-DCMAKE_C_FLAGS=-O1 -g1 -fsanitize=thread" "-DCMAKE_CXX_FLAGS=-O1 -g1 -fsanitize=thread" \
    -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread \
    >/dev/null
  cmake --build "$dir" -j "$(nproc)" --target db_tests api_tests
  export TSAN_OPTIONS="halt_on_error=1 suppressions=$(pwd)/tests/tsan.supp"
  # glib's slice allocator passes blocks between threads through locks ThreadSanitizer cannot
  # see, so a block one thread freed and another now uses looks like a race wherever it is read
  # (pango's layout runs, read by our code too). With plain malloc it sees the hand-over.
  export G_SLICE=always-malloc
  "$dir/tests/db/db_tests" --gtest_filter='RunScope.*'
  # (Two threads loading Access files is tested in the normal build only: the reader forks, and
  # ThreadSanitizer's allocator is not fork-safe with threads.)
  "$dir/tests/api/api_tests" --gtest_filter='Threads.*'
  exit 0
fi
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "${flags[@]}" >/dev/null
cmake --build "$dir" -j "$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export LSAN_OPTIONS="suppressions=$(pwd)/tests/lsan.supp"
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
