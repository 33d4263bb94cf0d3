#!/usr/bin/env bash
# Snapshot time for a database of many tables on each engine: a generated
# file of N tables (default 10,000) written as SQL, loaded into a throwaway
# PostgreSQL and MariaDB server and a SQLite file, then `pcd-import snapshot`
# timed against the naive reader of ../shared/bench reading the extract the
# snapshot writes (medians of 3 interleaved rounds). The program's CPU time
# is small against the wall time: the catalog queries, a handful per engine,
# dominate.
#
#   bench/snapshot.sh [--max TABLES]
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/common.sh
parse_max_tables 10000 "$@"
release_build
baseline_reader
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

# Each snapshot against the naive reader reading the extract it writes.
for url in "postgresql:///bench?host=$work&user=pcd" \
  "mysql://root@localhost/mysql?socket=$work/my.sock" "sqlite:$work/bench.sqlite"; do
  engine=${url%%:*}
  "$bin/pcd-import" snapshot -o "$work/$engine.pcd" "$url"
  echo "$engine: $(grep -c '^E,TABLE,' "$work/$engine.pcd") tables, $(($(wc -l <"$work/$engine.pcd") - 1)) records"
  interleaved 3 "naive reader, the extract|$bin/naive_reader $work/$engine.pcd" \
    "snapshot|$bin/pcd-import snapshot -o /dev/null $url"
done
