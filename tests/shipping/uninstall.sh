# uninstall.sh CMAKE BUILD SCRATCH: installs as a package builder does, below DESTDIR, into a prefix
# of its own; again over it; and removes the installation.
set -eu
cmake=$1 build=$2 stage=$3
prefix=/opt/a\ prefix
home=$stage$prefix
rm -rf "$stage"

fail() {
  printf 'expected %s\n' "$1"
  find "$stage"
  exit 1
}
install() { DESTDIR=$stage "$cmake" --install "$build" --prefix "$prefix" >/dev/null; }

install
[ "$(ls "$stage")" = opt ] || fail "everything to be below the prefix"
[ -d "$home/var" ] || fail "a folder for the trace file"
grep -q '<ScanAvoidanceFlow>0<' "$home/config/traceValues.xml" || fail "tracing to be off"

echo changed >"$home/config/traceValues.xml"
echo kept >"$home/var/ScanAvoidanceTraces.log"
echo foreign >"$home/include/foreign.h"
# What Python leaves behind when it runs.
fleet=$home/lib/python3/dist-packages/qvlscanavoidance/fleet
if [ -d "$fleet" ]; then
  mkdir -p "$fleet/__pycache__"
  echo compiled >"$fleet/__pycache__/x.pyc"
fi
install
[ "$(cat "$home/config/traceValues.xml")" = changed ] ||
  fail "a second installation to leave the trace configuration as it was set"

# Moved, it still removes its own folder's files.
moved=$stage/moved
mv "$home" "$moved"
"$moved/share/qvlscanavoidance/uninstall"
left=$(cd "$moved" && find . ! -type d | sort | tr '\n' ' ')
[ "$left" = './config/traceValues.xml ./include/foreign.h ./var/ScanAvoidanceTraces.log ' ] ||
  fail "three files to be left, which are not the installation's, and found: $left"

install
echo kept >"$home/var/ScanAvoidanceTraces.log"
"$home/share/qvlscanavoidance/uninstall" --purge
[ -z "$(ls -A "$home")" ] || fail "nothing to be left in the prefix"
