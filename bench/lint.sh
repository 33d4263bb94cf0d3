#!/usr/bin/env bash
# Time of `pcd-import lint` on a generated catalog of 100,000 tables (or the
# file named), with every report format, against the import alone and the
# naive reader of ../shared/bench (the baseline): medians of 3 interleaved
# rounds, CPU and wall time as ratios to the baseline's.
#
#   bench/lint.sh              bench/data/tables-100000.pcd (made when missing)
#   bench/lint.sh FILE.pcd     that file
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/common.sh
release_build
baseline_reader
file=${1:-bench/data/tables-100000.pcd}
if [ ! -s "$file" ]; then
  mkdir -p "$(dirname "$file")"
  "$bin/generate_pcd" 100000 >"$file"
fi
cat "$file" >/dev/null  # from the page cache in every run
echo "$file: $(stat -c %s "$file") bytes"
interleaved 3 "naive reader|$bin/naive_reader $file" \
  "import (-f summary)|$bin/pcd-import -q -f summary -o /dev/null $file" \
  "lint, text|$bin/pcd-import lint --fail-on never $file" \
  "lint, json|$bin/pcd-import lint --format json --fail-on never $file" \
  "lint, sarif|$bin/pcd-import lint --format sarif --fail-on never $file"
