#!/usr/bin/python3
"""Measures qvl-fleet, and holds what it counts against qvlctl.

    fleet.py generate FOLDER ROWS [HOSTS] inventories of made-up files, each of so many hosts (50): lines of JSON
    fleet.py rate FOLDER [WORKERS...]     rows a second through so many workers, in turns
    fleet.py parts FOLDER                 what counting a part takes, and adding it to the others
    fleet.py batch ROWS                   a column of so many paths from Python, beside qvlctl lookup
    fleet.py same DIR...                  qvlctl audit, and qvl-fleet on what qvlctl inventory writes

The environment says what is measured: QVLPOLICY_LIBRARY, and QVLCTL for the last two. The policy is that of
examples/linux-server.xml. Fails when numbers of workers, or the two commands, give other bytes.
"""

import json
import os
import pathlib
import pickle
import random
import resource
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
POLICY = ROOT / "examples/linux-server.xml"
NOW = 1_790_000_000
ROWS_OF_A_FILE = 1_000_000
HOSTS_OF_A_FILE = 50
ROUNDS = 3

# What the policy excludes in one way or another, and what it does not.
FOLDERS = [
    ("/var/cache/apt/archives", "deb"), ("/var/lib/dpkg/info", "list"), ("/usr/share/icons/hicolor", "png"),
    ("/usr/include/c++/12", "h"), ("/var/lib/mysql/shop", "ibd"), ("/var/log/nginx", "log"),
    ("/srv/build/app/core", "o"), ("/var/vmail/example.org/ann/cur", "eml"), ("/usr/lib/python3/dist-packages", "py"),
    ("/home/ann/projects/engine/source", "cpp"), ("/opt/tool/lib", "jar"), ("/srv/www/static", "js"),
    ("/usr/share/doc/package", "gz"), ("/etc/service/conf.d", "conf"), ("/home/bob/documents/2025", "docx"),
]  # fmt: skip


def fleet(*arguments, **options):
    environment = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
    command = ["/usr/bin/python3", "-m", "qvlscanavoidance.fleet", *map(str, arguments)]
    return subprocess.run(command, env=environment, check=True, capture_output=True, **options).stdout


def generate(folder, rows, hosts=HOSTS_OF_A_FILE):
    """The same rows for the same number of them."""
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    chance = random.Random(1)
    for number, begin in enumerate(range(0, rows, ROWS_OF_A_FILE)):
        with open(os.path.join(folder, f"{number:05}.jsonl"), "w") as out:
            for i in range(begin, min(begin + ROWS_OF_A_FILE, rows)):
                dice = chance.getrandbits(48)
                place, ending = FOLDERS[dice % len(FOLDERS)]
                host = number * hosts + (dice >> 8) % hosts
                out.write(
                    f'{{"host":"host{host}","path":"{place}/{dice >> 16 & 255}/file{i}.{ending}",'
                    f'"size":{dice >> 28},"mtime":{NOW - (dice >> 12) % 2592000}}}\n'
                )


def rate(folder, workers):
    """The clock's time from start to end of the command, that of starting it included."""
    inventories = sorted(map(str, pathlib.Path(folder).glob("*.jsonl")))
    seconds, processor, outputs = {w: [] for w in workers}, {w: [] for w in workers}, set()
    for _ in range(ROUNDS if len(inventories) < 4 else 1):
        for count in workers:
            before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
            outputs.add(fleet("audit", "-p", POLICY, "--now", NOW, "--workers", count, "--format", "json",
                              *inventories))  # fmt: skip
            seconds[count].append(time.monotonic() - start)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            processor[count].append(after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)
            print(count, f"{seconds[count][-1]:.1f} s", flush=True, file=sys.stderr)
    if len(outputs) != 1:
        sys.exit(f"expected the same bytes from each number of workers; came {len(outputs)} outputs")
    rows = json.loads(outputs.pop())["found"]["files"]
    first = statistics.median(seconds[workers[0]])
    print("| workers | rows a second | by that of the first | processor time a row |\n| ---: | ---: | ---: | ---: |")
    for count in workers:
        median = statistics.median(seconds[count])
        print(f"| {count} | {rows / median:,.0f} | {first / median:.2f} "
              f"| {statistics.median(processor[count]) / rows * 1e6:.1f} µs |")  # fmt: skip
    print(f"{rows:,} rows; the same bytes from each")


def parts(folder):
    """Processor time, a part: of what a worker does, and of what the process that adds up does with it."""
    sys.path.insert(0, str(ROOT / "python"))
    from qvlscanavoidance import queries_for
    from qvlscanavoidance.fleet import counting, inventories, running
    from qvlscanavoidance.fleet.tallies import Tallies

    text = counting.PolicyText(str(POLICY), POLICY.read_bytes(), "2026-09-21", "")
    queries, _ = queries_for([text.policy])
    job = counting.Job(text, None, tuple(queries), NOW, 3)
    files = sorted(map(str, pathlib.Path(folder).glob("*.jsonl")))
    whole, counted, added = Tallies(), [], []
    for part in running.parts_of_all(files, {}, None):
        began = time.process_time()
        sent = pickle.dumps(counting.count_part(job, part), pickle.HIGHEST_PROTOCOL)
        counted.append(time.process_time() - began)
        began = time.process_time()
        whole.merge(pickle.loads(sent), inventories.SAMPLED_ROWS)
        added.append(time.process_time() - began)
    one, other = statistics.median(counted), statistics.median(added)
    print(f"{len(counted)} parts: {one:.2f} s to count one, {other:.4f} s to add it up, {other / one:.2%}")


def batch(rows):
    """Processor time, in turns: of the questions alone from Python, of the whole command of qvlctl."""
    sys.path.insert(0, str(ROOT / "python"))
    import pandas
    import qvlscanavoidance

    chance = random.Random(1)
    paths = [f"{place}/{dice >> 16 & 255}/file{i}.{ending}" for i in range(rows)
             for dice in [chance.getrandbits(48)] for place, ending in [FOLDERS[dice % len(FOLDERS)]]]  # fmt: skip
    column = pandas.Series(paths)
    policy = qvlscanavoidance.Policy.load(POLICY)
    ours, theirs = [], []
    with tempfile.NamedTemporaryFile("w") as list_of_paths:
        list_of_paths.write("\n".join(paths) + "\n")
        list_of_paths.flush()
        for _ in range(ROUNDS):
            before = time.process_time()
            excluded = int(policy.ask_frame(column)["excluded"].sum())
            ours.append(time.process_time() - before)
            used = resource.getrusage(resource.RUSAGE_CHILDREN)
            with open(list_of_paths.name) as lines:
                command = [os.environ["QVLCTL"], "lookup", "-p", POLICY]
                answers = subprocess.run(command, stdin=lines, stdout=subprocess.PIPE).stdout
            now = resource.getrusage(resource.RUSAGE_CHILDREN)
            theirs.append(now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime)
            if answers.count(b"\nexcluded") + answers.startswith(b"excluded") != excluded:
                sys.exit(f"expected as many excluded paths from qvlctl as from Python; came {excluded} from Python")
    from_python, from_qvlctl = statistics.median(ours), statistics.median(theirs)
    print(f"{rows:,} paths, {excluded:,} excluded: {from_python:.1f} s from Python, {from_qvlctl:.1f} s by qvlctl; "
          f"{from_qvlctl / from_python:.0%} of its speed")  # fmt: skip


def same(folders):
    qvlctl = os.environ["QVLCTL"]
    with tempfile.TemporaryDirectory() as scratch:
        inventory = os.path.join(scratch, "this.jsonl")
        with open(inventory, "wb") as out:
            subprocess.run([qvlctl, "inventory", *folders], stdout=out, check=True)
        asked = [qvlctl, "audit", "-p", POLICY, "--format", "json", *folders]
        theirs = json.loads(subprocess.run(asked, check=True, capture_output=True).stdout)
        ours = json.loads(fleet("audit", "-p", POLICY, "--format", "json", inventory))
    members = ("found", "skipped", "skippedAlways", "scanned", "skippedByNone", "dataSets", "queries", "rules")
    for member in members:
        for one in ours["rules"] if member == "rules" else ():
            one.pop("hosts")
            one.pop("hostsExact")
        for name, report in (("qvl-fleet", ours), ("qvlctl", theirs)):
            if member not in report:
                sys.exit(f"expected {member} in what {name} writes")
        kept = [{k: v for k, v in r.items() if k in o} if isinstance(r, dict) else r
                for r, o in zip(theirs[member], ours[member])] if isinstance(ours[member], list) else theirs[member]  # fmt: skip
        if json.dumps(kept, sort_keys=True) != json.dumps(ours[member], sort_keys=True):
            sys.exit(f"expected the same {member}; came {kept} and {ours[member]}")
    print(f"{theirs['found']['files']:,} files, {theirs['found']['bytes']:,} bytes: the same {', '.join(members)}")


def main(arguments):
    if len(arguments) in (3, 4) and arguments[0] == "generate":
        generate(arguments[1], *map(int, arguments[2:]))
    elif len(arguments) >= 2 and arguments[0] == "rate":
        rate(arguments[1], [int(count) for count in arguments[2:]] or [1, 2, 4])
    elif len(arguments) == 2 and arguments[0] == "parts":
        parts(arguments[1])
    elif len(arguments) == 2 and arguments[0] == "batch":
        batch(int(arguments[1]))
    elif len(arguments) >= 2 and arguments[0] == "same":
        same(arguments[1:])
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
