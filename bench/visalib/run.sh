#!/usr/bin/env bash
# Builds the release preset and prints what the I/O trace adds to a simulated query.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release visalib_bench
exec build/release/bin/visalib_bench "$top/tests/zuvisa/data/bench.yaml" "${1:-0.25}"
