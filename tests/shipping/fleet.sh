# fleet.sh INSTALLED VERSION SCRATCH: does qvl-fleet find its package and its library, and ask about files?
# Ends with 77, which says "skipped", where Python or what it needs is missing.
set -eu
fleet=$1/bin/qvl-fleet
[ -x "$fleet" ] || { echo "expected the installation to have $fleet"; exit 1; }
missing=$(/usr/bin/python3 -c 'import importlib.util as i
print(*(m for m in ("numpy", "pandas", "dask", "distributed") if not i.find_spec(m)))') || missing=python3
[ -z "$missing" ] || {
  echo "skipped: /usr/bin/python3 does not find $missing"
  exit 77
}
unset QVLPOLICY_LIBRARY PYTHONPATH
export PYTHONDONTWRITEBYTECODE=1
told=$("$fleet" --version)
[ "$told" = "qvl-fleet $2" ] || { echo "expected qvl-fleet $2 and got $told"; exit 1; }
printf '{"path":"/var/lib/dpkg/x","size":%d}\n' 5 5 >"$3/fleet.jsonl"
told=$("$fleet" audit --policy "$1/share/doc/qvlscanavoidance/examples/linux-server.xml" \
  --process '' --workers 1 --format json "$3/fleet.jsonl" |
  /usr/bin/python3 -c 'import json, sys; print(json.load(sys.stdin)["skipped"])')
[ "$told" = "{'files': 2, 'bytes': 10}" ] || {
  echo "expected 2 files of 10 bytes to be skipped, and got $told"
  exit 1
}
