# What the scripts share; sourced by them. Keeps to what bash 3.2, that of macOS, understands.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(getconf _NPROCESSORS_ONLN)

say() { printf '==> %s\n' "$*" >&2; }

# fail LINE...: tells what is wrong and ends the script.
fail() {
  printf '%s: %s\n' "${0##*/}" "$1" >&2
  shift
  [[ $# == 0 ]] || printf '%s\n' "$@" >&2
  exit 2
}

# build_preset PRESET [TARGET]: configures a preset of CMakePresets.json and builds it, or one target
# of it, in build-PRESET.
build_preset() {
  local preset=$1 options=()
  [[ ! -d $root/build-$preset || -w $root/build-$preset ]] ||
    fail "cannot write to $root/build-$preset: it belongs to another user. Remove it and try again."
  ! command -v ccache >/dev/null || options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  # Homebrew keeps these two away from the places where CMake looks.
  ! command -v brew >/dev/null ||
    options+=("-DCMAKE_PREFIX_PATH=$(brew --prefix icu4c);$(brew --prefix libxml2)")
  say "Building $preset in $root/build-$preset"
  cmake -S "$root" --preset "$preset" ${options[@]+"${options[@]}"}
  cmake --build "$root/build-$preset" --parallel "$jobs" ${2:+--target "$2"}
}
