# Shared by the benchmark scripts that measure the program of a Release
# build on generated files; sourced from the repository's top folder.
#
#   parse_max_tables DEFAULT "$@"   sets max_tables: DEFAULT, or N of --max N
#   release_build                   installs what is missing, builds pcd-import
#                                   and the plug-in in build/bench (-O2, no
#                                   sanitizers) and compiles generate_pcd;
#                                   sets build and bin

parse_max_tables() {
  max_tables=$1
  shift
  while [ $# -gt 0 ]; do
    case "$1" in
      --max) max_tables=${2:?--max needs a number of tables}; shift 2 ;;
      *) echo "usage: $0 [--max TABLES]" >&2; exit 2 ;;
    esac
  done
}

release_build() {
  scripts/setup.sh
  build=build/bench
  bin=$build/bin
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
    -DPCD_SANITIZE=OFF -DPCD_BUILD_TESTS=OFF -DPCD_BUILD_BENCH=ON >/dev/null
  cmake --build "$build" -j "$(nproc)" --target pcd-import ZELCaRepositoryDsOdbcImport >/dev/null
  "${CXX:-c++}" -O2 -std=c++17 -o "$bin/generate_pcd" bench/generate_pcd.cpp
}
