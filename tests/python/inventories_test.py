"""Reading inventories: no row is lost, whatever it is cut into, and what cannot be read is told."""

import gzip
import json
import random

import pytest
import zstandard

from qvlscanavoidance import NO_TIME
from qvlscanavoidance.fleet import inventories
from qvlscanavoidance.fleet.inventories import InventoryError


def read(file, named=None, list_columns=None):
    """All rows of a file as (host, path, size, mtime, btime), and what could not be read."""
    rows, unreadable, removed = [], [], 0
    for part in inventories.parts_of(str(file), named or {}, list_columns):
        for found in inventories.rows_of(part):
            rows += zip(
                found.hosts,
                found.paths,
                found.sizes.tolist(),
                found.mtimes.tolist(),
                found.btimes.tolist(),
            )
            unreadable += found.unreadable
            removed += found.removed
    return rows, unreadable, removed


def reasons(unreadable):
    return [reason for reason, _ in unreadable]


@pytest.fixture
def write(tmp_path):
    def write(name, content):
        file = tmp_path / name
        file.write_bytes(content if isinstance(content, bytes) else content.encode())
        return file

    return write


def test_reads_lines_of_json(write):
    file = write(
        "h9.jsonl",
        '{"host":"h1","path":"/a","size":5,"mtime":7,"btime":8}\n'
        '{"path":"/\\u00fc","size":"6","mtime":"1.5"}\n'
        "\n"
        '{"path":"/x\\\\xFF","pathHex":"2f78ff","btime":0}\r\n'
        '{"path":"/last","mtime":-1.5}',
    )
    assert read(file) == (
        [
            ("h1", "/a", 5, 7, 8),
            ("h9", "/ü", 6, 1, NO_TIME),
            ("h9", "/x\udcff", 0, NO_TIME, NO_TIME),
            ("h9", "/last", 0, -2, NO_TIME),
        ],
        [],
        0,
    )


def test_reads_what_osquery_logs(write):
    file = write(
        "log",
        '{"name":"f","hostIdentifier":"h1","columns":{"path":"/a","size":"5","mtime":"7"},'
        '"action":"added"}\n'
        '{"name":"f","hostIdentifier":"h1","columns":{"path":"/b"},"action":"removed"}\n'
        '{"hostIdentifier":"h2","snapshot":[{"path":"/c","size":"1"},{"path":"/d"},7]}\n',
    )
    rows, unreadable, removed = read(file)
    assert [row[:3] for row in rows] == [("h1", "/a", 5), ("h2", "/c", 1), ("h2", "/d", 0)]
    assert reasons(unreadable) == ["expected an object in the snapshot"]
    assert removed == 1


def test_tells_every_line_that_it_cannot_read(write):
    lines = [
        b'{"path":"/good"}',
        b'{"path":"/x","a":[1',  # these two would be right as one
        b'2]}',
        b'{"path":"/a"},{"path":"/b"}',
        b'["/a"]',
        b'{"path":"/\xff"}',
        b'{"size":1}',
        b'{"path":7}',
        b'{"path":""}',
        b'{"path":"\\ud800"}',
        b'{"path":"/x","size":-1}',
        b'{"path":"/x","size":true}',
        b'{"path":"/x","size":1e999}',
        b'{"path":"/x","size":9223372036854775808}',
        b'{"path":"/x","mtime":"soon"}',
        b'{"path":"/x","mtime":[1]}',
        b'{"path":"/x","pathHex":"zz"}',
        b"[" * 100_000,
        b"nonsense",
        b'{"path":"/good too"}',
    ]
    rows, unreadable, _ = read(write("x", b"\n".join(lines)))
    assert [row[1] for row in rows] == ["/good", "/good too"]
    assert len(unreadable) == len(lines) - 2
    assert "expected a number as the mtime" in reasons(unreadable)
    assert "expected a path; came half of a character" in reasons(unreadable)
    assert all(len(row) <= inventories.SAMPLED_CHARACTERS for _, row in unreadable)


def test_reads_csv(write):
    file = write(
        "x.csv",
        "\ufeffsize,path,hostname,mtime\r\n"
        '5,"/a,""b""\nc",h1,7\r\n'
        "1,/b\n"
        ",/c,,\n",
    )
    rows, unreadable, _ = read(file)
    assert rows == [("h1", '/a,"b"\nc', 5, 7, NO_TIME), ("x", "/c", 0, NO_TIME, NO_TIME)]
    assert reasons(unreadable) == ["expected 4 columns; came 2"]
    named = read(write("y.csv", "p;s\n/a;3\n"), {"path": "p", "size": "s"})
    assert named[0] == [("y", "/a", 3, NO_TIME, NO_TIME)]


def test_reads_lists_of_find(write):
    file = write("h1.list", b"5\t1700000000.9999999999\t/a\tb\0" b"6\t-1.5000000000\t/\xff\n\0x\0")
    rows, unreadable, _ = read(file)
    assert rows == [
        ("h1", "/a\tb", 5, 1700000000, NO_TIME),
        ("h1", "/\udcff\n", 6, -2, NO_TIME),
    ]
    assert reasons(unreadable) == ["expected 3 columns; came 1"]
    assert read(write("h2", "/a\n/b\n"))[0][1][:2] == ("h2", "/b")
    chosen = read(write("h3", "x\t9\t/a\n"), None, ["-", "mtime", "path"])
    assert chosen[0] == [("h3", "/a", 0, 9, NO_TIME)]


@pytest.mark.parametrize("content", ["no path\n", "a\tb\n", "number,name\n1,2\n", "\0\1\2"])
def test_refuses_what_is_no_inventory(write, content):
    with pytest.raises(InventoryError, match="expected lines of JSON"):
        read(write("x", content))


def test_refuses_columns_that_are_not_there(write):
    with pytest.raises(InventoryError, match="'p'"):
        read(write("x.csv", "path,size\n/a,1\n"), {"path": "p"})


def test_finds_nothing_in_an_empty_file(write):
    assert read(write("x", "")) == ([], [], 0)
    assert read(write("y", "\n\n")) == ([], [], 0)


def test_refuses_patterns_without_files(tmp_path):
    with pytest.raises(InventoryError, match="no such file"):
        inventories.files_of([str(tmp_path / "*.jsonl")])
    with pytest.raises(InventoryError, match="it is a folder"):
        inventories.files_of([str(tmp_path)])


def test_takes_a_file_once(write, tmp_path):
    file = write("a.jsonl", "{}")
    assert inventories.files_of([str(tmp_path / "*"), str(file)]) == [str(file)]


@pytest.mark.parametrize("pack", [gzip.compress, zstandard.compress])
def test_reads_compressed_files_of_several_pieces(write, pack):
    packed = pack(b'{"path":"/a"}\n{"pa') + pack(b'th":"/b"}\n')
    assert [row[1] for row in read(write("x", packed))[0]] == ["/a", "/b"]


@pytest.mark.parametrize("pack", [gzip.compress, zstandard.compress])
def test_notices_that_a_compressed_file_is_cut_off(write, pack):
    lines = "".join(f'{{"path":"/{random.random()}"}}\n' for _ in range(20000)).encode()
    packed = pack(lines)
    with pytest.raises(inventories.DAMAGES):
        read(write("x", packed[: len(packed) * 9 // 10]))


@pytest.mark.parametrize("row_end", [b"\n", b"\0"])
def test_loses_and_doubles_no_line_wherever_it_is_cut(write, monkeypatch, row_end):
    chance = random.Random(18)
    for _ in range(150):
        lines = [
            b"/" + b"x" * chance.choice([0, 1, 2, 7, 30]) + str(i).encode()
            for i in range(chance.randrange(1, 40))
        ]
        content = row_end.join(lines) + chance.choice([b"", row_end, row_end * 3])
        file = write("x", content)
        monkeypatch.setattr(inventories, "PART_BYTES", chance.choice([1, 2, 3, 8, 31, 1000]))
        monkeypatch.setattr(inventories, "CHUNK_BYTES", chance.choice([1, 2, 5, 16, 1000]))
        if row_end not in content:
            continue
        rows, unreadable, _ = read(file)
        assert [row[1].encode() for row in rows] == lines
        assert unreadable == []


def test_counts_a_line_that_is_too_long_once(write, monkeypatch):
    monkeypatch.setattr(inventories, "LONGEST_ROW", 100)
    for part_bytes in (1000, 64, 7):
        for chunk_bytes in (1 << 20, 64, 5):
            monkeypatch.setattr(inventories, "PART_BYTES", part_bytes)
            monkeypatch.setattr(inventories, "CHUNK_BYTES", chunk_bytes)
            file = write("x", b"/a\n" + b"/" + b"y" * 500 + b"\n/b\n")
            rows, unreadable, _ = read(file)
            assert [row[1] for row in rows] == ["/a", "/b"], (part_bytes, chunk_bytes)
            assert reasons(unreadable) == ["longer than 100 bytes"], (part_bytes, chunk_bytes)


def test_reads_what_qvlctl_writes(write):
    line = json.dumps({"host": "h", "path": "/a", "size": 1, "mtime": 2, "btime": 3})
    assert read(write("x", line + "\n"))[0] == [("h", "/a", 1, 2, 3)]
