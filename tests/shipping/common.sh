# What the checks of an installation share; sourced by them.
set -eu

# Is the program HOST the host of examples/, and does it work?
expect_host_answers() {
  answer=$("$1" /var/cache/apt/pkgcache.bin /var/log/syslog)
  expected='excluded  /var/cache/apt/pkgcache.bin
scan      /var/log/syslog'
  if [ "$answer" != "$expected" ]; then
    printf 'expected the host to answer\n%s\nand it answered\n%s\n' "$expected" "$answer"
    exit 1
  fi
}

# The options of a compiler that finds headers only where bare_headers says.
bare='-nostdinc -nostdinc++'

# bare_headers FOLDER COMPILER...: has that compiler find the headers that it always finds, except
# those of Boost, ICU and libxml2, and makes sure that the three are really out of reach.
bare_headers() {
  local folders=$1 number=0 folder header
  shift
  rm -rf "$folders"
  # By the environment, where folders may have spaces in their names.
  CPLUS_INCLUDE_PATH=$("$@" -E -v -x c++ /dev/null 2>&1 >/dev/null |
    sed -n '/^#include <...> search starts here/,/^End of search list/s/^ \(\/.*\)/\1/p' |
    {
      while read -r folder; do
        number=$((number + 1))
        mkdir -p "$folders/$number"
        find "$folder" -mindepth 1 -maxdepth 1 ! -name boost ! -name unicode ! -name 'libxml*' \
          -exec ln -s {} "$folders/$number" \;
        printf '%s:' "$folders/$number"
      done
    })
  export CPLUS_INCLUDE_PATH=${CPLUS_INCLUDE_PATH%:}
  for header in boost/version.hpp unicode/uversion.h libxml/xmlversion.h libxml2/libxml/tree.h; do
    # shellcheck disable=SC2086
    if echo "#include <$header>" | "$@" $bare -fsyntax-only -x c++ - 2>/dev/null; then
      echo "expected <$header> to be hidden from the host, and it was found"
      exit 1
    fi
  done
}
