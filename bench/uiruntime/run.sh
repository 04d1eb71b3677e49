#!/usr/bin/env bash
# Builds the runtime benchmark optimised and prints its figures.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$top"
cmake --preset release >/dev/null
cmake --build --preset release --target uibench >/dev/null
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} build/release/bin/uibench
