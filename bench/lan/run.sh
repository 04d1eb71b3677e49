#!/usr/bin/env bash
# Builds the release preset and prints the LAN figures and their ratios (loopback, zusimd).
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
cmake --preset release >/dev/null
cmake --build --preset release --target lan_bench zusimd zuvisa_tcpip_module >/dev/null
exec /usr/bin/python3 "$top/bench/lan/run.py" build/release/bin "$top/tests/zuvisa/data/lan.yaml"
