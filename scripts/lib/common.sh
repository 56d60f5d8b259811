# shellcheck shell=bash
# What the scripts share; sourced, never run.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
jobs=$(nproc 2>/dev/null || echo 2)

say() { printf '%s\n' "$*"; }

# logged LOG COMMAND...: runs the command quietly; its output is shown when it fails.
logged() {
  local log=$1
  shift
  mkdir -p "$(dirname "$log")"
  if ! "$@" >"$log" 2>&1 </dev/null; then
    grep -vE '^\[[0-9]+/[0-9]+\] ' "$log" >&2 # without the steps that succeeded
    return 1
  fi
}

# tracked_files [PATHSPEC...]: the files under version control, as they stand now, each ended by a null.
tracked_files() { comm -z -23 <(git ls-files -z -- "$@" | sort -z) <(git ls-files -z --deleted | sort -z); }

# configure PRESET [ARGUMENT...]
configure() { logged "build/log/$1-configure" cmake --preset "$@"; }

# build PRESET [TARGET...]: all targets where none is named.
build() {
  local preset=$1
  shift
  local targets=()
  if [[ $# -gt 0 ]]; then
    targets=(--target "$@")
  fi
  logged "build/log/$preset-build" cmake --build "build/$preset" -j "$jobs" "${targets[@]}"
}
