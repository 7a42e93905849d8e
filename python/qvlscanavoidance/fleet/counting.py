"""The questions about the rows of a part, and what is counted of the answers. This runs in workers."""

import dataclasses
import functools
import hashlib
from typing import Dict, Iterator, List, Optional, Sequence, Set, Tuple

import numpy as np
import pandas

from .. import Answers, Paths, Policy, Query, access_number
from . import inventories
from .tallies import MOST_DISTINCT_IN_FOLDER, Tallies, grouped, host_hash, summable, total


@dataclasses.dataclass(frozen=True)
class PolicyText:
    """A policy as it travels to workers: its own file as bytes. What it includes is read there, and
    has to be the same."""

    file: str
    text: bytes
    today: str
    digest: str = ""

    @functools.cached_property
    def policy(self) -> Policy:
        policy = Policy.parse(self.text, self.file, times_given=True, today=self.today)
        if self.digest and digest_of(policy) != self.digest:
            raise RuntimeError(
                f"{self.file}: a file that it includes is another one for this worker than where "
                "qvl-fleet was started"
            )
        return policy

    def __reduce__(self):
        return PolicyText, (self.file, self.text, self.today, self.digest)


def digest_of(policy: Policy) -> str:
    """Of what a policy says, included files and all."""
    return hashlib.sha256(repr((policy.logic, policy.data_sets)).encode()).hexdigest()


@dataclasses.dataclass(frozen=True)
class Job:
    """What is asked of every row. With `new`, both policies are asked and compared."""

    policy: PolicyText
    new: Optional[PolicyText]
    queries: Tuple[Query, ...]
    now: int
    folder_depth: int


@functools.lru_cache(maxsize=4)
def _known(policy: PolicyText) -> Policy:
    """Each worker makes a policy once."""
    return policy.policy


def count_part(job: Job, part: inventories.Part) -> Tallies:
    """The tallies of one part."""
    tallies = Tallies()
    try:
        for rows in inventories.rows_of(part):
            _count_rows(job, part, rows, tallies)
    except inventories.DAMAGES as damage:
        _add_unreadable(tallies, part, [(f"the file is damaged: {damage}", "the rest of the file")])
    return tallies


def _add_unreadable(tallies: Tallies, part, unreadable: List[Tuple[str, str]]) -> None:
    tallies.table("unreadable").add("", [len(unreadable)])
    room = inventories.SAMPLED_ROWS - len(tallies.samples)
    tallies.samples += [(part.file, reason, row) for reason, row in unreadable[: max(room, 0)]]


def _count_rows(job: Job, part, rows: inventories.Rows, tallies: Tallies) -> None:
    _add_unreadable(tallies, part, rows.unreadable)
    tallies.table("removed").add("", [rows.removed])
    if len(rows) == 0:
        return
    sizes = summable(rows.sizes)
    tallies.table("found").add("", [len(rows), total(sizes)])
    counter = _Comparison if job.new else _Audit
    counter(job, rows, sizes, tallies).count()


class _Counter:
    """One set of rows."""

    def __init__(self, job: Job, rows: inventories.Rows, sizes: np.ndarray, tallies: Tallies):
        self.job = job
        self.rows = rows
        self.sizes = sizes
        self.tallies = tallies
        self.paths = Paths.of(rows.paths)
        self.host_codes, self.host_names = pandas.factorize(np.array(rows.hosts, dtype=object))
        self.host_hashes = np.array([host_hash(host) for host in self.host_names], dtype=np.uint64)
        tallies.add_hosts("hosts", "", self.host_hashes)

    def ask(self, policy: Policy, query: Query, lists: bool, chosen=None):
        rows = self.rows
        paths, mtimes, btimes = self.paths, rows.mtimes, rows.btimes
        if chosen is not None:
            paths = Paths.of([rows.paths[i] for i in chosen.tolist()])
            mtimes, btimes = mtimes[chosen], btimes[chosen]
        return policy.ask_many(
            paths,
            query.process,
            query.access,
            data_sets=lists,
            hits=lists,
            created=btimes,
            modified=mtimes,
            now=self.job.now,
        )

    def add_total(self, name: str, chosen: np.ndarray) -> None:
        self.tallies.table(name).add("", [int(chosen.sum()), total(self.sizes[chosen])])

    def add_rules(self, name: str, keys: np.ndarray, count: int) -> None:
        """`keys`: row * count + rule, each once."""
        for rule, files, size in zip(*grouped(keys % count, self.sizes[keys // count])):
            self.tallies.table(name).add(rule, [files, size])

    def add_rule_hosts(self, name: str, keys: np.ndarray, count: int) -> None:
        for rule, hashes in self.hosts_of_each(keys % count, keys // count):
            self.tallies.add_hosts(name, rule, hashes)

    def hosts_of_each(self, things: np.ndarray, rows: np.ndarray) -> Iterator[Tuple[int, np.ndarray]]:
        """Each different one of some things, and the hosts of its rows: thing i belongs to rows[i]."""
        hosts = max(len(self.host_names), 1)
        pairs = np.unique(things * hosts + self.host_codes[rows])
        starts = np.flatnonzero(np.diff(pairs // hosts)) + 1
        for part in np.split(pairs, starts) if len(pairs) else ():
            yield int(part[0]) // hosts, self.host_hashes[part % hosts]

    def add_places(self, groups: Sequence[np.ndarray], host_names: Sequence[str] = ()) -> None:
        """Counts by host and by folder: all files and those of each group. Those of the first group
        come first, since the smallest entries give way. `host_names`: of each group, under which the
        hosts of its files are counted by folder."""
        codes, folders = self.folders()
        for name, group in zip(host_names, groups):
            rows = np.flatnonzero(group)
            for code, hashes in self.hosts_of_each(codes[rows], rows):
                self.tallies.add_hosts(name, folders[code], hashes, MOST_DISTINCT_IN_FOLDER)
        places = (
            ("hosts", self.host_codes, self.host_names),
            ("folders", codes, folders),
        )
        width = 2 * (len(groups) + 1)
        for name, codes, names in places:
            counts: Dict[int, List[int]] = {}
            everything = np.ones(len(self.rows), dtype=bool)
            for i, group in enumerate([*groups, everything]):
                for code, files, size in zip(*grouped(codes[group], self.sizes[group])):
                    counts.setdefault(code, [0] * width)[2 * i : 2 * i + 2] = [files, size]
            table = self.tallies.table(name)
            for code, values in counts.items():
                table.add(names[code], values)
            self.tallies.bound(name)

    def folders(self):
        """Which folder each row counts for, as codes, and their names."""
        depth = self.job.folder_depth
        names = ["/".join(path.split("/", depth + 1)[:-1]) for path in self.rows.paths]
        return pandas.factorize(np.array(names, dtype=object))


def rule_offsets(policy: Policy) -> np.ndarray:
    """Rules are counted in one row: the rules of data set i begin at the place i."""
    return np.cumsum([0] + [len(data_set.rules) for data_set in policy.data_sets])


def _hit_keys(policy: Policy, query: Query, answers: Answers) -> np.ndarray:
    """Which rules hit which rows: row * number of rules + rule. Where a process rule hits, those of the
    processes that the query stands for hit, too."""
    offsets = rule_offsets(policy)
    count = max(int(offsets[-1]), 1)
    rows = _row_of_each(answers.hit_offsets)
    keys = [rows * count + offsets[answers.hits[:, 0]] + answers.hits[:, 1]]
    for data_set, rules in _rules_of_alike_processes(policy, query).items():
        hit = np.unique(rows[answers.hits[:, 0] == data_set])
        keys += [hit * count + int(offsets[data_set]) + rule for rule in rules]
    return _union(keys) if len(keys) > 1 else keys[0]


@functools.lru_cache(maxsize=1024)
def _rules_of_alike_processes(policy: Policy, query: Query) -> Dict[int, List[int]]:
    """By the index of each process data set, the rules that match a process that the query stands for."""
    places = {
        id(rule): (i, j)
        for i, data_set in enumerate(policy.data_sets)
        for j, rule in enumerate(data_set.rules)
        if data_set.kind == "process"
    }
    found: Dict[int, List[int]] = {}
    for process in query.alike_processes:
        for match in policy.explain("", process, query.access).matching:
            if match.fits_access and id(match.rule) in places:
                data_set, rule = places[id(match.rule)]
                found.setdefault(data_set, []).append(rule)
    return found


def rules_left_out(policy: Policy, queries: Sequence[Query]) -> Set[int]:
    """The places of rules, among those of rule_offsets, that only another process or kind of access than
    those of the queries can hit: process rules that match none of their processes, and rules for an access
    that none of them has."""
    offsets = rule_offsets(policy)
    accesses = {query.access for query in queries}
    matched = set()
    if any(data_set.kind == "process" for data_set in policy.data_sets):
        for query in queries:
            for process in (query.process, *query.alike_processes):
                matching = policy.explain("", process, query.access).matching
                matched.update(id(match.rule) for match in matching if match.fits_access)
    return {
        int(offsets[i]) + j
        for i, data_set in enumerate(policy.data_sets)
        for j, rule in enumerate(data_set.rules)
        if (data_set.kind == "process" and id(rule) not in matched)
        or (rule.access != access_number("any") and rule.access not in accesses)
    }


def _row_of_each(offsets: np.ndarray) -> np.ndarray:
    return np.repeat(np.arange(len(offsets) - 1), np.diff(offsets))


def _union(arrays: Sequence[np.ndarray]) -> np.ndarray:
    return np.unique(np.concatenate([np.zeros(0, dtype=np.int64), *arrays]))


class _Audit(_Counter):
    """As `qvlctl audit` counts: a file is skipped when one of the queries skips it, and counts once for
    a data set and once for a rule however many queries there are."""

    def count(self) -> None:
        policy = _known(self.job.policy)
        offsets = rule_offsets(policy)
        rule_count = max(int(offsets[-1]), 1)
        numbers = np.array([data_set.number for data_set in policy.data_sets], dtype=np.int64)
        order = np.argsort(numbers)
        n = len(self.rows)
        skipped = np.zeros(n, dtype=bool)
        always = np.ones(n, dtype=bool)
        by_none = np.zeros(n, dtype=bool)
        matches, skipping_hits, other_hits = [], [], []
        for i, query in enumerate(self.job.queries):
            answers = self.ask(policy, query, lists=True)
            excluded = answers.excluded
            self.tallies.table("queries").add(
                i, [int(excluded.sum()), total(self.sizes[excluded])]
            )
            skipped |= excluded
            always &= excluded
            by_none |= excluded & (np.diff(answers.data_set_offsets) == 0)

            rows = _row_of_each(answers.data_set_offsets)
            if len(rows):
                places = order[np.searchsorted(numbers[order], answers.data_sets)]
                matches.append((rows * len(numbers) + places)[excluded[rows]])
            keys = _hit_keys(policy, query, answers)
            is_skipped = excluded[keys // rule_count]
            skipping_hits.append(keys[is_skipped])
            other_hits.append(keys[~is_skipped])

        self.add_total("skipped", skipped)
        self.add_total("skippedAlways", always)
        self.add_total("skippedByNone", by_none)
        self.add_rules("dataSets", _union(matches), max(len(numbers), 1))
        skipping = _union(skipping_hits)
        other = np.setdiff1d(_union(other_hits), skipping, assume_unique=True)
        self.add_rules("rulesSkipped", skipping, rule_count)
        self.add_rules("rulesScanned", other, rule_count)
        self.add_rule_hosts("rules", np.concatenate((skipping, other)), rule_count)
        self.add_places([skipped])


class _Comparison(_Counter):
    """As `qvlctl diff` counts: a file has changed when its verdict changes in one of the queries. Rules
    are those that hit it in these queries under the policy that skips it."""

    def count(self) -> None:
        old, new = _known(self.job.policy), _known(self.job.new)
        n = len(self.rows)
        changes = {"newlySkipped": np.zeros(n, bool), "newlyScanned": np.zeros(n, bool)}
        hits: Dict[str, list] = {"newlySkipped": [], "newlyScanned": []}
        for i, query in enumerate(self.job.queries):
            before = self.ask(old, query, lists=False).excluded
            after = self.ask(new, query, lists=False).excluded
            for name, policy, changed in (
                ("newlySkipped", new, after & ~before),
                ("newlyScanned", old, before & ~after),
            ):
                self.tallies.table(name + "Queries").add(
                    i, [int(changed.sum()), total(self.sizes[changed])]
                )
                changes[name] |= changed
                chosen = np.flatnonzero(changed)
                if len(chosen):
                    hits[name].append(self._hits(policy, query, chosen))
        for name, policy in (("newlySkipped", new), ("newlyScanned", old)):
            self.add_total(name, changes[name])
            self.tallies.add_hosts(
                name, "", self.host_hashes[np.unique(self.host_codes[changes[name]])]
            )
            count = max(int(rule_offsets(policy)[-1]), 1)
            keys = _union(hits[name])
            self.add_rules(name + "Rules", keys, count)
            self.add_rule_hosts(name + "Rules", keys, count)
            by_rule = np.zeros(n, dtype=bool)
            by_rule[keys // count] = True
            self.add_total(name + "ByNone", changes[name] & ~by_rule)
        self.add_places(
            [changes["newlySkipped"], changes["newlyScanned"]],
            Tallies.HOSTS_BESIDE["folders"],
        )

    def _hits(self, policy: Policy, query, chosen: np.ndarray) -> np.ndarray:
        keys = _hit_keys(policy, query, self.ask(policy, query, True, chosen))
        count = max(int(rule_offsets(policy)[-1]), 1)
        return chosen[keys // count] * count + keys % count
