"""What qvl-fleet found, as data, as text and as a page."""

import datetime
import html
import json
from typing import Any, Dict, List, Sequence

from .. import Policy, Query, Rule, access_name
from .counting import Job, rule_offsets, rules_left_out
from .tallies import OTHERS, Tallies

VERSION = 1


# ---- Data ----


def _text(name: str, text: str) -> Dict[str, str]:
    """A member for a text that may hold any bytes, as qvlctl writes it: where they are not UTF-8, those
    that are wrong as \\xNN, and all of them in hexadecimal in a second member."""
    data = text.encode("utf-8", "surrogateescape")
    try:
        return {name: data.decode()}
    except UnicodeDecodeError:
        shown = "".join(
            f"\\x{ord(c) - 0xDC00:02X}" if 0xDC80 <= ord(c) <= 0xDCFF else c for c in text
        )
        return {name: shown, name + "Hex": data.hex()}


def _tally(counts: Sequence[int]) -> Dict[str, int]:
    return {"files": counts[0], "bytes": counts[1]}


def _with_hosts(counts: Sequence[int], hosts) -> Dict[str, Any]:
    return {**_tally(counts), "hosts": hosts[0], "hostsExact": hosts[1]}


def _rule(rule: Rule) -> Dict[str, Any]:
    """The members that a rule has in all that qvlctl writes."""
    members: Dict[str, Any] = {"rule": rule.number, "line": rule.line}
    if rule.of:
        members.update(of=rule.of, days=list(rule.days))
    else:
        members.update(_text("text", rule.text))
    members["access"] = access_name(rule.access)
    return members


def _place_name(member: str, key: str) -> Dict[str, Any]:
    """A key of a bounded table; `others`: of what it stands for together with other ones."""
    if key.endswith(OTHERS):
        return {**_text(member, key[:-1]), "others": True}
    return {**_text(member, key or "/" if member == "path" else key), "others": False}


def _common(kind: str, job: Job, tallies: Tallies, files: int) -> Dict[str, Any]:
    return {
        "report": kind,
        "version": VERSION,
        "inventories": files,
        "now": job.now,
        "hosts": tallies.hosts("hosts")[0],
        "hostsExact": tallies.hosts("hosts")[1],
        "unreadableRows": {
            "count": tallies.counts("unreadable", width=1)[0],
            "samples": [
                {**_text("file", file), "reason": reason, **_text("row", row)}
                for file, reason, row in tallies.samples
            ],
        },
        "removedRows": tallies.counts("removed", width=1)[0],
        "found": _tally(tallies.counts("found")),
    }


def _query(query: Query) -> Dict[str, Any]:
    """The members that a query has in all that qvlctl writes."""
    return {
        **_text("process", query.process),
        "access": access_name(query.access),
        "otherAccess": query.other_access,
        "alikeProcesses": [_text("process", process) for process in query.alike_processes],
    }


def _largest(tallies: Tallies, name: str, member: str, groups: Sequence[str], top: int) -> List:
    """The entries of a table with the largest first groups."""
    width = len(groups)
    rows = [
        (counts, key)
        for key, counts in tallies.table(name).counts.items()
        if any(counts[: 2 * width - 2])
    ]
    # The largest bytes first, then files, then names.
    rows.sort(key=lambda row: (
        [(-row[0][2 * i + 1], -row[0][2 * i]) for i in range(width)], row[1]))  # fmt: skip
    return [
        {
            **_place_name(member, key),
            **{
                group: {**_tally(counts[2 * i : 2 * i + 2]), **_hosts_beside(tallies, name, group, key)}
                for i, group in enumerate(groups)
            },
        }
        for counts, key in rows[:top]
    ]


def _hosts_beside(tallies: Tallies, table: str, group: str, key: str) -> Dict[str, Any]:
    name = group + table.capitalize()
    if name not in tallies.HOSTS_BESIDE.get(table, ()):
        return {}
    hosts, exact = tallies.hosts(name, key)
    return {"hosts": hosts, "hostsExact": exact}


def audit_report(job: Job, policy: Policy, tallies: Tallies, files: int, top: int) -> Dict:
    """The totals, data sets and rules have the members that `qvlctl audit` gives them."""
    found, skipped = tallies.counts("found"), tallies.counts("skipped")
    offsets = rule_offsets(policy)
    report = _common("fleet-audit", job, tallies, files)
    report.update(_text("policy", job.policy.file))
    report["logic"] = policy.logic
    report["queries"] = [
        {**_query(query), "skipped": _tally(tallies.counts("queries", i))}
        for i, query in enumerate(job.queries)
    ]
    report["skipped"] = _tally(skipped)
    report["skippedAlways"] = _tally(tallies.counts("skippedAlways"))
    report["scanned"] = _tally([found[0] - skipped[0], found[1] - skipped[1]])
    report["dataSets"] = [
        {
            "number": data_set.number,
            "kind": data_set.kind,
            "name": data_set.name,
            "line": data_set.line,
            "skipped": _tally(tallies.counts("dataSets", i)),
        }
        for i, data_set in enumerate(policy.data_sets)
    ]
    report["skippedByNone"] = _tally(tallies.counts("skippedByNone"))
    report["rules"] = []
    left_out = rules_left_out(policy, job.queries)
    for i, data_set in enumerate(policy.data_sets):
        for j, rule in enumerate(data_set.rules):
            place = int(offsets[i]) + j
            hosts, exact = tallies.hosts("rules", place)
            report["rules"].append(
                {
                    "dataSet": data_set.number,
                    **_rule(rule),
                    "skipped": _tally(tallies.counts("rulesSkipped", place)),
                    "scanned": _tally(tallies.counts("rulesScanned", place)),
                    "hosts": hosts,
                    "hostsExact": exact,
                    "leftOut": place in left_out,
                    "dropped": rule.is_dropped or data_set.is_dropped,
                }
            )
    report["skippedByHost"] = _largest(tallies, "hosts", "host", ("skipped", "found"), top)
    report["skippedByFolder"] = _largest(tallies, "folders", "path", ("skipped", "found"), top)
    return report


def diff_report(job: Job, old: Policy, new: Policy, tallies: Tallies, files: int, top: int) -> Dict:
    report = _common("fleet-diff", job, tallies, files)
    report.update(_text("policy", job.policy.file))
    assert job.new is not None
    report.update(_text("with", job.new.file))
    report["queries"] = [
        {
            **_query(query),
            "newlySkipped": _tally(tallies.counts("newlySkippedQueries", i)),
            "newlyScanned": _tally(tallies.counts("newlyScannedQueries", i)),
        }
        for i, query in enumerate(job.queries)
    ]
    for name, policy in (("newlySkipped", new), ("newlyScanned", old)):
        report[name] = _with_hosts(tallies.counts(name), tallies.hosts(name))
        offsets = rule_offsets(policy)
        rules = []
        for i, data_set in enumerate(policy.data_sets):
            for j, rule in enumerate(data_set.rules):
                place = int(offsets[i]) + j
                counts = tallies.counts(name + "Rules", place)
                if counts[0]:
                    hosts = tallies.hosts(name + "Rules", place)
                    rules.append(
                        {"dataSet": data_set.number, **_rule(rule), **_with_hosts(counts, hosts)}
                    )
        report[name + "ByRule"] = rules
        report[name + "ByNoRule"] = _tally(tallies.counts(name + "ByNone"))
    groups = ("newlySkipped", "newlyScanned", "found")
    report["changedByHost"] = _largest(tallies, "hosts", "host", groups, top)
    report["changedByFolder"] = _largest(tallies, "folders", "path", groups, top)
    return report


def as_json(report: Dict) -> str:
    return json.dumps(report, indent=2, ensure_ascii=False) + "\n"


# ---- Tables, which text and page share ----


def size_in_words(count: int) -> str:
    if count < 1024:
        return f"{count:,} {'byte' if count == 1 else 'bytes'}"
    value, unit = count / 1024, 0
    units = ("KiB", "MiB", "GiB", "TiB", "PiB", "EiB")
    while value >= 1023.95 and unit + 1 < len(units):
        value, unit = value / 1024, unit + 1
    return f"{value:,.1f} {units[unit]}"


def _counted(count: int, singular: str, plural: str) -> str:
    return f"{count:,} {singular if count == 1 else plural}"


def _share(part: int, whole: int) -> str:
    return f"{100 * part / whole if whole else 0:.1f} %"


def _hosts_in_words(entry: Dict) -> str:
    return ("" if entry["hostsExact"] else "about ") + f"{entry['hosts']:,}"


def _rule_in_words(rule: Dict) -> str:
    if "of" not in rule:
        return rule["text"]
    return f"{rule['of']} more than {_counted(min(rule['days']), 'day', 'days')} ago"


def _query_in_words(query: Dict) -> str:
    words = f"{query['access']}, {query['process'] or 'no process'}"
    others = len(query["alikeProcesses"])
    return words + (f" (and {_counted(others, 'process', 'processes')} alike)" if others else "")


def _name(entry: Dict, member: str) -> str:
    name = entry[member]
    return (name + " (small ones)" if name else "(small ones)") if entry["others"] else name


class _Section:
    """A heading and a table: `columns` are titles, those of numbers with a `#` before them."""

    def __init__(self, title: str, columns: Sequence[str], rows: List[Sequence[str]]):
        self.title = title
        self.columns = [column.lstrip("#") for column in columns]
        self.numbers = [column.startswith("#") for column in columns]
        self.rows = rows


def _rest(rules: Sequence, top: int, columns: int) -> List[Sequence[str]]:
    """A row about the rules that are not listed."""
    if len(rules) <= top:
        return []
    return [("", f"and {_counted(len(rules) - top, 'other rule', 'other rules')}", *[""] * (columns - 2))]


def _two(tally: Dict) -> List[str]:
    return [f"{tally['files']:,}", size_in_words(tally["bytes"])]


def _sections(report: Dict, top: int) -> List[_Section]:
    sections = _audit_sections if report["report"] == "fleet-audit" else _diff_sections
    unreadable = report["unreadableRows"]
    made = sections(report, top)
    if unreadable["count"]:
        title = f"Rows that could not be read: {unreadable['count']:,}, missing above; the first ones"
        made.append(_Section(title, ("Reason", "File", "Row"),
            [(s["reason"], s["file"], s["row"]) for s in unreadable["samples"]]))  # fmt: skip
    return made


def _audit_sections(report: Dict, top: int) -> List[_Section]:
    found = report["found"]
    totals = [
        (name, *_two(report[name]), _share(report[name]["files"], found["files"]),
         _share(report[name]["bytes"], found["bytes"]))
        for name in ("found", "skipped", "scanned")
    ]  # fmt: skip
    data_sets = [(str(d["number"]), *_two(d["skipped"]), d["kind"], d["name"]) for d in report["dataSets"]]
    if report["skippedByNone"]["files"]:
        data_sets.append(("none", *_two(report["skippedByNone"]), "", "no data set matched"))

    def hits(rule):
        return rule["skipped"]["files"] + rule["scanned"]["files"]

    by_hits = sorted((r for r in report["rules"] if hits(r)), key=hits, reverse=True)
    idle = [rule for rule in report["rules"] if not hits(rule)]
    dropped = [rule for rule in idle if rule["dropped"]]
    left_out = [rule for rule in idle if rule["leftOut"] and not rule["dropped"]]
    never = [rule for rule in idle if not rule["leftOut"] and not rule["dropped"]]

    def without_hits(title, rules):
        return _Section(f"{title}: {len(rules):,}", ("Data set", "Rule", "#Line"),
            [(str(r["dataSet"]), _rule_in_words(r), f"{r['line']}") for r in rules[:top]]
            + _rest(rules, top, 3))  # fmt: skip

    return [
        _Section("Totals", ("", "#Files", "#Size", "#Of the files", "#Of the bytes"), totals),
        _Section("What was asked", ("Access and process", "#Files skipped", "#Size"),
            [(_query_in_words(q), *_two(q["skipped"])) for q in report["queries"]]),
        _Section("Skipped, by the data sets that matched (a file may count for several)",
            ("Data set", "#Files", "#Size", "Kind", "Name"), data_sets),
        _Section(f"Rules by hits: {len(by_hits):,} of {_counted(len(report['rules']), 'rule', 'rules')}",
            ("Data set", "Rule", "#Line", "#Hosts", "#Files skipped", "#Size", "#Kept scanned"),
            [(str(r["dataSet"]), _rule_in_words(r), f"{r['line']}", _hosts_in_words(r),
              *_two(r["skipped"]), f"{r['scanned']['files']:,}") for r in by_hits[:top]]
            + _rest(by_hits, top, 7)),
        without_hits("Rules that never hit anywhere", never),
        *(without_hits(title, rules) for title, rules in (
            ("Rules that only another process or access type can hit", left_out),
            ("Rules that have expired and are dropped", dropped)) if rules),
        _Section("Hosts with the most skipped", ("Host", "#Files skipped", "#Size", "#Of its bytes"),
            [(_name(h, "host"), *_two(h["skipped"]), _share(h["skipped"]["bytes"], h["found"]["bytes"]))
             for h in report["skippedByHost"]]),
        _Section("Folders with the most skipped", ("Folder", "#Files skipped", "#Size", "#Of its bytes"),
            [(_name(f, "path"), *_two(f["skipped"]), _share(f["skipped"]["bytes"], f["found"]["bytes"]))
             for f in report["skippedByFolder"]]),
    ]  # fmt: skip


def _diff_sections(report: Dict, top: int) -> List[_Section]:
    sections = [
        _Section("Totals", ("", "#Files", "#Size", "#Hosts"),
            [("found", *_two(report["found"]), _hosts_in_words(report))] +
            [(title, *_two(report[name]), _hosts_in_words(report[name]))
             for title, name in (("newly skipped", "newlySkipped"), ("newly scanned", "newlyScanned"))]),
        _Section("What was asked",
            ("Access and process", "#Newly skipped", "#Size", "#Newly scanned", "#Size"),
            [(_query_in_words(q), *_two(q["newlySkipped"]), *_two(q["newlyScanned"]))
             for q in report["queries"]]),
    ]  # fmt: skip
    for name, title in (
        ("newlySkipped", "Newly skipped, by the rules of the new policy that hit"),
        ("newlyScanned", "Newly scanned, by the rules of the old policy that hit"),
    ):
        rules = sorted(report[name + "ByRule"], key=lambda r: (-r["hosts"], -r["files"]))
        rows = [
            (str(r["dataSet"]), _rule_in_words(r), f"{r['line']}", _hosts_in_words(r), *_two(r))
            for r in rules[:top]
        ] + _rest(rules, top, 6)
        if report[name + "ByNoRule"]["files"]:
            rows.append(("", "by no rule: the logic or a switch", "", "", *_two(report[name + "ByNoRule"])))
        sections.append(
            _Section(title, ("Data set", "Rule", "#Line", "#Hosts", "#Files", "#Size"), rows)
        )
    sections.append(
        _Section("Hosts with the most newly skipped",
            ("Host", "#Newly skipped", "#Size", "#Newly scanned", "#Size"),
            [(_name(e, "host"), *_two(e["newlySkipped"]), *_two(e["newlyScanned"]))
             for e in report["changedByHost"]]))  # fmt: skip
    sections.append(
        _Section("Folders with the most newly skipped",
            ("Folder", "#Newly skipped", "#Size", "#Hosts", "#Newly scanned", "#Size", "#Hosts"),
            [(_name(e, "path"), *_two(e["newlySkipped"]), _hosts_in_words(e["newlySkipped"]),
              *_two(e["newlyScanned"]), _hosts_in_words(e["newlyScanned"]))
             for e in report["changedByFolder"]]))  # fmt: skip
    return sections


def _title(report: Dict) -> str:
    hosts = _counted(report["hosts"], "host", "hosts")
    rows = _counted(report["found"]["files"], "file", "files")
    if report["report"] == "fleet-audit":
        return f"Audit of {rows} on {hosts} under {report['policy']}"
    return f"From {report['policy']} to {report['with']}: {rows} on {hosts}"


def _subtitle(report: Dict) -> str:
    moment = datetime.datetime.fromtimestamp(0, datetime.timezone.utc)
    try:
        moment += datetime.timedelta(seconds=report["now"])
        when = moment.strftime("%Y-%m-%d %H:%M UTC")
    except OverflowError:
        when = f"{report['now']:,} seconds since 1970"
    text = f"{_counted(report['inventories'], 'inventory', 'inventories')}. Ages as of {when}."
    if "logic" in report:
        text += f" Logic: {report['logic'].strip()}"
    return text


# ---- Text ----


def _printable(text: str) -> str:
    return "".join(c if c.isprintable() else f"\\x{ord(c):02X}" for c in text)


def as_text(report: Dict, top: int) -> str:
    lines = [_printable(_title(report)), _printable(_subtitle(report))]
    for section in _sections(report, top):
        lines += ["", _printable(section.title)]
        table = [section.columns] + [[_printable(cell) for cell in row] for row in section.rows]
        widths = [max(map(len, column)) for column in zip(*table)]
        for row in table if section.rows else []:
            cells = [
                cell.rjust(width) if number else cell.ljust(width)
                for cell, width, number in zip(row, widths, section.numbers)
            ]
            lines.append(("  " + "  ".join(cells)).rstrip())
        if not section.rows:
            lines.append("  nothing")
    return "\n".join(lines) + "\n"


# ---- Page ----

_PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<!-- The page needs nothing from anywhere, and may not fetch anything. -->
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>{title}</title>
<style>
:root {{
  color-scheme: light dark;
  --page: #ffffff; --text: #1c1c1f; --quiet: #5b5b66; --line: #d4d4dc; --panel: #f4f4f7;
  --accent: #1d4ed8;
}}
@media (prefers-color-scheme: dark) {{
  :root {{
    --page: #16161a; --text: #ececf1; --quiet: #a5a5b3; --line: #3c3c47; --panel: #212127;
    --accent: #93b4ff;
  }}
}}
* {{ box-sizing: border-box; }}
body {{ margin: 0 auto; padding: 1rem clamp(.75rem, 3vw, 2rem) 3rem; max-width: 100rem;
       background: var(--page); color: var(--text); font: 15px/1.45 system-ui, sans-serif; }}
h1 {{ font-size: 1.35rem; margin: 0 0 .25rem; overflow-wrap: anywhere; }}
h2 {{ font-size: 1.1rem; margin: 2rem 0 .5rem; }}
.quiet {{ color: var(--quiet); }}
code {{ font-family: ui-monospace, Menlo, Consolas, "DejaVu Sans Mono", monospace; }}
.scroll {{ overflow-x: auto; }}
.scroll:focus-visible {{ outline: 3px solid var(--accent); outline-offset: 1px; }}
table {{ border-collapse: collapse; width: 100%; }}
th, td {{ text-align: left; padding: .28rem .6rem; border-bottom: 1px solid var(--line);
         vertical-align: top; overflow-wrap: break-word; }}
th {{ background: var(--panel); font-weight: 600; }}
.number {{ text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }}
</style>
</head>
<body>
<main>
<h1>{title}</h1>
<p class="quiet">{subtitle}</p>
{sections}</main>
</body>
</html>
"""


def _cell(tag: str, text: str, number: bool) -> str:
    attributes = ' scope="col"' if tag == "th" else ""
    if number:
        attributes += ' class="number"'
    return f"<{tag}{attributes}>{html.escape(_printable(text))}</{tag}>"


def as_page(report: Dict, top: int) -> str:
    sections = []
    for i, section in enumerate(_sections(report, top)):
        rows = [
            "<tr>" + "".join(_cell(tag, c, n) for c, n in zip(cells, section.numbers)) + "</tr>\n"
            for tag, lines in (("th", [section.columns]), ("td", section.rows))
            for cells in lines
        ]
        table = f"<table>\n<thead>\n{rows[0]}</thead>\n<tbody>\n{''.join(rows[1:])}</tbody>\n</table>"
        if not section.rows:
            table = '<p class="quiet">Nothing.</p>'
        sections.append(
            f'<h2 id="s{i}">{html.escape(_printable(section.title))}</h2>\n'
            f'<div class="scroll" tabindex="0" role="region" aria-labelledby="s{i}">{table}</div>\n'
        )
    subtitle = _subtitle(report)
    return _PAGE.format(
        title=html.escape(_printable(_title(report))),
        subtitle=html.escape(_printable(subtitle)),
        sections="".join(sections),
    )
