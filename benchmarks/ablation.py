#!/usr/bin/env python3
"""Switches each mechanism of the index off in turn and measures what that costs.

    benchmarks/ablation.py build-bench [--document docs/performance.md] [--libraries FOLDER]

The library is built once as it is and once for each mechanism, from a copy of the sources in which
one place is changed; the same benchmarks then run with each of these libraries in turn, several
times over, and the table has the ratios of the least times: above 1.00 the mechanism gains. The first
argument is the folder of the benchmarks (scripts/bench builds them).
"""
import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
ROUNDS = 2

INDEX = "qvl/match/PatternIndex.h"
INDEX_CODE = "qvl/match/PatternIndex.cpp"
KEYS = "qvl/match/PathKeys.cpp"

# Mechanism, file, what stands there, what stands there without the mechanism.
VARIANTS = [
    ("few in a row", INDEX, "kFewPatterns = 16;", "kFewPatterns = 0;"),
    ("masks of components", INDEX, "(entry->components & lacking) == 0 && ", ""),
    ("masks of heads", INDEX, "if (entry.heads != 0) {", "if (false) {"),
    ("filter of grams", INDEX, "kManyCandidates = 12;", "kManyCandidates = std::size_t{1} << 62;"),
    ("filter of keys", "qvl/match/KeyTable.h",
     "next += mayHold(key);", "next += 1;"),
    ("keys: prefixes", KEYS, "if (m_depth > 1) add(Kind::Prefix", "if (false) add(Kind::Prefix"),
    ("keys: pairs", KEYS, "if (m_pairing && !part.empty()", "if (false && !part.empty()"),
    ("keys: extensions", KEYS, "add(Kind::Extension, hash, extension.size());", ""),
    ("keys: heads and tails", KEYS,
     "add(static_cast<Kind>(kind), hashOf(cut(length)), length);", ""),
    ("keys: four bytes", INDEX_CODE, "m_compared.size() >= kManyCompared", "false"),
    ("least popular key", INDEX_CODE, "const std::size_t costOfKey = cost(key);",
     "const std::size_t costOfKey = 0;"),
    ("counts of keys", INDEX_CODE, "m_counts ? m_counts->of(key.key) : 0", "std::size_t{0}"),
    ("prefetch", INDEX, "__builtin_prefetch(found[i]);", ""),
    ("caller's order", INDEX, "kRunsAtOnce = 32;", "kRunsAtOnce = std::size_t{1} << 62;"),
    ("first rules of long texts", "qvl/dataset/RuleIndex.cpp",
     "if (m_patterns[input]->size() <= kFirstFew) return false;", "return false;"),
    ("rows of values", "qvl/match/PieceRows.cpp", "return of->tried > m_text.size();",
     "return false;"),
    ("places too late", "qvl/match/Program.cpp", "if (least >= kMuch) fillLeastBehind(least);", ""),
    ("runs in one component", "qvl/match/Program.cpp",
     "if (lastRun > 1) carry &= ~beforeInComponent(i, lastRun - 1);", ""),
]

BENCHMARKS = ["Query_Mixed10_Product", "Query_Mixed1000_Product", "Query_Mixed10000_Product"]
LABELS = ["10 rules", "1,000 rules", "10,000 rules"]
# Policies and paths of the kinds that the search for slow queries came to.
SHAPES = [
    "path=10000:**{i}** unit=footok0 length=4096",
    "path=1000:/**/foo/**tok{i}** unit=/foo length=4096",
    "path=1000:**/a/*n{i}* unit=/a/aa/n1 length=4096",
    "path=1000:/**/foo/*_{i}.log unit=/foo length=4096",
    "path=1000:/srv/app{i}/cache/** unit=/srv/app7/cache length=4096",
    "path=1000:/**/{i}**/* unit=/0aaaatok.loga999a length=4093",
    "path=1000:**%K%?{i}** keyword=%K%:8:{i}a unit={i}a/ length=4096",
    "path=569:**/**//**/{i}_**/* unit=//{i}_ length=4096",
    "folder=1:*{400:a?}/ unit=a length=1000",
    "folder=10:*{100:a*}/ unit=a length=4093",
]


def build(folder, out):
    subprocess.run(["cmake", "--build", str(folder), "--target", "qvlscanavoidance"], check=True,
                   stdout=subprocess.DEVNULL)
    library = next((folder / "qvl").glob("libqvlscanavoidance.so.*.*.*"))
    out.mkdir()
    shutil.copy(library, out / "libqvlscanavoidance.so.0")


def libraries(scratch):
    """The folders of the libraries: as it is first, then without each mechanism."""
    made = [scratch / "as-it-is"] + [scratch / f"without-{i}" for i in range(len(VARIANTS))]
    if all(folder.exists() for folder in made):
        return made
    copy = scratch / "source"
    names = subprocess.run(["git", "-C", str(ROOT), "ls-files", "-z"], check=True,
                           capture_output=True, text=True).stdout.split("\0")
    for name in filter(None, names):
        (copy / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / name, copy / name)
    folder = scratch / "build"
    subprocess.run(["cmake", "-S", str(copy), "-B", str(folder), "-G", "Ninja",
                    "-DCMAKE_BUILD_TYPE=Release", "-DQVL_BUILD_TESTS=OFF", "-DQVL_BUILD_TOOLS=OFF",
                    "-DQVL_BUILD_ONACCESS=OFF"], check=True, stdout=subprocess.DEVNULL)
    build(folder, made[0])
    for without, (name, file, there, instead) in zip(made[1:], VARIANTS):
        print(f"without {name}", file=sys.stderr)
        text = (copy / file).read_text()
        if text.count(there) != 1:
            sys.exit(f"{file}: expected '{there}' once, found it {text.count(there)} times")
        (copy / file).write_text(text.replace(there, instead))
        build(folder, without)
        (copy / file).write_text(text)
    return made


def measure(benchmarks, library):
    """Nanoseconds: of each benchmark, and the sum over the shapes."""
    environment = dict(os.environ, LD_LIBRARY_PATH=str(library))
    told = subprocess.run(
        [str(benchmarks / "qvl_benchmarks"), "--benchmark_format=json", "--benchmark_min_time=0.1",
         "--benchmark_filter=^(" + "|".join(BENCHMARKS) + ")$"],
        check=True, capture_output=True, text=True, env=environment, timeout=120).stdout
    times = {one["name"]: one["cpu_time"] for one in json.loads(told)["benchmarks"]}
    units = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    total = 0.0
    for shape in SHAPES:
        told = subprocess.run([str(benchmarks / "qvl_worst_search"), shape], capture_output=True,
                              text=True, env=environment).stdout
        number, unit = re.search(r"index ([0-9.]+) (ns|us|ms|s),", told).groups()
        total += float(number) * units[unit]
    return [times[name] for name in BENCHMARKS] + [total]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("--document", type=Path)
    parser.add_argument("--libraries", type=Path, metavar="FOLDER",
                        help="where the libraries are kept; those that are there are taken "
                             "as they are, whatever changed since")
    options = parser.parse_args()
    benchmarks = options.build.resolve() / "benchmarks"
    with tempfile.TemporaryDirectory() as scratch:
        made = libraries(options.libraries.resolve() if options.libraries else Path(scratch))
        rounds = []
        for i in range(ROUNDS):
            print(f"round {i + 1} of {ROUNDS}", file=sys.stderr)
            rounds.append([measure(benchmarks, library) for library in made])
    least = [[min(one[v][c] for one in rounds) for c in range(len(LABELS) + 1)]
             for v in range(len(made))]
    lines = ["| without | " + " | ".join(LABELS) + " | hostile paths |",
             "| --- |" + " ---: |" * (len(LABELS) + 1)]
    for (name, *_), times in zip(VARIANTS, least[1:]):
        ratios = " | ".join(f"{time / whole:.2f}" for time, whole in zip(times, least[0]))
        lines.append(f"| {name} | {ratios} |")
    table = "\n".join(lines)
    print(table)
    if options.document:
        text = options.document.read_text()
        changed = re.sub(r"(<!-- table: ablation -->\n).*?(<!-- end -->)",
                         lambda found: found[1] + table + "\n" + found[2], text, flags=re.S)
        if changed == text and table not in text:
            sys.exit(f"{options.document}: expected '<!-- table: ablation -->'")
        options.document.write_text(changed)


if __name__ == "__main__":
    main()
