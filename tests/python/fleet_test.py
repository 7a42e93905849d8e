"""qvl-fleet: the same totals whoever counts."""

import gzip
import json
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import time

import pytest

from qvlscanavoidance import Policy, queries_for
from qvlscanavoidance.fleet import __main__ as fleet
from qvlscanavoidance.fleet import counting, inventories, reports, running, tallies

QVLCTL = os.environ.get("QVLCTL")
NOW = 1_790_000_000
DAY = 86400

POLICY = """<exclusion-policy version="1">
<logic>(1|2|(4&amp;5)|6)&amp;!3</logic>
<data-set number="1" kind="folder" name="caches"><rule>/**/cache/</rule>
<rule access="write">/**/spool/</rule></data-set>
<data-set number="2" kind="file-type"><rule access="read">o</rule><rule>never</rule></data-set>
<data-set number="3" kind="file-type" name="programs"><rule>exe</rule></data-set>
<data-set number="4" kind="file-path"><rule>/**.log</rule></data-set>
<data-set number="5" kind="file-age"><rule of="modification" days="7"/></data-set>
<data-set number="6" kind="process"><rule>/bin/ps</rule><rule>/opt/*/x</rule></data-set>
</exclusion-policy>
"""


def run(*arguments):
    """The command as a user starts it."""
    return subprocess.run(
        [sys.executable, "-m", "qvlscanavoidance.fleet", *map(str, arguments)],
        capture_output=True,
        check=False,
    )


@pytest.fixture
def policy(tmp_path):
    file = tmp_path / "policy.xml"
    file.write_text(POLICY)
    return file


def generated(count, seed=1, hosts=7):
    """Lines of JSON about files of several hosts, a few of them unreadable."""
    chance = random.Random(seed)
    lines = []
    for i in range(count):
        if chance.random() < 0.01:
            lines.append(chance.choice(['{"path":', "[]", '{"path":"/x","size":"much"}']))
            continue
        folder = "/".join(
            chance.choice(["cache", "spool", "a", "b", "ü"]) for _ in range(chance.randrange(1, 6))
        )
        row = {
            "host": f"h{chance.randrange(hosts)}",
            "path": f"/{folder}/{i}.{chance.choice(['o', 'exe', 'log', 'txt'])}",
            "size": chance.randrange(10**6),
            "mtime": NOW - chance.randrange(14) * DAY - chance.randrange(2),
        }
        lines.append(json.dumps(row))
    return "\n".join(lines) + "\n"


@pytest.fixture(scope="module")
def inventory(tmp_path_factory):
    folder = tmp_path_factory.mktemp("inventories")
    for i in range(6):
        content = generated(3000, seed=i).encode()
        if i % 2:
            (folder / f"{i}.jsonl.gz").write_bytes(gzip.compress(content))
        else:
            (folder / f"{i}.jsonl").write_bytes(content)
    return str(folder / "*")


def job_for(policy, new=None, processes=None, accesses=None):
    texts = [
        counting.PolicyText(str(file), file.read_bytes(), "2026-01-01")
        for file in (policy, new)
        if file
    ]
    asked, _ = queries_for([text.policy for text in texts], processes, accesses)
    return counting.Job(texts[0], texts[1] if new else None, tuple(asked), NOW, 3)


def counted_here(job, parts):
    result = tallies.Tallies()
    for part in parts:
        result.merge(counting.count_part(job, part), inventories.SAMPLED_ROWS)
    return result


def report_of(job, result):
    if job.new:
        report = reports.diff_report(job, job.policy.policy, job.new.policy, result, 6, 20)
    else:
        report = reports.audit_report(job, job.policy.policy, result, 6, 20)
    return reports.as_json(report)


# ---- One machine ----


@pytest.mark.skipif(not QVLCTL, reason="qvlctl is not built")
def test_counts_as_qvlctl_audits(policy, tree):
    root, inventory = tree
    for query in (
        ["--process", "", "--access", "read"],
        ["--process", "/bin/ps", "--access", "write"],
    ):
        audited = subprocess.run(
            [QVLCTL, "audit", "-p", str(policy), *query, "--format", "json", str(root)],
            capture_output=True,
            check=True,
        )
        expected = json.loads(audited.stdout)
        done = run("audit", "-p", policy, *query, "--workers", 1, "--format", "json", inventory)
        assert done.returncode == 0, done.stderr
        found = json.loads(done.stdout)
        for member in ("found", "skipped", "scanned", "dataSets", "skippedByNone", "logic"):
            assert json.dumps(found[member]) == json.dumps(expected[member]), member
        members = ("dataSet", "rule", "line", "text", "of", "days", "access", "skipped", "scanned",
                   "leftOut", "dropped")  # fmt: skip
        for mine, theirs in zip(found["rules"], expected["rules"]):
            for member in members:
                assert mine.get(member) == theirs.get(member), (member, mine, theirs)
        assert len(found["rules"]) == len(expected["rules"])
        assert found["skipped"]["files"] > 100


def test_counts_a_file_once_however_many_queries_skip_it(tmp_path, policy):
    file = tmp_path / "x.jsonl"
    file.write_text('{"path":"/cache/a","size":5}\n{"path":"/spool/b","size":7}\n{"path":"/c"}\n')
    job = job_for(policy)
    assert [(query.process, query.access) for query in job.queries] == [
        *[("", 1), ("/bin/ps", 1), ("", 2), ("/bin/ps", 2), ("", 3), ("/bin/ps", 3)]
    ]
    report = json.loads(report_of(job, counted_here(job, inventories.parts_of(str(file), {}))))
    assert [q["skipped"]["files"] for q in report["queries"]] == [1, 3, 2, 3, 1, 3]
    assert report["skipped"] == {"files": 3, "bytes": 12}
    assert report["skippedAlways"] == {"files": 1, "bytes": 5}
    assert report["dataSets"][0]["skipped"] == {"files": 2, "bytes": 12}
    assert report["rules"][0]["skipped"] == {"files": 1, "bytes": 5}
    assert report["rules"][0]["hosts"] == 1


def test_tells_for_which_process_rules_nothing_is_asked(policy, tmp_path):
    text = policy.read_text().replace('kind="process">', 'kind="process" wildcards="no">')
    policy.write_text(text.replace("/opt/*/x", "/opt/[a-f]x"))
    file = tmp_path / "x.jsonl"
    file.write_text('{"path":"/cache/a","size":5}\n')
    done = run("audit", "-p", policy, "--workers", 1, file)
    assert done.returncode == 0
    assert f"{policy}:9: no name of a process was found that the rule /opt/[a-f]x matches" in (
        done.stderr.decode()
    )
    assert b"/opt" not in run("audit", "-p", policy, "--process", "", "--workers", 1, file).stderr


IDLE_POLICY = """<exclusion-policy version="1" expired="drop">
<logic>(3&amp;4)|1|2|5|6</logic>
<data-set number="1" kind="folder">
<rule>/a/</rule><rule expires="2025-12-31">/a/b/</rule><rule>/nowhere/</rule>
<rule access="write">/w/</rule><rule access="write" expires="2025-12-31">/x/</rule></data-set>
<data-set number="2" kind="file-type" expires="2025-12-31"><rule>o</rule></data-set>
<data-set number="3" kind="process"><rule>/bin/a</rule><rule>/bin/b</rule><rule>/bin/c</rule></data-set>
<data-set number="4" kind="folder"><rule>/p/</rule></data-set>
<data-set number="5" kind="file-age"><rule of="creation" days="5"/></data-set>
<data-set number="6" kind="folder"><rule expires="2026-01-01">/last-day/</rule></data-set>
</exclusion-policy>
"""


@pytest.mark.parametrize(
    "asked, hit, left_out",
    [
        (([""], ["read"]), {"/a/"}, {"/w/", "/bin/a", "/bin/b", "/bin/c"}),
        (([""], ["read", "write"]), {"/a/"}, {"/bin/a", "/bin/b", "/bin/c"}),
        ((["/bin/b"], ["read"]), {"/a/", "/bin/b"}, {"/w/", "/bin/a", "/bin/c"}),
        ((None, None), {"/a/", "/bin/a", "/bin/b", "/bin/c"}, set()),
    ],
)
def test_tells_idle_rules_apart_by_why_they_never_hit(tmp_path, asked, hit, left_out):
    file, inventory = tmp_path / "policy.xml", tmp_path / "x.jsonl"
    file.write_text(IDLE_POLICY)
    inventory.write_text('{"path":"/a/b/x.o","size":5}\n')
    job = job_for(file, None, *asked)
    text = report_of(job, counted_here(job, inventories.parts_of(str(inventory), {})))
    rules = json.loads(text)["rules"]
    dropped = {"/a/b/", "/x/", "o"}
    assert {rule["text"] for rule in rules if rule.get("dropped")} == dropped
    found = {rule.get("text") for rule in rules if rule["leftOut"] and not rule["dropped"]}
    assert found == left_out
    assert {rule["text"] for rule in rules if rule["skipped"]["files"]} == hit
    sections = dict(re.findall(r"\n\n(Rules [^:]*): (\d+)\n", reports.as_text(json.loads(text), 20)))
    assert not [rule for rule in rules if rule["scanned"]["files"]]
    counts = {
        "Rules that never hit anywhere": 12 - len(hit) - len(left_out) - len(dropped),
        "Rules that only another process or access type can hit": len(left_out),
        "Rules that have expired and are dropped": len(dropped),
    }
    assert {title: int(count) for title, count in sections.items()} == {
        title: count for title, count in counts.items() if count
    }


@pytest.fixture
def tree(tmp_path):
    """Files, also by a name that is not UTF-8, and their inventory."""
    root = tmp_path / "tree"
    chance = random.Random(5)
    for i in range(400):
        folder = root / "/".join(chance.choice(["cache", "a", "b", "spool"]) for _ in range(3))
        folder.mkdir(parents=True, exist_ok=True)
        file = folder / f"{i}.{chance.choice(['o', 'exe', 'log', 'txt'])}"
        file.write_bytes(b"x" * chance.randrange(100))
        age = chance.choice([1, 6, 8, 100]) * DAY
        os.utime(file, (0, int(time.time()) - age))
    (root / "cache").mkdir(exist_ok=True)
    with open(os.path.join(os.fsencode(root), b"cache", b"\xff\n.o"), "w"):
        pass
    inventory = tmp_path / "one.jsonl"
    with open(inventory, "wb") as out:
        subprocess.run([QVLCTL, "inventory", "--host", "h1", str(root)], stdout=out, check=True)
    return root, inventory


# Two processes that are treated alike, one that is another matter, kinds of access that rules name.
MATRIX_POLICY = """<exclusion-policy version="1">
<logic>1|(2&amp;4)|(3&amp;5)</logic>
<data-set number="1" kind="folder"><rule access="write">/**/spool/</rule></data-set>
<data-set number="2" kind="process"><rule>/bin/a</rule><rule>/bin/b</rule></data-set>
<data-set number="3" kind="process"><rule>/bin/b</rule><rule>/opt/*/c</rule><rule>/bin/d</rule></data-set>
<data-set number="4" kind="file-type"><rule>o</rule><rule access="17">log</rule></data-set>
<data-set number="5" kind="folder"><rule>/**/cache/</rule></data-set>
</exclusion-policy>
"""


@pytest.mark.skipif(not QVLCTL, reason="qvlctl is not built")
def test_asks_and_counts_as_qvlctl_does_where_nobody_says_what_to_ask(tmp_path, tree):
    root, inventory = tree
    old, new = tmp_path / "old.xml", tmp_path / "new.xml"
    old.write_text(MATRIX_POLICY)
    new.write_text(
        MATRIX_POLICY.replace("<rule>/bin/d</rule>", "<rule>/bin/e</rule>")
        .replace("<rule>o</rule>", "<rule>txt</rule>")
        .replace('"write"', '"any"')
    )
    differed = subprocess.run(
        [QVLCTL, "diff", "-p", str(old), "--with", str(new), "--format", "json", str(root)],
        capture_output=True,
        check=False,
    )
    assert differed.returncode == 1, differed.stderr
    expected = json.loads(differed.stdout.splitlines()[-1])
    done = run("diff", "-p", old, "--with", new, "--workers", 1, "--format", "json", inventory)
    assert done.returncode == 0, done.stderr
    found = json.loads(done.stdout)

    def tally(entry):
        return entry["files"], entry["bytes"]

    def expected_tally(entry):
        return entry["paths"], entry["bytes"]

    members = ("process", "alikeProcesses", "access", "otherAccess")
    assert [[q[m] for m in members] for q in found["queries"]] == [
        [q[m] for m in members] for q in expected["queries"]
    ]
    assert len(found["queries"]) > 8
    for change in ("newlySkipped", "newlyScanned"):
        assert tally(found[change]) == expected_tally(expected[change])
        assert found[change]["files"] > 20
        assert [tally(q[change]) for q in found["queries"]] == [
            expected_tally(q[change]) for q in expected["queries"]
        ]
    assert found["found"]["files"] == expected["asked"]

    for policy in (old, new):
        audited = subprocess.run(
            [QVLCTL, "audit", "-p", str(policy), "--format", "json", str(root)],
            capture_output=True,
            check=True,
        )
        expected = json.loads(audited.stdout)
        done = run("audit", "-p", policy, "--workers", 1, "--format", "json", inventory)
        found = json.loads(done.stdout)
        for member in ("found", "skipped", "skippedAlways", "scanned", "dataSets", "queries"):
            assert found[member] == expected[member], member
        for mine, theirs in zip(found["rules"], expected["rules"]):
            for member in ("text", "skipped", "scanned", "leftOut", "dropped"):
                assert mine[member] == theirs[member], (mine, theirs)
        assert any(query["alikeProcesses"] for query in found["queries"])
        assert all(rule["skipped"]["files"] for rule in found["rules"] if rule["dataSet"] == 3)


def test_compares_two_policies(tmp_path, policy):
    new = tmp_path / "new.xml"
    new.write_text(POLICY.replace("/**/cache/", "/**/spool/deep/").replace(">never<", ">txt<"))
    file = tmp_path / "x.jsonl"
    rows = [("h1", "/a/1.txt"), ("h2", "/a/2.txt"), ("h2", "/a/3.txt"), ("h1", "/cache/4")]
    file.write_text(
        "".join(json.dumps({"host": h, "path": p, "size": 10}) + "\n" for h, p in rows)
    )
    job = job_for(policy, new, [""], ["read"])
    report = json.loads(report_of(job, counted_here(job, inventories.parts_of(str(file), {}))))
    assert report["newlySkipped"] == {"files": 3, "bytes": 30, "hosts": 2, "hostsExact": True}
    assert report["newlyScanned"] == {"files": 1, "bytes": 10, "hosts": 1, "hostsExact": True}
    rules = report["newlySkippedByRule"]
    assert [(r["dataSet"], r["text"], r["files"], r["hosts"]) for r in rules] == [(2, "txt", 3, 2)]
    assert report["newlySkippedByNoRule"]["files"] == 0
    assert [h["host"] for h in report["changedByHost"]] == ["h2", "h1"]
    folders = {folder["path"]: folder for folder in report["changedByFolder"]}
    assert folders["/a"]["newlySkipped"] == {"files": 3, "bytes": 30, "hosts": 2, "hostsExact": True}
    assert folders["/a"]["newlyScanned"] == {"files": 0, "bytes": 0, "hosts": 0, "hostsExact": True}
    assert folders["/cache"]["newlyScanned"]["hosts"] == 1
    same = job_for(policy, policy)
    nothing = json.loads(report_of(same, counted_here(same, inventories.parts_of(str(file), {}))))
    assert nothing["newlySkipped"]["files"] == nothing["newlyScanned"]["files"] == 0


# ---- Bounds ----


def test_keeps_sums_exact_when_a_table_is_full():
    chance = random.Random(3)
    table = tallies.Table(100, tallies.fold_folders)
    total = 0
    for i in range(3000):
        depth = chance.randrange(5)
        size = chance.randrange(1000)
        total += size
        table.add("".join(f"/{chance.randrange(9)}" for _ in range(depth)), [size, 1])
        if i % 7 == 0:
            table.bound()
            assert len(table.counts) <= 100
    assert sum(counts[0] for counts in table.counts.values()) == total
    assert sum(counts[1] for counts in table.counts.values()) == 3000


def test_holds_no_more_than_its_bounds_whatever_comes(policy, tmp_path, monkeypatch):
    bounds = {"hosts": (50, tallies.fold_hosts), "folders": (50, tallies.fold_folders)}
    monkeypatch.setattr(tallies.Tallies, "BOUNDS", bounds)
    monkeypatch.setattr(tallies, "MOST_DISTINCT", 20)
    monkeypatch.setattr(inventories, "CHUNK_BYTES", 2000)
    file = tmp_path / "x.jsonl"
    file.write_text(
        "".join(
            json.dumps({"host": f"h{i}", "path": f"/{i % 97}/cache/{i}", "size": i}) + "\n"
            for i in range(3000)
        )
    )
    job = job_for(policy, None, [""], ["read"])
    result = counted_here(job, inventories.parts_of(str(file), {}))
    assert all(len(result.table(name).counts) <= 50 for name in bounds)
    assert all(len(d.hashes) <= 21 for d in result.distinct.values())
    for name in bounds:
        sums = [sum(column) for column in zip(*result.table(name).counts.values())]
        assert sums == [3000, sum(range(3000))] * 2
    hosts, exact = result.hosts("hosts")
    assert not exact and 1000 < hosts < 9000


def test_counts_the_hosts_of_folders_that_are_counted_together(policy, tmp_path, monkeypatch):
    bounds = {"folders": (8, tallies.fold_folders)}
    monkeypatch.setattr(tallies.Tallies, "BOUNDS", bounds)
    monkeypatch.setattr(inventories, "CHUNK_BYTES", 700)
    new = tmp_path / "new.xml"
    new.write_text(POLICY.replace(">never<", ">txt<"))
    file = tmp_path / "x.jsonl"
    chance = random.Random(4)
    hosts = {}
    with open(file, "w") as out:
        for i in range(600):
            folder, host = f"/d/{chance.randrange(40)}", f"h{chance.randrange(9)}"
            hosts.setdefault(folder, set()).add(host)
            out.write(json.dumps({"host": host, "path": f"{folder}/{i}.txt", "size": 1}) + "\n")
    job = job_for(policy, new, [""], ["read"])
    result = counted_here(job, inventories.parts_of(str(file), {}))
    report = json.loads(report_of(job, result))
    listed = report["changedByFolder"]
    assert sum(entry["newlySkipped"]["files"] for entry in listed) == 600
    assert [e["newlySkipped"]["hosts"] for e in listed if e["others"]] == [9]
    # Each host of a folder is counted there, or with the small ones.
    for entry in listed:
        if not entry["others"]:
            assert 0 < entry["newlySkipped"]["hosts"] <= len(hosts[entry["path"]])
    names = {key for name, key in result.distinct if name == "newlySkippedFolders"}
    assert names <= set(result.table("folders").counts)


def test_counts_hosts_exactly_up_to_a_bound_and_nearly_beyond():
    for count in (0, 1, 16_384, 100_000):
        distinct = tallies.Distinct()
        hashes = [tallies.host_hash(f"host-{i}") for i in range(count)]
        for begin in range(0, count, 30_000):
            distinct.merge(tallies.Distinct(hashes[begin : begin + 40_000]))
        number, exact = distinct.count()
        assert exact == (count <= tallies.MOST_DISTINCT)
        assert number == count if exact else abs(number - count) < 0.05 * count


def test_adds_sizes_that_overflow_64_bits(policy, tmp_path):
    file = tmp_path / "x.jsonl"
    largest = 2**63 - 1
    file.write_text("".join(f'{{"path":"/cache/{i}","size":{largest}}}\n' for i in range(5)))
    job = job_for(policy, None, [""], ["read"])
    report = json.loads(report_of(job, counted_here(job, inventories.parts_of(str(file), {}))))
    assert report["skipped"] == {"files": 5, "bytes": 5 * largest}
    assert report["rules"][0]["skipped"]["bytes"] == 5 * largest


# ---- Workers ----


def test_gives_the_same_bytes_from_1_2_and_4_workers(policy, inventory, tmp_path, monkeypatch):
    new = tmp_path / "new.xml"
    new.write_text(POLICY.replace("/**/cache/", "/**/a/"))
    monkeypatch.setattr(inventories, "PART_BYTES", 60_000)
    parts = running.parts_of_all(inventories.files_of([inventory]), {}, None)
    assert len(parts) > 12
    jobs = [job_for(policy), job_for(policy, new)]
    expected = [report_of(job, counted_here(job, parts)) for job in jobs]
    assert json.loads(expected[0])["unreadableRows"]["count"] > 50
    assert len(json.loads(expected[0])["unreadableRows"]["samples"]) == inventories.SAMPLED_ROWS
    for workers in (1, 2, 4):
        with running.cluster("", workers) as client:
            for job, bytes_ in zip(jobs, expected):
                result = running.count(client, job, parts, lambda *_: None)
                assert report_of(job, result) == bytes_, workers


def test_survives_a_worker_that_is_killed(policy, inventory, monkeypatch):
    monkeypatch.setattr(inventories, "PART_BYTES", 30_000)
    parts = running.parts_of_all(inventories.files_of([inventory]), {}, None)
    job = job_for(policy)
    expected = report_of(job, counted_here(job, parts))
    killed = []

    def kill_one(done, count, _):
        if done == 3:
            pid = sorted(client.run(os.getpid).values())[0]
            os.kill(pid, signal.SIGKILL)
            killed.append(pid)

    with running.cluster("", 2) as client:
        result = running.count(client, job, parts, kill_one)
    assert len(killed) == 1
    assert report_of(job, result) == expected


def test_names_the_file_at_which_every_worker_ends(policy, inventory, monkeypatch):
    parts = running.parts_of_all(inventories.files_of([inventory]), {}, None)
    monkeypatch.setattr(counting, "count_part", _end)
    with running.cluster("", 2) as client:
        with pytest.raises(running.ClusterError, match=re.escape(parts[0].file)):
            running.count(client, job_for(policy), parts[:1], lambda *_: None)


def _end(*_):
    os._exit(1)


def test_tells_that_a_cluster_has_no_worker(policy, inventory, monkeypatch, capsys):
    from distributed import LocalCluster

    monkeypatch.setattr(running, "PATIENCE", 1)
    with LocalCluster(n_workers=0, dashboard_address=None) as local:
        asked = ["audit", "-p", str(policy), "--scheduler", local.scheduler_address, inventory]
        assert fleet.main(asked) == 2
    assert "expected a worker at the scheduler" in capsys.readouterr().err


def test_asks_a_cluster_by_its_address(policy, inventory):
    from distributed import LocalCluster

    arguments = ["audit", "-p", policy, "--format", "json", "--now", NOW]
    with LocalCluster(n_workers=1, threads_per_worker=1, dashboard_address=None) as local:
        there = run(*arguments, "--scheduler", local.scheduler_address, inventory)
    assert there.returncode == 0, there.stderr
    here = run(*arguments, "--workers", 2, inventory)
    assert here.stdout == there.stdout


# ---- The command ----


def test_refuses_a_policy_with_errors_before_anything_starts(policy, monkeypatch, capsys):
    policy.write_text(POLICY.replace("<rule>exe</rule>", "<rle/>"))

    def never(*_):
        raise AssertionError("a cluster was started")

    monkeypatch.setattr(running, "cluster", never)
    monkeypatch.setattr(inventories, "files_of", never)
    assert fleet.main(["audit", "-p", str(policy), "none"]) == 2
    assert f"{policy}:6:" in capsys.readouterr().err


@pytest.mark.parametrize(
    "arguments, message",
    [
        (["none*.jsonl"], "there is no such file"),
        (["-p", "/nowhere/p.xml", "x"], "cannot read /nowhere/p.xml: No such file"),
        (["--access", "sometimes", "x"], "sometimes"),
        (["--column", "colour=x", "x"], "colour"),
        (["--list-columns", "path,size", "x"], "path last"),
        (["--folder-depth", "0", "x"], "1 at least"),
    ],
)
def test_says_what_is_wrong_on_the_command_line(policy, capsys, arguments, message):
    try:
        status = fleet.main(["audit", "-p", str(policy), *arguments])
    except SystemExit as end:
        status = end.code
    assert status == 2
    assert message in capsys.readouterr().err


def test_writes_text_and_a_page_that_needs_nothing(policy, tmp_path):
    file = tmp_path / "x.jsonl"
    file.write_text('{"host":"<b>","path":"/cache/<script>&","size":5}\n{"path":\n')
    job = job_for(policy)
    result = counted_here(job, inventories.parts_of(str(file), {}))
    report = json.loads(report_of(job, result))
    page = reports.as_page(report, 20)
    assert "<script" not in page and "&lt;b&gt;" in page
    assert not re.search(r"(src|href)=|url\(|@import", page)
    text = reports.as_text(report, 20)
    assert "Rules that never hit anywhere" in text
    assert "Rows that could not be read: 1" in text and "Rows that could not be read: 1" in page
    for member in ("skipped", "scanned"):
        assert f"{report[member]['files']:,}" in page
    assert "Ages as of 2026-09-21 14:13 UTC." in text and "Ages as of 2026-09-21 14:13 UTC." in page
    never = [r for r in report["rules"] if not r["skipped"]["files"] + r["scanned"]["files"]]
    assert f"and {len(never) - 3} other rules" in reports.as_text(report, 3)
    assert "other rule" not in text


def test_the_document_names_every_member(policy, tmp_path):
    page = (pathlib.Path(os.environ["QVL_SOURCE_DIR"]) / "docs/fleet.md").read_text()
    file = tmp_path / "x.jsonl"
    file.write_text('{"path":"/cache/\\u0000","size":5}\n{"path":\n')
    members = set()

    def collect(value):
        for inner in value.values() if isinstance(value, dict) else value:
            if isinstance(inner, (dict, list)):
                collect(inner)
        if isinstance(value, dict):
            members.update(value)

    new = tmp_path / "new.xml"
    new.write_text(POLICY.replace("/**/cache/", "/**/a/"))
    for job in (job_for(policy), job_for(policy, new)):
        parts = inventories.parts_of(str(file), {})
        collect(json.loads(report_of(job, counted_here(job, parts))))
    assert {name for name in members if f"`{name}`" not in page} == set()
    options = re.findall(r"--[a-z-]+", run("diff", "--help").stdout.decode())
    assert {option for option in options if f"`{option}" not in page} <= {"--help"}
