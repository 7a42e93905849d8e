# manual.sh ROOT [QVLCTL]: do the manual pages show what the other documents show?
set -eu
root=$1 qvlctl=${2:-}
failed=0

# The literal block of the EXAMPLES of a page.
example() {
  awk '/^\.Sh EXAMPLES/ { inside = 1 } inside && /^\.Bd/ { show = 1; next }
       /^\.Ed/ { if (show) exit } show' "$root/docs/man/$1" | sed 's/\\e/\\/g'
}

diff <(example qvlscanavoidance.3) "$root/examples/host.cpp" || {
  echo "expected qvlscanavoidance(3) to show examples/host.cpp"
  failed=1
}

diff <(example qvlpolicy.3) "$root/examples/policy_host.c" || {
  echo "expected qvlpolicy(3) to show examples/policy_host.c"
  failed=1
}

# Every attribute that has a row in a table there has an entry in the page.
# shellcheck disable=SC2016
attributes=$(sed -n 's/^| `\([a-z-]*\)` | .* | .* | .*/\1/p' "$root/docs/policy-format.md")
[ "$(echo "$attributes" | wc -l)" -gt 10 ] || {
  echo "expected docs/policy-format.md to list attributes in tables, and found: $attributes"
  failed=1
}
for attribute in $attributes; do
  grep -qx "\.It Cm $attribute" "$root/docs/man/qvl-policy.5" || {
    echo "expected qvl-policy(5) to describe the attribute '$attribute'"
    failed=1
  }
done

if [ "$qvlctl" ]; then
  told=$("$qvlctl" lookup --policy <(example qvl-policy.5) /srv/build/beta/x.o /srv/build/x.o) || true
  expected='excluded  1        /srv/build/beta/x.o
scan      -        /srv/build/x.o'
  [ "$told" = "$expected" ] || {
    printf 'expected the policy in qvl-policy(5) to answer\n%s\nand it answered\n%s\n' \
      "$expected" "$told"
    failed=1
  }
fi
exit $failed
