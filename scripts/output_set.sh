#!/usr/bin/env bash
# Writes every output of the program for a fixed set of inputs into one
# folder, so that two builds can be compared byte for byte after a change
# that must not alter any output:
#
#   scripts/output_set.sh BUILD_DIR OUT_DIR
#   diff -r OUT_BEFORE OUT_AFTER
#
# Inputs: the sample, the real-schema corpus, the test data files and two
# generated extracts. Outputs: every format with each of its options, the
# check, diff (with its migration scripts and changelogs) and lint
# subcommands; standard error and the exit status of
# each run are kept beside its output (timings in verbose logs are not run).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
out=$2
program=$build/bin/pcd-import
export PCD_IMPORT_PLUGIN=$build/bin/libZELCaRepositoryDsOdbcImport.so
export SOURCE_DATE_EPOCH=1700000000  # a fixed import time
rm -rf "$out" && mkdir -p "$out/in"

inputs=("$root/examples/sample.pcd" "$root"/tests/data/corpus/*.pcd
        "$root"/tests/data/*.pcd)
"$build/bin/generate_pcd" 300 7 >"$out/in/generated-300.pcd"
"$build/bin/generate_pcd" 3000 11 >"$out/in/generated-3000.pcd"
inputs+=("$out/in/generated-300.pcd" "$out/in/generated-3000.pcd")

# One run: NAME, then the program's arguments. Output files are written
# under $out/NAME (the run's -o points there when the arguments say @OUT).
run() {
  local name=$1; shift
  local args=() target=$out/$name
  for a in "$@"; do args+=("${a//@OUT/$target.out}"); done
  (cd "$out/in" && "$program" "${args[@]}" >"$target.stdout" 2>"$target.stderr")
  echo $? >"$target.status"
  # Paths of this run's own folders would differ between two runs.
  sed -i "s#$out#OUT#g; s#$root#ROOT#g" "$target.stderr" "$target.stdout" 2>/dev/null
}

for input in "${inputs[@]}"; do
  base=$(basename "$input" .pcd)
  cp "$input" "$out/in/$base.pcd" 2>/dev/null
  f=$base.pcd
  run "$base.json" -q "$f"
  run "$base.compact" -q --compact "$f"
  run "$base.summary" -q -f summary "$f"
  for dialect in postgresql mysql sqlite; do
    run "$base.sql-$dialect" -q -f sql --dialect "$dialect" "$f"
    run "$base.sql-$dialect-native" -q -f sql --dialect "$dialect" --native-types "$f"
  done
  for format in dot mermaid plantuml; do
    for columns in all keys none; do
      run "$base.$format-$columns" -q -f "$format" --columns "$columns" "$f"
    done
  done
  for dialect in postgresql mysql sqlite; do
    run "$base.liquibase-$dialect" -q -f liquibase --dialect "$dialect" "$f"
  done
  run "$base.dbml" -q -f dbml "$f"
  run "$base.markdown" -q -f markdown -o @OUT "$f"
  run "$base.check" check "$f"
  run "$base.check-json" check --format json "$f"
  run "$base.lint" lint "$f"
  run "$base.lint-json" lint --format json "$f"
  run "$base.lint-sarif" lint --format sarif "$f"
  run "$base.diff-self" diff "$f" "$f"
  run "$base.verbose-errors" -q --fail-on-warning -f summary "$f"
done

# The slow formats (drawn with Graphviz) on a few inputs only.
for base in sample bacula.postgresql generated-300 hostile_names; do
  f=$base.pcd
  run "$base.svg" -q -f svg "$f"
  run "$base.svg-keys" -q -f svg --columns keys "$f"
  run "$base.html" -q -f html "$f"
done
# Schema selection.
run sample.dbml-schema -q -f dbml --schema DEMO "sample.pcd"
run bacula.mermaid-schema -q -f mermaid --schema public bacula.postgresql.pcd

# Diffs between different files, both output formats.
pairs=("bacula.postgresql bacula.mariadb" "bacula.postgresql bacula.sqlite"
       "request-tracker.postgresql request-tracker.mariadb"
       "generated-300 generated-3000" "sample catalog_cases")
for pair in "${pairs[@]}"; do
  set -- $pair
  run "diff-$1-$2" diff "$1.pcd" "$2.pcd"
  run "diff-$1-$2-json" diff --format json "$1.pcd" "$2.pcd"
  run "diff-$1-$2-ignore" diff --ignore types --ignore key-names --ignore-catalog-names \
    "$1.pcd" "$2.pcd"
  for dialect in postgresql mysql sqlite; do
    run "diff-$1-$2-sql-$dialect" diff --format sql --dialect "$dialect" "$1.pcd" "$2.pcd"
    run "diff-$1-$2-liquibase-$dialect" diff --format liquibase --dialect "$dialect" "$1.pcd" \
      "$2.pcd"
  done
done
# The help texts.
run help --help
for sub in check diff lint snapshot; do run "help-$sub" "$sub" --help; done
run lint-rules lint --list-rules
rm -rf "$out/in"
echo "$(ls "$out" | wc -l) outputs in $out"
