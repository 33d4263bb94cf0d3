#!/usr/bin/env bash
# Remakes tests/data/corpus: real catalogs for the tests, from the SQL schemas
# that Debian packages ship. Each package is downloaded (apt-get download) and
# unpacked (dpkg-deb -x), never installed; its schema is loaded into a
# throwaway PostgreSQL or MariaDB server (scripts/throwaway_servers.sh) or a
# SQLite file, and snapshotted with `pcd-import snapshot`.
#
#   scripts/make_corpus.sh [build/release/bin/pcd-import]
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
program=${1:-$root/build/release/bin/pcd-import}
out=$root/tests/data/corpus
[ -x "$program" ] || { echo "make_corpus: build pcd-import first ($program)" >&2; exit 1; }

source "$root/scripts/throwaway_servers.sh"

# --- the packages and the schema files in them -----------------------------
packages=(icinga2-ido-pgsql icinga2-ido-mysql request-tracker5 freeradius-config
  bacula-director-pgsql bacula-director-mysql bacula-director-sqlite3 rsyslog-pgsql rsyslog-mysql
  tt-rss opendmarc)
mkdir -p "$work/debs"
(cd "$work/debs" && apt-get download -q "${packages[@]}" >/dev/null 2>&1)
for deb in "$work"/debs/*.deb; do
  name=$(basename "$deb"); name=${name%%_*}
  mkdir -p "$work/x/$name" && dpkg-deb -x "$deb" "$work/x/$name"
done
x=$work/x
radius=$x/freeradius-config/etc/freeradius/3.0/mods-config/sql/main
rt=$x/request-tracker5/usr/share/request-tracker5/etc
dbc=usr/share/dbconfig-common/data
# corpus name | engine | schema file(s)
entries=(
  "icinga2-ido|postgresql|$x/icinga2-ido-pgsql/usr/share/icinga2-ido-pgsql/schema/pgsql.sql"
  "icinga2-ido|mariadb|$x/icinga2-ido-mysql/usr/share/icinga2-ido-mysql/schema/mysql.sql"
  "request-tracker|postgresql|$rt/schema.Pg"
  "request-tracker|mariadb|$rt/schema.mysql"
  "request-tracker|sqlite|$rt/schema.SQLite"
  "freeradius|postgresql|$radius/postgresql/schema.sql"
  "freeradius|mariadb|$radius/mysql/schema.sql"
  "freeradius|sqlite|$radius/sqlite/schema.sql"
  "bacula|postgresql|$x/bacula-director-pgsql/$dbc/bacula-director-pgsql/install/pgsql"
  "bacula|mariadb|$x/bacula-director-mysql/$dbc/bacula-director-mysql/install/mysql"
  "bacula|sqlite|$x/bacula-director-sqlite3/$dbc/bacula-director-sqlite3/install/sqlite3"
  "rsyslog|postgresql|$x/rsyslog-pgsql/$dbc/rsyslog-pgsql/install/pgsql"
  "rsyslog|mariadb|$x/rsyslog-mysql/$dbc/rsyslog-mysql/install/mysql"
  "tt-rss|postgresql|$x/tt-rss/usr/share/tt-rss/schema/ttrss_schema_pgsql.sql"
  "opendmarc|mariadb|$x/opendmarc/$dbc/opendmarc/install/mysql"
)

mkdir -p "$out"
rm -f "$out"/*.pcd
for entry in "${entries[@]}"; do
  IFS='|' read -r name engine file <<<"$entry"
  database=${name//-/_}
  target=$out/$name.$engine.pcd
  case $engine in
    postgresql)
      psql_run -d postgres -c "CREATE DATABASE $database TEMPLATE template0 ENCODING 'UTF8'"
      PGOPTIONS='-c client_min_messages=warning' psql_run -d "$database" -f "$file" >/dev/null
      url="postgresql:///$database?host=$work&user=pcd"
      ;;
    mariadb)
      mysql_run -e "CREATE DATABASE $database CHARACTER SET utf8mb4"
      mysql_run "$database" <"$file"
      url="mysql://root@localhost/$database?socket=$work/my.sock"
      ;;
    sqlite)
      sqlite_file=$work/$database.sqlite
      # The application strips its "#" comments before it loads the file.
      sed -e 's/[[:space:]]#.*$//' "$file" | sqlite3 -bail "$sqlite_file"
      url="sqlite:$sqlite_file"
      ;;
  esac
  # The system is named after the package, not this machine's socket folder.
  "$program" snapshot --system "$name" -o "$target" "$url"
  # The first line names the URL, which holds the temporary folder.
  sed -i "1s|from [^,]*,|from $engine:$database,|" "$target"
  if [ "$engine" = mariadb ]; then mysql_run -e "DROP DATABASE $database"; fi
  printf '%-40s %s\n' "$(basename "$target")" "$(grep -c '^E,TABLE,' "$target") tables" >&2
done
