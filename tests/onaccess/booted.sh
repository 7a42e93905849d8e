#!/usr/bin/env bash
# The package of qvl-onaccess in a system that systemd has booted, with Debian's clamd and a tmpfs at
# /data: what its unit does. Run by systemd there, from scripts/check-packages; writes its findings into
# `told` beside it, where the package lies, too.
# shellcheck disable=SC2317 # functions that check() calls
set -uo pipefail
cd "$(dirname "$0")" || exit
exec >told 2>&1
export SYSTEMD_PAGER='' SYSTEMD_COLORS=0

check() {
  local text=$1
  shift
  if "$@"; then echo "ok      $text"; else echo "FAILED  $text"; fi
}
opens() { (: <"$1") 2>/dev/null; }
denied() {
  local words
  ! words=$( (: <"$1") 2>&1) && [[ $words == *'not permitted'* ]]
}
# eventually COMMAND...: within a minute?
eventually() {
  for _ in $(seq 600); do
    "$@" && return
    sleep 0.1
  done
  return 1
}
fails() { ! "$@" >/dev/null 2>&1; }
of_unit() { systemctl show --value --property "$1" qvl-onaccess; }
journal() { journalctl --unit qvl-onaccess --output cat --no-pager "$@"; }
told() { journal | grep -q -- "$1"; }
told_as_error() { journal --priority err | grep -q -- "$1"; }
# works: is everything as it should be?
works() { opens /data/clean && denied /data/virus && opens /data/build/virus; }
# ends_by SIGNAL RESULT: what systemd then calls it. starts_again: by itself?
ends_by() {
  before=$(of_unit MainPID)
  kill -"$1" "$before"
  eventually eval "[[ \$(of_unit Result) == $2 ]]"
}
starts_again() { eventually eval "[[ \$(of_unit ActiveState) == active && \$(of_unit MainPID) != $before ]]"; }

mkdir -p /data/build /etc/systemd/system/clamav-daemon.{service,socket}.d
echo clean >/data/clean
echo TEST-VIRUS | tee /data/virus >/data/build/virus
# Debian's units ask for the usual database; here is one of a single signature.
printf 'Test.Virus:0:*:%s\n' "$(printf 'TEST-VIRUS' | od -An -tx1 | tr -d ' \n')" >/var/lib/clamav/test.ndb
printf '[Unit]\nConditionPathExistsGlob=\n' | tee /etc/systemd/system/clamav-daemon.{service,socket}.d/try.conf \
  >/dev/null
systemctl daemon-reload
systemctl start clamav-daemon
write_policy() {
  echo "<exclusion-policy version='1'><logic>1</logic>
<data-set number='1' kind='folder'><rule>$1</rule></data-set></exclusion-policy>" >/etc/policy.xml
}
configure() { printf '%s\n' "$@" >/etc/qvl-onaccess.conf; }
enough=('policy = /etc/policy.xml' 'mount = /data' 'scanner = unix:/run/clamav/clamd.ctl'
  'metrics = /run/qvl-onaccess/metrics.prom')
write_policy /data/build/
configure "${enough[@]}"

echo "--- $(systemctl --version | head -n 1), Linux $(uname -r), $(clamd --version)"
# Its manual page cannot be looked for: a system this small has no man.
verifies() { [[ -z $(systemd-analyze verify --man=no qvl-onaccess.service 2>&1) ]]; }
check "nothing is wrong with the unit" verifies
systemd-analyze security --no-pager qvl-onaccess.service | tail -n 1
check "it is not enabled by the package" fails systemctl is-enabled qvl-onaccess
check "it starts" systemctl start qvl-onaccess
check "clean files open, infected ones do not, and excluded ones do" works
keeps_capabilities() {
  # CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE and CAP_LEASE.
  [[ $(sed -n 's/^CapPrm:[[:space:]]*//p' "/proc/$(of_unit MainPID)/task"/*/status | sort -u) == 0000000010080004 ]]
}
check "no thread keeps more capabilities than it needs" keeps_capabilities
writes_nothing_else() { ! nsenter --target "$(of_unit MainPID)" --mount touch /etc/x 2>/dev/null; }
check "it can write nowhere else" writes_nothing_else
check "its metrics are written" eventually grep -qs '^qvl_onaccess_answers_total{answer="deny"} [1-9]' \
  /run/qvl-onaccess/metrics.prom
mounts_go() { mount -t tmpfs none /data/build && umount /data/build; }
check "what is mounted below it can be unmounted" mounts_go

echo "--- reload"
write_policy /data/virus/
check "systemctl reload" systemctl reload qvl-onaccess
check "and the policy holds" denied /data/build/virus
write_policy ''
check "a wrong policy fails it" fails systemctl reload qvl-onaccess
check "with its errors" eventually told_as_error '/etc/policy.xml:2:'
check "and the host goes on with the one before" denied /data/build/virus
write_policy /data/build/
configure "${enough[@]}" 'control = /run/qvl-onaccess/other'
systemctl restart qvl-onaccess
check "also by another control socket" systemctl reload qvl-onaccess
configure "${enough[@]}"
systemctl restart qvl-onaccess

echo "--- when it ends"
check "killed" ends_by KILL signal
check "everything opens meanwhile" opens /data/virus
check "it starts again" starts_again
check "and works" eventually works
check "crashed" ends_by SEGV signal
check "it starts again" starts_again
check "stopped, so that it answers nothing: the watchdog kills it" ends_by STOP watchdog
check "an open that waited went on" opens /data/clean
check "it starts again" starts_again
check "and works" eventually works

echo "--- a scanner that takes only its group"
systemctl stop qvl-onaccess clamav-daemon
printf '[Socket]\nSocketMode=0660\n' >>/etc/systemd/system/clamav-daemon.socket.d/try.conf
mkdir /etc/systemd/system/qvl-onaccess.service.d
printf '[Service]\nSupplementaryGroups=clamav\n' >/etc/systemd/system/qvl-onaccess.service.d/try.conf
systemctl daemon-reload
systemctl restart clamav-daemon.socket
systemctl start clamav-daemon qvl-onaccess
is_closed_to_others() { [[ $(stat --format %a:%G /run/clamav/clamd.ctl) == 660:clamav ]]; }
check "its socket is closed to others" is_closed_to_others
check "and the host reaches it" eventually works

echo "--- a wrong configuration"
systemctl stop qvl-onaccess
check "everything opens once it is stopped" opens /data/virus
configure "${enough[@]}" 'polizy = x'
check "it does not start" fails systemctl start qvl-onaccess
check "and tells why" eventually told_as_error '/etc/qvl-onaccess.conf:5: expected the name of an option'
configure "${enough[@]}"
check "once that is mended it starts by itself" eventually works

echo "--- packages"
before=$(of_unit MainPID)
check "a new version is installed" dpkg --install ./qvl-onaccess_*.deb
check "and runs" starts_again
check "it is removed while it runs" dpkg --remove qvl-onaccess
check "and everything opens" opens /data/virus
is_unknown() { [[ $(of_unit LoadState) == not-found ]]; }
check "systemd knows its unit no more" is_unknown
echo 'all was tried'
