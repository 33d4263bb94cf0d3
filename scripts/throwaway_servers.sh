# Sourced by scripts that need real engines: starts a throwaway PostgreSQL
# cluster and MariaDB server in a temporary folder, on Unix sockets only, as
# "nobody" when we are root, and stops and removes them on exit.
#   source scripts/throwaway_servers.sh
#   psql_run -d postgres -c ...; mysql_run -e ...
#   $work (the folder; sockets: $work for PostgreSQL, $work/my.sock)
work=$(mktemp -d /dev/shm/pcd-servers-XXXXXX 2>/dev/null || mktemp -d)
as_server=()
user_flag=()
if [ "$(id -u)" -eq 0 ]; then
  chown nobody "$work"
  as_server=(runuser -u nobody --)
  user_flag=(--user=nobody)
fi
pg_bin=$(ls -d /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
mariadb_pid=""
stop_servers() {
  [ -f "$work/pg/postmaster.pid" ] &&
    "${as_server[@]}" "$pg_bin/pg_ctl" -D "$work/pg" -m immediate -w stop >/dev/null 2>&1
  if [ -n "$mariadb_pid" ]; then kill "$mariadb_pid" 2>/dev/null; wait "$mariadb_pid" 2>/dev/null; fi
  rm -rf "$work"
}
trap stop_servers EXIT

"${as_server[@]}" "$pg_bin/initdb" -D "$work/pg" -A trust -U pcd -E UTF8 --locale=C --no-sync >/dev/null
"${as_server[@]}" "$pg_bin/pg_ctl" -D "$work/pg" -l "$work/pg.log" -w \
  -o "-c listen_addresses='' -k $work -c fsync=off -c max_locks_per_transaction=4096" start >/dev/null
mariadb-install-db --no-defaults --datadir="$work/my" --auth-root-authentication-method=normal \
  --skip-test-db --tmpdir="$work" "${user_flag[@]}" >/dev/null 2>&1
mariadbd --no-defaults --datadir="$work/my" --socket="$work/my.sock" --skip-networking \
  --tmpdir="$work" --pid-file="$work/my.pid" --log-error="$work/my.err" "${user_flag[@]}" \
  --innodb-buffer-pool-size=64M --innodb-flush-log-at-trx-commit=0 --innodb-file-per-table=0 \
  --innodb-flush-method=nosync &
mariadb_pid=$!
for _ in $(seq 100); do
  mariadb-admin --no-defaults --socket="$work/my.sock" -u root ping >/dev/null 2>&1 && break
  sleep 0.2
done

psql_run() { psql -X -q -v ON_ERROR_STOP=1 -h "$work" -U pcd "$@"; }
mysql_run() { mariadb --no-defaults --socket="$work/my.sock" -u root "$@"; }
