#!/usr/bin/env bash
# Snapshot time for a database of many tables on each engine: a generated
# file of N tables (default 10,000) written as SQL, loaded into a throwaway
# PostgreSQL and MariaDB server and a SQLite file, then `pcd-import snapshot`
# timed (wall and CPU time of the program, best of 3). The program's CPU time
# is small against the wall time: the catalog queries, a handful per engine,
# dominate.
#
#   bench/snapshot.sh [--max TABLES]
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/common.sh
parse_max_tables 10000 "$@"
release_build
root=$PWD
source scripts/throwaway_servers.sh

file=$work/tables.pcd
"$bin/generate_pcd" "$max_tables" 3 >"$file"
for dialect in postgresql mysql sqlite; do
  "$bin/pcd-import" -q -f sql --dialect "$dialect" -o "$work/$dialect.sql" "$file"
done
psql_run -d postgres -c "CREATE DATABASE bench TEMPLATE template0 ENCODING 'UTF8'"
PGOPTIONS='-c client_min_messages=warning' psql_run -d bench -f "$work/postgresql.sql" >/dev/null
mysql_run <"$work/mysql.sql"
"$bin/pcd-import" -q -f sql --dialect sqlite "$file" | sqlite3 "$work/bench.sqlite"

printf '%-12s %8s %10s %10s  %s\n' engine tables "wall s" "cpu s" "records written"
for url in "postgresql:///bench?host=$work&user=pcd" "mysql://root@localhost/mysql?socket=$work/my.sock" \
  "sqlite:$work/bench.sqlite"; do
  best_wall="" best_cpu=""
  for _ in 1 2 3; do
    /usr/bin/time -f '%e %U %S' -o "$work/time" "$bin/pcd-import" snapshot -o "$work/out.pcd" "$url"
    read -r wall user system <"$work/time"
    cpu=$(echo "$user + $system" | bc)
    if [ -z "$best_wall" ] || [ "$(echo "$wall < $best_wall" | bc)" = 1 ]; then best_wall=$wall; fi
    if [ -z "$best_cpu" ] || [ "$(echo "$cpu < $best_cpu" | bc)" = 1 ]; then best_cpu=$cpu; fi
  done
  tables=$(grep -c '^E,TABLE,' "$work/out.pcd")
  printf '%-12s %8s %10s %10s  %s\n' "${url%%:*}" "$tables" "$best_wall" "$best_cpu" \
    "$(($(wc -l <"$work/out.pcd") - 1))"
done
