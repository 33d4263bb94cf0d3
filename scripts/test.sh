#!/usr/bin/env bash
# Builds and runs every test: a normal build and an address+undefined-
# behaviour sanitizer build, then a short run of each fuzz target. Installs
# what a fresh machine lacks first. Stops at the first stage that fails and
# ends with one summary over all stages: each stage's test cases, the stages
# that did not run, and as the very last line "tests: N passed, M failed".
set -uo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
logs=build/test-logs
mkdir -p "$logs"

stages=(setup "normal build" "normal tests" "sanitizer build" "sanitizer tests" format fuzz)
declare -A outcome=()  # stage -> "passed N", "failed N M", ...
total_passed=0 total_failed=0
failed_stage=""

# Counts the test cases of one ctest run from its verbose log: a GoogleTest
# program reports how many of its cases ran and passed; any other test (or
# a program that crashed before its report) counts as one case. Prints
# "passed failed skipped failing-names".
count_cases() {  # log file
  awk '
    $2 == "Test" && $3 ~ /^#[0-9]+:$/ { n = substr($3, 2); sub(/:$/, "", n); name[n] = $4
                                      ok[n] = ($0 ~ / Passed / || $0 ~ /\*\*\*Skipped /) }
    $2 == "Test" && $3 == "#" { n = $4; sub(/:$/, "", n); name[n] = $5; ok[n] = ($0 ~ / Passed / || $0 ~ /\*\*\*Skipped /) }
    $1 ~ /^[0-9]+:$/ && $2 == "[==========]" && $5 == "from" && / ran\./ { n = $1; sub(/:$/, "", n); ran[n] = $3 }
    $1 ~ /^[0-9]+:$/ && $2 == "[" && $3 == "PASSED" { n = $1; sub(/:$/, "", n); passed[n] = $5 }
    $1 ~ /^[0-9]+:$/ && $2 == "[" && $3 == "SKIPPED" && $4 == "]" && $5 ~ /^[0-9]+$/ {
      n = $1; sub(/:$/, "", n); skipped[n] = $5 }
    END {
      p = 0; f = 0; s = 0; names = ""
      for (n in name) {
        if (n in ran) {
          fails = ran[n] - passed[n] - skipped[n]
          if (!ok[n] && fails == 0) fails = 1   # e.g. a leak found after the cases
          p += passed[n]; f += fails; s += skipped[n]
        } else if (ok[n]) { p += 1 } else { f += 1; fails = 1 }
        if (!ok[n]) names = names (names == "" ? "" : ",") name[n]
      }
      print p, f, s, (names == "" ? "-" : names)
    }' "$1"
}

run_stage() {  # stage name, command...
  local stage=$1; shift
  local log="$logs/${stage// /-}.log"
  echo "== $stage (log: $log)" >&2
  if "$@" >"$log" 2>&1; then
    outcome[$stage]=ok
    return 0
  fi
  tail -n 60 "$log" >&2
  outcome[$stage]="FAILED"
  failed_stage=$stage
  total_failed=$((total_failed + 1))  # a stage without cases of its own
  return 1
}

run_tests() {  # stage name, build folder
  local stage=$1 dir=$2
  local log="$logs/${stage// /-}.log"
  echo "== $stage (log: $log)" >&2
  ctest --test-dir "$dir" -V -j "$jobs" >"$log" 2>&1
  local status=$?
  # Progress as ctest prints it, one line per test.
  grep -E '^ *[0-9]+/[0-9]+ Test +#' "$log" >&2
  local passed failed skipped names
  read -r passed failed skipped names < <(count_cases "$log")
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  outcome[$stage]="$passed passed, $failed failed"
  [ "$skipped" -gt 0 ] && outcome[$stage]+=", $skipped skipped"
  if [ "$status" -ne 0 ] || [ "$failed" -gt 0 ]; then
    [ "$names" != "-" ] && outcome[$stage]+=" (failing: $names)"
    # The failing tests' own output.
    grep -E '(\[  FAILED  \]|Failure|ERROR: |runtime error|Sanitizer)' "$log" | head -n 60 >&2
    failed_stage=$stage
    [ "$failed" -eq 0 ] && total_failed=$((total_failed + 1))
    return 1
  fi
}

run_fuzz() {
  local log="$logs/fuzz.log"
  echo "== fuzz (short runs; log: $log)" >&2
  fuzz/run.sh --short >"$log" 2>&1
  local status=$?
  grep -E '^fuzz: ' "$log" >&2
  # One case per target: "fuzz: TARGET ok: ..." or "fuzz: TARGET FAILED: ...".
  local passed failed
  passed=$(grep -cE '^fuzz: [a-z_]+ ok:' "$log")
  failed=$(grep -cE '^fuzz: [a-z_]+ FAILED:' "$log")
  if [ "$status" -ne 0 ] && [ "$failed" -eq 0 ]; then failed=1; fi
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  outcome[fuzz]="$passed passed, $failed failed"
  if [ "$failed" -gt 0 ]; then failed_stage=fuzz; return 1; fi
}

configure_and_build() {  # folder, cmake arguments...
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja "$@" && cmake --build "$dir" -j "$jobs"
}

run_all() {
  run_stage setup scripts/setup.sh --for test || return
  # Line tables only (-g1): a backtrace or a sanitizer's report still names
  # files and lines, and the builds take a sixth to a third less time than
  # with full debug information.
  run_stage "normal build" configure_and_build build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" -DPCD_WERROR=ON ||
    return
  run_tests "normal tests" build/release || return
  run_stage "sanitizer build" configure_and_build build/asan -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DPCD_SANITIZE=ON -DPCD_WERROR=ON || return
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    run_tests "sanitizer tests" build/asan || return
  run_stage format scripts/check_format.sh || return
  if [ -x fuzz/run.sh ]; then
    run_fuzz || return
  else
    outcome[fuzz]="no fuzz targets"
  fi
}

run_all
echo "== summary" >&2
for stage in "${stages[@]}"; do
  printf '  %-16s %s\n' "$stage" "${outcome[$stage]:-not run}" >&2
done
[ -n "$failed_stage" ] && echo "  failed at: $failed_stage" >&2
echo "tests: $total_passed passed, $total_failed failed"
[ -z "$failed_stage" ] && [ "$total_failed" -eq 0 ]
