# policy-hosts.sh INSTALLED EXAMPLES SCRATCH VERSION CMAKE C_COMPILER COMPILER...: builds the hosts that
# load a policy file, in C++ and in C, each by find_package and by pkg-config, with no header of what
# the library is built on in reach of C++.
source "$(dirname "$0")/common.sh"
installed=$1 examples=$2 scratch=$3 version=$4 cmake=$5 c_compiler=$6
shift 6
compiler=$1

expect_answers() {
  local answer expected='excluded  /var/lib/docker/overlay2/layer
scan      /etc/passwd'
  answer=$("$1" "$examples/linux-server.xml" /var/lib/docker/overlay2/layer /etc/passwd)
  if [ "$answer" != "$expected" ]; then
    printf 'expected %s to answer\n%s\nand it answered\n%s\n' "$1" "$expected" "$answer"
    exit 1
  fi
  if "$1" "$scratch/none.xml" 2>"$scratch/errors"; then
    echo "expected $1 to refuse a file that is not there"
    exit 1
  fi
  grep -q 'none.xml: cannot read it: No such file or directory' "$scratch/errors"
}

rm -rf "$scratch"
mkdir -p "$scratch"
bare_headers "$scratch/bare" "$@"
shift
"$cmake" -S "$(dirname "$0")/policy_host" -B "$scratch/build" -DEXAMPLES="$examples" \
  -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$* $bare" \
  -DCMAKE_C_COMPILER="$c_compiler" -DCMAKE_C_FLAGS="${*/-std=c++17/}"
"$cmake" --build "$scratch/build"
expect_answers "$scratch/build/host-cpp"
expect_answers "$scratch/build/host-c"

export PKG_CONFIG_PATH=$installed/lib64/pkgconfig
told=$(pkg-config --modversion qvlpolicy)
if [ "$told" != "$version" ]; then
  echo "expected pkg-config to tell version $version, and it told $told"
  exit 1
fi
# What pkg-config tells is quoted for a shell.
eval "found=($(pkg-config --cflags --libs qvlpolicy)
  -Wl,-rpath,$(pkg-config --variable=libdir qvlpolicy))"
# shellcheck disable=SC2086,SC2154
"$compiler" "$@" $bare "$examples/policy_host.cpp" "${found[@]}" -o "$scratch/by-pkg-config-cpp"
expect_answers "$scratch/by-pkg-config-cpp"
# shellcheck disable=SC2154
"$c_compiler" "${@/-std=c++17/-std=c99}" "$examples/policy_host.c" "${found[@]}" \
  -o "$scratch/by-pkg-config-c"
expect_answers "$scratch/by-pkg-config-c"
