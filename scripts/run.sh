#!/usr/bin/env bash
# Builds the program and the plug-in, then imports the sample PCD file and
# prints its model as JSON.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release -j "$(nproc)" --target pcd-import ZELCaRepositoryDsOdbcImport
exec build/release/bin/pcd-import "${@:-examples/sample.pcd}"
