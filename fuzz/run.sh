#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs them on their seed corpus.
#
#   fuzz/run.sh --short        each target for about 10 s (the test suite's run)
#   fuzz/run.sh --long N       each target for N seconds (default 3600)
#   fuzz/run.sh --runs N       each target for N executions
#   fuzz/run.sh                the same as --long 3600
#
# New inputs collect in fuzz/corpus-work/<target>/ (not committed); inputs
# that fail are written to build/fuzz/artifacts/ and make the script fail.
# FUZZ_TARGETS="line_fuzzer" limits the run to the targets named.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=long
seconds=3600
runs=-1
case "${1:-}" in
  --short) mode=short; seconds=10 ;;
  --long) seconds=${2:-3600} ;;
  --runs) runs=${2:?--runs needs a number}; seconds=0 ;;
  "") ;;
  *) echo "usage: $0 [--short | --long SECONDS | --runs EXECUTIONS]" >&2; exit 2 ;;
esac

if ! command -v clang++ >/dev/null 2>&1; then
  echo "fuzz: clang++ not found; skipping the fuzz targets" >&2
  exit 0
fi

build=build/fuzz
targets=${FUZZ_TARGETS:-"import_fuzzer line_fuzzer program_fuzzer"}
CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" \
  -DPCD_BUILD_FUZZ=ON -DPCD_BUILD_TESTS=OFF -DPCD_WERROR=ON >/dev/null
# shellcheck disable=SC2086
cmake --build "$build" -j "$(nproc)" --target $targets

mkdir -p "$build/artifacts" "$build/logs"
# Whole files may be larger than one line.
declare -A max_len=([import_fuzzer]=16384 [line_fuzzer]=4096 [program_fuzzer]=16384)

status=0
for target in $targets; do
  work=fuzz/corpus-work/${target%_fuzzer}
  seeds=fuzz/corpus/${target%_fuzzer}
  mkdir -p "$work"
  log=$build/logs/$target.log
  echo "fuzz: $target ($mode run, log in $log)" >&2
  # The program fuzzer draws with Graphviz, whose library and font caches
  # keep memory until the process ends: not leaks of ours.
  if ASAN_OPTIONS=detect_leaks=1 \
     LSAN_OPTIONS="suppressions=$PWD/tests/diagrams/lsan.supp:print_suppressions=0" \
     UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
     "$build/bin/$target" "$work" "$seeds" -max_total_time="$seconds" -runs="$runs" \
       -max_len="${max_len[$target]}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$build/artifacts/$target-" >"$log" 2>&1; then
    result=ok
  else
    result=FAILED
    status=1
    tail -n 40 "$log" >&2
  fi
  # The last status line carries the coverage reached; the final stats the
  # number of executions.
  done_line=$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  echo "fuzz: $target $result: ${executions:-?} executions; ${done_line:-no status line}" >&2
done
exit $status
