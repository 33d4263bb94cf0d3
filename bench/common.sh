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

# The baseline: the naive reader of ../shared/bench, compiled into $bin.
baseline_reader() {
  local source=../shared/bench/naive_reader.cpp
  [ -f "$source" ] || { echo "bench: $source not found" >&2; exit 1; }
  "${CXX:-c++}" -O2 -std=c++17 -o "$bin/naive_reader" "$source"
}

# Runs each "LABEL|COMMAND..." of the arguments ROUNDS times, interleaved
# (one of each per round, so a busy machine weighs on all alike), and prints
# per label the medians of CPU time (user + system), wall time and peak
# memory, and CPU and wall time as ratios to the first command's (the
# baseline). A command's output goes to /dev/null.
#   interleaved ROUNDS "naive reader|$bin/naive_reader FILE" "lint|$bin/pcd-import lint FILE"
interleaved() {
  local rounds=$1
  shift
  local -  # a URL's "?" is no pattern
  set -f
  local results times
  results=$(mktemp)
  times=$(mktemp)
  for ((round = 0; round < rounds; round++)); do
    local index=0
    for entry in "$@"; do
      # shellcheck disable=SC2086
      /usr/bin/time -f "%e %U %S %M" -o "$times" ${entry#*|} >/dev/null 2>&1 || true
      echo "$index $(tail -n 1 "$times")" >>"$results"
      index=$((index + 1))
    done
  done
  printf "%-28s %8s %8s %8s %10s %10s\n" run "cpu s" "wall s" "peak MB" "cpu ratio" "wall ratio"
  local index=0
  for entry in "$@"; do
    awk -v i="$index" -v label="${entry%%|*}" '
      function median(a, n,   k, j, t) {
        for (k = 2; k <= n; k++) for (j = k; j > 1 && a[j - 1] > a[j]; j--) { t = a[j]; a[j] = a[j - 1]; a[j - 1] = t }
        return n % 2 ? a[(n + 1) / 2] : (a[n / 2] + a[n / 2 + 1]) / 2
      }
      $1 == 0 { n0++; c0[n0] = $3 + $4; w0[n0] = $2 }
      $1 == i { n++; c[n] = $3 + $4; w[n] = $2; m[n] = $5 / 1024 }
      END {
        bc = median(c0, n0); bw = median(w0, n0)
        cpu = median(c, n); wall = median(w, n); peak = median(m, n)
        cr = 0; if (bc > 0) cr = cpu / bc
        wr = 0; if (bw > 0) wr = wall / bw
        printf "%-28s %8.2f %8.2f %8.0f %10.2f %10.2f\n", label, cpu, wall, peak, cr, wr
      }' "$results"
    index=$((index + 1))
  done
  rm -f "$results" "$times"
}
