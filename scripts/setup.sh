#!/usr/bin/env bash
# Installs what a fresh Debian machine needs to build and test the project.
# Safe to run again: it only installs packages that are missing.
set -euo pipefail
need=()
have() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
for pkg in g++ cmake ninja-build libgtest-dev libbenchmark-dev clang libclang-rt-14-dev; do
  have "$pkg" || need+=("$pkg")
done
# Test only: the SQL round-trip tests (tests/sql) load scripts into real
# engines; the tests start their own throwaway servers.
for pkg in postgresql-15 mariadb-server mariadb-client libsqlite3-dev; do
  have "$pkg" || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
  echo "setup: installing ${need[*]}" >&2
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}" >/dev/null
fi
