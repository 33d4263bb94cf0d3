#!/usr/bin/env bash
# Time to write the SQL script of the largest generated file, against the
# JSON document: pcd-import with --format json, --format sql in each
# dialect and --format liquibase (PostgreSQL), output to /dev/null, best of 3 CPU times (user + system: on a
# machine shared with other work, wall times vary too much). Uses the files of
# bench/run.sh (bench/data/tables-N.pcd) and the program of its build.
#
#   bench/sql_vs_json.sh              the largest file in bench/data
#   bench/sql_vs_json.sh FILE.pcd     that file
set -euo pipefail
cd "$(dirname "$0")/.."
bin=${PCD_BENCH_BIN:-build/bench/bin}
if [ ! -x "$bin/pcd-import" ]; then
  echo "bench: $bin/pcd-import not found; run bench/run.sh first (or set PCD_BENCH_BIN)" >&2
  exit 1
fi
file=${1:-$(ls -S bench/data/tables-*.pcd 2>/dev/null | head -n 1)}
if [ -z "$file" ] || [ ! -s "$file" ]; then
  echo "bench: no generated file; run bench/run.sh first or name a file" >&2
  exit 1
fi

best() {
  local best="" seconds
  for _ in 1 2 3; do
    /usr/bin/time -f "%U %S" -o "$times" "$bin/pcd-import" -q -o /dev/null "$@" "$file" 2>/dev/null
    seconds=$(awk '{ print $1 + $2 }' "$times")
    if [ -z "$best" ] || awk -v a="$seconds" -v b="$best" 'BEGIN { exit !(a < b) }'; then
      best=$seconds
    fi
  done
  echo "$best"
}

times=$(mktemp)
trap 'rm -f "$times"' EXIT
cat "$file" >/dev/null  # from the page cache in every run
summary=$(best -f summary)
json=$(best -f json)
echo "$file: $(stat -c %s "$file") bytes; CPU seconds, best of 3 (import alone: $summary s)"
printf "%-20s %8s %8s %8s\n" format total write "write/json"
json_write=$(awk -v t="$json" -v s="$summary" 'BEGIN { print t - s }')
printf "%-20s %8.3f %8.3f %8.2f\n" json "$json" "$json_write" 1
for run in "sql postgresql" "sql mysql" "sql sqlite" "liquibase postgresql"; do
  read -r format dialect <<<"$run"
  total=$(best -f "$format" --dialect "$dialect")
  awk -v name="$run" -v t="$total" -v s="$summary" -v j="$json_write" \
    'BEGIN { printf "%-20s %8.3f %8.3f %8.2f\n", name, t, t - s, (t - s) / j }'
done
