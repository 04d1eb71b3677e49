#!/usr/bin/env bash
# Builds the release preset and prints the LAN figures and their ratios (loopback, zusimd).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release lan_bench zusimd zuvisa_tcpip_module
exec /usr/bin/python3 "$top/bench/lan/run.py" build/release/bin "$top/tests/zuvisa/data/lan.yaml"
