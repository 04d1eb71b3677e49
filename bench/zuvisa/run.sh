#!/usr/bin/env bash
# Builds the release preset and prints the ZU-VISA figures (in-process, simulated instrument).
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
cmake --preset release >/dev/null
cmake --build --preset release --target zuvisa_bench >/dev/null
exec build/release/bin/zuvisa_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-2}"
