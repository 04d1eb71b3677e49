#!/usr/bin/env bash
# Builds the session-window benchmark optimised and prints its figures, on ZU-VISA's demo bench.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../build-release.sh"
build_release windowbench
config=$(mktemp --suffix=.ini)
trap 'rm -f "$config"' EXIT
printf '[Bridgelets]\nsim = True\n' >"$config"
ZUVISA_CONFIG=$config QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} build/release/bin/windowbench
