#!/usr/bin/env bash
# Installs the Debian packages the project needs, only when something is
# missing (so a machine that has everything needs neither root nor apt).
#
#   scripts/setup.sh --for run    building and running pcd-import
#   scripts/setup.sh --for test   the same, plus what only the tests need
#                                 (the default)
#
# Each package is listed with what shows that it is there: a command on the
# PATH, or a file (a glob) it installs. Installing needs root or sudo.
set -euo pipefail
cd "$(dirname "$0")/.."

purpose=test
case "${1:-}" in
  --for) purpose=${2:?"--for needs run or test"} ;;
  --for=*) purpose=${1#--for=} ;;
  "") ;;
  *) echo "usage: $0 [--for run|test]" >&2; exit 2 ;;
esac
case "$purpose" in run | test) ;; *) echo "setup: --for takes run or test" >&2; exit 2 ;; esac

# "package  command-or-file" pairs.
run_packages=(
  "g++ g++"
  "cmake cmake"
  "ninja-build ninja"
  "pkg-config pkg-config"
  "libgraphviz-dev /usr/include/graphviz/gvc.h"  # the svg and html formats lay out with it
  # Diagrams are measured and drawn in DejaVu Sans (regular and bold).
  "fonts-dejavu-core /usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"
  # snapshot: each engine's own client library
  "libpq-dev /usr/include/postgresql/libpq-fe.h"
  "libmariadb-dev /usr/include/mariadb/mysql.h"
  "libsqlite3-dev /usr/include/sqlite3.h"
  "libyaml-cpp-dev /usr/include/yaml-cpp/yaml.h"  # lint's configuration
)
test_packages=(
  "libgtest-dev /usr/include/gtest/gtest.h"
  "libbenchmark-dev /usr/include/benchmark/benchmark.h"
  "clang clang++"
  "libclang-rt-14-dev /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a"
  "clang-format clang-format"
  "nlohmann-json3-dev /usr/include/nlohmann/json.hpp"  # the program fuzzer's JSON check
  # Diagrams: Graphviz renders the dot output, Chromium renders Mermaid,
  # PlantUML renders the plantuml output, node runs the reference parsers
  # of tests/js.
  "graphviz dot"
  "plantuml plantuml"
  "chromium chromium"
  "nodejs node"
  "npm npm"
  # SQL: the round-trip tests start throwaway servers and use SQLite's library.
  "postgresql-15 /usr/lib/postgresql/15/bin/initdb"
  "mariadb-server /usr/sbin/mariadbd"
  "mariadb-client mariadb"
  # The liquibase format's test runs Liquibase (an npm package of tests/js) on
  # Java; its SQLite driver needs the SLF4J API and its MariaDB driver JNA
  # for a Unix socket, which the package lacks.
  "default-jre-headless java"
  "libslf4j-java /usr/share/java/slf4j-api.jar"
  "libjna-java /usr/share/java/jna.jar"
)

present() {  # command-or-file
  if [[ $1 == /* ]]; then
    compgen -G "$1" >/dev/null
  else
    command -v "$1" >/dev/null 2>&1
  fi
}

wanted=("${run_packages[@]}")
[ "$purpose" = test ] && wanted+=("${test_packages[@]}")
missing=()
for entry in "${wanted[@]}"; do
  read -r package check <<<"$entry"
  present "$check" || missing+=("$package")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}" >&2
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "setup: apt-get not found; install these packages (or their equivalents): ${missing[*]}" >&2
    exit 1
  fi
  sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      echo "setup: installing packages needs root; run as root or install sudo" >&2
      exit 1
    fi
    sudo=(sudo)
  fi
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
fi

if [ "$purpose" = test ]; then
  # The pinned npm packages of tests/js, again only when the lock file changed.
  js_dir=tests/js
  if ! cmp -s "$js_dir/package-lock.json" "$js_dir/node_modules/.package-lock-installed"; then
    echo "setup: installing the npm packages of $js_dir" >&2
    npm ci --prefix "$js_dir" --no-audit --no-fund >/dev/null
    cp "$js_dir/package-lock.json" "$js_dir/node_modules/.package-lock-installed"
  fi
fi

