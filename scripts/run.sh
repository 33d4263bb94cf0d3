#!/usr/bin/env bash
# Builds the program and the plug-in, then imports the sample PCD file and
# prints its model as JSON on standard output (the build and the log go to
# standard error).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >&2
cmake --build build/release -j "$(nproc)" --target pcd-import ZELCaRepositoryDsOdbcImport >&2
exec build/release/bin/pcd-import "${@:-examples/sample.pcd}"
