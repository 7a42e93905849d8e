#!/usr/bin/env bash
# run.sh TESTS FOLDER: runs a module of tests by Debian's Python, with FOLDER for its files. Ends with 77,
# which says "skipped", where Python or a package that the tests need is missing.
set -eu
python=/usr/bin/python3
[[ -x $python ]] || python=$(command -v python3) || {
  echo "skipped: there is no python3"
  exit 77
}
for module in pytest numpy pandas dask distributed; do
  "$python" -c "import $module" 2>/dev/null || {
    echo "skipped: $python has no module $module; ./scripts/install-dependencies test installs it"
    exit 77
  }
done
mkdir -p "$2"
exec "$python" -m pytest -q -p no:cacheprovider --basetemp="$2/tmp" "$1"
