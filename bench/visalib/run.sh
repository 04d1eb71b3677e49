#!/usr/bin/env bash
# Builds the release preset and prints what the I/O trace adds to a simulated query.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release && cmake --build --preset release --target visalib_bench; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
exec build/release/bin/visalib_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-0.25}"
