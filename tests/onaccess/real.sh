#!/usr/bin/env bash
# real.sh QVL-ONACCESS PROGRAMS QVL_HOME [CLAMD]: the host with the kernel's real events.
#
# PROGRAMS is the folder of scripted-clamd, open-load, open-ways, hold-threads, hung-mount,
# notify-socket and without-openat2. With CLAMD the scanner is that one where it has to be no scripted one. SECONDS_UNDER_LOAD: how long policies are swapped
# under load (3). FILE_SYSTEM: what is watched; tmpfs (the default), ext4, ext4-128 (whose times are
# seconds), xfs, btrfs or fuse2fs. Needs root and permission events; without, the exit status is 77.
#
# Everything happens in a mount namespace of its own, on file systems of its own, and in a process
# namespace of its own, which is killed as a whole when it takes too long: no open outside of it ever
# waits for the host.
# shellcheck disable=SC2317 # functions that check() calls
set -euo pipefail

skip() {
  echo "skipped: $1"
  exit 77
}

if [[ ${1:-} != --inside ]]; then
  [[ $(id -u) == 0 ]] || skip "permission events need root"
  unshare --mount --pid --fork --mount-proc true 2>/dev/null ||
    skip "this system gives no mount and process namespaces"
  work=$(mktemp -d "${TMPDIR:-/tmp}/qvl-onaccess.XXXXXX")
  trap 'rmdir "$work"' EXIT
  status=0
  timeout --signal KILL "${REAL_TIMEOUT:-240}" unshare --mount --pid --fork --kill-child --mount-proc \
    --propagation private bash "${BASH_SOURCE[0]}" --inside "$work" "$@" || status=$?
  exit "$status"
fi

work=$2 host=$3 programs=$4 home=$5 clamd=${6:-}
mount -t tmpfs none "$work"
mkdir "$work"/{open,closed,run}

# mount_at DIR: a new file system.
mount_at() {
  local image=$1.image type=${FILE_SYSTEM:-tmpfs}
  truncate --size 512M "$image"
  case $type in
    tmpfs) mount -t tmpfs none "$1" ;;
    ext4-128) mkfs.ext4 -q -I 128 "$image" 2>/dev/null && mount -o loop "$image" "$1" ;;
    fuse2fs) mkfs.ext4 -q "$image" && fuse2fs -o fakeroot,allow_other "$image" "$1" ;;
    *) "mkfs.$type" -q "$image" >/dev/null && mount -o loop "$image" "$1" ;;
  esac || skip "this system makes and mounts no $type"
}
mount_at "$work/open"
mount_at "$work/closed"
cd "$work"
run=$work/run control=$work/run/control socket=$work/run/clamd.ctl policy=$work/run/policy.xml
host_process='' scanner_process='' failed=0
mounts=("$work/open" "$work/closed") closed_mounts=("$work/closed")

# check TEXT COMMAND...: is the command successful?
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

opens() { (: <"$1") 2>/dev/null; }
denied() {
  local words
  ! words=$( (: <"$1") 2>&1) && [[ $words == *'not permitted'* ]]
}

quietly() { "$@" >/dev/null; }

# eventually COMMAND...: within ten seconds?
eventually() {
  for _ in $(seq 200); do
    "$@" && return
    sleep 0.05
  done
  return 1
}

# counter NAME: the value of a metric, with its labels.
counter() {
  "$host" metrics --control "$control" | awk -v name="$1" '$1 == name { print $2 }'
}
counted() { [[ $(counter "$1") -ge ${2:-1} ]]; }

# write_policy RULE...: data set 1, folders; with the program PROGRAM excluded as data set 2.
write_policy() {
  local rule
  {
    echo '<exclusion-policy version="1">'
    echo "<logic>${logic:-1}</logic>"
    echo '<data-set number="1" kind="folder" name="folders">'
    for rule in "$@"; do echo "<rule>$rule</rule>"; done
    echo '</data-set>'
    [[ -z ${program:-} ]] ||
      echo "<data-set number=\"2\" kind=\"process\"><rule>$program</rule></data-set>"
    echo '</exclusion-policy>'
  } >"$policy.new"
  mv "$policy.new" "$policy"
}

start_host() {
  # With the capabilities of the systemd unit.
  setpriv --bounding-set -all,+sys_admin,+dac_read_search,+sys_ptrace,+lease \
    "$host" --policy "$policy" --mount "${mounts[@]}" --fail-closed "${closed_mounts[@]}" \
    --scanner "unix:$socket" --control "$control" --metrics "$run/metrics" --metrics-every 1 \
    "$@" 2>>"$run/log" &
  host_process=$!
  eventually "$host" status --control "$control" >/dev/null 2>&1 || {
    "$host" status --control "$control"
    cat "$run/log"
    echo "FAILED  the host does not start"
    exit 1
  }
}

stop_host() {
  kill "$host_process"
  wait "$host_process"
}

start_scanner() {
  if [[ -n $clamd && $1 == scan ]]; then
    printf '%s\n' "LocalSocket $socket" "DatabaseDirectory $work/closed/db" \
      "TemporaryDirectory $run" 'Foreground yes' 'User root' >"$run/clamd.conf"
    "$clamd" --config-file "$run/clamd.conf" >"$run/clamd.log" 2>&1 &
  else
    "$programs/scripted-clamd" "$socket" "$1" &
  fi
  scanner_process=$!
  eventually test -S "$socket"
}

# Real ones leave their socket behind.
stop_scanner() {
  kill -KILL "$scanner_process"
  wait "$scanner_process" 2>/dev/null || true
  rm -f "$socket"
}

mkdir -p open/{excluded,other,bin} closed/{excluded,db} run/home/{config,var}
printf 'QVL.Test:0:*:%s\n' "$(printf 'TEST-VIRUS' | od -An -tx1 | tr -d ' \n')" >closed/db/test.ndb
for folder in open/excluded open/other closed closed/excluded; do
  echo clean >"$folder/clean"
  echo TEST-VIRUS >"$folder/virus"
done

echo "--- what is refused at the start"
write_policy "$work/open/excluded/" "$work/closed/excluded/"
refuses() {
  local expected=$1 status=0
  shift
  timeout 10 ${as[@]+"${as[@]}"} "$host" --policy "$policy" --scanner "unix:$socket" --control "$control" "$@" \
    2>"$run/refusal" || status=$?
  grep -q -- "$expected" "$run/refusal" && [[ $status == 2 ]]
}
check "a folder inside of a file system" refuses "--mount" --mount "$work/open/other"
check "the file system of / without confirmation" refuses "--confirm-root" --mount /
check "metrics on a watched file system" refuses "--metrics" --mount "$work/open" \
  --metrics "$work/open/metrics"
check "the socket on a watched file system" refuses "--control" --mount "$work/open" \
  --control "$work/open/control"
as=("$programs/without-openat2")
check "a kernel without openat2, or a service manager that forbids it" refuses "openat2" \
  --mount "$work/open"
as=(setpriv --bounding-set -sys_admin)
check "who may not watch" refuses "CAP_SYS_ADMIN" --mount "$work/open"
as=()
if [[ ${FILE_SYSTEM:-} == btrfs ]]; then
  # Of the same file system, though their files have devices of their own.
  btrfs -q subvolume create open/metrics
  check "metrics in another subvolume of a watched file system" refuses "--metrics" \
    --mount "$work/open" --metrics "$work/open/metrics/file"
fi
refuses_log() {
  ! timeout 10 "$host" --policy "$policy" --scanner "unix:$socket" --control "$control" \
    --mount "$work/open" 2>"$work/open/log" && grep -q 'the log' "$work/open/log"
}
check "a log on a watched file system" refuses_log
rm -f open/log
mkdir open/other/{config,var}
mount --bind open/other "$home"
check "the trace file on a watched file system" refuses "--trace" --mount "$work/open" --trace
umount "$home"
refuses_policy() {
  echo '<nonsense/>' >"$run/wrong.xml"
  ! timeout 10 "$host" --policy "$run/wrong.xml" --scanner "unix:$socket" --control "$control" \
    --mount "$work/open" 2>"$run/refusal" && grep -q 'wrong.xml:1' "$run/refusal"
}
check "a wrong policy" refuses_policy

echo "--- decisions"
start_scanner scan
"$programs/notify-socket" "$run/notify" >"$run/notified" &
eventually test -S "$run/notify"
export NOTIFY_SOCKET=$run/notify
start_host
check "systemd is told that it is ready" eventually grep -q '^READY=1' "$run/notified"
check "and that it runs" eventually grep -q '^WATCHDOG=1' "$run/notified"
keeps_capabilities() {
  local all
  all=$(sed -n 's/^CapPrm:[[:space:]]*//p' /proc/"$host_process"/task/*/status | sort -u)
  # CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE and CAP_LEASE.
  [[ $all == 0000000010080004 ]] || { echo "found $all"; return 1; }
}
check "no thread keeps more capabilities than it needs" keeps_capabilities
check "a second host at the same socket is refused" refuses "another qvl-onaccess runs" --mount "$work/open"
second_host() {
  timeout --preserve-status 10 "$host" --policy "$policy" --mount "$work/open" --scanner "unix:$socket" \
    --control "$run/second" "$@" 2>"$run/second.log" &
  second=$!
  eventually quietly "$host" status --control "$run/second" 2>/dev/null
}
check "one with a socket of its own starts" second_host --dry-run
check "a clean file opens by both" opens open/other/clean
check "what either denies is denied" denied open/other/virus
kill "$second"
wait "$second"
check "a clean file opens" opens open/other/clean
check "an infected file is denied" denied open/other/virus
check "the same below an excluded folder opens" opens open/excluded/virus
check "and on the other file system" opens closed/excluded/virus
check "where it is not excluded it is denied" denied closed/virus
check "an executable that is infected does not start" \
  bash -c "printf '#!/bin/sh\n# TEST-VIRUS\n' >open/other/run; chmod +x open/other/run; ! open/other/run 2>/dev/null"
ln open/other/virus open/other/link
check "a second name of it is denied" denied open/other/link
chmod +x open/other/virus
mkdir open/other/names
check "nor does any other way lead to it" \
  "$programs/open-ways" "$work/open/other/virus" "$work/open/other/names"

if [[ ${FILE_SYSTEM:-} == btrfs ]]; then
  btrfs -q subvolume create open/subvolume
  cp open/excluded/virus open/subvolume
  btrfs -q subvolume snapshot open/subvolume open/excluded/snapshot
  check "an infected file in a subvolume is denied" denied open/subvolume/virus
  check "in an excluded snapshot of it, it opens" opens open/excluded/snapshot/virus
fi

nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
mkdir -m 700 open/excluded/private
cp open/excluded/virus open/excluded/private
chown -R 65534:65534 open/excluded/private
check "somebody's own excluded folder, which nobody else may enter" \
  quietly "${nobody[@]}" cat open/excluded/private/virus

echo "--- names that are not to be trusted"
check "an infected file bound over an excluded one, in another namespace" \
  unshare --mount --propagation private bash -c \
  "mount --bind '$work/open/other/virus' '$work/open/excluded/clean' && ! (: <'$work/open/excluded/clean') 2>/dev/null"
check "a folder bound over an excluded one, in another namespace" \
  unshare --mount --propagation private bash -c \
  "mount --bind '$work/open/other' '$work/open/excluded' && ! (: <'$work/open/excluded/virus') 2>/dev/null"
# The name has to be the file's own, not that of a link to it.
mkdir open/excluded/sub open/other/fake
ln -s ../../other/virus open/excluded/sub/link
ln open/other/virus open/other/fake/link
check "a folder bound over an excluded one that has a symbolic link to the infected file" \
  unshare --mount --propagation private bash -c \
  "mount --bind '$work/open/other/fake' '$work/open/excluded/sub' && ! (: <'$work/open/excluded/sub/link') 2>/dev/null"
check "they were counted" counted 'qvl_onaccess_names_not_trusted_total{trouble="path_elsewhere"}' 2
cp open/excluded/virus open/excluded/gone
exec 7<open/excluded/gone
rm open/excluded/gone
check "an infected file that was deleted below an excluded folder" denied /proc/self/fd/7
exec 7<&-


# Whoever looks below that folder waits for ever: for a user's file system, or a server that is gone.
# In namespaces of their own, four openers have a readable folder there, with the infected file.
mkdir hung
open_below_hung() {
  unshare --mount --propagation private bash -c "
    mount -t tmpfs none '$work/hung' && : >'$work/hung/virus' &&
    mount --bind '$work/open/other/virus' '$work/hung/virus' && touch '$run/bound$1' &&
    until [[ -e '$run/hangs' ]]; do sleep 0.05; done
    ! timeout --signal KILL 5 cat '$work/hung/virus' 2>&1 && echo 'not read' >'$run/below$1'" \
    >"$run/words$1" &
}
for i in 1 2 3 4; do open_below_hung "$i"; done
eventually eval "[[ \$(ls '$run' | grep -c bound) == 4 ]]"
"$programs/hung-mount" hung >"$run/hung" 2>&1 &
hung=$!
if eventually grep -q mounted "$run/hung"; then
  touch "$run/hangs"
  check "a name that leads into a file system that hangs: the open is answered" \
    eventually grep -q 'not permitted' "$run"/words{1,2,3,4}
  check "and opens elsewhere wait for nothing" quietly timeout 2 cat open/excluded/virus
  eventually eval "[[ \$(ls '$run' | grep -c below) == 4 ]]"
  check "all of them were denied" test "$(cat "$run"/words? | grep -c 'not permitted')" == 4
else
  echo "skipped this system mounts no FUSE: $(cat "$run/hung")"
  touch "$run/hangs"
fi
kill -KILL "$hung"
wait "$hung" 2>/dev/null || true
umount -l hung 2>/dev/null || true

echo "--- remembered verdicts"
remembered() { counter 'qvl_onaccess_opens_total{outcome="remembered"}'; }
# remembers FILE: is it found when it is opened for the second and third time? never_remembers FILE: not
# once?
times_remembered() {
  local before
  before=$(remembered)
  for _ in 1 2 3; do : <"$1"; done
  echo $(($(remembered) - before))
}
remembers() { [[ $(times_remembered "$1") -ge 2 ]]; }
never_remembers() { [[ $(times_remembered "$1") == 0 ]]; }
echo clean >open/other/new
check "a file that has changed lately is not remembered" never_remembers open/other/new
cp open/other/clean open/other/theirs
chown 65534:65534 open/other/theirs
echo held >open/other/held
sleep 2.5 # until all of them have not changed lately
check "a clean file is remembered" remembers open/other/clean
check "so is somebody else's" remembers open/other/theirs
check "and one that changed a while ago" remembers open/other/new
cp open/other/clean open/other/changing
printf 'clean12345\n' >open/other/mapped
sleep 2.5
check "a copy is remembered" remembers open/other/changing
echo TEST-VIRUS >open/other/changing
check "not once it is written" denied open/other/changing
check "another is remembered" remembers open/other/mapped
# Same size; a write by a program that keeps the file open, and the times put back.
touch -r open/other/mapped run/times
dd if=<(printf 'TEST-VIRUS\n') of=open/other/mapped conv=notrunc status=none
touch -r run/times open/other/mapped
check "not even with its size and time put back" denied open/other/mapped

exec 8>>open/other/held
check "nor is one that somebody may be writing" never_remembers open/other/held
exec 8>&-
check "it is, once nobody can" remembers open/other/held

echo "--- the scanner"
if [[ $(counter 'qvl_onaccess_opens_total{outcome="own"}') == 0 ]]; then
  echo "ok      the host itself has opened nothing there"
else
  echo "FAILED  the host itself has opened something there"
  failed=1
fi
kill -STOP "$scanner_process"
check "excluded files open while the scanner hangs" quietly timeout 2 cat open/excluded/virus
stop_host
start_host --deadline 0.3 --watchdog 5 --breaker-failures 3 --breaker-pause 0.5
check "what cannot be scanned opens where the mount fails open" opens open/other/virus
check "and is denied where it fails closed" denied closed/clean
for _ in 1 2 3; do denied closed/clean; done
check "the breaker opens" counted qvl_onaccess_breaker_openings_total
check "and answers at once" counted 'qvl_onaccess_opens_total{outcome="breaker_open"}'
kill -CONT "$scanner_process"
check "afterwards it scans again" eventually denied open/other/virus
check "and clean files open" eventually opens closed/clean
stop_scanner
check "without a scanner: open" opens open/other/virus
check "without a scanner: closed" denied closed/virus
start_scanner scan
check "a scanner that starts may read its own files there" eventually denied open/other/virus
check "a clean file opens by it" eventually opens closed/clean
stop_scanner
for mode in die nonsense flood slow; do
  start_scanner "$mode"
  check "a scanner that does nothing but $mode: open" opens open/other/virus
  check "a scanner that does nothing but $mode: closed" denied closed/clean
  stop_scanner
done
start_scanner scan
eventually denied open/other/virus

echo "--- policies"
write_policy "$work/open/other/"
check "a policy is reloaded" quietly "$host" reload --control "$control"
check "and holds" opens open/other/virus
check "the one before does not" denied open/excluded/virus
echo '<exclusion-policy version="1"><logic>1|</logic></exclusion-policy>' >"$policy"
check "a wrong one is refused" bash -c "! '$host' reload --control '$control' 2>'$run/refused'"
check "with its reason" grep -q 'policy.xml' "$run/refused"
check "and the one in force stays" opens open/other/virus
write_policy "$work/open/excluded/"
kill -HUP "$host_process"
check "SIGHUP reloads, too" eventually opens open/excluded/virus
program=$work/open/bin/trusted logic='1|2' write_policy "$work/open/excluded/"
cp "$(command -v cat)" open/bin/trusted
"$host" reload --control "$control" >/dev/null
check "an excluded program opens anything" bash -c "open/bin/trusted open/other/virus >/dev/null"
check "whoever runs it" quietly "${nobody[@]}" open/bin/trusted open/other/virus
check "other programs do not" denied open/other/virus
cp open/bin/trusted open/other/mine
check "nor one bound to its name in another namespace" unshare --mount --propagation private bash -c \
  "mount --bind '$work/open/other/mine' '$work/open/bin/trusted' && ! open/bin/trusted open/other/virus 2>/dev/null"
# It waits at the pipe, is deleted, and goes on to the file.
mkfifo run/wait
cp open/bin/trusted open/bin/deleted
program=$work/open/bin/deleted logic='1|2' write_policy "$work/open/excluded/"
"$host" reload --control "$control" >/dev/null
check "another excluded program, too" quietly open/bin/deleted open/other/virus
open/bin/deleted run/wait open/other/virus >"$run/read" 2>&1 &
deleted=$!
exec 9>run/wait
rm open/bin/deleted
exec 9>&-
wait "$deleted" || true
check "but not once it has been deleted" grep -q 'not permitted' "$run/read"
stop_host

echo "--- under load, tracing at level 5"
mount --bind run/home "$home"
cat >"$home/config/traceValues.xml" <<'END'
<?xml version="1.0" encoding="UTF-8"?>
<TraceValues><ScanAvoidanceFlow>5</ScanAvoidanceFlow></TraceValues>
END
write_policy "$work/open/excluded/"
start_host --trace
"$programs/open-load" "${SECONDS_UNDER_LOAD:-3}" 3 +open/excluded/virus -open/other/virus \
  +open/other/clean +closed/clean -closed/virus >"$run/load" &
load=$!
reloads=0
while kill -0 "$load" 2>/dev/null; do
  write_policy "$work/open/excluded/" "/nowhere/$((reloads += 1))/"
  "$host" reload --control "$control" >/dev/null
  kill -HUP "$host_process"
done
check "no wrong answer during $reloads swaps" wait "$load"
cat "$run/load"
check "the trace is written" test -s "$home/var/ScanAvoidanceTraces.log"
check "nothing waits afterwards" test "$(counter qvl_onaccess_waiting_opens)" == 0
check "the metrics are written" grep -q '^qvl_onaccess_reloads_total ' "$run/metrics"
stop_host
check "systemd is told of the reloads and of the end" \
  bash -c "grep -q '^RELOADING=1' '$run/notified' && grep -q '^STOPPING=1' '$run/notified'"
check "an infected file opens once the host has ended" opens open/other/virus

echo "--- an overlay"
# Its files may be mapped for writing when it does not show.
mount_overlay() {
  mkdir run/over run/upper run/below
  mount -t tmpfs none run/upper
  mkdir run/upper/{files,work}
  echo clean >run/below/clean
  echo TEST-VIRUS >run/below/virus
  mount -t overlay -o "lowerdir=$run/below,upperdir=$run/upper/files,workdir=$run/upper/work" none run/over
}
if mount_overlay; then
  mounts=("$run/over") closed_mounts=("$run/over")
  start_host
  check "an infected file is denied there" denied run/over/virus
  sleep 2.5
  check "and nothing is remembered" never_remembers run/over/clean
  stop_host
  mounts=("$work/open" "$work/closed") closed_mounts=("$work/closed")
else
  echo "skipped this system mounts no overlay"
fi

echo "--- a file system that is unmounted"
mkdir gone
mount -t tmpfs none gone
mounts+=("$work/gone")
start_host
check "is watched" counted qvl_onaccess_file_systems 3
umount gone
mount -t tmpfs none gone
check "is told when it is not any more" eventually grep -q 'watched no more' "$run/log"
check "and counted" test "$(counter qvl_onaccess_file_systems)" == 2
stop_host
mounts=("$work/open" "$work/closed")

echo "--- a crash"
# A core dump in a watched folder: its open would wait for the host that has crashed.
start_in_watched_folder() {
  ulimit -c unlimited
  cd open
  start_host
  cd ..
}
start_in_watched_folder
kill -SEGV "$host_process"
has_ended() { ! kill -0 "$host_process" 2>/dev/null; }
check "ends the host" eventually has_ended
check "and leaves no open waiting" quietly timeout 10 cat open/other/virus

echo "--- the watchdog"
# Its alarm waits for no thread, however ThreadSanitizer likes it.
export TSAN_OPTIONS=report_thread_leaks=0
start_host --deadline 0.5 --watchdog 1
"$programs/hold-threads" "$host_process" scan >"$run/held" &
eventually grep -q held "$run/held"
check "an open that nobody answers is let pass" quietly timeout 10 cat open/other/virus
status=0
wait "$host_process" || status=$?
check "and the host ends with its alarm" test "$status" == 70
check "which it tells" grep -q 'unanswered' "$run/log"

stop_scanner
[[ $failed == 0 ]] || tail -n 40 "$run/log"
exit "$failed"
