"""What is asked about each file: which processes and which kinds of access?"""

import re
from typing import List, Optional, Sequence, Tuple

from .. import Policy, access_number

_NOT_PLAIN = re.compile(r"[*?%+()\[\]{}|^$\\]")

Query = Tuple[str, int]


def queries_of(
    policies: Sequence[Policy],
    processes: Optional[Sequence[str]],
    accesses: Optional[Sequence[str]],
) -> Tuple[List[Query], List[str]]:
    """Every combination of process and access, no process first; and the process rules for which no
    process is asked.

    Where the caller names no processes, those are no process and the full paths that the policies'
    process rules name without wildcards; where the caller names no kinds of access, reading and what
    the rules name.
    """
    unasked = []
    if processes is None:
        names = [""]
        for policy in policies:
            for data_set in policy.data_sets:
                for rule in data_set.rules if data_set.kind == "process" else ():
                    if _NOT_PLAIN.search(rule.text) or not rule.text.startswith("/"):
                        unasked.append(rule.text)
                    elif rule.text not in names:
                        names.append(rule.text)
    else:
        names = list(dict.fromkeys(processes))
    if accesses is None:
        numbers = {access_number("read")}
        for policy in policies:
            for data_set in policy.data_sets:
                numbers |= {rule.access for rule in data_set.rules}
        # What is for any access is found by the others.
        numbers.discard(access_number("any"))
    else:
        numbers = set(map(access_number, accesses))
    return [(name, number) for name in names for number in sorted(numbers)], list(
        dict.fromkeys(unasked)
    )
