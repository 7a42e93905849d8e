# bill.sh INSTALLED BINARY TARGET: does the bill of materials name every library that the binary asks
# the system for, other than the compiler's and the C library's?
set -eu
binary=$1/$2
bill=$1/share/qvlscanavoidance/$3.spdx
failed=0
needed=$(objdump -p "$binary" | sed -n 's/^ *NEEDED *lib\([a-zA-Z+]*\).*/\1/p')
[ "$needed" ] || { echo "expected $binary to need libraries, and found none"; exit 1; }
for library in $needed; do
  case $library in
    c | m | gcc | stdc++ | c++ | asan | ubsan | tsan) continue ;;
    boost) package=Boost ;;
    icuuc | icui | icudata) package=ICU ;;
    xml) package=libxml2 ;;
    *) package=$library ;;
  esac
  if ! awk -v name="$package" -v RS= '
      $0 ~ "^PackageName: " name "\n" && /\nPackageVersion: [0-9]/ { found = 1 }
      END { exit !found }' "$bill"; then
    echo "expected $bill to name $package with its version, because $binary needs lib$library"
    failed=1
  fi
done
exit $failed
