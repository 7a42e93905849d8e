"""What is counted about rows, in a form that adds up.

The counts of two sets of rows are added to give those of both. Every table is bounded; where one is full,
its smallest entries are counted together, so that sums stay exact. Parts are added in their order,
so the result does not depend on who counted which part.
"""

import hashlib
from typing import Any, Callable, Dict, List, Tuple

import numpy as np

MOST_HOSTS = 100_000  # with a count of their own
MOST_FOLDERS = 50_000
MOST_DISTINCT = 16_384  # hosts that are told apart exactly; beyond that their number is an estimate
MOST_DISTINCT_IN_FOLDER = 256  # likewise, of each folder
OTHERS = "\0"  # the key of what is counted together; sorts before every path and host

Key = Any
Counts = List[int]


def fold_hosts(key: str) -> str:
    return OTHERS


def fold_folders(key: str) -> str:
    """What is left of a folder is counted with its parent, in an entry beside that of the parent."""
    folder = key[:-1] if key.endswith(OTHERS) else key
    parent = folder.rpartition("/")[0]
    return parent + OTHERS


class Table:
    """Counts by key, at most so many; 0: any number. `fold` tells the key with which an entry is counted
    when there is no room, which is a shorter one or OTHERS."""

    def __init__(self, most: int = 0, fold: Callable[[str], str] = fold_hosts):
        self.counts: Dict[Key, Counts] = {}
        self._most = most
        self._fold = fold

    def add(self, key: Key, counts: Counts) -> None:
        old = self.counts.get(key)
        if old is None:
            self.counts[key] = list(counts)
        else:
            for i, count in enumerate(counts):
                old[i] += count

    def bound(self) -> List[Tuple[Key, Key]]:
        """Counts the smallest entries together until at most half of the room is used. Tells which
        entries are counted with which others now, in the order in which that happened."""
        moves: List[Tuple[Key, Key]] = []
        if not self._most or len(self.counts) <= self._most:
            return moves
        while len(self.counts) > self._most // 2:
            before = len(self.counts)
            order = sorted(self.counts, key=lambda key: (self.counts[key], key))
            for key in order[: before - self._most // 2]:
                into = self._fold(key)
                if into != key:
                    self.add(into, self.counts.pop(key))
                    moves.append((key, into))
            if len(self.counts) == before:
                break
        return moves


class Distinct:
    """How many different hosts there are: exact up to a number, estimated beyond that by as many of
    the smallest hashes (k minimum values: Bar-Yossef and others, 2002)."""

    def __init__(self, hashes: Any = (), most: int = 0):
        self.most = most or MOST_DISTINCT
        self.hashes = np.unique(np.asarray(hashes, dtype=np.uint64))[: self.most + 1]

    def merge(self, other: "Distinct") -> None:
        joined = np.concatenate((self.hashes, other.hashes))
        self.hashes = np.unique(joined)[: self.most + 1]

    def count(self) -> Tuple[int, bool]:
        """The number, and whether it is exact."""
        if len(self.hashes) <= self.most:
            return len(self.hashes), True
        return round(self.most / ((int(self.hashes[self.most - 1]) + 1) / 2**64)), False


def host_hash(host: str) -> int:
    digest = hashlib.blake2b(host.encode("utf-8", "surrogateescape"), digest_size=8).digest()
    return int.from_bytes(digest, "big")


class Tallies:
    """Everything that is counted: tables by name, numbers of distinct hosts by name and key, and the
    first rows that could not be read."""

    BOUNDS = {"hosts": (MOST_HOSTS, fold_hosts), "folders": (MOST_FOLDERS, fold_folders)}
    # Numbers of hosts by the keys of a table, which follow its entries.
    HOSTS_BESIDE = {"folders": ("newlySkippedFolders", "newlyScannedFolders")}

    def __init__(self):
        self.tables: Dict[str, Table] = {}
        self.distinct: Dict[Tuple[str, Key], Distinct] = {}
        self.samples: List[Tuple[str, str, str]] = []  # file, reason, row

    def table(self, name: str) -> Table:
        if name not in self.tables:
            self.tables[name] = Table(*self.BOUNDS.get(name, ()))
        return self.tables[name]

    def counts(self, name: str, key: Key = "", width: int = 2) -> Counts:
        return self.table(name).counts.get(key, [0] * width)

    def bound(self, name: str) -> None:
        """Bounds a table, and the numbers of hosts beside it."""
        for key, into in self.table(name).bound():
            for beside in self.HOSTS_BESIDE.get(name, ()):
                distinct = self.distinct.pop((beside, key), None)
                if distinct is not None:
                    self._add_distinct(beside, into, distinct)

    def add_hosts(self, name: str, key: Key, hashes: np.ndarray, most: int = 0) -> None:
        self._add_distinct(name, key, Distinct(hashes, most))

    def _add_distinct(self, name: str, key: Key, distinct: Distinct) -> None:
        if (name, key) in self.distinct:
            self.distinct[name, key].merge(distinct)
        else:
            self.distinct[name, key] = distinct

    def hosts(self, name: str, key: Key = "") -> Tuple[int, bool]:
        return self.distinct[name, key].count() if (name, key) in self.distinct else (0, True)

    def merge(self, other: "Tallies", most_samples: int) -> None:
        for (name, key), distinct in other.distinct.items():
            self._add_distinct(name, key, distinct)
        for name, table in other.tables.items():
            for key, counts in table.counts.items():
                self.table(name).add(key, counts)
            self.bound(name)
        self.samples += other.samples[: most_samples - len(self.samples)]


def grouped(keys: np.ndarray, sizes: np.ndarray) -> Tuple[list, list, list]:
    """The different keys, how often each comes, and the sum of the sizes that belong to it."""
    if len(keys) == 0:
        return [], [], []
    order = np.argsort(keys, kind="stable")
    keys = keys[order]
    starts = np.flatnonzero(np.concatenate(([True], keys[1:] != keys[:-1])))
    sums = np.add.reduceat(sizes[order], starts)
    counts = np.diff(np.append(starts, len(keys)))
    return keys[starts].tolist(), counts.tolist(), [int(total) for total in sums]


def summable(sizes: np.ndarray) -> np.ndarray:
    """The sizes as numbers whose sum does not overflow."""
    if len(sizes) and int(sizes.max()) > (2**63 - 1) // len(sizes):
        return sizes.astype(object)
    return sizes


def total(sizes: np.ndarray) -> int:
    return int(sizes.sum()) if len(sizes) else 0
