# abi-change.sh COMPARE BASELINE LIBRARY CHANGES SCRATCH: does the comparison notice a change? Against
# a baseline that differs in what a host relies on it has to fail, and say where. CHANGES is a file of
# calls of `notices`.
set -eu
compare=$1 baseline=$2 library=$3 changes=$4 scratch=$5
mkdir -p "$scratch"
gunzip -c "$baseline" >"$scratch/baseline.abi"

# notices EXPRESSION TEXT: against what sed's EXPRESSION makes of the baseline the comparison fails,
# and tells of TEXT.
notices() {
  sed "$1" "$scratch/baseline.abi" >"$scratch/changed.abi"
  if cmp -s "$scratch/baseline.abi" "$scratch/changed.abi"; then
    echo "expected the baseline to hold what '$1' changes"
    exit 1
  fi
  gzip -c "$scratch/changed.abi" >"$scratch/changed.abi.gz"
  if told=$(BASELINE=$scratch/changed.abi.gz "$compare" "$library" 2>&1); then
    echo "expected the comparison to fail after '$1', and it passed"
    exit 1
  fi
  case $told in *"$2"*) ;; *)
    printf "expected the comparison to tell of %s after '%s', and it told\n%s\n" "$2" "$1" "$told"
    exit 1
    ;;
  esac
}

# in_class CLASS EXPRESSION: the expression, kept to the class, which ends where its indentation does.
in_class() { echo "/^      <class-decl name='$1'/,/^      <\/class-decl>/ $2"; }

# shellcheck source=/dev/null
. "$changes"
