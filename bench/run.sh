#!/usr/bin/env bash
# Import benchmarks, in one command: builds a Release build (-O2, no
# sanitizers) in build/bench, generates PCD files of 10^3 to 10^6 tables in
# bench/data/, and for each file measures the reading limit (wc -l, a plain
# getline loop), the baseline reader, and pcd-import with and without JSON
# output: time and peak resident memory. Then the same for a real extract
# replicated to 10^5, 10^6 and 5 x 10^6 records (bench/replicate_pcd.cpp; the
# shipped sample by default), and the host micro-benchmarks.
#
#   bench/run.sh                 everything
#   bench/run.sh --max 100000    generated files up to 10^5 tables, replicated
#                                files up to 5 x 10^5 records
#   bench/run.sh --extract F     replicate the extract F instead of the sample
#   bench/run.sh --no-host       without the host micro-benchmarks
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)

max_tables=1000000
host_bench=1
extract=examples/sample.pcd
while [ $# -gt 0 ]; do
  case "$1" in
    --max) max_tables=${2:?--max needs a number of tables}; shift 2 ;;
    --extract) extract=${2:?--extract needs a PCD file}; shift 2 ;;
    --no-host) host_bench=0; shift ;;
    *) echo "usage: $0 [--max TABLES] [--extract FILE] [--no-host]" >&2; exit 2 ;;
  esac
done

scripts/setup.sh
if [ ! -x /usr/bin/time ]; then  # peak memory comes from GNU time
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq time >/dev/null
fi

build=build/bench
bin=$build/bin
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
  -DPCD_SANITIZE=OFF -DPCD_BUILD_TESTS=OFF -DPCD_BUILD_BENCH=ON >/dev/null
targets="pcd-import ZELCaRepositoryDsOdbcImport"
[ "$host_bench" = 1 ] && [ -f bench/CMakeLists.txt ] && targets="$targets host_bench"
# shellcheck disable=SC2086
cmake --build "$build" -j "$(nproc)" --target $targets >/dev/null

# The generator, the getline loop and the baseline reader are single files.
cxx=${CXX:-c++}
compile() { "$cxx" -O2 -std=c++17 -o "$bin/$1" "$2"; }
compile generate_pcd bench/generate_pcd.cpp
compile getline_loop bench/getline_loop.cpp
compile replicate_pcd bench/replicate_pcd.cpp
baseline_source=$repo/../shared/bench/naive_reader.cpp
if [ ! -f "$baseline_source" ]; then
  echo "bench: $baseline_source not found" >&2
  exit 1
fi
compile naive_reader "$baseline_source"

# A file is made again only when the generator changed.
mkdir -p bench/data
files=()  # "LABEL FILE"
for tables in 1000 10000 100000 1000000; do
  [ "$tables" -le "$max_tables" ] || continue
  file=bench/data/tables-$tables.pcd
  files+=("$tables $file")
  if [ ! -s "$file" ] || [ bench/generate_pcd.cpp -nt "$file" ]; then
    echo "bench: generating $file" >&2
    "$bin/generate_pcd" "$tables" 1 >"$file.tmp" && mv "$file.tmp" "$file"
  fi
done
# The extract replicated to about 10^5, 10^6 and 5 x 10^6 records (its first
# line is a title, not a record): a real schema's proportions at the sizes of
# the generated files.
per_copy=$(($(wc -l <"$extract") - 1))
[ "$per_copy" -gt 0 ] || { echo "bench: $extract holds no records" >&2; exit 1; }
for records in 100000 1000000 5000000; do
  [ "$records" -le $((5 * max_tables)) ] || continue
  copies=$(((records + per_copy - 1) / per_copy))
  file=bench/data/$(basename "$extract" .pcd)-x$copies.pcd
  files+=("x$copies $file")
  if [ ! -s "$file" ] || [ bench/replicate_pcd.cpp -nt "$file" ] || [ "$extract" -nt "$file" ]; then
    echo "bench: replicating $extract $copies times into $file" >&2
    "$bin/replicate_pcd" "$extract" "$copies" >"$file.tmp" && mv "$file.tmp" "$file"
  fi
done

# measure COMMAND...: prints "SECONDS PEAK_KB", the medians of a few runs
# (the machine is shared and noisy: a median, not the best run). Output goes
# to /dev/null.
measure() {
  local runs=$repeat start end times=() kbs=()
  for ((i = 0; i < runs; i++)); do
    start=$(date +%s%N)
    /usr/bin/time -f %M -o "$build/time.out" "$@" >/dev/null 2>"$build/stderr.out" || {
      echo "bench: failed: $*" >&2; cat "$build/stderr.out" >&2; exit 1; }
    end=$(date +%s%N)
    times+=($((end - start)))
    kbs+=("$(tail -n 1 "$build/time.out")")
  done
  local ns kb
  ns=$(printf '%s\n' "${times[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p")
  kb=$(printf '%s\n' "${kbs[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p")
  awk -v ns="$ns" -v kb="$kb" 'BEGIN { printf "%.3f %d\n", ns / 1e9, kb }'
}

results=$build/results.txt
: >"$results"
for entry in "${files[@]}"; do
  read -r tables file <<<"$entry"
  bytes=$(stat -c %s "$file")
  repeat=5; [ "$bytes" -gt 200000000 ] && repeat=3
  cat "$file" >/dev/null  # read from the page cache in every measurement
  echo "bench: measuring $file" >&2
  lines=$(wc -l <"$file")
  read -r wc_s _ < <(measure wc -l "$file")
  read -r getline_s getline_kb < <(measure "$bin/getline_loop" "$file")
  read -r naive_s naive_kb < <(measure "$bin/naive_reader" "$file")
  read -r summary_s summary_kb < <(measure "$bin/pcd-import" -q -f summary "$file")
  read -r json_s json_kb < <(measure "$bin/pcd-import" -q -f json -o /dev/null "$file")
  read -r compact_s compact_kb < <(measure "$bin/pcd-import" -q -f json --compact -o /dev/null "$file")
  echo "$tables $bytes $lines $wc_s $getline_s $getline_kb $naive_s $naive_kb $summary_s $summary_kb $json_s $json_kb $compact_s $compact_kb" >>"$results"
done

echo
echo "Import benchmarks on $(nproc) cores ($(uname -m)); files from bench/generate_pcd.cpp (seed 1; first"
echo "column: tables) and $extract replicated (first column: xCOPIES)."
echo "Times are wall seconds (median of 5 below 200 MB, of 3 above); MB/s = file MB / time; RSS x = peak"
echo "resident memory / file size; ratio = import time / baseline reader time."
awk '
  function mbs(bytes, s) { return s > 0 ? bytes / 1e6 / s : 0 }
  BEGIN {
    printf "%8s %7s %9s | %6s %7s %6s | %6s %6s %5s | %6s %6s %5s %5s | %6s %6s %5s %5s | %6s %5s %5s\n",
      "tables", "MB", "lines", "wc -l", "getline", "MB/s", "base", "MB/s", "RSSx",
      "import", "MB/s", "RSSx", "ratio", "+json", "MB/s", "RSSx", "ratio", "compct", "RSSx", "ratio"
  }
  {
    mb = $2 / 1e6; kb_file = $2 / 1024
    printf "%8s %7.1f %9d | %6.3f %7.3f %6.0f | %6.3f %6.0f %5.2f | %6.3f %6.0f %5.2f %5.2f | %6.3f %6.0f %5.2f %5.2f | %6.3f %5.2f %5.2f\n",
      $1, mb, $3, $4, $5, mbs($2, $5), $7, mbs($2, $7), $8 / kb_file,
      $9, mbs($2, $9), $10 / kb_file, $9 / $7, $11, mbs($2, $11), $12 / kb_file, $11 / $7,
      $13, $14 / kb_file, $13 / $7
    time[$1] = $9; json[$1] = $11
  }
  END {
    if (time[100000] > 0 && time[1000000] > 0)
      printf "time from 10^5 to 10^6 tables: %.2fx (-f summary), %.2fx (JSON)\n",
        time[1000000] / time[100000], json[1000000] / json[100000]
  }' "$results"

if [ "$host_bench" = 1 ] && [ -x "$bin/host_bench" ]; then
  echo
  echo "Host micro-benchmarks:"
  "$bin/host_bench" --benchmark_min_time=0.1
fi
