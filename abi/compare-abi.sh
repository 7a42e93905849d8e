#!/usr/bin/env bash
# Compares the binary interface of a build with that of the last release.
#
#   abi/compare-abi.sh LIBRARY                     fails when a host would notice the difference
#   abi/compare-abi.sh LIBRARY --update HEADERS    takes the build for the new baseline, at a release
#
# The library has to carry debug information. HEADERS is the folder of the installed headers: types
# that they do not show stay out of the baseline. That is the engine's, baseline.abi.gz beside this
# script, unless BASELINE names another one.
set -euo pipefail
library=$1
folder=$(dirname "${BASH_SOURCE[0]}")
suppressions=$folder/suppressions.ini
baseline=${BASELINE:-$folder/baseline.abi.gz}

if [[ ${2:-} == --update ]]; then
  # The paths of the sources say nothing about the interface.
  abidw --headers-dir "$3" --drop-private-types --suppressions "$suppressions" \
    --exported-interfaces-only --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed \
    --no-parameter-names "$library" |
    sed -E "s,path='[^']*/(qvl(policy)?/[^']*)',path='\1'," | gzip -9n >"$baseline"
  exit
fi

readelf --sections "$library" | grep -q '\.debug_info' || {
  echo "expected debug information in $library, and there is none" >&2
  exit 2
}
unpacked=$(mktemp --suffix=.abi)
trap 'rm -f "$unpacked"' EXIT
gunzip -c "$baseline" >"$unpacked"
# Additions break nobody; the lists of symbols record them.
compare() {
  abidiff --suppressions "$suppressions" --exported-interfaces-only --no-added-syms \
    --no-show-locs "$@" "$unpacked" "$library"
}
# The full report can leave out the very cause, as told already; that of leaf changes has it.
compare >/dev/null || {
  compare --leaf-changes-only || true
  echo "The binary interface differs from the last release: docs/abi.md says what follows." >&2
  exit 1
}
