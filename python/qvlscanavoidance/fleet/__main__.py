"""The command line of qvl-fleet."""

import argparse
import datetime
import os
import sys
import time
from typing import List, Optional, Sequence

from .. import Policy, PolicyError, __version__, access_number, queries_for
from . import counting, inventories, reports, running


def _complain(text: str) -> None:
    printable = "".join(c if c.isprintable() or c == "\n" else f"\\x{ord(c):02X}" for c in text)
    print(f"qvl-fleet: {printable}", file=sys.stderr)


def _whole_number(least: int):
    def parse(text: str) -> int:
        if not text.isascii() or not text.isdigit() or int(text) < least:
            raise argparse.ArgumentTypeError(
                f"expected a whole number, {least} at least; came {text!r}"
            )
        return int(text)

    return parse


def _column(text: str):
    role, _, name = text.partition("=")
    if role not in inventories.ROLES or not name:
        roles = ", ".join(inventories.ROLES)
        raise argparse.ArgumentTypeError(f"expected ROLE=NAME with a role of {roles}; came {text!r}")
    return role, name


def _list_columns(text: str) -> List[str]:
    roles = text.split(",")
    if "path" != roles[-1] or any(r not in (*inventories.ROLES, "-") for r in roles):
        known = ", ".join(inventories.ROLES)
        raise argparse.ArgumentTypeError(
            f"expected roles of {known} or - with commas between them, path last; came {text!r}"
        )
    return roles


def _access(text: str) -> str:
    try:
        access_number(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(str(error)) from error
    return text


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="qvl-fleet",
        description="Asks a policy about the files of many machines, from their inventories.",
    )
    parser.add_argument("--version", action="version", version=f"qvl-fleet {__version__}")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    for name, help_text in (
        ("audit", "which files and how many bytes would go unscanned?"),
        ("diff", "what would newly go unscanned under another policy, and on how many hosts?"),
    ):
        command = commands.add_parser(name, help=help_text, description=help_text.capitalize())
        add = command.add_argument
        add("-p", "--policy", required=True, metavar="FILE", help="the policy")
        if name == "diff":
            add("--with", dest="new", required=True, metavar="FILE", help="the new policy")
        add("--process", action="append", metavar="NAME",
            help="ask as if this process made the accesses; repeatable; empty: no process")
        add("--access", action="append", type=_access, metavar="TYPE",
            help="ask about read, write, any or another number; repeatable")
        add("--column", action="append", type=_column, default=[], metavar="ROLE=NAME",
            help="the column that holds path, host, size, mtime or btime; repeatable")
        add("--list-columns", type=_list_columns, metavar="ROLES",
            help="the columns of lists, such as size,mtime,path; - for one that is not read")
        add("--now", type=_whole_number(0), metavar="SECONDS",
            help="the moment since 1970 against which ages are held (default: now)")
        add("--folder-depth", type=_whole_number(1), default=3, metavar="N",
            help="how many folders deep counts by folder go (default: 3)")
        add("--top", type=_whole_number(0), default=20, metavar="N",
            help="how many hosts, folders and rules to list each time (default: 20)")
        add("--format", choices=("text", "json", "html"), default="text", help="how to write")
        add("--scheduler", default="", metavar="ADDRESS",
            help="a Dask scheduler, such as tcp://host:8786 (default: one of its own)")
        add("--workers", type=_whole_number(1), default=os.cpu_count() or 1, metavar="N",
            help="how many processes, without --scheduler (default: one for each core)")
        add("inventory", nargs="+", metavar="INVENTORY", help="files, or patterns of their names")
    return parser  # fmt: skip


def _loaded(file: str, today: str) -> counting.PolicyText:
    """Refuses a policy with errors before anything is started."""
    with open(file, "rb") as opened:
        text = opened.read()
    policy = Policy.parse(text, file, times_given=True, today=today)
    for warning in policy.warnings:
        _complain(f"warning: {warning}")
    return counting.PolicyText(file, text, today, counting.digest_of(policy))


def _run(options: argparse.Namespace) -> str:
    now = int(time.time()) if options.now is None else options.now
    today = datetime.datetime.fromtimestamp(now, datetime.timezone.utc).strftime("%Y-%m-%d")
    texts = [_loaded(options.policy, today)]
    if options.command == "diff":
        texts.append(_loaded(options.new, today))
    policies = [text.policy for text in texts]
    asked, nameless = queries_for(policies, options.process, options.access)
    for rule in nameless:
        _complain(
            f"note: {rule.file}:{rule.line}: no name of a process was found that the rule {rule} "
            "matches, so it is not asked for; give one with --process"
        )
    files = inventories.files_of(options.inventory)
    parts = running.parts_of_all(files, dict(options.column), options.list_columns)
    job = counting.Job(
        texts[0], texts[1] if len(texts) > 1 else None, tuple(asked), now, options.folder_depth
    )
    progress = running.Progress()
    with running.cluster(options.scheduler, options.workers) as client:
        tallies = running.count(client, job, parts, progress)
    progress.end()
    if options.command == "audit":
        report = reports.audit_report(job, policies[0], tallies, len(files), options.top)
    else:
        report = reports.diff_report(job, *policies, tallies, len(files), options.top)
    unreadable = report["unreadableRows"]["count"]
    if unreadable:
        _complain(f"warning: {unreadable:,} rows could not be read and are missing in the report")
    if options.format == "json":
        return reports.as_json(report)
    return (reports.as_page if options.format == "html" else reports.as_text)(report, options.top)


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Exit status: 0 done, 2 trouble."""
    options = _parser().parse_args(arguments)
    try:
        text = _run(options)
        sys.stdout.buffer.write(text.encode("utf-8", "backslashreplace"))
        sys.stdout.buffer.flush()
        return 0
    except PolicyError as error:
        for problem in error.problems:
            _complain(str(problem))
    except OSError as error:
        known = error.filename and error.strerror
        _complain(f"cannot read {error.filename}: {error.strerror}" if known else str(error))
    except (ImportError, ValueError, RuntimeError) as error:
        _complain(str(error))
    except KeyboardInterrupt:
        return 130
    return 2


if __name__ == "__main__":
    sys.exit(main())
