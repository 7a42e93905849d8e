# pkg-config.sh INSTALLED SOURCE SCRATCH VERSION COMPILER...: builds a host that finds the
# installation with pkg-config, with no header of what the library is built on in reach.
source "$(dirname "$0")/common.sh"
installed=$1 host=$2 scratch=$3 version=$4
shift 4
export PKG_CONFIG_PATH=$installed/lib64/pkgconfig
told=$(pkg-config --modversion qvlscanavoidance)
if [ "$told" != "$version" ]; then
  echo "expected pkg-config to tell version $version, and it told $told"
  exit 1
fi
flags=$(bare_flags "$scratch/bare" "$@")
expect_bare "$flags" "$@"
# shellcheck disable=SC2046,SC2086
"$@" $flags "$host" $(pkg-config --cflags --libs qvlscanavoidance) \
  "-Wl,-rpath,$(pkg-config --variable=libdir qvlscanavoidance)" -o "$scratch/host"
expect_host_answers "$scratch/host"
