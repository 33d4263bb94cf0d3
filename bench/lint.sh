#!/usr/bin/env bash
# Time of `pcd-import lint` on a generated catalog of 100,000 tables (or the
# file named), against the import alone: wall and CPU seconds (user +
# system) and peak memory of one run each, with every report format.
#
#   bench/lint.sh              bench/data/tables-100000.pcd (made when missing)
#   bench/lint.sh FILE.pcd     that file
#
# Uses the program of bench/run.sh's build (PCD_BENCH_BIN sets another folder
# holding pcd-import and generate_pcd).
set -euo pipefail
cd "$(dirname "$0")/.."
bin=${PCD_BENCH_BIN:-build/bench/bin}
if [ ! -x "$bin/pcd-import" ]; then
  echo "bench: $bin/pcd-import not found; run bench/run.sh first (or set PCD_BENCH_BIN)" >&2
  exit 1
fi
file=${1:-bench/data/tables-100000.pcd}
if [ ! -s "$file" ]; then
  mkdir -p "$(dirname "$file")"
  "$bin/generate_pcd" 100000 >"$file"
fi

times=$(mktemp)
trap 'rm -f "$times"' EXIT
cat "$file" >/dev/null  # from the page cache in every run
measure() {  # label, arguments...
  local label=$1
  shift
  /usr/bin/time -f "%e %U %S %M" -o "$times" "$bin/pcd-import" "$@" >/dev/null 2>&1 || true
  awk -v label="$label" '{ printf "%-22s %8.2f %8.2f %8.0f\n", label, $1, $2 + $3, $4 / 1024 }' "$times"
}
echo "$file: $(stat -c %s "$file") bytes; one run each"
printf "%-22s %8s %8s %8s\n" "run" "wall s" "cpu s" "peak MB"
measure "import (-f summary)" -q -f summary -o /dev/null "$file"
measure "lint, text" lint --fail-on never "$file"
measure "lint, json" lint --format json --fail-on never "$file"
measure "lint, sarif" lint --format sarif --fail-on never "$file"
