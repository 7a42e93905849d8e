# rooms.sh ROOT: does each room of the library include only what it may?
set -eu
cd "$1"
failed=0

# may ROOM PATTERN: each include line of the room, other than of its own files and of the standard
# library, matches the pattern.
may() {
  room=$1 allowed=$2
  found=$(grep -rhoE '#include ["<][a-z0-9]+/[^">]*' "qvl/$room" | sed 's/#include .//' |
    grep -vE "^(qvl/$room/|sys/)" | sort -u)
  others=$(printf '%s\n' "$found" | grep -vE "^($allowed)" | grep . || true)
  if [ "$others" ]; then
    printf 'expected %s to include nothing but %s, and it includes\n%s\n' "$room" "$allowed" "$others"
    failed=1
  fi
}

export_macro='qvl/core/Export\.h$'
may core 'boost/thread/'
may xml "$export_macro|libxml/"
may trace "$export_macro|qvl/xml/"
may match "$export_macro|boost/|unicode/"
may avoidance 'qvl/core/|qvl/trace/|qvl/match/|boost/(algorithm|locale)/'
may dataset 'qvl/core/|qvl/trace/|qvl/match/|qvl/avoidance/'
may lookup 'qvl/core/|qvl/trace/|qvl/dataset/DataSetView\.h$'

# Hosts see of the library its public headers.
others=$(grep -rhoE '#include ["<]qvl/[^">]*' hosts | grep -v '<qvl/qvl\.h$' | sort -u || true)
if [ "$others" ]; then
  printf 'expected hosts to include nothing of the library but <qvl/qvl.h>, and they include\n%s\n' \
    "$others"
  failed=1
fi

# What the interface of a rule cannot say, and an index needs.
needed='(FileTypeAvoidance|RuleView)\.h$'
others=$(grep -rhoE 'qvl/avoidance/[^"]*' qvl/dataset | sort -u | grep -vE "/$needed" || true)
if [ "$others" ]; then
  printf 'expected dataset to include of avoidance nothing but %s, and it includes\n%s\n' \
    "$needed" "$others"
  failed=1
fi
exit $failed
