# Shared by the scripts beside it: where the project is, how they speak, how they build. Sourced, never run.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

say() { printf '== %s\n' "$*"; }
die() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 2; }

# quietly <log file> <command...>: the command's output goes to the log and is shown only when the command fails.
quietly() {
  local log=$1
  shift
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 || { local status=$?; cat "$log"; return "$status"; }
}

# build_preset <preset> [target...]: configures and builds build/<preset>, all targets unless some are named.
# The array cmake_options, which a script may set, is handed to the configuration.
cmake_options=()
build_preset() {
  local preset=$1
  shift
  say "building preset $preset"
  quietly "build/logs/$preset-configure.log" cmake --preset "$preset" "${cmake_options[@]}" &&
    quietly "build/logs/$preset-build.log" cmake --build --preset "$preset" ${1:+--target "$@"}
}
