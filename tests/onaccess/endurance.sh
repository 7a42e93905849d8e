#!/usr/bin/env bash
# endurance.sh QVL-ONACCESS PROGRAMS SECONDS: the host under load, with policies that are swapped and a
# scanner that ends and starts again; no wrong answer, and no more descriptors and memory at the end.
#
# Separated from everything else like real.sh.
set -euo pipefail

if [[ ${1:-} != --inside ]]; then
  work=$(mktemp -d "${TMPDIR:-/tmp}/qvl-onaccess.XXXXXX")
  trap 'rmdir "$work"' EXIT
  status=0
  timeout --signal KILL $(($3 + 120)) unshare --mount --pid --fork --kill-child --mount-proc \
    --propagation private bash "${BASH_SOURCE[0]}" --inside "$work" "$(realpath "$1")" \
    "$(realpath "$2")" "$3" || status=$?
  exit "$status"
fi

work=$2 host=$3 programs=$4 seconds=$5
mount -t tmpfs none "$work"
mkdir "$work"/{closed,run}
mount -t tmpfs none "$work/closed"
cd "$work"
control=$work/run/control
mkdir -p closed/{excluded,other}
for i in $(seq 200); do
  echo TEST-VIRUS >"closed/excluded/$i"
  echo "clean $i" >"closed/other/$i"
done
echo TEST-VIRUS >closed/other/virus

start_scanner() {
  "$programs/scripted-clamd" run/clamd.ctl &
  scanner_process=$!
  until [[ -S run/clamd.ctl ]]; do sleep 0.05; done
}
write_policy() {
  cat >policy.new <<END
<exclusion-policy version="1">
  <logic>1</logic>
  <data-set number="1" kind="folder">
    <rule>$work/closed/excluded/</rule>
    <rule>/nowhere/$1/</rule>
  </data-set>
</exclusion-policy>
END
  mv policy.new policy.xml
}
descriptors() { find "/proc/$host_process/fd" -mindepth 1 | wc -l; }
memory() { sed -n 's/^VmRSS:[[:space:]]*\([0-9]*\) kB/\1/p' "/proc/$host_process/status"; }

write_policy 0
start_scanner
"$host" --policy policy.xml --mount closed --fail-closed closed --scanner "unix:$work/run/clamd.ctl" \
  --control "$control" --metrics run/metrics --remember 100 --breaker-failures 1000000 --count rules \
  2>run/log &
host_process=$!
until "$host" status --control "$control" >/dev/null 2>&1; do sleep 0.1; done

# Clean files may be denied while there is no scanner; excluded ones never, infected ones always.
"$programs/open-load" "$seconds" 1 +closed/excluded/{1..200} -closed/other/virus >run/load &
load=$!
"$programs/open-load" "$seconds" 1 +closed/other/{1..200} >run/other-load &
other_load=$!
swaps=0 restarts=0 warm_descriptors='' warm_memory=0
while kill -0 "$load" 2>/dev/null; do
  write_policy "$((swaps += 1))"
  "$host" reload --control "$control" >/dev/null
  if ((swaps % 20 == 0)); then
    kill -KILL "$scanner_process"
    wait "$scanner_process" 2>/dev/null || true
    rm -f run/clamd.ctl
    start_scanner
    ((restarts += 1))
  fi
  # What is there after a while may stay; what comes on top may not.
  if ((swaps == 60)); then
    warm_descriptors=$(descriptors) warm_memory=$(memory)
  fi
  sleep 0.2
done
status=0
wait "$load" || status=1
wait "$other_load" || true
sleep 1
now_descriptors=$(descriptors) now_memory=$(memory)
printf 'excluded and infected: %s\nclean, scanner killed now and then: %s\n' "$(cat run/load)" \
  "$(cat run/other-load)"
printf '%s swaps, %s restarts; descriptors %s, then %s; memory %s kB, then %s kB\n' "$swaps" \
  "$restarts" "$warm_descriptors" "$now_descriptors" "$warm_memory" "$now_memory"
"$host" status --control "$control"
kill "$host_process"
wait "$host_process" || status=1
kill -KILL "$scanner_process"
[[ -n $warm_descriptors ]] || { echo "expected to run for at least 60 swaps"; status=1; }
((now_descriptors <= warm_descriptors + 16)) || { echo "expected no more descriptors"; status=1; }
((now_memory <= warm_memory * 3 / 2 + 4096)) || { echo "expected no more memory"; status=1; }
exit "$status"
