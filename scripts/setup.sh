#!/usr/bin/env bash
# Installs what a fresh Debian machine needs to build and test the project.
# Safe to run again: it only installs packages that are missing.
set -euo pipefail
need=()
have() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
for pkg in g++ cmake ninja-build libgtest-dev libbenchmark-dev clang libclang-rt-14-dev; do
  have "$pkg" || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
  echo "setup: installing ${need[*]}" >&2
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}" >/dev/null
fi

# --- Diagrams and DBML (dot, svg, mermaid, dbml formats) ---------------------
# Build: libgraphviz-dev and pkg-config (the svg format links Graphviz's
# library). Tests only: graphviz (the dot program), chromium (renders
# Mermaid headless), node with npm, and the pinned npm packages of tests/js.
diagram_need=()
for pkg in pkg-config libgraphviz-dev graphviz chromium; do
  have "$pkg" || diagram_need+=("$pkg")
done
command -v node >/dev/null && command -v npm >/dev/null || diagram_need+=(nodejs npm)
if [ ${#diagram_need[@]} -gt 0 ]; then
  echo "setup: installing ${diagram_need[*]}" >&2
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
    "${diagram_need[@]}" >/dev/null
fi
js_dir="$(cd "$(dirname "$0")/.." && pwd)/tests/js"
# npm ci only when the lock file changed since the last install.
if ! cmp -s "$js_dir/package-lock.json" "$js_dir/node_modules/.package-lock-installed" 2>/dev/null; then
  echo "setup: installing the npm packages of tests/js" >&2
  npm ci --prefix "$js_dir" --no-audit --no-fund >/dev/null
  cp "$js_dir/package-lock.json" "$js_dir/node_modules/.package-lock-installed"
fi
