#!/usr/bin/env bash
# Builds the runtime benchmark optimised and prints its figures.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release uibench
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} build/release/bin/uibench
