#!/usr/bin/env bash
# Linear-growth benchmarks on hostile inputs: for each case, a PCD file of N
# and of 10*N records from bench/generate_hostile_pcd.cpp, imported with
# pcd-import (JSON to /dev/null); prints wall time, peak memory and the
# growth factor of the time, which should stay near 10.
#
#   bench/hostile.sh [--program PATH]   (default: build/release/bin/pcd-import)
set -euo pipefail
cd "$(dirname "$0")/.."

program=build/release/bin/pcd-import
if [ "${1:-}" = "--program" ]; then program=${2:?--program needs a path}; fi
[ -x "$program" ] || { echo "bench: $program not built" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "bench: GNU time (package time) is needed" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
${CXX:-c++} -O2 -std=c++17 -o "$work/generate" bench/generate_hostile_pcd.cpp

# Case and N; each is run at N and 10*N.
cases=(
  "duplicate-ids 100000"
  "adversarial-ids 50000"
  "deep-nesting 10000"
  "text-lines 1000000"
  "foreign-keys 10000"
)
printf '%-16s %9s %8s %9s | %9s %8s %9s | %6s\n' case N s MB 10N s MB growth
for entry in "${cases[@]}"; do
  read -r name n <<<"$entry"
  row=()
  for count in "$n" $((n * 10)); do
    file=$work/$name-$count.pcd
    "$work/generate" "$name" "$count" >"$file"
    # Time in seconds and peak resident memory in KB; the import's own
    # messages are dropped (warnings are expected on some cases).
    measured=$(/usr/bin/time -f '%e %M' "$program" -q -o /dev/null "$file" 2>&1 >/dev/null |
               tail -n 1)
    row+=("$count" "${measured% *}" "$(( ${measured#* } / 1024 ))")
  done
  growth=$(awk -v a="${row[1]}" -v b="${row[4]}" 'BEGIN { printf (a > 0 ? "%.1f" : "-"), b / (a > 0 ? a : 1) }')
  printf '%-16s %9s %8s %9s | %9s %8s %9s | %6s\n' "$name" "${row[@]}" "$growth"
done
