#!/usr/bin/env bash
# Checks which room of the library includes which, and that the libraries beneath it are seen only
# where they belong.
#
#   arrows.sh QVL    the folder that holds the rooms
set -euo pipefail

cd "$1"

# The rooms that a room may include beside its own; fails for what is no room. The export macro,
# core/Export.h, is the ground that all stand on.
arrows() {
  case $1 in
    core | xml) ;;
    trace) echo xml ;;
    lookup | avoidance) echo core trace ;;
    dataset) echo core trace avoidance ;;
    *) return 1 ;;
  esac
}

# The only room that may see a header of a library beneath ours; nothing when any may.
owner() {
  case $1 in
    libxml/*) echo xml ;;
    boost/regex* | unicode/*) echo avoidance ;;
  esac
}

status=0
complain() {
  printf '%s\n' "$*"
  status=1
}

rooms=0
for folder in */; do
  room=${folder%/}
  allowed=$(arrows "$room") || complain "$room: expected one of the six rooms"
  rooms=$((rooms + 1))
  while IFS=: read -r file include; do
    case $include in
      qvl/core/Export.h) ;;
      qvl/*)
        other=${include#qvl/}
        [[ " $room $allowed " == *" ${other%%/*} "* ]] ||
          complain "$file includes $include: $room may include ${allowed:-no other room}"
        ;;
      *)
        only=$(owner "$include")
        [[ -z $only || $only == "$room" ]] ||
          complain "$file includes $include: only $only may"
        ;;
    esac
  done < <(grep -rEo '^ *# *include *["<][^">]+' "$room" | sed -E 's/ *# *include *["<]//')
done
[[ $rooms == 6 ]] || complain "expected six rooms, found $rooms"
exit "$status"
