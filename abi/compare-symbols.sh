#!/usr/bin/env bash
# Compares what a build of the library exports with the list that was agreed on.
#
#   abi/compare-symbols.sh LIBRARY             fails when the two differ
#   abi/compare-symbols.sh LIBRARY --update    makes the list anew
#
# A symbol that goes is a break: the major version moves with it. One that comes is an addition to
# the interface for as long as the major version lasts. The list is that of the engine, symbols.txt
# beside this script, unless LIST names another one.
set -euo pipefail
library=$1
list=${LIST:-$(dirname "${BASH_SOURCE[0]}")/symbols.txt}

exported() {
  # Of the columns address, kind and name the last, without the version, behind which llvm-nm would
  # not read a name; kind A is that of versions.
  "${NM:-nm}" --dynamic --defined-only "$library" | grep -v '^[0-9a-f]* A ' |
    sed -E 's/^[0-9a-f]+ . //
      s/@@?QVL_[0-9]+$//' |
    c++filt |
    sed -E 's/\[abi:cxx11\]//
      s/std::__cxx11::/std::/g
      s/std::basic_string<(wchar_|cha)([tr]), std::char_traits<\1\2>, std::allocator<\1\2> >/std::basic_string<\1\2>/g
      s/std::basic_string<char>/std::string/g
      s/std::basic_string<wchar_t>/std::wstring/g' |
    LC_ALL=C sort -u
}

found=$(exported) || {
  echo "expected '${NM:-nm}' and c++filt to list the symbols of $library" >&2
  exit 1
}
if [[ ${2:-} == --update ]]; then
  printf '%s\n' "$found" >"$list"
elif ! diff "$list" - <<<"$found"; then
  echo "The exported symbols (>) differ from $list (<)." \
    "If that is meant: ${BASH_SOURCE[0]} $library --update" >&2
  exit 1
fi
