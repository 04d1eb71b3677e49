#!/usr/bin/env bash
# Builds the session-window benchmark optimised and prints its figures, on ZU-VISA's demo bench.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
log=$(mktemp)
config=$(mktemp --suffix=.ini)
trap 'rm -f "$log" "$config"' EXIT
if ! { cmake --preset release && cmake --build --preset release --target windowbench; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
printf '[Bridgelets]\nsim = True\n' >"$config"
ZUVISA_CONFIG=$config QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} build/release/bin/windowbench
