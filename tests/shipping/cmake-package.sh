# cmake-package.sh INSTALLED SOURCE SCRATCH CMAKE COMPILER...: builds a host that finds the
# installation with find_package, with no header of what the library is built on in reach.
source "$(dirname "$0")/common.sh"
installed=$1 host=$2 scratch=$3 cmake=$4
shift 4
bare_headers "$scratch/bare" "$@"
compiler=$1
shift
rm -rf "$scratch/build"
"$cmake" -S "$(dirname "$0")/host" -B "$scratch/build" -DHOST_SOURCE="$host" \
  -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$* $bare"
"$cmake" --build "$scratch/build"
expect_host_answers "$scratch/build/host"
