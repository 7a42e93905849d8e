#!/usr/bin/env bash
# root.sh QVL-ONACCESS PROGRAMS: the host that watches the file system of /: that of a small system of
# its own, with nothing on it but what is needed here. FILE_SYSTEM: tmpfs (the default) or btrfs.
#
# Separated from everything else like real.sh. Nothing outside ever waits for the host, and whatever
# happens, all of it is killed after a while.
# shellcheck disable=SC2317 # functions that check() calls
set -euo pipefail
[[ ${1:-} == --in-root ]] || self=$(realpath "${BASH_SOURCE[0]}")

skip() {
  echo "skipped: $1"
  exit 77
}

if [[ ${1:-} != --inside && ${1:-} != --in-root ]]; then
  [[ $(id -u) == 0 ]] || skip "permission events need root"
  unshare --mount --pid --fork --mount-proc true 2>/dev/null ||
    skip "this system gives no mount and process namespaces"
  work=$(mktemp -d "${TMPDIR:-/tmp}/qvl-onaccess.XXXXXX")
  trap 'rmdir "$work"' EXIT
  status=0
  timeout --signal KILL 60 unshare --mount --pid --fork --kill-child --propagation private \
    bash "${BASH_SOURCE[0]}" --inside "$work" "$@" || status=$?
  exit "$status"
fi

if [[ $1 == --inside ]]; then
  work=$2 host=$3 programs=$4
  mount -t tmpfs none "$work"
  if [[ ${FILE_SYSTEM:-} == btrfs ]]; then
    truncate --size 512M "$work/image"
    mkdir "$work/root"
    { mkfs.btrfs -q "$work/image" >/dev/null && mount -o loop "$work/image" "$work/root"; } ||
      skip "this system makes and mounts no btrfs"
    work=$work/root
    btrfs -q subvolume create "$work/home"
    mount -o subvol=home "$(findmnt --noheadings --output SOURCE "$work")" "$work/home"
  fi
  cd "$work"
  mkdir -p old proc run dev srv/{build,other} tmp
  copy() {
    local library
    for library in "$1" $(ldd "$1" | grep -o '/[^ ]*'); do
      mkdir -p ".$(dirname "$library")"
      cp --dereference "$library" ".$library"
    done
  }
  for program in "$host" "$programs"/{scripted-clamd,open-load} /bin/bash \
    "$(command -v cat)" "$(command -v cp)" "$(command -v grep)" "$(command -v sleep)" \
    "$(command -v mv)"; do
    copy "$program"
  done
  cp "$self" root.sh
  mount -t proc none proc
  mount -t tmpfs none run
  mount --rbind /dev dev
  pivot_root . old
  cd /
  exec /bin/bash /root.sh --in-root "$host" "$programs" <dev/null
fi

# From here on / is the small system.
host=$2 programs=$3 failed=0
check() {
  local text=$1
  shift
  if "$@"; then
    echo "ok      $text"
  else
    echo "FAILED  $text"
    failed=1
  fi
}
quietly() { "$@" >/dev/null; }
opens() { (: <"$1") 2>/dev/null; }
denied() { ! (: <"$1") 2>/dev/null; }
eventually() {
  for ((i = 0; i < 100; ++i)); do
    "$@" && return
    sleep 0.05
  done
  return 1
}
write_policy() {
  echo "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='folder'><rule>$1</rule></data-set></exclusion-policy>" >/policy.new
  mv /policy.new /policy.xml
}
status() { "$host" status --control /run/control 2>/dev/null; }
answers() { quietly status; }

for folder in build other; do
  echo clean >"/srv/$folder/clean"
  echo TEST-VIRUS >"/srv/$folder/virus"
done
write_policy /srv/build/
if [[ -d /home ]]; then
  # Files there have a device of their own, but it is the file system of /.
  refused=$("$host" --policy /policy.xml --mount /home --scanner unix:/run/clamd.ctl \
    --control /run/control 2>&1) || true
  check "a subvolume of it without confirmation is refused" \
    grep -q 'this is the file system of /' <<<"$refused"
fi
"$programs/scripted-clamd" /run/clamd.ctl &
"$host" --policy /policy.xml --mount / --confirm-root --fail-closed / --scanner unix:/run/clamd.ctl \
  --control /run/control --metrics /run/metrics --metrics-every 1 2>/run/log &
host_process=$!
check "the host starts and answers" eventually answers
check "which is a program of that file system" quietly status
check "a clean file opens" opens /srv/other/clean
check "an infected file is denied" denied /srv/other/virus
check "and opens where it is excluded" opens /srv/build/virus
cp /srv/other/clean /srv/other/program
check "programs are started" quietly cat /srv/other/clean
write_policy /srv/other/
check "the policy is read from there" quietly "$host" reload --control /run/control
check "and holds" opens /srv/other/virus
check "the one before does not" denied /srv/build/virus
check "the host's own opens were let pass" grep -q 'own: ' <(status)
check "under load" "$programs/open-load" 2 4 +/srv/other/virus -/srv/build/virus +/srv/build/clean
check "the metrics are written elsewhere" eventually grep -q opens_total /run/metrics
check "nothing waits" grep -q 'now: 0 opens wait' <(status)
kill "$host_process"
wait "$host_process" || failed=1
check "everything opens once the host has ended" opens /srv/build/virus
[[ $failed == 0 ]] || cat /run/log
exit "$failed"
