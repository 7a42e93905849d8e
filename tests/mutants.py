#!/usr/bin/env python3
"""Changes the library on purpose, one small change at a time, and looks whether a test notices.

    tests/mutants.py                            every room, as many changes as come to 300
    tests/mutants.py lookup avoidance           these rooms, every change there is
    tests/mutants.py --number 50 trace          fifty changes of this room, drawn by --seed
    tests/mutants.py --each 60 match dataset    sixty of each of these rooms
    tests/mutants.py --files 'Utf8|Keywords' match
                                                only changes of files whose names match
    tests/mutants.py --quick lookup             without the slow test programs, and only a tenth of
                                                what others draw
    tests/mutants.py --again lookup             what survived is tried anew, with today's tests

A change is a comparison turned, a constant moved, a statement left out, a branch swapped, an
operator or a truth value exchanged. Each is built in a copy of the tree, build-mutants/N/tree, and
put to the tests of its room: killed, when one fails, crashes or does not end; survived otherwise.
What does not compile does not count. Results are kept in build-mutants/results.jsonl, so that a run
which is stopped goes on where it was.

tests/mutants.txt explains survivors that no test can or need tell apart from the library. Exit
status 1 when one survived that is not explained there.
"""

import argparse
import concurrent.futures
import glob
import json
import os
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PLACE = os.path.join(ROOT, "build-mutants")
RESULTS = os.path.join(PLACE, "results.jsonl")
EXPLAINED = os.path.join(ROOT, "tests", "mutants.txt")
TOTAL = 300
# So many cases that noticed a change of a file are tried first on the next one.
KNOWN = 8
# What a test may take that a change sends out of bounds.
MEMORY = 6 << 30


class Program:
    """A test program. `alone`: each of its cases needs a process of its own, as with ctest. `slow`:
    --quick leaves it out. `drawn`: its cases are drawn for the most part, so that a tenth of them is
    tried first. `cases`: only these, as gtest filters them."""

    def __init__(self, path, alone=False, slow=False, drawn=False, cases="*"):
        self.path, self.alone, self.slow, self.cases = path, alone, slow, cases
        self.sizes = ["0.1", "1"] if drawn else ["1"]

    @property
    def key(self):
        return self.path, self.cases

    @property
    def target(self):
        return os.path.basename(self.path)


LONG_CASES_OF_MATCH = ("*ForManyAlternatives:*WhereTheEngineGivesUp:CompiledPattern.AnswersAsTheEngineDoes:"
                       "*OnEverythingSmall:*.FindsLongSe*")
# The tests of each room, the quickest first.
ROOMS = {
    "core": [
        Program("core/core_test"),
        Program("core/slot_lock_test"),
        Program("dataset/dataset_test"),
        Program("lookup/lookup_together_test", slow=True),
    ],
    "xml": [
        Program("xml/xml_test"),
        Program("xml/xml_starvation_test", alone=True, slow=True),
    ],
    "trace": [
        Program("trace/trace_test", alone=True),
        Program("trace/trace_mutex_test", alone=True),
        Program("trace/trace_unload_test", alone=True),
        Program("trace/trace_starvation_test", alone=True),
    ],
    "lookup": [
        Program("lookup/lookup_test"),
        Program("lookup/lookup_test_walked"),
        Program("lookup/lookup_mutex_test", alone=True),
        Program("lookup/lookup_together_test", slow=True),
        Program("lookup/lookup_concurrency_test", slow=True),
        Program("lookup/lookup_memory_test", alone=True, slow=True),
        Program("lookup/lookup_strings_test", slow=True),
    ],
    "match": [
        Program("avoidance/avoidance_test"),
        Program("match/match_test", drawn=True, cases="-" + LONG_CASES_OF_MATCH),
        Program("dataset/dataset_index_test", drawn=True),
        Program("match/match_test", drawn=True, cases=LONG_CASES_OF_MATCH),
        Program("avoidance/avoidance_engine_test", slow=True),
        Program("whole/no_allocation_test", alone=True, slow=True),
    ],
    "avoidance": [
        Program("avoidance/avoidance_test"),
        Program("avoidance/avoidance_expression_test"),
        Program("avoidance/avoidance_test_walked"),
        Program("avoidance/avoidance_status_test", alone=True),
        Program("dataset/dataset_test"),
        Program("dataset/dataset_test_walked"),
        Program("avoidance/avoidance_engine_test", slow=True),
    ],
    "dataset": [
        Program("dataset/dataset_settings_test"),
        Program("dataset/dataset_test"),
        Program("dataset/dataset_test_walked"),
        Program("dataset/dataset_index_test", slow=True, drawn=True),
        Program("lookup/lookup_together_test", slow=True),
        Program("whole/no_allocation_test", alone=True, slow=True),
        Program("whole/starvation_test", alone=True, slow=True),
    ],
}


# ---------------------------------------------------------------------------------------- changes

# What the change is called, what it looks for in code, and what it puts there.
EXCHANGES = [
    ("comparison", r"(?<=\s)==(?=\s)", ["!="]),
    ("comparison", r"(?<=\s)!=(?=\s)", ["=="]),
    ("comparison", r"(?<=\s)<(?=\s)", ["<=", ">="]),
    ("comparison", r"(?<=\s)>(?=\s)", [">=", "<="]),
    ("comparison", r"(?<=\s)<=(?=\s)", ["<", ">"]),
    ("comparison", r"(?<=\s)>=(?=\s)", [">", "<"]),
    ("operator", r"(?<=\s)&&(?=\s)", ["||"]),
    ("operator", r"(?<=\s)\|\|(?=\s)", ["&&"]),
    ("operator", r"(?<=\s)\+(?=\s)", ["-"]),
    ("operator", r"(?<=\s)-(?=\s)", ["+"]),
    ("operator", r"(?<=\s)&(?=\s)", ["|"]),
    ("operator", r"(?<=\s)\|(?=\s)", ["&"]),
    ("operator", r"(?<=\s)\+=(?=\s)", ["="]),
    ("operator", r"(?<=[(\s])!(?=[\w(*])", [""]),
    ("constant", r"(?<![\w.])(\d+)(?![\w.])", [+1, -1]),
    ("truth", r"\btrue\b", ["false"]),
    ("truth", r"\bfalse\b", ["true"]),
]
CONDITION = re.compile(r"\b(?:if|while) \(")
# Complete on its line, and neither a declaration nor what leaves the block.
STATEMENT = re.compile(r"^ +(?!(?:return|break|continue|using|friend|throw|case|if|for|while|public|"
                       r"explicit|virtual|static|constexpr|template)\b)(?![\w:<>,*& ]+ [*&]*\w+(?: =[^;]*)?;$)"
                       r"[\w:>*(~+-][^{}]*;$")
DECLARATION = re.compile(r"(?:override|const|delete|default|noexcept);$")
LEAVING = re.compile(r"^\s+(?:continue|break|throw\b[^{}]*);$")
EMBEDDED = re.compile(r"^(\s+(?:\} else )?(?:if|for|while) \(.*\)) ([\w:*(][^{};]*;)$")


def code_only(text):
    """The text with blanks in the place of comments, literals, what the preprocessor reads, and what
    it keeps for macOS."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"'
                         r"|'(?:\\.|[^'\\\n])*'|^[ \t]*#[^\n]*", re.S | re.M)
    blank = lambda found: re.sub(r"[^\n]", " ", found.group())
    text = re.sub(r"^#if defined\(__APPLE__\)$.*?^#(?:else|endif)$", blank, text, flags=re.S | re.M)
    return pattern.sub(blank, text)


def closing(line, opening):
    """The place of the parenthesis that closes the one at `opening`; -1 when it is not there."""
    depth = 0
    for at in range(opening, len(line)):
        depth += {"(": 1, ")": -1}.get(line[at], 0)
        if depth == 0:
            return at
    return -1


def mutations_of_line(path, line, code):
    """Yields (what, changed line) for one line."""
    if not code.strip():
        return
    for what, pattern, replacements in EXCHANGES:
        for found in re.finditer(pattern, code):
            for to in replacements:
                if isinstance(to, int):
                    number = int(found.group()) + to
                    if number < 0:
                        continue
                    to = str(number)
                yield what, line[:found.start()] + to + line[found.end():]
    for found in CONDITION.finditer(code):
        end = closing(code, found.end() - 1)
        inside = line[found.end():end]
        if end > 0 and ";" not in inside and not re.match(r"(const )?[\w:<>]+[&*]* (const )?\w+ =",
                                                          inside):
            yield "branch", line[:found.end()] + "!(" + inside + ")" + line[end:]
    indent = re.match(r"\s*", line).group()
    complete = code.count("(") == code.count(")")
    if (complete and STATEMENT.match(code) and not DECLARATION.search(code)) or LEAVING.match(code):
        # In a class, what stands there is declared.
        if not path.endswith(".h") or len(indent) >= 4:
            yield "statement", indent + ";"
    embedded = EMBEDDED.match(line)
    if embedded and closing(line, line.index("(")) == len(embedded.group(1)) - 1:
        yield "statement", embedded.group(1) + " {}"


def mutations_of_file(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        text = file.read()
    lines, codes = text.split("\n"), code_only(text).split("\n")
    times = {}
    for number, (line, code) in enumerate(zip(lines, codes)):
        seen = set()
        for what, changed in mutations_of_line(path, line, code):
            if changed.strip() != line.strip() and changed not in seen:
                seen.add(changed)
                one = {
                    "file": path,
                    "line": number + 1,
                    "what": what,
                    "from": line.strip(),
                    "to": changed.strip(),
                    "column": len(os.path.commonprefix([line, changed])),
                    "whole": changed,
                }
                # The same change of the same words may be possible in several lines.
                key = identity(one)
                one["nth"] = times[key] = times.get(key, -1) + 1
                yield one


def mutations_of_room(room):
    files = sorted(
        glob.glob(os.path.join(ROOT, "qvl", room, "*.cpp")) +
        glob.glob(os.path.join(ROOT, "qvl", room, "*.h")))
    return [one for file in files for one in mutations_of_file(os.path.relpath(file, ROOT))]


def room_of(mutant):
    return mutant["file"].split("/")[1]


def identity(mutant):
    return "{file}:{from} -> {to} @{column} #{nth}".format(**{"nth": 0, **mutant})


# --------------------------------------------------------------------- many changes in one program

# Compiling costs most. So all changes are compiled together where that can be done line by line, and
# an environment variable says which of them is made.
SWITCH = """#ifndef QVL_MUTANT_SWITCH
#define QVL_MUTANT_SWITCH
#include <cstdlib>
inline const int qvlMutant = std::getenv("QVL_MUTANT") ? std::atoi(std::getenv("QVL_MUTANT")) : 0;
#endif
#line 1
"""
# Begins an object that lives on behind its line.
OBJECT = re.compile(r"^\s*(?:const )?(?:auto &?&?\[|(?:std::)?[A-Za-z][\w:<>, *]* \w+[({\[])")
# What stands before, the expression, what stands behind, and how the expression is put.
VALUES = [
    (re.compile(r"^(\s*(?:\} else )?(?:if|while) \()(.*)(\) \{)$"), "bool({})"),
    (re.compile(r"^(\s*(?:const )?(?:bool|int|char|unsigned char|std::u?int\d+_t|std::size_t|Word|auto)"
                r" \w+ = )([^;{}]*)(;)$"), "({})"),
    (re.compile(r"^(\s*for \([^;]*; )([^;]+)(; [^;]*\) .*)$"), "bool({})"),
    (re.compile(r"^(\s*for \([^;]*; [^;]+; )([^;()]+)(\) \{)$"), "void({})"),
    (re.compile(r"^(\s*for \([\w:]+ \w+ = )([^;,]+)(; [^;]+; [^;]*\) .*)$"), "({})"),
    (re.compile(r"^(\s[^{}=]*\) (?:const )?\{ return )([^{};]*)(; \})$"), "({})"),
]


def switched_line(line, following, changes):
    """One line that makes none of the changes or, by their number, one; None where that does not
    work. `changes`: number and changed line."""
    statement = STATEMENT.match(line) and not DECLARATION.search(line) and not OBJECT.match(line)
    leaves = re.match(r"^\s+return\b[^{}]*;$", line) or LEAVING.match(line)
    if line.strip().startswith("throw"):
        return None  # where it is the last line of what never returns, compilers count on it
    if statement or leaves or (EMBEDDED.match(line) and not line.strip().startswith("}")):
        if following.strip().startswith("else"):
            return None
        arms = "".join("if (qvlMutant == {}) {{ {} }} else ".format(number, changed.strip())
                       for number, changed in changes)
        return arms + "{ " + line.strip() + " }"
    for pattern, form in VALUES:
        found = pattern.match(line)
        if not found or re.search(r"(?<![=!<>])=(?!=)", found.group(2)) and form != "void({})":
            continue
        before, inside, after = found.groups()
        if not all(changed.startswith(before) and changed.endswith(after) and
                   len(changed) > len(before) + len(after) for _, changed in changes):
            continue
        choice = form.format(inside)
        for number, changed in changes:
            other = changed[len(before):len(changed) - len(after)]
            choice = "(qvlMutant == {} ? {} : {})".format(number, form.format(other), choice)
        return before + choice + after
    return None


def switched(text, numbered, refused):
    """The text with every change that can be switched on, and the numbers of these. Lines in
    `refused` are left alone."""
    lines, numbers = text.split("\n"), set()
    by_line = {}
    for number, mutant in numbered.items():
        by_line.setdefault(mutant["line"], []).append((number, mutant["whole"]))
    for at, changes in by_line.items():
        following = lines[at] if at < len(lines) else ""
        line = None if at in refused else switched_line(lines[at - 1], following, changes)
        if line is not None:
            lines[at - 1] = line
            numbers.update(number for number, _ in changes)
    return SWITCH + "\n".join(lines), numbers


# ------------------------------------------------------------------------------ building and asking


class Worker:
    """A copy of the tree, built once, and built again for each change."""

    def __init__(self, number, rooms):
        self.tree = os.path.join(PLACE, str(number), "tree")
        self.build = os.path.join(PLACE, str(number), "build")
        self.programs = {
            program.key: program for room in rooms for program in ROOMS[room]
        }
        self.cases = {}
        self.patience = {}
        self.noticed = {}
        self.refresh()

    def refresh(self):
        """Brings the copy up to date; only what differs is touched, so that little is built."""
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True,
                                capture_output=True).stdout.decode().split("\0")
        for path in filter(None, listed):
            source, target = os.path.join(ROOT, path), os.path.join(self.tree, path)
            if not os.path.exists(source):
                continue
            with open(source, "rb") as file:
                content = file.read()
            if os.path.exists(target):
                with open(target, "rb") as file:
                    if file.read() == content:
                        continue
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, "wb") as file:
                file.write(content)
            shutil.copymode(source, target)

    def prepare(self):
        """Configures and builds; the tests have to pass as they are. False when they do not."""
        options = [
            "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1", "-DQVL_BUILD_TOOLS=OFF",
            "-DQVL_BUILD_POLICY=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
            "-DQVL_HOME=" + os.path.join(os.path.dirname(self.build), "home")
        ]
        # Nobody runs ctest there.
        options.append("-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST")
        if shutil.which("ld.gold"):
            options += ["-DCMAKE_{}_LINKER_FLAGS=-fuse-ld=gold".format(kind)
                        for kind in ("EXE", "SHARED")]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", *options],
                       check=True, stdout=subprocess.DEVNULL)
        done = self.make(self.targets(), None)
        if done.returncode != 0:
            sys.exit("mutants: the tests do not build:\n" + done.stdout.decode()[-2000:])
        for program in self.programs.values():
            for size in program.sizes:
                start = time.monotonic(), self.processor_time()
                failure = self.run(program, {"QVL_TEST_SIZE": size}, (None, None))
                if failure:
                    sys.exit("mutants: {} fails without any change: {}".format(
                        program.path, failure))
                self.patience[program.key, size] = (
                    20 + 10 * (time.monotonic() - start[0]),
                    3 + 3 * round(self.processor_time() - start[1]))

    @staticmethod
    def processor_time():
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        return used.ru_utime + used.ru_stime

    def make(self, targets, patience):
        # Goes on after an error, so that all errors are seen.
        return subprocess.run(["cmake", "--build", self.build, "--parallel", "1", "--target", *targets,
                               "--", "-k", "0"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=patience)

    def targets(self):
        return sorted({program.target for program in self.programs.values()})

    def path(self, program):
        return os.path.join(self.build, "tests", program.path)

    def run(self, program, environment, patience):
        """The first case that fails, or what else happened; empty when all is well."""
        path = self.path(program)
        if not program.alone:
            return self.run_cases(path, ["--gtest_fail_fast", "--gtest_filter=" + program.cases], environment,
                                  patience)
        if program.target not in self.cases:
            self.cases[program.target] = self.list_cases(path)
        for case in self.cases[program.target]:
            failure = self.run_cases(path, ["--gtest_filter=" + case],
                                     environment, patience)
            if failure:
                return failure
        return ""

    @staticmethod
    def list_cases(path):
        cases, suite = [], ""
        listed = subprocess.run([path, "--gtest_list_tests"], check=True, capture_output=True)
        for line in listed.stdout.decode().splitlines():
            name = line.split("#")[0].strip()
            if line.startswith(" "):
                cases.append(suite + name)
            elif name.endswith("."):
                suite = name
        return cases

    @staticmethod
    def run_cases(path, options, environment, patience):
        # In a session of its own, so that what a hanging test started ends with it. What is busy for
        # ever ends by the limit of processor time, what waits for ever by the clock. That counts the
        # seconds that went by while this script ran: when it is stopped, so may its tests be.
        clock, seconds = patience
        limit = (seconds or resource.RLIM_INFINITY,) * 2

        def within_limits():
            resource.setrlimit(resource.RLIMIT_CPU, limit)
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))

        process = subprocess.Popen([path, *options], stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True,
                                   env={**os.environ, **environment},
                                   cwd=os.path.dirname(path),
                                   preexec_fn=within_limits)
        waited = 0
        while True:
            try:
                output = process.communicate(timeout=1)[0].decode(errors="replace")
                ended = "ends with status {}".format(process.returncode)
                break
            except subprocess.TimeoutExpired:
                waited += 1
            if clock and waited > clock:
                os.killpg(process.pid, signal.SIGKILL)
                output = process.communicate()[0].decode(errors="replace")
                ended = "does not end"
                break
        if process.returncode == 0:
            return ""
        failed = re.search(r"^\[  FAILED  \] ([\w./]+)", output, re.M)
        if failed:
            return failed.group(1)
        begun = re.findall(r"^\[ RUN      \] ([\w./]+)", output, re.M)
        return (begun[-1] + " " if begun else "") + ended

    def ask_together(self, mutants):
        """Yields (change, result, the test that noticed) for those that can be switched."""
        by_file, originals, refused = {}, {}, {}
        for number, mutant in enumerate(mutants, 1):
            by_file.setdefault(mutant["file"], {})[number] = mutant
        for file in by_file:
            with open(os.path.join(self.tree, file), encoding="utf-8") as opened:
                originals[file] = opened.read()
        try:
            for _ in range(6):
                numbers = set()
                for file, numbered in by_file.items():
                    text, those = switched(originals[file], numbered, refused.get(file, set()))
                    numbers |= those
                    self.write(file, text if those else originals[file])
                if not numbers:
                    return
                done = self.make(self.targets(), None)
                if done.returncode == 0:
                    break
                more = False
                for path, line in re.findall(r"(\S+):(\d+):\d+: error", done.stdout.decode()):
                    file = next((one for one in by_file if path.endswith(os.path.basename(one))), None)
                    lines = refused.setdefault(file, set())
                    more |= int(line) not in lines
                    lines.add(int(line))
                if not more:
                    return
            else:
                return
            for number in sorted(numbers):
                mutant = mutants[number - 1]
                failure = self.first_failure(mutant, {"QVL_MUTANT": str(number)})
                yield mutant, "killed" if failure else "survived", failure
        finally:
            for file, original in originals.items():
                self.write(file, original)

    def write(self, file, text):
        """Leaves a file alone that holds the text, so that it is not compiled again."""
        path = os.path.join(self.tree, file)
        with open(path, encoding="utf-8") as opened:
            if opened.read() == text:
                return
        with open(path, "w", encoding="utf-8") as opened:
            opened.write(text)

    def ask(self, mutant):
        """What becomes of a change by itself: (result, the test that noticed)."""
        programs = ROOMS[room_of(mutant)]
        path = os.path.join(self.tree, mutant["file"])
        with open(path, encoding="utf-8") as file:
            original = file.read()
        lines = original.split("\n")
        lines[mutant["line"] - 1] = mutant["whole"]
        try:
            with open(path, "w", encoding="utf-8") as file:
                file.write("\n".join(lines))
            if self.make(sorted({program.target for program in programs}), 1800).returncode != 0:
                return "does not compile", ""
            failure = self.first_failure(mutant, {})
            return "killed" if failure else "survived", failure
        finally:
            with open(path, "w", encoding="utf-8") as file:
                file.write(original)

    def first_failure(self, mutant, chosen):
        """The case that notices a change. Those come first that noticed others of the file lately,
        then a tenth of what is drawn."""
        noticed = self.noticed.setdefault(mutant["file"], [])
        for program, case in noticed[:KNOWN]:
            if self.run_cases(self.path(program), ["--gtest_filter=" + case],
                              {**chosen, "QVL_TEST_SIZE": program.sizes[0]},
                              self.patience[program.key, program.sizes[0]]):
                noticed.remove((program, case))
                noticed.insert(0, (program, case))
                return case
        programs = ROOMS[room_of(mutant)]
        rounds = [(program, program.sizes[0]) for program in programs]
        rounds += [(program, size) for program in programs for size in program.sizes[1:]]
        for program, size in rounds:
            failure = self.run(program, {**chosen, "QVL_TEST_SIZE": size},
                               self.patience[program.key, size])
            if failure:
                case = failure.split(" ")[0]
                if "." in case and (program, case) not in noticed:
                    noticed.insert(0, (program, case))
                return failure
        return ""


# -------------------------------------------------------------------------------------------- report


def read_explained():
    """The survivors that are explained, as (file, line, changed line)."""
    explained, file, before = set(), None, None
    if os.path.exists(EXPLAINED):
        with open(EXPLAINED, encoding="utf-8") as lines:
            for line in lines:
                if line.startswith("qvl/"):
                    file = line.strip()
                elif line.startswith("- "):
                    before = line[2:].strip()
                elif line.startswith("+ "):
                    explained.add((file, before, line[2:].strip()))
    return explained


def read_results():
    results = {}
    if os.path.exists(RESULTS):
        with open(RESULTS, encoding="utf-8") as lines:
            for line in lines:
                one = json.loads(line)
                results[identity(one)] = one
    return results


def report(mutants, results):
    explained = read_explained()
    print("\n{:<12}{:>8}{:>10}{:>11}{:>14}".format("room", "killed", "survived", "explained",
                                                  "not compiled"))
    left = []
    for room in sorted({room_of(one) for one in mutants}):
        counts = dict.fromkeys(["killed", "survived", "explained", "does not compile"], 0)
        for one in mutants:
            done = results.get(identity(one))
            if room_of(one) != room or not done:
                continue
            result = done["result"]
            if result == "survived" and (one["file"], one["from"], one["to"]) in explained:
                result = "explained"
            counts[result] += 1
            if result == "survived":
                left.append(one)
        print("{:<12}{:>8}{:>10}{:>11}{:>14}".format(room, *counts.values()))
    for one in left:
        print("\n{file}:{line}\n- {from}\n+ {to}".format(**one))
    return left


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("rooms", nargs="*", metavar="ROOM", help=", ".join(ROOMS))
    parser.add_argument("--number", type=int, help="so many changes, drawn over the rooms")
    parser.add_argument("--each", type=int, help="so many changes of each room")
    parser.add_argument("--files", default="", metavar="EXPRESSION",
                        help="only changes of files whose names match")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--again", action="store_true", help="try anew what survived, and nothing else")
    parser.add_argument("--list", action="store_true", help="only tell what is known")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="copies of the tree")
    parser.add_argument("--first", type=int, default=1,
                        help="number of the first copy, so that two runs can go on at once")
    parser.add_argument("--quick", action="store_true", help="leave the slow test programs and drawn cases out")
    options = parser.parse_args()
    if options.quick:
        for room, programs in ROOMS.items():
            ROOMS[room] = [program for program in programs if not program.slow]
            for program in ROOMS[room]:
                program.sizes = program.sizes[:1]
    for room in options.rooms:
        if room not in ROOMS:
            parser.error("there is no room '{}'; there are: {}".format(room, ", ".join(ROOMS)))
    rooms = options.rooms or list(ROOMS)
    mutants = []
    for room in rooms:
        of_room = [one for one in mutations_of_room(room)
                   if re.search(options.files, os.path.basename(one["file"]))]
        # The same ones, whichever rooms stand beside.
        random.Random("{} {}".format(options.seed, room)).shuffle(of_room)
        mutants += of_room[:options.each]
    random.Random(options.seed).shuffle(mutants)
    number = options.number or (None if options.rooms or options.each else TOTAL)
    mutants = mutants[:number]

    os.makedirs(PLACE, exist_ok=True)
    results = read_results()
    explained = read_explained()

    def is_open(one):
        done = results.get(identity(one))
        if not options.again:
            return not done
        return (done and done["result"] == "survived" and
                (one["file"], one["from"], one["to"]) not in explained)

    todo = [] if options.list else [one for one in mutants if is_open(one)]
    print("{} changes, {} to be tried".format(len(mutants), len(todo)), flush=True)
    if todo:
        numbers = range(options.first, options.first + max(1, min(options.jobs, len(todo))))
        try_all(todo, rooms, results, numbers)
    return 1 if report(mutants, results) else 0


def try_all(todo, rooms, results, numbers):
    workers = queue.Queue()
    for number in numbers:
        worker = Worker(number, rooms)
        worker.prepare()
        workers.put(worker)
    # What is drawn stands in the tree as it was then.
    for one in todo:
        with open(os.path.join(worker.tree, one["file"]), encoding="utf-8") as file:
            if file.read().split("\n")[one["line"] - 1].strip() != one["from"]:
                sys.exit("mutants: the tree has changed meanwhile; start again")
    lock = threading.Lock()

    def note(mutant, result, by):
        one = {**mutant, "result": result, "by": by}
        with lock:
            results[identity(one)] = one
            with open(RESULTS, "a", encoding="utf-8") as file:
                file.write(json.dumps(one) + "\n")
            print("{:<17} {}:{}  {}".format(result, mutant["file"], mutant["line"],
                                            by or mutant["to"]), flush=True)

    def try_some(mutants):
        worker = workers.get()
        try:
            alone = {identity(one): one for one in mutants}
            for mutant, result, by in worker.ask_together(mutants):
                note(mutant, result, by)
                del alone[identity(mutant)]
            for mutant in alone.values():
                note(mutant, *worker.ask(mutant))
        finally:
            workers.put(worker)

    # A share for each copy, of whole files.
    shares = {}
    for at, file in enumerate(sorted({one["file"] for one in todo})):
        shares.setdefault(at % len(numbers), []).extend(
            one for one in todo if one["file"] == file)
    with concurrent.futures.ThreadPoolExecutor(len(numbers)) as pool:
        futures = [pool.submit(try_some, share) for share in shares.values()]
        try:
            for future in concurrent.futures.as_completed(futures):
                future.result()
        except BaseException:
            pool.shutdown(wait=True, cancel_futures=True)
            raise


if __name__ == "__main__":
    sys.exit(main())
