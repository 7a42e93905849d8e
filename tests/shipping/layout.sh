# layout.sh FOLDER LIBRARY SONAME LINKNAME POLICY TOOLS SOURCES: is everything where the product keeps it?
# POLICY is 1 when the policy library is built, else 0; TOOLS likewise of the tools.
set -eu
cd "$1"
failed=0
expect() {
  test "$1" "$2" || { echo "expected of the installation: test $1 $2"; failed=1; }
}
expect -f "lib64/$2"
expect -L "lib64/$3"
expect -L "lib64/$4"
expect -f include/qvl/qvl.h
expect -f config/traceValues.xml
expect -d var
expect -f share/man/man3/qvlscanavoidance.3
expect -f share/man/man5/qvl-trace.5
if [ "$5" = 1 ]; then
  expect -f include/qvlpolicy/Policy.h
  expect -f include/qvlpolicy/qvlpolicy.h
  expect -f share/qvlpolicy/policy.rng
  expect -f share/man/man3/qvlpolicy.3
  expect -f share/man/man5/qvl-policy.5
  expect -x bin/qvl-fleet
  expect -f lib/python3/dist-packages/qvlscanavoidance/fleet/__main__.py
  expect -f share/man/man1/qvl-fleet.1
fi
for name in LICENSE README.md SECURITY.md CHANGELOG.md examples/host.cpp examples/linux-server.xml; do
  expect -f "share/doc/qvlscanavoidance/$name"
done
for document in "$7"/docs/*.md; do
  expect -f "share/doc/qvlscanavoidance/docs/${document##*/}"
done
if [ "$6" = 1 ]; then
  expect -f share/man/man1/qvlctl.1
  expect -f share/bash-completion/completions/qvlctl
  expect -f share/zsh/site-functions/_qvlctl
  # What the program's messages point to: manual pages, and documents whose folder one of them names.
  texts() { grep -rhoE '"[^"]*"' "$7/tools/qvlctl" "$7/qvlpolicy" --include='*.cpp'; }
  pages=$(texts "$@" | grep -oE '\bqvl[-a-z]*\([1-8]\)' | sort -u)
  [ -n "$pages" ] || { echo "expected messages that point to manual pages"; failed=1; }
  for page in $pages; do
    section=${page#*\(} name=${page%\(*}
    expect -f "share/man/man${section%)}/$name.${section%)}"
  done
  ! texts "$@" | grep -E 'docs/' || { echo "expected messages to name what is found everywhere"; failed=1; }
  documents=$(texts "$@" | grep -oE '\b[-a-z]+\.md\b' | sort -u)
  [ -n "$documents" ] || { echo "expected messages that point to documents"; failed=1; }
  named=$(sed -n 's/^\.It Pa \(share\/.*\)\/$/\1/p' share/man/man1/qvlctl.1)
  for folder in $named; do
    expect -d "$folder"
  done
  for document in $documents $(sed -n 's/^\.Pa \([-a-z]*\.md\).*/\1/p' share/man/man1/qvlctl.1); do
    found=0
    for folder in $named; do [ ! -f "$folder/$document" ] || found=1; done
    [ $found = 1 ] || { echo "expected $document in a folder that qvlctl(1) names"; failed=1; }
  done
fi
exit $failed
