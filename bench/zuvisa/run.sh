#!/usr/bin/env bash
# Builds the release preset and prints the ZU-VISA figures (in-process, simulated instrument).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release zuvisa_bench
exec build/release/bin/zuvisa_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-2}"
