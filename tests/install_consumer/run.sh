#!/usr/bin/env bash
# Installs a build into a folder of its own, checks that the installed
# program imports the sample and reads a database, and builds a small program
# against the installed host library, through find_package and through
# pkg-config; then builds the same program with the source tree as a part of
# its project.
#   run.sh BUILD_DIR WORK_DIR SOURCE_DIR CXX GENERATOR
set -euo pipefail
build=$1 work=$2 source=$3 cxx=$4 generator=$5
rm -rf "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

# The model names the file as given, so the sample is read by its usual name.
(cd "$source" && SOURCE_DATE_EPOCH=0 "$prefix/bin/pcd-import" -q examples/sample.pcd 2>/dev/null |
  cmp - examples/sample.json)
# A database is read through the catalog readers' module beside the program
# (an empty file is an empty SQLite database).
: >"$work/empty.sqlite"
"$prefix/bin/pcd-import" snapshot -o "$work/empty.pcd" "sqlite:$work/empty.sqlite"
grep -q '^E,DATABASE,' "$work/empty.pcd"

cmake -S "$source/tests/install_consumer" -B "$work/with-cmake" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/with-cmake" >/dev/null
"$work/with-cmake/consumer"

pc_dir=$(dirname "$(find "$prefix" -name zelhost.pc)")
flags=$(PKG_CONFIG_PATH=$pc_dir pkg-config --cflags --libs zelhost)
libdir=$(PKG_CONFIG_PATH=$pc_dir pkg-config --variable=libdir zelhost)
# shellcheck disable=SC2086
"$cxx" -std=c++17 "$source/tests/install_consumer/consumer.cpp" $flags \
  -Wl,-rpath,"$libdir" -o "$work/with-pkg-config"
"$work/with-pkg-config"
cmake -S "$source/tests/install_consumer/subproject" -B "$work/as-subproject" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$cxx" -DPCD_SOURCE_DIR="$source" >/dev/null
cmake --build "$work/as-subproject" --target consumer >/dev/null
"$work/as-subproject/consumer"
echo "install_consumer: ok ($prefix)"
