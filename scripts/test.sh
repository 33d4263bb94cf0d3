#!/usr/bin/env bash
# Builds and runs every test: a normal build and an address+undefined-
# behaviour sanitizer build, then a short run of each fuzz target when clang
# is available. Installs what a fresh machine lacks first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)

run_build() {  # folder, extra cmake arguments...
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

echo "== normal build" >&2
run_build build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPCD_WERROR=ON
echo "== sanitizer build (address, undefined behaviour)" >&2
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  run_build build/asan -DCMAKE_BUILD_TYPE=Debug -DPCD_SANITIZE=ON -DPCD_WERROR=ON
echo "== format" >&2; scripts/check_format.sh
if [ -x fuzz/run.sh ]; then
  echo "== fuzz (short runs)" >&2
  fuzz/run.sh --short
fi
