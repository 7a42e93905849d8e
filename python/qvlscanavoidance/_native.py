"""The C interface of libqvlpolicy, as ctypes sees it. qvlpolicy/qvlpolicy.h tells what it means.

Calls run without the interpreter's lock.
"""

import ctypes
import os
import sys
from ctypes import POINTER, c_char_p, c_int, c_int64, c_size_t, c_uint32, c_uint64, c_void_p

NO_TIME = -(2**63)
NONE = ctypes.c_size_t(-1).value  # of an index


class Bytes(ctypes.Structure):
    # Not c_char_p, which would end at a zero byte.
    _fields_ = [("data", c_void_p), ("length", c_size_t)]

    @classmethod
    def of(cls, text):
        """Borrows `text`, which the caller keeps."""
        return cls(ctypes.cast(c_char_p(text), c_void_p), len(text))

    def text(self):
        if self.length == 0:
            return ""
        return ctypes.string_at(self.data, self.length).decode("utf-8", "surrogateescape")


class LoadOptions(ctypes.Structure):
    _fields_ = [("today", Bytes), ("times_are_given", c_int)]


class Problem(ctypes.Structure):
    _fields_ = [
        ("is_error", c_int),
        ("name", c_char_p),
        ("line", c_uint64),
        ("column", c_uint64),
        ("file", Bytes),
        ("element", Bytes),
        ("what", Bytes),
        ("expected", Bytes),
        ("came", Bytes),
        ("message", Bytes),
    ]


class LintOptions(ctypes.Structure):
    _fields_ = [("platform", c_int), ("today", Bytes)]


class Finding(ctypes.Structure):
    _fields_ = [
        ("name", c_char_p),
        ("severity", c_int),
        ("is_allowed", c_int),
        ("line", c_uint64),
        ("column", c_uint64),
        ("file", Bytes),
        ("element", Bytes),
        ("reason", Bytes),
        ("advice", Bytes),
        ("allowed_for", Bytes),
        ("message", Bytes),
        ("data_set", c_size_t),
        ("rule", c_size_t),
    ]


class Question(ctypes.Structure):
    _fields_ = [("path", Bytes), ("process", Bytes), ("access", c_uint32)]


class Batch(ctypes.Structure):
    _fields_ = [
        ("bytes", c_void_p),
        ("offsets", c_void_p),
        ("count", c_size_t),
        ("process", Bytes),
        ("access", c_uint32),
        ("excluded", c_void_p),
        ("data_sets", c_void_p),
        ("data_sets_capacity", c_size_t),
        ("data_set_offsets", c_void_p),
        ("created", c_void_p),
        ("modified", c_void_p),
        ("now", c_int64),
        ("hits", c_void_p),
        ("hits_capacity", c_size_t),
        ("hit_offsets", c_void_p),
    ]


class Match(ctypes.Structure):
    _fields_ = [
        ("data_set", c_size_t),
        ("rule", c_size_t),
        ("fits_access", c_int),
        ("difference", c_char_p),
    ]


class Metadata(ctypes.Structure):
    NAMES = ("comment", "owner", "reason", "ticket", "added", "expires")
    _fields_ = [(name, Bytes) for name in NAMES]


class DataSet(ctypes.Structure):
    _fields_ = [
        ("number", c_uint32),
        ("kind", c_char_p),
        ("name", Bytes),
        ("enabled", c_int),
        ("is_dropped", c_int),
        ("rule_count", c_size_t),
        ("file", Bytes),
        ("line", c_uint64),
        ("column", c_uint64),
        ("metadata", Metadata),
    ]


class Rule(ctypes.Structure):
    _fields_ = [
        ("text", Bytes),
        ("access", c_uint32),
        ("is_dropped", c_int),
        ("file", Bytes),
        ("line", c_uint64),
        ("column", c_uint64),
        ("metadata", Metadata),
    ]


class QueryLimits(ctypes.Structure):
    _fields_ = [
        ("processes", POINTER(Bytes)),
        ("process_count", c_size_t),
        ("accesses", POINTER(c_uint32)),
        ("access_count", c_size_t),
    ]


class Query(ctypes.Structure):
    _fields_ = [
        ("process", Bytes),
        ("access", c_uint32),
        ("is_other_access", c_int),
        ("alike_count", c_size_t),
    ]


class Nameless(ctypes.Structure):
    _fields_ = [("policy", c_size_t), ("data_set", c_size_t), ("rule", c_size_t)]


_FUNCTIONS = {
    "qvlpolicy_version": (c_char_p, []),
    "qvlpolicy_status_text": (c_char_p, [c_int]),
    "qvlpolicy_parse_with": (
        c_void_p,
        [c_char_p, c_size_t, c_char_p, c_size_t, POINTER(LoadOptions), POINTER(c_void_p)],
    ),
    "qvlpolicy_free": (None, [c_void_p]),
    "qvlpolicy_report_count": (c_size_t, [c_void_p]),
    "qvlpolicy_report_get": (c_int, [c_void_p, c_size_t, POINTER(Problem)]),
    "qvlpolicy_report_free": (None, [c_void_p]),
    "qvlpolicy_lint": (c_void_p, [c_void_p, POINTER(LintOptions)]),
    "qvlpolicy_findings_count": (c_size_t, [c_void_p]),
    "qvlpolicy_findings_get": (c_int, [c_void_p, c_size_t, POINTER(Finding)]),
    "qvlpolicy_findings_platform": (c_int, [c_void_p]),
    "qvlpolicy_findings_free": (None, [c_void_p]),
    "qvlpolicy_ask": (
        c_int,
        [c_void_p, POINTER(Question), POINTER(c_uint32), c_size_t, POINTER(c_size_t)],
    ),
    "qvlpolicy_ask_many": (c_int64, [c_void_p, POINTER(Batch)]),
    "qvlpolicy_matching_rules": (
        c_int,
        [c_void_p, POINTER(Question), POINTER(Match), c_size_t, POINTER(c_size_t)],
    ),
    "qvlpolicy_near_rules": (
        c_int,
        [c_void_p, POINTER(Question), POINTER(Match), c_size_t, POINTER(c_size_t)],
    ),
    "qvlpolicy_queries_new": (
        c_void_p,
        [POINTER(c_void_p), c_size_t, POINTER(QueryLimits)],
    ),
    "qvlpolicy_queries_free": (None, [c_void_p]),
    "qvlpolicy_queries_count": (c_size_t, [c_void_p]),
    "qvlpolicy_queries_nameless_count": (c_size_t, [c_void_p]),
    "qvlpolicy_queries_get": (c_int, [c_void_p, c_size_t, POINTER(Query)]),
    "qvlpolicy_queries_alike": (c_int, [c_void_p, c_size_t, c_size_t, POINTER(Bytes)]),
    "qvlpolicy_queries_nameless": (c_int, [c_void_p, c_size_t, POINTER(Nameless)]),
    "qvlpolicy_logic": (c_int, [c_void_p, POINTER(Bytes)]),
    "qvlpolicy_data_set_count": (c_size_t, [c_void_p]),
    "qvlpolicy_data_set_at": (c_int, [c_void_p, c_size_t, POINTER(DataSet)]),
    "qvlpolicy_rule_at": (c_int, [c_void_p, c_size_t, c_size_t, POINTER(Rule)]),
}


def _candidates():
    """Where the library may be: as told, or in the installation of this package, or where the system
    looks."""
    told = os.environ.get("QVLPOLICY_LIBRARY")
    if told:
        return [told]
    name = "libqvlpolicy.0.dylib" if sys.platform == "darwin" else "libqvlpolicy.so.0"
    # PREFIX/lib/python3/dist-packages/qvlscanavoidance, and PREFIX/lib64 beside it.
    prefix = os.path.realpath(__file__)
    for _ in range(5):
        prefix = os.path.dirname(prefix)
    return [os.path.join(prefix, "lib64", name), name]


def _load():
    troubles = []
    for name in _candidates():
        try:
            loaded = ctypes.CDLL(name)
            break
        except OSError as trouble:
            troubles.append(str(trouble))
    else:
        raise ImportError(
            "expected the policy library, libqvlpolicy, where the system looks for libraries or "
            "where QVLPOLICY_LIBRARY says, and found none: " + "; ".join(troubles)
        )
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(loaded, name)
        function.restype = result
        function.argtypes = arguments
    return loaded


library = _load()


def check(status):
    """Raises for a negative status; returns any other one."""
    if status < 0:
        text = library.qvlpolicy_status_text(int(status)).decode()
        raise (MemoryError if status == -2 else RuntimeError)(text)
    return status
