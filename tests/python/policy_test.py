"""The Python package: from a policy to answers."""

import pickle
import sys
import threading
import time

import numpy
import pandas
import pytest

import qvlscanavoidance as qvl
from qvlscanavoidance import NO_TIME, Paths, Policy, PolicyError

DAY = 86400

POLICY = """<exclusion-policy version="1">
<logic>(1|2|4) &amp; !3</logic>
<data-set number="1" kind="folder" name="builds" owner="ann" ticket="T-1">
  <rule>/srv/build/</rule>
  <rule access="write">/srv/</rule></data-set>
<data-set number="2" kind="file-path"><rule>/etc/ümlaut*.conf</rule></data-set>
<data-set number="3" kind="file-type"><rule>exe</rule></data-set>
<data-set number="4" kind="file-age"><rule of="modification" days="30,7"/></data-set>
</exclusion-policy>
"""

CASES = [
    ("/srv/build/a.o", True, (1,)),
    ("/srv/build/a.exe", False, (1, 3)),
    ("/srv/a", False, ()),
    ("/etc/ümlaut1.conf", True, (2,)),
    ("/etc/\udcff", False, ()),
    ("", False, ()),
]


@pytest.fixture
def policy():
    return Policy.parse(POLICY, times_given=True)


def test_answers_with_the_data_sets_that_matched(policy):
    for path, excluded, data_sets in CASES:
        assert policy.ask(path) == qvl.Answer(excluded, data_sets), path
        assert policy.is_excluded(path) is excluded
    assert policy.ask("/srv/a", access="write") == qvl.Answer(True, (1,))
    assert policy.ask(b"/etc/\xc3\xbcmlaut1.conf").excluded


def test_tells_what_the_policy_says(policy):
    assert policy.logic == "(1|2|4) & !3"
    assert [d.number for d in policy.data_sets] == [1, 2, 3, 4]
    first = policy.data_sets[0]
    assert (first.kind, first.name, first.owner, first.ticket) == ("folder", "builds", "ann", "T-1")
    assert (first.line, first.rules[1].line) == (3, 5)
    assert [str(rule) for rule in first.rules] == ["/srv/build/", "/srv/"]
    assert [qvl.access_name(rule.access) for rule in first.rules] == ["any", "write"]
    age = policy.data_sets[3].rules[0]
    assert (age.of, age.days, str(age)) == ("modification", (30, 7), "modification more than 7 days ago")


def test_raises_with_line_and_column():
    with pytest.raises(PolicyError) as caught:
        Policy.parse("<exclusion-policy version='1'>\n<logic>1|</logic>\n<data-set/>\n", "p.xml")
    error = caught.value
    assert (error.file, error.line) == ("p.xml", 2)
    assert error.column > 1
    assert len(error.problems) > 1
    assert all(problem.is_error for problem in error.problems)
    assert str(error).startswith(f"p.xml:2:{error.column}: ")
    again = pickle.loads(pickle.dumps(error))
    assert (str(again), again.line) == (str(error), 2)


def test_reads_files(tmp_path):
    file = tmp_path / "policy.xml"
    file.write_text(POLICY)
    assert Policy.load(file).ask("/srv/build/x").data_sets == (1,)
    assert qvl.check(file) == []
    file.write_text(POLICY.replace("(1|2|4)", "(1|2|4|9)"))
    problems = qvl.check(file)
    assert [(problem.is_error, problem.line) for problem in problems] == [(False, 2)]
    assert [str(w) for w in Policy.load(file).warnings] == [str(problem) for problem in problems]
    file.write_text("<x/>")
    assert [problem.is_error for problem in qvl.check(file)] == [True]
    with pytest.raises(FileNotFoundError):
        Policy.load(tmp_path / "none.xml")


def test_lints(tmp_path):
    file = tmp_path / "policy.xml"
    file.write_text(
        """<exclusion-policy version="1">
<logic>1</logic>
<data-set number="1" kind="folder" expires="2030-01-01">
<allow finding="covers-tree" rule="/srv/" reason="T-1"/>
<rule>/srv/</rule>
<rule>/etc/ü/</rule></data-set>
</exclusion-policy>
"""
    )
    report = qvl.lint(file, today="2030-01-01")
    assert report.platform == "linux"
    assert [(f.name, f.severity, f.line, f.data_set, f.rule, f.allowed_for) for f in report.findings] == [
        ("covers-tree", "warning", 5, 0, 0, "T-1")
    ]
    assert str(report.findings[0]) == (
        f"{file}:5:1: data set 1, rule 1: warning: it covers everything in /srv [covers-tree]"
    )
    assert report.findings[0].advice == "name the folders and files that are meant"
    report = qvl.lint(file, platform="macos", today="2030-01-02")
    assert report.platform == "macos"
    assert [(f.name, f.rule, f.allowed_for) for f in report.findings] == [
        ("expired", None, None),
        ("covers-tree", 0, "T-1"),
        ("alias-path", 1, None),
    ]
    assert "/private/etc/ü/" in report.findings[2].advice
    file.write_text("<x/>")
    assert [(f.severity, f.data_set) for f in qvl.lint(file).findings] == [("error", None)]
    with pytest.raises(FileNotFoundError):
        qvl.lint(tmp_path / "none.xml")
    with pytest.raises(ValueError, match="came 'plan9'"):
        qvl.lint(file, platform="plan9")


def test_explains(policy):
    explained = policy.explain("/srv/build/a.exe")
    assert (explained.excluded, explained.data_sets, explained.near) == (False, (1, 3), ())
    assert [(m.rule.data_set, m.rule.number, m.fits_access) for m in explained.matching] == [
        (1, 1, True),
        (1, 2, False),
        (3, 1, True),
    ]
    near = policy.explain("/SRV/build/x").near
    assert [(n.rule.text, n.difference) for n in near][0] == ("/srv/build/", "case")


@pytest.mark.parametrize(
    "column",
    [
        list,
        lambda paths: numpy.array(paths, dtype=object),
        lambda paths: numpy.array([p.encode("utf-8", "surrogateescape") for p in paths], object),
        lambda paths: pandas.Series(paths),
        Paths.of,
    ],
)
def test_answers_many_as_it_answers_one(policy, column):
    paths = [path for path, _, _ in CASES] * 3
    for access in ("read", "write", 17):
        answers = policy.ask_many(column(paths), access=access, data_sets=True)
        for i, path in enumerate(paths):
            one = policy.ask(path, access=access)
            begin, end = answers.data_set_offsets[i : i + 2]
            assert bool(answers.excluded[i]) == one.excluded
            assert tuple(answers.data_sets[begin:end]) == one.data_sets


def test_takes_a_path_with_a_zero_byte_for_one_path(policy):
    paths = Paths.of(["/a", "/srv/build/\0x", "/b"])
    assert [paths[i] for i in range(3)] == [b"/a", b"/srv/build/\0x", b"/b"]
    assert len(policy.ask_many(["/a", "/srv/build/\0x", "/b"])) == 3


def test_goes_on_where_the_room_for_lists_ends(tmp_path):
    # Every path matches every data set and hits more rules than room is made for.
    numbers = range(1, 31)
    policy = Policy.parse(
        "<exclusion-policy version='1'><logic>"
        + "&amp;".join(map(str, numbers))
        + "</logic>"
        + "".join(
            f"<data-set number='{n}' kind='folder'><rule>/a/</rule><rule>/a/b/</rule></data-set>"
            for n in numbers
        )
        + "</exclusion-policy>"
    )
    paths = ["/a/b/x", "/c", "/a/x"] * 50
    answers = policy.ask_many(paths, data_sets=True, hits=True)
    assert numpy.diff(answers.data_set_offsets).tolist() == [30, 0, 30] * 50
    assert numpy.diff(answers.hit_offsets).tolist() == [60, 0, 30] * 50
    assert answers.hits[:4].tolist() == [[0, 0], [0, 1], [1, 0], [1, 1]]


def test_gives_a_frame_with_the_index_of_the_column(policy):
    column = pandas.Series(["/srv/build/a.exe", "/x", "/srv/build/a"], index=[7, 5, 9])
    frame = policy.ask_frame(column)
    assert frame.index.tolist() == [7, 5, 9]
    assert frame["excluded"].tolist() == [False, False, True]
    assert frame["data_sets"].tolist() == [(1, 3), (), (1,)]


def test_judges_ages_by_the_times_given(policy):
    now = 20000 * DAY
    modified = numpy.array([now - 7 * DAY, now - 7 * DAY - 1, NO_TIME, -(2**62)])
    answers = policy.ask_many(["/none"] * 4, modified=modified, now=now, hits=True)
    assert answers.excluded.tolist() == [False, True, False, True]
    assert answers.hits.tolist() == [[3, 0], [3, 0]]
    assert not policy.ask_many(["/bin/sh"]).excluded[0]


def test_holds_expiry_against_the_day_given():
    text = (
        "<exclusion-policy version='1' expired='drop'><logic>1</logic><data-set number='1' "
        "kind='folder'><rule expires='2026-01-31'>/a/</rule></data-set></exclusion-policy>"
    )
    assert Policy.parse(text, today="2026-01-31").is_excluded("/a/x")
    assert not Policy.parse(text, today="2026-02-01").is_excluded("/a/x")


def test_tells_what_there_is_to_ask(policy):
    queries, nameless = qvl.queries_for([policy])
    assert queries == [
        qvl.Query("", qvl.access_number("read"), other_access=True),
        qvl.Query("", qvl.access_number("write")),
    ]
    assert nameless == []
    assert qvl.queries_for([policy, policy], ["/a", "/b"], [17]) == ([qvl.Query("/a", 17, ("/b",))], [])
    assert qvl.queries_for([policy], [])[0] == []


def test_answers_nothing_for_nothing(policy):
    answers = policy.ask_many([], data_sets=True, hits=True)
    assert len(answers) == 0 and answers.data_set_offsets.tolist() == [0]
    assert answers.hits.shape == (0, 2)


def test_refuses_what_is_no_path_no_access_and_no_time(policy):
    with pytest.raises(TypeError, match="None in row 1"):
        policy.ask_many(["/a", None])
    with pytest.raises(ValueError, match="'sometimes'"):
        policy.ask("/a", access="sometimes")
    with pytest.raises(ValueError, match="4294967296"):
        policy.ask("/a", access=2**32)
    with pytest.raises(ValueError, match="one for each path"):
        policy.ask_many(["/a"], modified=numpy.zeros(2, numpy.int64))
    with pytest.raises(ValueError, match="offsets"):
        Paths(b"abc", [0, 2, 1])
    with pytest.raises(ValueError, match="offsets"):
        Paths(b"abc", [0, 4])


def test_lets_other_threads_run_while_it_answers(policy):
    # A thread that holds the lock keeps it here: another one runs only when it is let go.
    paths = Paths.of(["/srv/build/" + "x" * 200] * 200_000)
    counted, ended = [0], threading.Event()

    def count():
        while not ended.is_set():
            counted[0] += 1
            time.sleep(0)

    interval = sys.getswitchinterval()
    counting = threading.Thread(target=count)
    try:
        sys.setswitchinterval(1000)
        counting.start()
        before = counted[0]
        answers = policy.ask_many(paths)
        after = counted[0]
    finally:
        ended.set()
        sys.setswitchinterval(interval)
        counting.join()
    assert answers.excluded.all()
    assert after - before > 10
