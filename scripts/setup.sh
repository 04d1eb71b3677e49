#!/usr/bin/env bash
# One entry point for a fresh Debian 12 machine (run as root):
#   scripts/setup.sh run    install what is missing, build, start talmik on the bundled ZU-VISA
#                           and its demo bench (arguments after "run" go to talmik)
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

# The build lays out a VXIplug&play tree (soft front panels) and a house tree (vxterm, gpterm);
# talmik finds them on a fresh machine through these variables unless the user set their own.
# gpterm is also found on the search path, which gets the house tree's bin at its end.
use_build_frameworks() {
  export VXIPNPPATH="${VXIPNPPATH:-$top/build/dev/vxipnp}"
  export ZUVXIPATH="${ZUVXIPATH:-$top/build/dev/zuvxi}"
  export PATH="${PATH:+$PATH:}$top/build/dev/zuvxi/bin"
}

start_talmik() {
  local program=build/dev/bin/talmik
  use_build_frameworks
  if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$program" "$@"
  fi
  echo "No display: talmik runs on the virtual X display :99."
  echo "To see it: DISPLAY=:99 /usr/bin/import -window root talmik.png"
  exec xvfb-run -n 99 -s "-screen 0 1280x800x24 -ac" "$program" "$@"
}

case "${1:-}" in
  run)
    shift
    install_missing_packages
    build dev
    start_talmik "$@" ;;
  deps)
    install_missing_packages ;;
  test)
    install_missing_packages
    build dev
    ctest --preset dev -j "$jobs" ;;
  *)
    echo "usage: $0 run|test|deps" >&2
    exit 2 ;;
esac
