#!/usr/bin/env bash
# Builds the release preset and prints how the I/O trace window copes with a full ring.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release && cmake --build --preset release --target iotrace_bench; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} exec build/release/bin/iotrace_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-100000}"
