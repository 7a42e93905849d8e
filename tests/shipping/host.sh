# host.sh SOURCE FOLDER SCRATCH COMPILER...: builds a host against an installation and asks it.
source "$(dirname "$0")/common.sh"
host=$1 installed=$2 scratch=$3
shift 3
"$@" -Wall -Wextra -Werror -I "$installed/include" -MD -MF "$scratch/host.d" "$host" \
  -L "$installed/lib64" -lqvlscanavoidance "-Wl,-rpath,$installed/lib64" -o "$scratch/host"

# One include gives every header that is installed.
included=$(grep -o 'include/qvl/[A-Za-z/]*\.h' "$scratch/host.d" | sed 's,include/,,' | sort)
present=$(cd "$installed/include" && find qvl -name '*.h' | sort)
if [ "$included" != "$present" ]; then
  echo "expected <qvl/qvl.h> to include exactly the installed headers; included (<), installed (>):"
  diff <(echo "$included") <(echo "$present")
  exit 1
fi

expect_host_answers "$scratch/host"
