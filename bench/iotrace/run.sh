#!/usr/bin/env bash
# Builds the release preset and prints how the I/O trace window copes with a full ring.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release iotrace_bench
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} exec build/release/bin/iotrace_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-100000}"
