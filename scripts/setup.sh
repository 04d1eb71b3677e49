#!/usr/bin/env bash
# One entry point for a fresh Debian 12 machine (run as root):
#   scripts/setup.sh test   install what is missing, build, run the whole test suite
#   scripts/setup.sh deps   only install what is missing
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

install_missing_packages() {
  local wanted missing=()
  mapfile -t wanted < <(grep -v -E '^\s*(#|$)' scripts/debian-packages.txt)
  for p in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    apt-get install -y -q --no-install-recommends "${missing[@]}"
  fi
}

build() {
  local preset=$1
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
}

jobs=$(nproc 2>/dev/null || echo 2)

case "${1:-}" in
  deps)
    install_missing_packages ;;
  test)
    install_missing_packages
    build dev
    ctest --preset dev -j "$jobs" ;;
  *)
    echo "usage: $0 test|deps" >&2
    exit 2 ;;
esac
