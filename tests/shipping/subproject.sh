# subproject.sh SOURCETREE HOST SCRATCH CMAKE COMPILER FLAGS LAUNCHER SETTING...: builds a host inside a
# build that takes the library's source tree in, once with add_subdirectory and once with FetchContent.
# FLAGS are those of the parent; LAUNCHER, a list as CMake has them, is put before the compiler.
source "$(dirname "$0")/common.sh"
tree=$1 host=$2 scratch=$3 cmake=$4 compiler=$5 own_flags=$6 launcher=$7
shift 7
rm -rf "$scratch"
for way in add_subdirectory FetchContent; do
  rm -f "$scratch/CMakeCache.txt" "$scratch/host"
  "$cmake" -S "$(dirname "$0")/parent" -B "$scratch" -DWAY=$way -DQVL_SOURCE="$tree" \
    -DHOST_SOURCE="$host" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$own_flags" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" "${@/#/-D}"
  "$cmake" --build "$scratch" --parallel 2
  expect_host_answers "$scratch/host"

  flags=$(grep -- '-o [^ ]*host\.cpp\.o' "$scratch/compile_commands.json") || {
    echo "expected $scratch/compile_commands.json to tell how the host is compiled"
    exit 1
  }
  if grep -E -- ' -(W|f)' <<<"${flags//"$own_flags"/}"; then
    echo "expected a host that takes the library in by $way to keep its own flags"
    exit 1
  fi
  "$cmake" --install "$scratch" --prefix "$scratch/installed"
  if [ -e "$scratch/installed" ]; then
    echo "expected the parent to install nothing of the library, and it did:"
    find "$scratch/installed"
    exit 1
  fi
  if ! ctest --test-dir "$scratch" -N | grep -q '^Total Tests: 0$'; then
    echo "expected the parent to run no test of the library, and it does:"
    ctest --test-dir "$scratch" -N
    exit 1
  fi
done
