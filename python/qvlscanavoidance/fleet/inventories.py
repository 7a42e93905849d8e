"""Inventories of files: where their rows are, and what stands in a row.

An inventory is split into parts that workers read by themselves. The parts depend on the files alone,
not on who reads them. Formats: lines of JSON, CSV, and lists as `find -printf` writes them; each plain
or compressed by gzip or zstd.
"""

import csv
import dataclasses
import glob
import gzip
import io
import json
import math
import os
import zlib
from typing import Any, BinaryIO, Dict, Iterator, List, Optional, Sequence, Tuple

import numpy as np

from .. import NO_TIME

PART_BYTES = 32 << 20  # of a file that can be read from the middle
CHUNK_BYTES = 4 << 20  # that are turned into rows at once
LONGEST_ROW = 1 << 20  # longer ones are not read, so that no file without line ends fills the memory
SAMPLED_ROWS = 10  # of those that cannot be read, in each part and altogether
SAMPLED_CHARACTERS = 200

ROLES = ("path", "host", "size", "mtime", "btime")

# Names that columns have where nobody says otherwise, the first that is there.
KNOWN_NAMES = {
    "path": ("path", "file_path", "filepath", "fullpath"),
    "host": ("host", "hostIdentifier", "host_identifier", "hostname"),
    "size": ("size", "file_size", "bytes"),
    "mtime": ("mtime", "modified", "modification_time"),
    "btime": ("btime", "created", "creation_time", "crtime"),
}

# What the columns of a list are, by their number. The path comes last, since it may hold tabs.
LIST_COLUMNS = {
    1: ("path",),
    2: ("size", "path"),
    3: ("size", "mtime", "path"),
    4: ("host", "size", "mtime", "path"),
    5: ("host", "size", "mtime", "btime", "path"),
}


# What is raised where a compressed file is cut off or damaged.
DAMAGES = (EOFError, gzip.BadGzipFile, zlib.error)


class InventoryError(ValueError):
    """An inventory that cannot be used as a whole."""


@dataclasses.dataclass(frozen=True)
class Part:
    """Rows of one file: all, or those that begin in the bytes from `start` up to and without `end`."""

    file: str
    layout: str  # "json", "csv" or "list"
    columns: Tuple[Tuple[str, Any], ...]  # role and name, or place in a list
    row_end: bytes  # of JSON and lists
    delimiter: str  # of CSV
    host: str  # where a row names none
    start: int = 0
    end: Optional[int] = None


@dataclasses.dataclass
class Rows:
    """Rows that could be read, as columns, and those that could not."""

    paths: List[str]
    hosts: List[str]
    sizes: np.ndarray
    mtimes: np.ndarray
    btimes: np.ndarray
    unreadable: List[Tuple[str, str]]  # what is wrong, and the row or its beginning
    removed: int  # rows that say that a file is gone

    def __len__(self) -> int:
        return len(self.paths)


# ---- Files ----


def files_of(patterns: Sequence[str]) -> List[str]:
    """The files that match the patterns, each once, in the order of their names."""
    files = set()
    for pattern in patterns:
        found = [name for name in glob.glob(pattern, recursive=True) if os.path.isfile(name)]
        if not found and os.path.isdir(pattern):
            raise InventoryError(
                f"expected files at {pattern!r}; it is a folder. Name those in it, as in "
                f"{os.path.join(pattern, '**')!r}"
            )
        if not found:
            raise InventoryError(f"expected inventories at {pattern!r}; there is no such file")
        files.update(found)
    return sorted(files)


def parts_of(
    file: str, named: Dict[str, str], list_columns: Optional[Sequence[str]] = None
) -> List[Part]:
    """Looks at the beginning of a file and splits it. `named`: names of columns by role;
    `list_columns`: the roles of a list's columns. Raises InventoryError."""
    with open_inventory(file) as opened:
        beginning = opened.read(1 << 16)
    part = _whole(file, beginning, named, list_columns)
    if part is None:
        return []
    # A compressed file is read from its beginning, and so is CSV, whose rows may have several lines.
    if is_compressed(file) or part.layout == "csv":
        return [part]
    size = os.path.getsize(file)
    return [
        dataclasses.replace(part, start=start, end=min(start + PART_BYTES, size))
        for start in range(0, size, PART_BYTES)
    ]


def is_compressed(file: str) -> bool:
    with open(file, "rb") as opened:
        magic = opened.read(4)
    return magic[:2] == b"\x1f\x8b" or magic == b"\x28\xb5\x2f\xfd"


def open_inventory(file: str) -> BinaryIO:
    """The file, unpacked as it is read."""
    with open(file, "rb") as opened:
        magic = opened.read(4)
    if magic[:2] == b"\x1f\x8b":
        return gzip.open(file, "rb")  # type: ignore[return-value]
    if magic == b"\x28\xb5\x2f\xfd":
        return io.BufferedReader(_ZstdFile(file))
    return open(file, "rb")


class _ZstdFile(io.RawIOBase):
    """Frames of zstd, one behind the other. Raises EOFError where the last one is cut off, which the
    reader of the module does not notice."""

    def __init__(self, file: str):
        import zstandard

        self._file = open(file, "rb")
        self._new = zstandard.ZstdDecompressor().decompressobj
        self._frame = self._new()
        self._is_between = True
        self._ready = b""

    def readable(self) -> bool:
        return True

    def readinto(self, target) -> int:
        import zstandard

        while not self._ready:
            packed = self._frame.unused_data if self._frame.eof else b""
            if self._frame.eof:
                self._frame = self._new()
                self._is_between = True
            packed = packed or self._file.read(1 << 17)
            if not packed:
                if self._is_between:
                    return 0
                raise EOFError("the file ends inside a frame of zstd")
            self._is_between = False
            try:
                self._ready = self._frame.decompress(packed)
            except zstandard.ZstdError as error:
                raise EOFError(str(error)) from error
        count = min(len(target), len(self._ready))
        target[:count] = self._ready[:count]
        self._ready = self._ready[count:]
        return count

    def close(self) -> None:
        self._file.close()
        super().close()


def _whole(file, beginning, named, list_columns) -> Optional[Part]:
    if not beginning.strip():
        return None
    host = os.path.basename(file).split(".")[0]
    if beginning.lstrip()[:1] == b"{" and list_columns is None:
        names = [(role, named.get(role)) for role in ROLES]
        return Part(file, "json", tuple(names), b"\n", "", host)
    row_end = b"\0" if b"\0" in beginning else b"\n"
    first = beginning.split(row_end, 1)[0].decode("utf-8", "surrogateescape").rstrip("\r")
    if list_columns is None and row_end == b"\n":
        for delimiter in ",;\t":
            header = next(csv.reader([first.lstrip("\ufeff")], delimiter=delimiter), [])
            columns = _columns_in(header, named)
            if columns:
                return Part(file, "csv", columns, b"\n", delimiter, host)
    if named:
        raise InventoryError(
            f"{file}: expected lines of JSON, or CSV whose first line names the column "
            f"{named.get('path', 'path')!r}; came {first[:SAMPLED_CHARACTERS]!r}"
        )
    fields = first.split("\t")
    count = next((i for i, field in enumerate(fields, 1) if field.startswith("/")), 0)
    roles = list_columns or LIST_COLUMNS.get(count)
    if not roles:
        raise InventoryError(
            f"{file}: expected lines of JSON, CSV whose first line names its columns, or a list of at "
            f"most 5 columns, the last a full path; came {first[:SAMPLED_CHARACTERS]!r}"
        )
    places = tuple((role, place) for place, role in enumerate(roles))
    return Part(file, "list", places, row_end, "\t", host)


def _columns_in(header, named):
    columns = []
    for role in ROLES:
        names = (named[role],) if role in named else KNOWN_NAMES[role]
        columns += [(role, header.index(name)) for name in names if name in header][:1]
    return tuple(columns) if columns and columns[0][0] == "path" else ()


# ---- Rows ----


def rows_of(part: Part) -> Iterator[Rows]:
    """The rows of a part, some at a time."""
    if part.layout == "csv":
        yield from _csv_rows(part)
        return
    read = _JsonReader(part) if part.layout == "json" else _ListReader(part)
    for lines, too_long in _lines_of(part):
        yield read(lines, too_long)


def _lines_of(part: Part) -> Iterator[Tuple[List[bytes], List[bytes]]]:
    """Lines that begin in the part, without their ends, and the beginnings of those that are too
    long."""
    with open_inventory(part.file) as opened:
        position = part.start
        rest = b""
        skipping = False
        if part.start > 0:
            # A line that begins before the part belongs to the part before; its end is looked for.
            opened.seek(part.start - 1)
            position = part.start - 1
            skipping = True
        while True:
            block = opened.read(CHUNK_BYTES)
            if not block:
                break
            base = position
            position += len(block)
            begin = 0
            if skipping:
                end = block.find(part.row_end)
                if end < 0:
                    continue
                skipping = False
                begin = end + 1
            start_of_rest = base + begin - len(rest)
            if part.end is not None and start_of_rest >= part.end:
                return
            data = rest + block[begin:]
            last = data.rfind(part.row_end)
            if part.end is not None and start_of_rest + len(data) >= part.end:
                # The last line that begins here ends at the first end at or behind the last byte.
                last = data.find(part.row_end, part.end - 1 - start_of_rest)
                if last >= 0:
                    yield from _split(data[:last], part.row_end)
                    return
                last = data.rfind(part.row_end)
            if last >= 0:
                yield from _split(data[:last], part.row_end)
                data = data[last + 1 :]
            rest = data
            if len(rest) > LONGEST_ROW:
                yield [], [rest[:SAMPLED_CHARACTERS]]
                rest = b""
                skipping = True
        if rest:
            yield from _split(rest, part.row_end)


def _split(data: bytes, row_end: bytes) -> Iterator[Tuple[List[bytes], List[bytes]]]:
    lines = data.split(row_end)
    if max(map(len, lines)) <= LONGEST_ROW:
        yield lines, []
        return
    yield (
        [line for line in lines if len(line) <= LONGEST_ROW],
        [line[:SAMPLED_CHARACTERS] for line in lines if len(line) > LONGEST_ROW],
    )


class _Collector:
    """Takes rows one by one, as texts or numbers, and makes columns of them."""

    def __init__(self, host: str):
        self._host = host
        self.values: List[Tuple[str, Any, Any, Any, Any]] = []
        self.unreadable: List[Tuple[str, str]] = []
        self.removed = 0

    def refuse(self, reason: str, row: Any) -> None:
        text = row if isinstance(row, str) else row.decode("utf-8", "backslashreplace")
        self.unreadable.append((reason, text[:SAMPLED_CHARACTERS]))

    def rows(self) -> Rows:
        paths, hosts, sizes, mtimes, btimes = map(list, zip(*self.values)) if self.values else (
            [], [], [], [], []
        )  # fmt: skip
        hosts = [host or self._host for host in hosts]
        wrong: Dict[int, str] = {}
        columns = [
            _whole_numbers("size", sizes, 0, wrong),
            _whole_numbers("mtime", mtimes, NO_TIME, wrong),
            _whole_numbers("btime", btimes, NO_TIME, wrong),
        ]
        columns[2][columns[2] == 0] = NO_TIME  # what file systems say that keep none
        _check_paths(paths, wrong)
        if wrong:
            for i in sorted(wrong):
                self.refuse(wrong[i], repr(self.values[i]))
            good = [i for i in range(len(paths)) if i not in wrong]
            paths = [paths[i] for i in good]
            hosts = [hosts[i] for i in good]
            columns = [column[good] for column in columns]
        return Rows(paths, hosts, *columns, self.unreadable, self.removed)


def _check_paths(paths: list, wrong: Dict[int, str]) -> None:
    try:
        "".join(paths).encode("utf-8", "surrogateescape")
        if all(paths):
            return
    except (TypeError, UnicodeEncodeError):
        pass
    for i, path in enumerate(paths):
        if not isinstance(path, str) or not path:
            wrong[i] = "expected a path"
            continue
        try:
            path.encode("utf-8", "surrogateescape")
        except UnicodeEncodeError:
            wrong[i] = "expected a path; came half of a character"


def _whole_numbers(role: str, values: list, absent: int, wrong: Dict[int, str]) -> np.ndarray:
    if set(map(type, values)) <= {int}:
        try:
            numbers = np.array(values, dtype=np.int64)
            if role != "size" or not len(numbers) or numbers.min() >= 0:
                return numbers
        except OverflowError:
            pass
    numbers = np.full(len(values), absent, dtype=np.int64)
    for i, value in enumerate(values):
        try:
            number = absent if value is None or value == "" else _whole_number(value)
            if (role == "size" and number < 0) or not -(2**63) <= number < 2**63:
                raise ValueError
            numbers[i] = number
        except (ValueError, OverflowError):
            wrong[i] = f"expected a number as the {role}"
    return numbers


def _whole_number(value: Any) -> int:
    if isinstance(value, bool):
        raise ValueError
    if isinstance(value, str):
        try:
            return int(value)
        except ValueError:
            # As find writes times: more digits than a float keeps, so the whole part by itself.
            whole, point, fraction = value.partition(".")
            if point and fraction.isdigit():
                number = int(whole)
                is_below = whole.startswith("-") and fraction.strip("0") != ""
                return number - 1 if is_below else number
            raise
    if isinstance(value, (int, float)):
        return math.floor(value)
    raise ValueError


class _JsonReader:
    """Objects, one a line: of their own shape, or as osquery logs the rows of its tables, with
    `columns`, or several of them in `snapshot`."""

    def __init__(self, part: Part):
        self._part = part
        named = dict(part.columns)
        self._names = [
            (named[role],) if named[role] else KNOWN_NAMES[role] for role in ROLES
        ]
        self._scan = json.JSONDecoder().scan_once
        self._keys: Tuple[str, ...] = ()
        self._found: List[Optional[str]] = [None] * len(ROLES)  # the columns' names in such a row

    def __call__(self, lines: List[bytes], too_long: List[bytes]) -> Rows:
        collector = _Collector(self._part.host)
        for row in too_long:
            collector.refuse(f"longer than {LONGEST_ROW:,} bytes", row)
        scan = self._scan
        for line in lines:
            line = line.strip()
            if not line:
                continue
            try:
                text = line.decode()
                row, end = scan(text, 0)
            except (ValueError, StopIteration, RecursionError):
                collector.refuse("expected a line of JSON", line)
                continue
            if end != len(text) or type(row) is not dict:
                collector.refuse("expected one object of JSON", line)
                continue
            self._add(row, line, collector)
        return collector.rows()

    def _add(self, row: dict, line: bytes, collector: _Collector) -> None:
        if "snapshot" in row and isinstance(row["snapshot"], list):
            for inner in row["snapshot"]:
                if isinstance(inner, dict):
                    self._add_columns({**row, **inner}, collector)
                else:
                    collector.refuse("expected an object in the snapshot", line)
            return
        if "columns" in row and isinstance(row["columns"], dict):
            if row.get("action") == "removed":
                collector.removed += 1
                return
            row = {**row, **row["columns"]}
        self._add_columns(row, collector)

    def _add_columns(self, row: dict, collector: _Collector) -> None:
        keys = tuple(row)
        if keys != self._keys:  # most rows have those of the one before
            self._keys = keys
            self._found = [next((n for n in names if n in row), None) for names in self._names]
        found = [None if name is None else row[name] for name in self._found]
        hexadecimal = row.get("pathHex")
        if hexadecimal is not None:
            try:
                found[0] = bytes.fromhex(hexadecimal).decode("utf-8", "surrogateescape")
            except (ValueError, TypeError):
                found[0] = None
        if found[1] is not None and not isinstance(found[1], str):
            found[1] = str(found[1])
        collector.values.append(tuple(found))


class _ListReader:
    """Columns with a tab between them; the last one may hold tabs, too."""

    def __init__(self, part: Part):
        self._part = part
        self._count = len(part.columns)
        places = {role: place for role, place in part.columns}
        self._places = [places.get(role) for role in ROLES]

    def __call__(self, lines: List[bytes], too_long: List[bytes]) -> Rows:
        collector = _Collector(self._part.host)
        for row in too_long:
            collector.refuse(f"longer than {LONGEST_ROW:,} bytes", row)
        splits = self._count - 1
        for line in lines:
            if not line:
                continue
            fields = line.decode("utf-8", "surrogateescape").split("\t", splits)
            if len(fields) != self._count:
                collector.refuse(f"expected {self._count} columns; came {len(fields)}", line)
                continue
            collector.values.append(
                tuple(None if place is None else fields[place] for place in self._places)
            )
        return collector.rows()


def _csv_rows(part: Part) -> Iterator[Rows]:
    places = dict(part.columns)
    wanted = [places.get(role) for role in ROLES]
    limit = 50_000
    with open_inventory(part.file) as opened:
        text = io.TextIOWrapper(opened, "utf-8-sig", "surrogateescape", newline="")
        csv.field_size_limit(LONGEST_ROW)
        reader = csv.reader(text, delimiter=part.delimiter)
        header = next(reader)
        collector = _Collector(part.host)
        seen = 0
        while True:
            try:
                fields = next(reader)
            except StopIteration:
                break
            except csv.Error as error:
                collector.refuse(f"expected CSV: {error}", f"line {reader.line_num}")
                continue
            if not fields:
                continue
            if len(fields) != len(header):
                collector.refuse(
                    f"expected {len(header)} columns; came {len(fields)}",
                    part.delimiter.join(fields),
                )
            else:
                collector.values.append(
                    tuple(None if place is None else fields[place] for place in wanted)
                )
            seen += 1
            if seen % limit == 0:
                yield collector.rows()
                collector = _Collector(part.host)
        yield collector.rows()
