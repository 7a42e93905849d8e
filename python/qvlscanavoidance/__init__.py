"""Exclusion policies of an on-access file scanner: which accesses go unscanned?

    from qvlscanavoidance import Policy, PolicyError, lint

    policy = Policy.load("policy.xml")
    policy.ask("/srv/build/a.o", access="read")      # Answer(excluded=True, data_sets=(1,))
    policy.ask_frame(frame["path"])                  # a column of pandas in, a frame out
    policy.ask_many(paths).excluded                  # a list or a numpy array in, a numpy array out
    for finding in lint("policy.xml").findings:      # what is odd about it
        print(finding)

A thin layer over the C interface of libqvlpolicy: no policy is read and no rule is matched in Python.
"""

from ._native import NO_TIME, library as _library
from ._paths import Paths
from ._policy import (
    Answer,
    Answers,
    DataSet,
    Explanation,
    Finding,
    LintReport,
    MatchingRule,
    NearRule,
    Policy,
    PolicyError,
    Problem,
    Query,
    Rule,
    access_name,
    access_number,
    check,
    lint,
    queries_for,
)

__all__ = [
    "NO_TIME",
    "Answer",
    "Answers",
    "DataSet",
    "Explanation",
    "Finding",
    "LintReport",
    "MatchingRule",
    "NearRule",
    "Paths",
    "Policy",
    "PolicyError",
    "Problem",
    "Query",
    "Rule",
    "access_name",
    "access_number",
    "check",
    "lint",
    "queries_for",
]

__version__ = _library.qvlpolicy_version().decode()
