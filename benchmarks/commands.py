#!/usr/bin/python3
"""Compares two builds of qvlctl: processor time of its commands over many paths and files.

    taskset -c 1 commands.py BEFORE NOW [--paths N] [--files N] [--rules N] [--rounds N] [--only COMMAND...]
    commands.py BEFORE NOW --instructions --paths 20000 --files 3000 --rounds 1

BEFORE and NOW are two programs `qvlctl`. Both are run in turns with examples/linux-server.xml, asked about one
process and one kind of access, which every build can; what the matrix of all of them costs is told for NOW, by
question. lint reads a policy of N rules for files and folders. On one processor, since what a process finds in the
caches of another scatters more than the two differ. Prints a table: medians of the processor time, user and system, and the medians of the ratios of
neighbouring runs, of processor time and by the clock; with --instructions, those that valgrind counts, which a busy
machine does not change.
"""

import argparse
import os
import pathlib
import random
import re
import resource
import statistics
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
POLICY = str(ROOT / "examples/linux-server.xml")
ONE = ["--process", "", "--access", "read"]
PLACES = ["/usr/share/icons/a", "/usr/lib/python3", "/var/log/nginx", "/srv/build/app", "/home/ann/src", "/etc/x",
          "/var/lib/mysql/shop", "/opt/tool/lib", "/var/cache/apt/archives", "/usr/include/c++"]  # fmt: skip
ENDINGS = ["o", "png", "log", "cpp", "js", "conf", "deb", "h", "docx", "ibd"]


def instructions(program, arguments, paths):
    """In millions, as callgrind counts them. They take no time of their own."""
    with open(paths, "rb") if paths else open(os.devnull, "rb") as standard_input:
        counted = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program, *arguments]
        done = subprocess.run(counted, stdin=standard_input, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, check=False)  # fmt: skip
    found = re.search(rb"Collected : (\d+)", done.stderr)
    if done.returncode not in (0, 1) or not found:
        raise SystemExit(f"{' '.join(counted)}: {done.stderr.decode()}")
    return int(found[1]) / 1e6, None


def processor_time(program, arguments, paths):
    """In seconds, and those that went by. Standard output goes nowhere."""
    began = time.perf_counter()
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    with open(paths, "rb") if paths else open(os.devnull, "rb") as standard_input:
        done = subprocess.run([program, *arguments], stdin=standard_input, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, check=False)  # fmt: skip
    if done.returncode not in (0, 1):
        raise SystemExit(f"{program} {' '.join(arguments)}: {done.stderr.decode()}")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    elapsed = time.perf_counter() - began
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, elapsed


def write_paths(file, count):
    chance = random.Random(1)
    with open(file, "w") as out:
        for i in range(count):
            out.write(f"{chance.choice(PLACES)}/{chance.randrange(200)}/file{i}.{chance.choice(ENDINGS)}\n")


def write_policy(file, count):
    chance = random.Random(2)
    with open(file, "w") as out:
        out.write('<exclusion-policy version="1"><logic>1|2</logic>\n')
        for number, kind, ending in ((1, "folder", "/"), (2, "file-path", "/*.o")):
            out.write(f'<data-set number="{number}" kind="{kind}">\n')
            for i in range(count // 2):
                out.write(f"<rule>{chance.choice(PLACES)}/{chance.randrange(200)}/part{i}{ending}</rule>\n")
            out.write("</data-set>\n")
        out.write("</exclusion-policy>\n")


def make_files(folder, count):
    for i in range(count):
        name = os.path.join(folder, f"d{i // 4000}", f"e{i // 80 % 50}")
        if i % 80 == 0:
            os.makedirs(name)
        open(os.path.join(name, f"file{i}.{ENDINGS[i % len(ENDINGS)]}"), "wb").close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("before")
    parser.add_argument("now")
    parser.add_argument("--paths", type=int, default=1_000_000)
    parser.add_argument("--files", type=int, default=160_000)
    parser.add_argument("--rules", type=int, default=10_000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--only", nargs="*", default=[])
    parser.add_argument("--instructions", action="store_true")
    options = parser.parse_args()
    cost, unit = (instructions, "M") if options.instructions else (processor_time, "s")
    with tempfile.TemporaryDirectory() as folder:
        paths, tree = os.path.join(folder, "paths.txt"), os.path.join(folder, "tree")
        write_paths(paths, options.paths)
        make_files(tree, options.files)
        next_policy = os.path.join(folder, "next.xml")
        text = pathlib.Path(POLICY).read_text()
        pathlib.Path(next_policy).write_text(text.replace("/usr/share/icons/", "/usr/share/"))
        many_rules = os.path.join(folder, "rules.xml")
        write_policy(many_rules, options.rules)
        cases = os.path.join(folder, "cases.txt")
        with open(paths, "rb") as given, open(cases, "wb") as out:
            subprocess.run([options.before, "lookup", "-p", POLICY], stdin=given, stdout=out, check=False)
        million, files = options.paths, options.files
        runs = [
            ("lookup", million, ["lookup", "-p", POLICY], paths),
            ("lookup, JSON", million, ["lookup", "-p", POLICY, "--format", "json"], paths),
            ("test", million, ["test", "-p", POLICY, *ONE, cases], None),
            ("explain", million, ["explain", "-p", POLICY], paths),
            ("explain, JSON", million, ["explain", "-p", POLICY, "--format", "json"], paths),
            ("diff of paths", million, ["diff", "-p", POLICY, "--with", next_policy, *ONE], paths),
            ("audit", files, ["audit", "-p", POLICY, *ONE, tree], None),
            ("audit, JSON", files, ["audit", "-p", POLICY, *ONE, "--format", "json", tree], None),
            ("diff", files, ["diff", "-p", POLICY, "--with", next_policy, *ONE, tree], None),
            ("lint", options.rules, ["lint", "-p", many_rules], None),
        ]
        clock = "" if options.instructions else " by the clock |"
        print(f"| command | before | now | now / before |{clock}\n| :--- | ---: | ---: | ---: |{clock and ' ---: |'}",
              flush=True)  # fmt: skip
        for name, count, arguments, given in runs:
            if options.only and name.split()[0].rstrip(",") not in options.only:
                continue
            before, now = [], []
            for i in range(options.rounds):
                turns = [(before, options.before), (now, options.now)]
                for times, program in turns if i % 2 == 0 else turns[::-1]:
                    times.append(cost(program, arguments, given))
            ratios = [statistics.median(n[i] / b[i] for n, b in zip(now, before)) for i in (0, 1) if now[0][i]]
            cells = [statistics.median(one[0] for one in times) for times in (before, now)]
            print(f"| {name}, {count:,} | {cells[0]:.2f} {unit} | {cells[1]:.2f} {unit} | "
                  f"{' | '.join(f'{ratio:.2f}' for ratio in ratios)} |", flush=True)  # fmt: skip
        if options.only:
            return
        print("\n| with the matrix | now | questions a file | each |\n| :--- | ---: | ---: | ---: |")
        for name, questions, arguments in (
            ("audit", 4, ["audit", "-p", POLICY, tree]),
            ("diff", 4, ["diff", "-p", POLICY, "--with", next_policy, tree]),
            ("test", 4, ["test", "-p", POLICY, cases]),
        ):
            alone = [cost(options.now, [*arguments, *ONE], None)[0] for _ in range(options.rounds)]
            whole = [cost(options.now, arguments, None)[0] for _ in range(options.rounds)]
            count = million if name == "test" else files
            each = (statistics.median(whole) - statistics.median(alone)) / (questions - 1) / count
            print(f"| {name}, {count:,} | {statistics.median(whole):.2f} {unit} | {questions} "
                  f"| {each * 1e6:.2f} {'' if options.instructions else 'µs'} |",
                  flush=True)  # fmt: skip


if __name__ == "__main__":
    main()
