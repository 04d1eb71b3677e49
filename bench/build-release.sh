# Sourced by the bench scripts: goes to the source tree ($top) and gives build_release, which
# builds targets of the release preset quietly and shows the build's output only when it fails.
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

build_release() {
  local log
  log=$(mktemp)
  if ! { cmake --preset release && cmake --build --preset release --target "$@"; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}
