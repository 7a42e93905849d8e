"""Policies: from a file to answers."""

import ctypes
import dataclasses
import os
from typing import Any, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import _native
from ._paths import Paths

Text = Union[str, bytes]

_ACCESSES = {"read": 1, "write": 2, "any": 3}
_CHUNK = 1 << 18  # paths that are handed to the library at once
_ROOM = 4  # data sets and rules that are expected of a path, on average


def access_number(access: Union[str, int]) -> int:
    """The number of an access type: "read", "write", "any", or a number of 32 bits."""
    number = _ACCESSES.get(access, access) if isinstance(access, str) else access
    try:
        number = int(number)
    except (TypeError, ValueError):
        number = -1
    if not 0 <= number < 2**32:
        raise ValueError(
            f'expected "read", "write", "any" or a number of 32 bits as the access; came {access!r}'
        )
    return number


def access_name(access: int) -> str:
    """The reverse of access_number."""
    return next((name for name, number in _ACCESSES.items() if number == access), str(access))


def _encoded(text: Text) -> bytes:
    return text if isinstance(text, bytes) else text.encode("utf-8", "surrogateescape")


@dataclasses.dataclass(frozen=True)
class Problem:
    """An error or a warning about a policy. Texts that are not there are empty."""

    is_error: bool
    name: str  # of its sort, for programs, such as "refused-rule"
    file: str
    line: int  # 1 is the first; 0: not known, or the whole file
    column: int  # in characters, 1 is the first; 0: not known
    element: str
    what: str
    expected: str
    came: str
    message: str

    def __str__(self) -> str:
        return self.message


class PolicyError(ValueError):
    """A policy that cannot be used. `problems` holds all errors; `file`, `line` and `column` are those
    of the first."""

    def __init__(self, problems: Sequence[Problem]):
        super().__init__("\n".join(problem.message for problem in problems))
        self.problems = list(problems)
        first = self.problems[0] if self.problems else None
        self.file = first.file if first else ""
        self.line = first.line if first else 0
        self.column = first.column if first else 0

    def __reduce__(self):
        return PolicyError, (self.problems,)


@dataclasses.dataclass(frozen=True)
class Rule:
    """A rule of a policy. `text` is as written; of a rule by age it is empty, and `of` and `days` say
    what the file says."""

    data_set: int  # the number of its data set
    number: int  # its place in it, 1 the first
    text: str
    of: str
    days: Tuple[int, ...]
    access: int
    is_dropped: bool
    file: str
    line: int
    column: int
    comment: str = ""
    owner: str = ""
    reason: str = ""
    ticket: str = ""
    added: str = ""
    expires: str = ""

    def __str__(self) -> str:
        if not self.of:
            return self.text
        days = min(self.days, default=0)
        return f"{self.of} more than {days:,} {'day' if days == 1 else 'days'} ago"


@dataclasses.dataclass(frozen=True)
class DataSet:
    """A data set of a policy with its rules."""

    number: int
    kind: str
    name: str
    enabled: bool
    is_dropped: bool
    file: str
    line: int
    column: int
    rules: Tuple[Rule, ...]
    comment: str = ""
    owner: str = ""
    reason: str = ""
    ticket: str = ""
    added: str = ""
    expires: str = ""


@dataclasses.dataclass(frozen=True)
class Answer:
    """`data_sets`: the numbers of those that were asked and matched, in the order of asking."""

    excluded: bool
    data_sets: Tuple[int, ...]


@dataclasses.dataclass(frozen=True)
class MatchingRule:
    rule: Rule
    fits_access: bool  # False: it matches but for the kind of access


@dataclasses.dataclass(frozen=True)
class NearRule:
    rule: Rule
    difference: str  # why it does not match: "case", "subfolders" and so on


@dataclasses.dataclass(frozen=True)
class Explanation:
    """An answer, every rule that matches by itself, and, where no data set matched, at most five rules
    that miss by least."""

    excluded: bool
    data_sets: Tuple[int, ...]
    matching: Tuple[MatchingRule, ...]
    near: Tuple[NearRule, ...]


@dataclasses.dataclass
class Answers:
    """The answers to many questions, in their order.

    Numbers of the data sets of question i: data_sets[data_set_offsets[i]:data_set_offsets[i + 1]].
    Rules that hit it, as rows of two indices, into Policy.data_sets and into the rules of that:
    hits[hit_offsets[i]:hit_offsets[i + 1]]. None where they were not asked for.
    """

    excluded: np.ndarray
    data_sets: Optional[np.ndarray] = None
    data_set_offsets: Optional[np.ndarray] = None
    hits: Optional[np.ndarray] = None
    hit_offsets: Optional[np.ndarray] = None

    def __len__(self) -> int:
        return len(self.excluded)

    def to_frame(self, index: Any = None):
        """A pandas.DataFrame: `excluded`, and `data_sets` as tuples if they were asked for."""
        import pandas

        columns = {"excluded": self.excluded}
        if self.data_sets is not None:
            tuples: List[Tuple[int, ...]] = [()] * len(self)
            offsets = self.data_set_offsets
            for i in np.flatnonzero(np.diff(offsets)):
                tuples[i] = tuple(self.data_sets[offsets[i] : offsets[i + 1]].tolist())
            columns["data_sets"] = tuples
        return pandas.DataFrame(columns, index=index)


class Policy:
    """An immutable policy that is ready to answer.

    Thread safety: any number of threads may ask at once.
    """

    def __init__(self, handle: int, warnings: Sequence[Problem]):
        """Takes over a handle of the library. To get a policy, call `load` or `parse`."""
        self._handle = handle
        self.warnings = list(warnings)
        logic = _native.Bytes()
        _native.check(_native.library.qvlpolicy_logic(handle, ctypes.byref(logic)))
        self.logic = logic.text()
        self.data_sets = tuple(
            self._data_set(i) for i in range(_native.library.qvlpolicy_data_set_count(handle))
        )
        self._rule_count = sum(len(data_set.rules) for data_set in self.data_sets)

    def __del__(self):
        handle = getattr(self, "_handle", None)
        if handle:
            _native.library.qvlpolicy_free(handle)

    # ---- Loading ----

    @classmethod
    def load(
        cls, file: Union[str, os.PathLike], *, times_given: bool = False, today: str = ""
    ) -> "Policy":
        """Reads a policy file, and what it includes. Raises PolicyError when it cannot be used, with
        all errors, and OSError when the file cannot be read. For the options see `parse`."""
        with open(file, "rb") as opened:
            return cls.parse(opened.read(), os.fspath(file), times_given=times_given, today=today)

    @classmethod
    def parse(
        cls,
        text: Text,
        file: str = "policy.xml",
        *,
        times_given: bool = False,
        today: str = "",
    ) -> "Policy":
        """The same from a text in memory. `file` is its name in messages; names of included files are
        relative to its folder.

        `times_given`: rules by age go by the times that `ask_many` is given and look at no file.
        `today`: the date, YYYY-MM-DD, against which expiry is held; by default today in UTC.
        """
        handle, problems = _read(text, file, times_given, today)
        if not handle:
            raise PolicyError([problem for problem in problems if problem.is_error])
        return cls(handle, problems)

    # ---- Asking ----

    def is_excluded(self, path: Text, process: Text = "", access: Union[str, int] = "read") -> bool:
        """May the access skip scanning?"""
        return self.ask(path, process, access).excluded

    def ask(self, path: Text, process: Text = "", access: Union[str, int] = "read") -> Answer:
        """The same, with the data sets that matched."""
        question, kept = _question(path, process, access)
        numbers = (ctypes.c_uint32 * max(1, len(self.data_sets)))()
        count = ctypes.c_size_t()
        excluded = _native.check(
            _native.library.qvlpolicy_ask(
                self._handle, ctypes.byref(question), numbers, len(numbers), ctypes.byref(count)
            )
        )
        del kept
        return Answer(bool(excluded), tuple(numbers[: count.value]))

    def explain(
        self, path: Text, process: Text = "", access: Union[str, int] = "read"
    ) -> Explanation:
        """Why is it answered so?"""
        answer = self.ask(path, process, access)
        question, kept = _question(path, process, access)
        matching = tuple(
            MatchingRule(self._rule_of(match), bool(match.fits_access))
            for match in self._matches(_native.library.qvlpolicy_matching_rules, question)
        )
        near = tuple(
            NearRule(self._rule_of(match), match.difference.decode())
            for match in self._matches(_native.library.qvlpolicy_near_rules, question)
        )
        del kept
        return Explanation(answer.excluded, answer.data_sets, matching, near)

    def ask_many(
        self,
        paths: Any,
        process: Text = "",
        access: Union[str, int] = "read",
        *,
        data_sets: bool = False,
        hits: bool = False,
        created: Optional[np.ndarray] = None,
        modified: Optional[np.ndarray] = None,
        now: int = 0,
    ) -> Answers:
        """Asks about many paths, without the interpreter's lock while the library works.

        `paths`: Paths, or whatever Paths.of takes: a list, a numpy array, a column of pandas.
        `data_sets`, `hits`: whether the matching data sets and the rules that hit are told.
        `created`, `modified`, `now`: of a policy that was loaded with times_given, the times of the
        files, in whole seconds since 1970, NO_TIME where one is not known.
        """
        count = len(paths)
        times = [_times(created, count, "created"), _times(modified, count, "modified")]
        program = _encoded(process)
        number = access_number(access)
        parts = [
            self._ask_part(Paths.of(paths[i : i + _CHUNK]), program, number,
                           [None if t is None else t[i : i + _CHUNK] for t in times],
                           now, data_sets, hits)
            for i in range(0, count, _CHUNK)
        ]  # fmt: skip
        return _joined(parts, data_sets, hits)

    def ask_frame(
        self, column: Any, process: Text = "", access: Union[str, int] = "read"
    ):
        """Asks about a column of pandas; a pandas.DataFrame with its index: `excluded`, `data_sets`."""
        answers = self.ask_many(column.to_numpy(), process, access, data_sets=True)
        return answers.to_frame(column.index)

    # ---- Privately ----

    def _ask_part(self, paths, process, access, times, now, wants_data_sets, wants_hits):
        count = len(paths)
        excluded = np.zeros(count, dtype=np.uint8)
        sets = _Lists(count, np.uint32, 1, len(self.data_sets)) if wants_data_sets else None
        hits = _Lists(count, np.uint32, 2, self._rule_count) if wants_hits else None
        batch = _native.Batch()
        batch.process = _native.Bytes.of(process)
        batch.access = access
        batch.bytes = _address(paths.buffer)
        batch.now = now
        done = 0
        while done < count:
            batch.offsets = _address(paths.offsets[done:])
            batch.count = count - done
            batch.excluded = _address(excluded[done:])
            batch.created, batch.modified = (None if t is None else _address(t[done:]) for t in times)
            if sets is not None:
                batch.data_sets, batch.data_sets_capacity, batch.data_set_offsets = sets.room()
            if hits is not None:
                batch.hits, batch.hits_capacity, batch.hit_offsets = hits.room()
            answered = _native.check(
                _native.library.qvlpolicy_ask_many(self._handle, ctypes.byref(batch))
            )
            for lists in (sets, hits):
                if lists is not None:
                    lists.take(answered)
            done += answered
        return excluded.view(bool), sets, hits

    def _matches(self, function, question) -> List[_native.Match]:
        matches = (_native.Match * max(5, self._rule_count))()
        count = ctypes.c_size_t()
        _native.check(
            function(
                self._handle, ctypes.byref(question), matches, len(matches), ctypes.byref(count)
            )
        )
        return matches[: count.value]

    def _rule_of(self, match: _native.Match) -> Rule:
        return self.data_sets[match.data_set].rules[match.rule]

    def _data_set(self, index: int) -> DataSet:
        found = _native.DataSet()
        _native.check(
            _native.library.qvlpolicy_data_set_at(self._handle, index, ctypes.byref(found))
        )
        kind = found.kind.decode()
        return DataSet(
            number=found.number,
            kind=kind,
            name=found.name.text(),
            enabled=bool(found.enabled),
            is_dropped=bool(found.is_dropped),
            rules=tuple(
                self._rule(index, i, found.number, kind) for i in range(found.rule_count)
            ),
            **_place_and_metadata(found),
        )

    def _rule(self, data_set: int, index: int, number: int, kind: str) -> Rule:
        found = _native.Rule()
        _native.check(
            _native.library.qvlpolicy_rule_at(self._handle, data_set, index, ctypes.byref(found))
        )
        text, of, days = found.text.text(), "", ()
        if kind == "file-age":
            of = "creation" if text[0] == "0" else "modification"
            text, days = "", tuple(int(number) for number in text[4:].split(","))
        return Rule(
            data_set=number,
            number=index + 1,
            text=text,
            of=of,
            days=days,
            access=found.access,
            is_dropped=bool(found.is_dropped),
            **_place_and_metadata(found),
        )


@dataclasses.dataclass(frozen=True)
class Query:
    """A process and a kind of access. Those that it stands for get the same verdict for every file."""

    process: str  # empty: none
    access: int
    alike_processes: Tuple[str, ...] = ()  # other ones that it stands for
    other_access: bool = False  # stands for every kind of access that no rule names


def queries_for(
    policies: Sequence[Policy],
    processes: Optional[Sequence[Text]] = None,
    accesses: Optional[Sequence[Union[str, int]]] = None,
) -> Tuple[List[Query], List[Rule]]:
    """The processes and kinds of access that make a difference to what the policies answer, as qvlctl
    asks about them, or all combinations of those given; and the process rules that none of them can
    hit, because no name of a process was found that they match."""
    library = _native.library
    handles = (ctypes.c_void_p * len(policies))(*[policy._handle for policy in policies])
    limits = _native.QueryLimits()
    kept = None
    if processes is not None:
        kept = [_encoded(process) for process in processes]
        limits.process_count = len(kept)
        limits.processes = (_native.Bytes * max(1, len(kept)))(*map(_native.Bytes.of, kept))
    if accesses is not None:
        limits.access_count = len(accesses)
        limits.accesses = (ctypes.c_uint32 * max(1, len(accesses)))(*map(access_number, accesses))
    made = library.qvlpolicy_queries_new(handles, len(policies), ctypes.byref(limits))
    del kept
    if not made:
        raise MemoryError("there is no memory for the queries")
    try:
        return (
            [_query(made, i) for i in range(library.qvlpolicy_queries_count(made))],
            [
                _nameless(made, i, policies)
                for i in range(library.qvlpolicy_queries_nameless_count(made))
            ],
        )
    finally:
        library.qvlpolicy_queries_free(made)


def _query(queries, index: int) -> Query:
    query, alike = _native.Query(), []
    _native.check(_native.library.qvlpolicy_queries_get(queries, index, ctypes.byref(query)))
    for i in range(query.alike_count):
        name = _native.Bytes()
        _native.check(
            _native.library.qvlpolicy_queries_alike(queries, index, i, ctypes.byref(name))
        )
        alike.append(name.text())
    return Query(query.process.text(), query.access, tuple(alike), bool(query.is_other_access))


def _nameless(queries, index: int, policies: Sequence[Policy]) -> Rule:
    place = _native.Nameless()
    _native.check(_native.library.qvlpolicy_queries_nameless(queries, index, ctypes.byref(place)))
    return policies[place.policy].data_sets[place.data_set].rules[place.rule]


def check(file: Union[str, os.PathLike]) -> List[Problem]:
    """Every error and warning that reading a policy file gives, errors first; none: an empty list.
    Raises OSError when the file cannot be read."""
    with open(file, "rb") as opened:
        handle, problems = _read(opened.read(), os.fspath(file), False, "")
    if handle:
        _native.library.qvlpolicy_free(handle)
    return problems


@dataclasses.dataclass(frozen=True)
class Finding:
    """One thing that lint has to say. Texts that are not there are empty."""

    name: str  # of its sort, for programs, such as "covers-tree"
    severity: str  # "error", "warning" or "note"
    file: str
    line: int  # 1 is the first; 0: not known, or the whole file
    column: int  # in characters, 1 is the first; 0: not known
    element: str
    reason: str
    advice: str
    message: str  # all of it, but for the advice, in one line
    data_set: Optional[int]  # the index of the data set that it is about, if it is about one
    rule: Optional[int]  # likewise of the rule
    allowed_for: Optional[str]  # why the policy says that it may stay, if it does

    def __str__(self) -> str:
        return self.message


@dataclasses.dataclass(frozen=True)
class LintReport:
    """What lint found, in the order of the files."""

    platform: str  # "linux" or "macos": whose names of folders it went by
    findings: List[Finding]


_PLATFORMS = {None: 0, "linux": 1, "macos": 2}
_SEVERITIES = ("error", "warning", "note")


def lint(
    file: Union[str, os.PathLike], *, platform: Optional[str] = None, today: str = ""
) -> LintReport:
    """Looks for rules of a policy file that are too broad, never match, or mean something else; its
    errors are findings, too. Raises OSError when the file cannot be read.

    `platform`: "linux" or "macos", where the policy is used; None: the one whose folders the rules
    name. `today`: the date, YYYY-MM-DD, against which expiry is held; by default today in UTC.
    """
    if platform not in _PLATFORMS:
        raise ValueError(f'expected "linux", "macos" or None as the platform; came {platform!r}')
    library, day = _native.library, today.encode()
    options = _native.LintOptions(_PLATFORMS[platform], _native.Bytes.of(day))
    with open(file, "rb") as opened:
        handle, report = _parsed(opened.read(), os.fspath(file), False, today)
    library.qvlpolicy_free(handle)
    try:
        findings = library.qvlpolicy_lint(report, ctypes.byref(options))
    finally:
        library.qvlpolicy_report_free(report)
    if not findings:
        raise MemoryError("there is no memory for the findings")
    try:
        went_by = library.qvlpolicy_findings_platform(findings)
        count = library.qvlpolicy_findings_count(findings)
        return LintReport(
            next(name for name, number in _PLATFORMS.items() if number == went_by),
            [_finding(findings, i) for i in range(count)],
        )
    finally:
        library.qvlpolicy_findings_free(findings)


def _finding(findings, index: int) -> Finding:
    found = _native.Finding()
    _native.check(_native.library.qvlpolicy_findings_get(findings, index, ctypes.byref(found)))
    texts = ("file", "element", "reason", "advice", "message")
    return Finding(
        name=found.name.decode(),
        severity=_SEVERITIES[found.severity],
        line=found.line,
        column=found.column,
        data_set=None if found.data_set == _native.NONE else found.data_set,
        rule=None if found.rule == _native.NONE else found.rule,
        allowed_for=found.allowed_for.text() if found.is_allowed else None,
        **{text: getattr(found, text).text() for text in texts},
    )


def _parsed(text, file, times_given, today):
    """The handles of a policy, if it can be used, and of the report about it."""
    text, name, day = _encoded(text), os.fsencode(file), today.encode()
    options = _native.LoadOptions(_native.Bytes.of(day), int(times_given))
    report = ctypes.c_void_p()
    handle = _native.library.qvlpolicy_parse_with(
        text, len(text), name, len(name), ctypes.byref(options), ctypes.byref(report)
    )
    if not report:
        _native.library.qvlpolicy_free(handle)
        raise MemoryError("there is no memory for the policy")
    return handle, report


def _read(text, file, times_given, today):
    handle, report = _parsed(text, file, times_given, today)
    try:
        problems = []
        for i in range(_native.library.qvlpolicy_report_count(report)):
            found = _native.Problem()
            _native.check(_native.library.qvlpolicy_report_get(report, i, ctypes.byref(found)))
            problems.append(
                Problem(
                    is_error=bool(found.is_error),
                    name=(found.name or b"").decode(),
                    line=found.line,
                    column=found.column,
                    **{
                        name: getattr(found, name).text()
                        for name in ("file", "element", "what", "expected", "came", "message")
                    },
                )
            )
        return handle, problems
    finally:
        _native.library.qvlpolicy_report_free(report)


def _question(path, process, access):
    """A question, and what has to live as long."""
    path, process = _encoded(path), _encoded(process)
    question = _native.Question(
        _native.Bytes.of(path), _native.Bytes.of(process), access_number(access)
    )
    return question, (path, process)


def _place_and_metadata(found) -> dict:
    place = {"file": found.file.text(), "line": found.line, "column": found.column}
    metadata = {name: getattr(found.metadata, name).text() for name in _native.Metadata.NAMES}
    return {**place, **metadata}


def _address(array: np.ndarray) -> int:
    return array.ctypes.data


def _times(times, count, name):
    if times is None:
        return None
    times = np.ascontiguousarray(times, dtype=np.int64)
    if times.shape != (count,):
        raise ValueError(f"expected {count} times in `{name}`, one for each path; came {times.shape}")
    return times


class _Lists:
    """A list of numbers for each path, filled in by the library as long as there is room, then
    taken over."""

    def __init__(self, count: int, number_type, width: int, longest: int):
        self._shape = (max(_ROOM * count, longest, 1), width)
        self._buffer = np.empty(self._shape, dtype=number_type)
        self._ends = np.empty(count + 1, dtype=np.int64)
        self.numbers: List[np.ndarray] = []
        self.lengths: List[np.ndarray] = []

    def room(self):
        return _address(self._buffer), self._shape[0], _address(self._ends)

    def take(self, answered: int) -> None:
        self.numbers.append(self._buffer[: self._ends[answered] if answered else 0].copy())
        self.lengths.append(np.diff(self._ends[: answered + 1]))


def _joined(parts, wants_data_sets, wants_hits) -> Answers:
    answers = Answers(np.concatenate([np.zeros(0, dtype=bool)] + [part[0] for part in parts]))
    if wants_data_sets:
        numbers, answers.data_set_offsets = _joined_lists([part[1] for part in parts], 1)
        answers.data_sets = numbers[:, 0]
    if wants_hits:
        answers.hits, answers.hit_offsets = _joined_lists([part[2] for part in parts], 2)
    return answers


def _joined_lists(lists: Sequence[_Lists], width: int):
    numbers = [np.zeros((0, width), dtype=np.uint32)]
    lengths = [np.zeros(1, dtype=np.int64)]
    for one in lists:
        numbers += one.numbers
        lengths += one.lengths
    return np.concatenate(numbers), np.cumsum(np.concatenate(lengths))
