#!/usr/bin/env bash
# Documentation benchmarks: for the sample and generated files of 1,900 and
# 10^4 tables, the time and peak memory of writing the html page (import
# included) and the page's size; then the page opened from disk in headless
# Chromium (tests/js/check_html.mjs, which also checks it): the time until
# it is interactive and until the first search answers; and the time, files
# and size of the markdown folder.
#
#   bench/docs.sh               one Release build in build/bench, then measure
#   bench/docs.sh --max 1900    only the sample and the file of 1,900 tables
set -euo pipefail
cd "$(dirname "$0")/.."

# shellcheck source=bench/common.sh
. bench/common.sh
parse_max_tables 10000 "$@"
release_build

# Wall seconds and peak MB of one pcd-import run, as "SECONDS MB".
timed() {
  local start end
  start=$(date +%s%N)
  /usr/bin/time -f %M -o "$build/time.out" "$bin/pcd-import" -q "$@" 2>"$build/stderr.out" || {
    echo "bench: failed: pcd-import $*" >&2; cat "$build/stderr.out" >&2; exit 1; }
  end=$(date +%s%N)
  awk -v ns=$((end - start)) -v kb="$(tail -n 1 "$build/time.out")" \
    'BEGIN { printf "%.2f %.0f\n", ns / 1e9, kb / 1024 }'
}

mkdir -p bench/data
out=$build/docs
echo "Documentation formats on $(nproc) cores (load $(cut -d' ' -f1 /proc/loadavg)); files from bench/generate_pcd.cpp, seed 1."
printf "%7s %9s %8s %8s %12s %12s %10s %8s %9s\n" tables "html s" "peak MB" "page MB" \
  "interactive" "1st search" "md s" "md files" "md MB"
for tables in sample 1900 10000; do
  if [ "$tables" = sample ]; then
    file=examples/sample.pcd
  else
    [ "$tables" -le "$max_tables" ] || continue
    file=bench/data/tables-$tables.pcd
    if [ ! -s "$file" ] || [ bench/generate_pcd.cpp -nt "$file" ]; then
      "$bin/generate_pcd" "$tables" 1 >"$file.tmp" && mv "$file.tmp" "$file"
    fi
  fi
  rm -rf "$out" && mkdir -p "$out"
  "$bin/pcd-import" -q -o "$out/model.json" "$file" 2>/dev/null
  read -r html_s html_mb < <(timed -f html -o "$out/page.html" "$file")
  page_mb=$(stat -c %s "$out/page.html" | awk '{ printf "%.2f", $1 / 1e6 }')
  browser=$(node tests/js/check_html.mjs "$out/model.json" "$out/page.html")
  interactive=$(sed -n 's/.*interactive after \([0-9]*\) ms.*/\1/p' <<<"$browser")
  search=$(sed -n 's/.*answered in \([0-9]*\) ms.*/\1/p' <<<"$browser")
  read -r md_s _ < <(timed -f markdown -o "$out/markdown" "$file")
  md_files=$(find "$out/markdown" -type f -name '*.md' | wc -l)
  md_mb=$(du -sb "$out/markdown" | awk '{ printf "%.1f", $1 / 1e6 }')
  printf "%7s %9s %8s %8s %10s ms %9s ms %10s %8s %9s\n" "$tables" "$html_s" "$html_mb" "$page_mb" \
    "$interactive" "$search" "$md_s" "$md_files" "$md_mb"
done
rm -rf "$out"
