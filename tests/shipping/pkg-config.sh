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
bare_headers "$scratch/bare" "$@"
# What pkg-config tells is quoted for a shell.
eval "found=($(pkg-config --cflags --libs qvlscanavoidance)
  -Wl,-rpath,$(pkg-config --variable=libdir qvlscanavoidance))"
# shellcheck disable=SC2086,SC2154
"$@" $bare "$host" "${found[@]}" -o "$scratch/host"
expect_host_answers "$scratch/host"
