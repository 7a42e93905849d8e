"""The C interface from Python, by ctypes: c_interface_test.py LIBRARY POLICY.

LIBRARY is libqvlpolicy, POLICY examples/linux-server.xml. Texts go in and come out as bytes with
their length; a batch is one buffer of bytes with offsets.
"""

import array
import ctypes
import sys


class Bytes(ctypes.Structure):
    _fields_ = [("data", ctypes.c_char_p), ("length", ctypes.c_size_t)]

    @classmethod
    def of(cls, text):
        return cls(text, len(text))

    def text(self):
        return ctypes.string_at(self.data, self.length).decode()


class Question(ctypes.Structure):
    _fields_ = [("path", Bytes), ("process", Bytes), ("access", ctypes.c_uint32)]


class Problem(ctypes.Structure):
    _fields_ = [
        ("is_error", ctypes.c_int),
        ("name", ctypes.c_char_p),
        ("line", ctypes.c_uint64),
        ("column", ctypes.c_uint64),
        ("file", Bytes),
        ("element", Bytes),
        ("what", Bytes),
        ("expected", Bytes),
        ("came", Bytes),
        ("message", Bytes),
    ]


class Batch(ctypes.Structure):
    _fields_ = [
        ("bytes", ctypes.c_char_p),
        ("offsets", ctypes.POINTER(ctypes.c_int64)),
        ("count", ctypes.c_size_t),
        ("process", Bytes),
        ("access", ctypes.c_uint32),
        ("excluded", ctypes.POINTER(ctypes.c_uint8)),
        ("data_sets", ctypes.POINTER(ctypes.c_uint32)),
        ("data_sets_capacity", ctypes.c_size_t),
        ("data_set_offsets", ctypes.POINTER(ctypes.c_int64)),
        ("created", ctypes.POINTER(ctypes.c_int64)),
        ("modified", ctypes.POINTER(ctypes.c_int64)),
        ("now", ctypes.c_int64),
        ("hits", ctypes.c_void_p),
        ("hits_capacity", ctypes.c_size_t),
        ("hit_offsets", ctypes.POINTER(ctypes.c_int64)),
    ]


def load_library(name):
    library = ctypes.CDLL(name)
    size, handle = ctypes.c_size_t, ctypes.c_void_p
    signatures = {
        "qvlpolicy_version": (ctypes.c_char_p, []),
        "qvlpolicy_load": (handle, [ctypes.c_char_p, size, ctypes.POINTER(handle)]),
        "qvlpolicy_parse": (
            handle,
            [ctypes.c_char_p, size, ctypes.c_char_p, size, ctypes.POINTER(handle)],
        ),
        "qvlpolicy_free": (None, [handle]),
        "qvlpolicy_report_count": (size, [handle]),
        "qvlpolicy_report_get": (ctypes.c_int, [handle, size, ctypes.POINTER(Problem)]),
        "qvlpolicy_report_free": (None, [handle]),
        "qvlpolicy_is_excluded": (ctypes.c_int, [handle, ctypes.POINTER(Question)]),
        "qvlpolicy_ask_many": (ctypes.c_int64, [handle, ctypes.POINTER(Batch)]),
    }
    for function, (result, arguments) in signatures.items():
        getattr(library, function).restype = result
        getattr(library, function).argtypes = arguments
    return library


def expect(condition, what):
    if not condition:
        sys.exit(f"expected {what}")


def main(library_name, policy_name):
    library = load_library(library_name)
    expect(library.qvlpolicy_version().count(b".") == 2, "a version of three numbers")

    file = policy_name.encode()
    policy = library.qvlpolicy_load(file, len(file), None)
    expect(policy, f"{policy_name} to be a policy")

    paths = [b"/var/lib/docker/overlay2/layer", b"/home/ann/a", b"", "/home/ü".encode()]
    single = []
    for path in paths:
        question = Question(Bytes.of(path), Bytes.of(b""), 1)
        single.append(library.qvlpolicy_is_excluded(policy, question))
    expect(single[:2] == [1, 0], f"the first path alone to be excluded, not {single}")

    offsets = array.array("q", [0])
    for path in paths:
        offsets.append(offsets[-1] + len(path))
    count = len(paths)
    excluded = (ctypes.c_uint8 * count)()
    data_sets = (ctypes.c_uint32 * 64)()
    data_set_offsets = (ctypes.c_int64 * (count + 1))()
    batch = Batch(
        b"".join(paths),
        (ctypes.c_int64 * (count + 1)).from_buffer(offsets),
        count,
        Bytes.of(b""),
        1,
        excluded,
        data_sets,
        64,
        data_set_offsets,
    )
    answered = library.qvlpolicy_ask_many(policy, batch)
    expect(answered == count, f"{count} answers, not {answered}")
    expect(list(excluded) == single, "a batch to answer as single questions do")
    expect(data_set_offsets[1] >= 1, "the first path to have a data set")
    library.qvlpolicy_free(policy)

    report = ctypes.c_void_p()
    text = b"<exclusion-policy version='1'>\n <logic>1 2</logic></exclusion-policy>"
    policy = library.qvlpolicy_parse(text, len(text), b"p.xml", 5, ctypes.byref(report))
    expect(not policy, "a wrong logic to be refused")
    expect(library.qvlpolicy_report_count(report) == 1, "one problem")
    problem = Problem()
    expect(library.qvlpolicy_report_get(report, 0, problem) == 0, "to get it")
    place = (problem.is_error, problem.name, problem.line, problem.column, problem.file.text())
    expect(place == (1, b"logic", 2, 11, "p.xml"), f"its place, not {place}")
    library.qvlpolicy_report_free(report)


main(*sys.argv[1:])
