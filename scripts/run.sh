#!/usr/bin/env bash
# Builds the program and the plug-in, then runs pcd-import with the given
# arguments; without a PCD file among them it imports the sample. File
# arguments are taken relative to the folder this script was called from.
# The JSON goes to standard output; the build and the log to standard error.
#
#   scripts/run.sh                       the sample's model as JSON
#   scripts/run.sh -qf summary           options alone: still the sample
#   scripts/run.sh my.pcd -o my.json     a file of your own
set -euo pipefail
caller=$PWD
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/setup.sh --for run
# A build of its own without the tests, which need packages that running
# does not.
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPCD_BUILD_TESTS=OFF >&2
cmake --build build/run -j "$(nproc)" --target pcd-import ZELCaRepositoryDsOdbcImport >&2
program=$root/build/run/bin/pcd-import

# Does any argument name the file to import? Which options take a value is
# read from the program's own help ("  -o, --output FILE", "--plugin PATH").
value_options=" $("$program" --help |
  sed -nE 's/^ +(-[A-Za-z]), (--[a-z-]+) [A-Z].*/\1 \2/p; s/^ +(--[a-z-]+) [A-Z].*/\1/p' |
  tr '\n' ' ') "
has_file=0 expect_value=0 ended=0
for argument in "$@"; do
  if ((expect_value)); then expect_value=0; continue; fi
  if ((ended)) || [[ $argument == - || $argument != -* ]]; then has_file=1; continue; fi
  case "$argument" in
    --) ended=1 ;;
    -h | --help | -V | --version) has_file=1 ;;  # nothing to import
    --*=*) ;;
    --*) [[ $value_options == *" $argument "* ]] && expect_value=1 ;;
    *)  # a group of short options: the first that takes a value ends it
      group=${argument#-}
      for ((i = 0; i < ${#group}; ++i)); do
        if [[ $value_options == *" -${group:i:1} "* ]]; then
          ((i + 1 == ${#group})) && expect_value=1
          break
        fi
      done ;;
  esac
done

cd "$caller"
if ((has_file)); then
  exec "$program" "$@"
fi
exec "$program" "$@" "$(realpath --relative-to="$caller" "$root/examples/sample.pcd")"
