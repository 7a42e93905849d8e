# headers.sh FOLDER COMPILER...: compiles every installed header by itself, against the standard
# library only.
set -eu
include=$1/include
shift
failed=0
while read -r header; do
  read_files=$("$@" -I "$include" -fsyntax-only -x c++ -M "$header") || failed=1
  if printf '%s' "$read_files" | grep -E 'include/(boost|unicode|libxml|libxml2)/'; then
    echo "expected $header to need the standard library only"
    failed=1
  fi
done < <(find "$include" -name '*.h')
exit $failed
