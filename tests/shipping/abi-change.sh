# abi-change.sh COMPARE BASELINE LIBRARY SCRATCH: does the comparison notice a change? Against a
# baseline in which an access type has another value it has to fail.
set -eu
compare=$1 baseline=$2 library=$3 scratch=$4
gunzip -c "$baseline" | sed "s/name='AnyAccess' value='3'/name='AnyAccess' value='4'/" |
  gzip >"$scratch/changed.abi.gz"
if told=$(BASELINE=$scratch/changed.abi.gz "$compare" "$library"); then
  echo "expected the comparison to fail for a changed access type, and it passed"
  exit 1
fi
case $told in *AnyAccess*) ;; *)
  printf 'expected the comparison to tell of AnyAccess, and it told\n%s\n' "$told"
  exit 1
  ;;
esac
