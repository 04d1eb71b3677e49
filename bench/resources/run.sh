#!/usr/bin/env bash
# Builds the resource browser's benchmark optimised and prints its figures.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release && cmake --build --preset release --target browserbench; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} build/release/bin/browserbench
