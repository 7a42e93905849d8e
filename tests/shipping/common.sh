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

# bare_flags SCRATCH COMPILER...: the options with which a compiler finds the headers that it always
# finds, except those of Boost, ICU and libxml2.
bare_flags() {
  scratch=$1
  shift
  rm -rf "$scratch"
  "$@" -E -v -x c++ /dev/null 2>&1 >/dev/null |
    sed -n '/^#include <...> search starts here/,/^End of search list/s/^ \(\/.*\)/\1/p' |
    {
      number=0
      printf '%s' '-nostdinc -nostdinc++'
      while read -r folder; do
        number=$((number + 1))
        bare=$scratch/$number
        mkdir -p "$bare"
        find "$folder" -mindepth 1 -maxdepth 1 ! -name boost ! -name unicode ! -name 'libxml*' \
          -exec ln -s {} "$bare" \;
        printf ' -isystem %s' "$bare"
      done
    }
}

# expect_bare FLAGS COMPILER...: with these options the three are really out of reach.
expect_bare() {
  flags=$1
  shift
  for header in boost/version.hpp unicode/uversion.h libxml/xmlversion.h libxml2/libxml/tree.h; do
    # shellcheck disable=SC2086
    if echo "#include <$header>" | "$@" $flags -fsyntax-only -x c++ - 2>/dev/null; then
      echo "expected <$header> to be hidden from the host, and it was found"
      exit 1
    fi
  done
}
