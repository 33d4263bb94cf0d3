#!/usr/bin/env bash
# Import benchmarks, in one command: builds a Release build (-O2, no
# sanitizers) in build/bench, makes the files, and measures each command
# side by side with the naive reader (../shared/bench/naive_reader.cpp), in
# interleaved rounds: CPU time (user + system) and wall time as ratios to the
# reader's, and peak resident memory as a multiple of the file, each with
# transparent huge pages available and unavailable (bench/without_thp.cpp).
#
# Files: the shipped sample replicated to about 10^6 and 5 x 10^6 records
# (bench/replicate_pcd.cpp: a real schema's proportions, about 47 and 244 MB)
# with every command: -f summary, json, sql, dbml, markdown (each run into a
# new folder under $TMPDIR, all removed at the end), check, and diff of the file against a copy
# with one column renamed; and the generated file of 10^6 tables
# (bench/generate_pcd.cpp, 1.4 GB) with summary, json and check only (the
# other commands take minutes each there). Rounds: 5, 3 for files above
# 200 MB. Then the host micro-benchmarks.
#
#   bench/run.sh                 everything
#   bench/run.sh --quick         the 10^6-record file only, 3 rounds
#   bench/run.sh --max TABLES    the generated file of TABLES tables (0: none)
#   bench/run.sh --rounds N      N rounds for every file
#   bench/run.sh --records "N.." the sample replicated to about N records
#                                (default "1000000 5000000")
#   bench/run.sh --commands "C.."  only these commands (of summary json sql
#                                dbml markdown check diff)
#   bench/run.sh --extract F     replicate the extract F instead of the sample
#   bench/run.sh --no-host       without the host micro-benchmarks
#   bench/run.sh --no-setup      without installing missing packages
#   NAIVE_READER_SOURCE=F bench/run.sh   the naive reader's source elsewhere
#   bench/run.sh --build DIR     measure the programs of the build DIR as it
#                                is instead of a Release build in build/bench
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)

max_tables=1000000
host_bench=1
setup=1
quick=0
rounds=""
build=""
sizes="1000000 5000000"
only=""
extract=examples/sample.pcd
while [ $# -gt 0 ]; do
  case "$1" in
    --max) max_tables=${2:?--max needs a number of tables}; shift 2 ;;
    --rounds) rounds=${2:?--rounds needs a number}; shift 2 ;;
    --extract) extract=${2:?--extract needs a PCD file}; shift 2 ;;
    --quick) quick=1; shift ;;
    --no-host) host_bench=0; shift ;;
    --no-setup) setup=0; shift ;;
    --records) sizes=${2:?--records needs numbers of records}; shift 2 ;;
    --commands) only=${2:?--commands needs command names}; shift 2 ;;
    --build) build=${2:?--build needs a build folder}; shift 2 ;;
    *) echo "usage: $0 [--quick] [--max TABLES] [--rounds N] [--records 'N..'] [--commands 'C..'] [--extract FILE] [--build DIR] [--no-host] [--no-setup]" >&2; exit 2 ;;
  esac
done
if [ "$quick" = 1 ]; then
  max_tables=0
  rounds=${rounds:-3}
  sizes=1000000
fi

[ "$setup" = 1 ] && scripts/setup.sh
if [ ! -x /usr/bin/time ]; then  # peak memory comes from GNU time
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq time >/dev/null
fi

if [ -z "$build" ]; then
  build=build/bench
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
    -DPCD_SANITIZE=OFF -DPCD_BUILD_TESTS=OFF -DPCD_BUILD_BENCH=ON >/dev/null
  targets="pcd-import ZELCaRepositoryDsOdbcImport"
  [ "$host_bench" = 1 ] && [ -f bench/CMakeLists.txt ] && targets="$targets host_bench"
  # shellcheck disable=SC2086
  cmake --build "$build" -j "$(nproc)" --target $targets >/dev/null
fi
bin=$build/bin

# The generator, the getline loop and the baseline reader are single files.
cxx=${CXX:-c++}
compile() { "$cxx" -O2 -std=c++17 -o "$bin/$1" "$2"; }
compile generate_pcd bench/generate_pcd.cpp
compile replicate_pcd bench/replicate_pcd.cpp
compile without_thp bench/without_thp.cpp
baseline_source=${NAIVE_READER_SOURCE:-$repo/../shared/bench/naive_reader.cpp}
if [ ! -f "$baseline_source" ]; then
  echo "bench: $baseline_source not found" >&2
  exit 1
fi
compile naive_reader "$baseline_source"

# A file is made again only when the generator changed.
mkdir -p bench/data
files=()  # "LABEL FILE COMMANDS"
all_commands="summary json sql dbml markdown check diff"
if [ "$max_tables" -gt 0 ]; then
  file=bench/data/tables-$max_tables.pcd
  if [ ! -s "$file" ] || [ bench/generate_pcd.cpp -nt "$file" ]; then
    echo "bench: generating $file" >&2
    "$bin/generate_pcd" "$max_tables" 1 >"$file.tmp" && mv "$file.tmp" "$file"
  fi
  commands=$all_commands
  [ "$max_tables" -gt 100000 ] && commands="summary json check"
  files+=("$max_tables $file $commands")
fi
# The extract replicated to about 10^6 and 5 x 10^6 records (its first line
# is a title, not a record): a real schema's proportions.
per_copy=$(($(wc -l <"$extract") - 1))
[ "$per_copy" -gt 0 ] || { echo "bench: $extract holds no records" >&2; exit 1; }
for records in $sizes; do
  copies=$(((records + per_copy - 1) / per_copy))
  file=bench/data/$(basename "$extract" .pcd)-x$copies.pcd
  files+=("x$copies $file $all_commands")
  if [ ! -s "$file" ] || [ bench/replicate_pcd.cpp -nt "$file" ] || [ "$extract" -nt "$file" ]; then
    echo "bench: replicating $extract $copies times into $file" >&2
    "$bin/replicate_pcd" "$extract" "$copies" >"$file.tmp" && mv "$file.tmp" "$file"
  fi
done

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# The command line of one measured command on FILE (the copy with a renamed
# column for diff: $scratch/renamed.pcd).
command_line() {
  local file=$2
  case "$1" in
    naive) echo "$bin/naive_reader $file" ;;
    summary) echo "$bin/pcd-import -q -f summary $file" ;;
    json | sql | dbml) echo "$bin/pcd-import -q -f $1 -o /dev/null $file" ;;
    markdown) echo "$bin/pcd-import -q -f markdown -o $scratch/markdown-$runs $file" ;;
    check) echo "$bin/pcd-import check $file" ;;
    diff) echo "$bin/pcd-import diff $file $scratch/renamed.pcd" ;;
  esac
}

# One run: appends "LABEL THP COMMAND WALL CPU PEAK_KB" to $results. check and
# diff end with 1 when they find something; anything else is a failure.
results=$build/results.txt
: >"$results"
# Markdown folders are kept until the end: for minutes after a mass
# deletion, ext4 makes each new file search past the inodes just freed,
# which would charge one run's clean-up to the next run's time.
runs=0
run_once() {
  local label=$1 thp=$2 command=$3 file=$4 wrap="" status=0
  [ "$thp" = off ] && wrap=$bin/without_thp
  runs=$((runs + 1))
  # shellcheck disable=SC2046,SC2086
  /usr/bin/time -f "%e %U %S %M" -o "$build/time.out" $wrap $(command_line "$command" "$file") \
    >/dev/null 2>"$build/stderr.out" || status=$?
  if [ "$status" -gt 1 ] || { [ "$status" = 1 ] && [ "$command" != check ] && [ "$command" != diff ]; }; then
    echo "bench: failed ($status): $command $file" >&2
    cat "$build/stderr.out" >&2
    exit 1
  fi
  read -r wall user system kb < <(tail -n 1 "$build/time.out")
  echo "$label $thp $command $wall $(awk -v u="$user" -v s="$system" 'BEGIN { print u + s }') $kb" >>"$results"
}

sizes_file=$build/sizes.txt
: >"$sizes_file"
for entry in "${files[@]}"; do
  read -r label file commands <<<"$entry"
  if [ -n "$only" ]; then
    wanted=""
    for command in $commands; do
      case " $only " in *" $command "*) wanted="$wanted $command" ;; esac
    done
    commands=${wanted# }
  fi
  bytes=$(stat -c %s "$file")
  echo "$label $bytes" >>"$sizes_file"
  count=${rounds:-5}
  [ -z "$rounds" ] && [ "$bytes" -gt 200000000 ] && count=3
  # The same file with one column renamed (its name's first letter), for diff.
  sed '0,/^R,REL_COL,\([^,]*,\)\{4\}C[1-9][0-9]*,[^,Q]/s/^\(R,REL_COL,\([^,]*,\)\{4\}C[1-9][0-9]*,\)[^,Q]/\1Q/' \
    "$file" >"$scratch/renamed.pcd"
  cat "$file" >/dev/null  # read from the page cache in every measurement
  echo "bench: measuring $file ($count rounds: $commands)" >&2
  for ((round = 0; round < count; round++)); do
    for thp in on off; do
      for command in naive $commands; do
        run_once "$label" "$thp" "$command" "$file"
      done
    done
  done
  rm -f "$scratch/renamed.pcd"
done

echo
echo "Import benchmarks on $(nproc) cores ($(uname -m)): $extract replicated (xCOPIES) and files from"
echo "bench/generate_pcd.cpp (seed 1; label: tables). Medians of interleaved rounds (${rounds:-5; 3 above 200 MB}):"
echo "cpu and wall = the command's CPU time (user + system) and wall time over the naive reader's;"
echo "RSSx = peak resident memory over file size. THP: transparent huge pages available / unavailable."
awk '
  function median(list,   n, a, k, j, t) {
    n = split(list, a, " ")
    for (k = 2; k <= n; k++) for (j = k; j > 1 && a[j - 1] + 0 > a[j] + 0; j--) { t = a[j]; a[j] = a[j - 1]; a[j - 1] = t }
    return n % 2 ? a[(n + 1) / 2] : (a[n / 2] + a[n / 2 + 1]) / 2
  }
  FNR == NR { size[$1] = $2; next }
  {
    key = $1 SUBSEP $2 SUBSEP $3
    wall[key] = wall[key] " " $4; cpu[key] = cpu[key] " " $5; kb[key] = kb[key] " " $6
    if (!((($1 SUBSEP $3) in seen))) { seen[$1 SUBSEP $3] = 1; order[++n] = $1 SUBSEP $3 }
  }
  END {
    printf "%8s %7s %-9s | %6s %6s %6s %6s | %6s %6s %6s %6s\n", "file", "MB", "command",
      "cpu", "wall", "RSSx", "cpu s", "cpu", "wall", "RSSx", "cpu s"
    printf "%8s %7s %-9s | %-27s | %-27s\n", "", "", "", "THP available", "THP unavailable"
    for (i = 1; i <= n; i++) {
      split(order[i], part, SUBSEP)
      label = part[1]; command = part[2]
      line = sprintf("%8s %7.1f %-9s", label, size[label] / 1e6, command)
      for (m = 1; m <= 2; m++) {
        thp = m == 1 ? "on" : "off"
        key = label SUBSEP thp SUBSEP command; base = label SUBSEP thp SUBSEP "naive"
        c = median(cpu[key]); w = median(wall[key]); r = median(kb[key]) * 1024 / size[label]
        bc = median(cpu[base]); bw = median(wall[base])
        line = line sprintf(" | %6.2f %6.2f %6.2f %6.2f", bc > 0 ? c / bc : 0, bw > 0 ? w / bw : 0, r, c)
      }
      print line
    }
  }' "$sizes_file" "$results"

if [ "$host_bench" = 1 ] && [ -x "$bin/host_bench" ]; then
  echo
  echo "Host micro-benchmarks:"
  "$bin/host_bench" --benchmark_min_time=0.1
fi
