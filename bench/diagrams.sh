#!/usr/bin/env bash
# Diagram and DBML benchmarks: the time and peak memory of each format of
# pcd-import (import included; the summary format is the import alone) for
# generated files of 10^3 and 10^4 tables, svg with each --columns choice
# (its layout included).
#
#   bench/diagrams.sh                one Release build in build/bench, then measure
#   bench/diagrams.sh --max 1000     only the file of 10^3 tables
set -euo pipefail
cd "$(dirname "$0")/.."

# shellcheck source=bench/common.sh
. bench/common.sh
parse_max_tables 10000 "$@"
release_build

mkdir -p bench/data
echo "Diagram formats on $(nproc) cores; files from bench/generate_pcd.cpp, seed 1; wall seconds, peak MB."
printf "%7s  %-22s %8s %8s %10s\n" tables format seconds "peak MB" "output MB"
for tables in 1000 10000; do
  [ "$tables" -le "$max_tables" ] || continue
  file=bench/data/tables-$tables.pcd
  if [ ! -s "$file" ] || [ bench/generate_pcd.cpp -nt "$file" ]; then
    "$bin/generate_pcd" "$tables" 1 >"$file.tmp" && mv "$file.tmp" "$file"
  fi
  for choice in "summary" "dot" "dbml" "mermaid" "svg --columns none" "svg --columns keys" \
                "svg --columns all"; do
    # shellcheck disable=SC2086
    set -- -q -f $choice -o "$build/diagram.out" "$file"
    start=$(date +%s%N)
    /usr/bin/time -f %M -o "$build/time.out" "$bin/pcd-import" "$@" 2>"$build/stderr.out" || {
      echo "bench: failed: pcd-import $*" >&2; cat "$build/stderr.out" >&2; exit 1; }
    end=$(date +%s%N)
    awk -v t="$tables" -v f="$choice" -v ns=$((end - start)) -v kb="$(tail -n 1 "$build/time.out")" \
        -v out="$(stat -c %s "$build/diagram.out")" \
        'BEGIN { printf "%7d  %-22s %8.2f %8.0f %10.1f\n", t, f, ns / 1e9, kb / 1024, out / 1e6 }'
  done
done
rm -f "$build/diagram.out"
