#!/usr/bin/env bash
# Linear-growth benchmarks of the import, the output formats and the
# subcommands on hostile inputs: for each row, a PCD file of N and of 10*N
# from bench/generate_hostile_pcd.cpp, imported and written in one format (or
# checked, or compared with itself); prints wall time, peak memory and the growth factor
# of the time, which should stay near 10. A run is stopped after
# --timeout seconds (shown as >T) and may use at most --memory MB (over it,
# the run fails and shows "fail"); "!" marks a run that exited with status 1
# (check: problems found; an import: refused).
#
#   bench/hostile.sh [--program PATH] [--timeout S] [--memory MB] [ROW...]
#
# ROW names the rows to run (all by default), e.g. same-columns/dbml or
# duplicate-ids/json.
set -euo pipefail
cd "$(dirname "$0")/.."

program=build/release/bin/pcd-import
timeout=120
memory=4096
only=()
while [ $# -gt 0 ]; do
  case "$1" in
    --program) program=${2:?--program needs a path}; shift 2 ;;
    --timeout) timeout=${2:?--timeout needs seconds}; shift 2 ;;
    --memory) memory=${2:?--memory needs megabytes}; shift 2 ;;
    -*) echo "usage: $0 [--program PATH] [--timeout S] [--memory MB] [ROW...]" >&2; exit 2 ;;
    *) only+=("$1"); shift ;;
  esac
done
[ -x "$program" ] || { echo "bench: $program not built" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "bench: GNU time (package time) is needed" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
${CXX:-c++} -O2 -std=c++17 -o "$work/generate" bench/generate_hostile_pcd.cpp

# Case, N, and the arguments that follow the program (FILE stands for the
# file); each is run at N and 10*N.
rows=(
  "duplicate-ids 100000 json|-q FILE"
  "adversarial-ids 50000 json|-q FILE"
  "deep-nesting 10000 json|-q FILE"
  "text-lines 1000000 json|-q FILE"
  "foreign-keys 10000 json|-q FILE"
  "same-columns 2000 dbml|-q -f dbml FILE"
  "same-columns 2000 sql-postgresql|-q -f sql FILE"
  "same-columns 2000 sql-mysql|-q -f sql --dialect mysql FILE"
  "same-columns 2000 sql-sqlite|-q -f sql --dialect sqlite FILE"
  "same-columns 2000 html|-q -f html FILE"
  "same-fk-names 2000 dbml|-q -f dbml FILE"
  "same-fk-names 2000 sql-mysql|-q -f sql --dialect mysql FILE"
  "same-schemas 2000 sql-postgresql|-q -f sql FILE"
  "same-schemas 2000 dbml|-q -f dbml FILE"
  "same-schemas 2000 markdown|-q -f markdown -o OUT FILE"
  "same-schemas 2000 html|-q -f html FILE"
  "colliding-tables 6000 dbml|-q -f dbml FILE"
  "colliding-tables 6000 sql-postgresql|-q -f sql FILE"
  "colliding-tables 6000 markdown|-q -f markdown -o OUT FILE"
  "chosen-ids 4000 check|check FILE"
  "long-names 20 diff|diff FILE FILE"
  "long-names 20 html|-q -f html FILE"
  "long-names 20 json|-q FILE"
  "long-names 20 sql-postgresql|-q -f sql FILE"
  "long-names 20 dbml|-q -f dbml FILE"
  "long-names 20 mermaid|-q -f mermaid FILE"
  "long-names 20 svg|-q -f svg FILE"
  "long-names 20 markdown|-q -f markdown -o OUT FILE"
  "long-names 20 lint|lint FILE"
  "long-names 20 check|check FILE"
)
printf '%-34s %7s %8s %7s | %7s %8s %7s | %6s\n' row N s MB 10N s MB growth
for entry in "${rows[@]}"; do
  read -r name n label <<<"${entry%%|*}"
  arguments=${entry#*|}
  if [ ${#only[@]} -gt 0 ] && [[ ! " ${only[*]} " == *" $name/$label "* ]]; then continue; fi
  row=()
  for count in "$n" $((n * 10)); do
    file=$work/$name-$count.pcd
    [ -s "$file" ] || "$work/generate" "$name" "$count" >"$file"
    rm -rf "$work/out"
    # shellcheck disable=SC2086
    set -- ${arguments//FILE/$file}
    set -- "${@//OUT/$work/out}"
    status=0
    (ulimit -v $((memory * 1024)); exec timeout "$timeout" /usr/bin/time -f '%e %M' \
      -o "$work/time" "$program" "$@") >/dev/null 2>"$work/stderr" || status=$?
    if [ "$status" = 124 ]; then
      row+=("$count" ">$timeout" "-")
    elif [ ! -s "$work/time" ] || [ "$status" -gt 1 ]; then
      row+=("$count" "fail" "-")
    else
      measured=$(tail -n 1 "$work/time")
      mark=""; [ "$status" = 0 ] || mark="!"
      row+=("$count" "${measured% *}$mark" "$(( ${measured#* } / 1024 ))")
    fi
    rm -f "$work/time"
  done
  growth=$(awk -v a="${row[1]}" -v b="${row[4]}" \
    'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.1f", b / a; else print "-" }')
  printf '%-34s %7s %8s %7s | %7s %8s %7s | %6s\n' "$name/$label" "${row[@]}" "$growth"
done
