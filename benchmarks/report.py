#!/usr/bin/python3
"""Writes what qvl_benchmarks measured into docs/performance.md and draws docs/performance.svg.

    report.py OUTPUT.json... --document docs/performance.md --plot docs/performance.svg

A table stands in the document between "<!-- table: NAME -->" and "<!-- end -->".
"""

import argparse
import collections
import json
import os
import re
import statistics
import sys

SIZES = [10, 100, 1000, 10000, 100000]
NAME = re.compile(r"(?P<operation>[A-Za-z]+)_(?P<input>[A-Za-z]+)(?P<rules>\d*)_(?P<engine>\w+)")
UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class Results:
    """Medians by (operation, input, rules, engine); times in nanoseconds of processor time."""

    def __init__(self, files):
        times = collections.defaultdict(list)
        counters = collections.defaultdict(list)
        self.context = {}
        for file in files:
            with open(file, encoding="utf-8") as stream:
                output = json.load(stream)
            self.context = output["context"]
            for run in output["benchmarks"]:
                if run.get("error_occurred"):
                    sys.exit(f"{file}: {run['name']} failed: {run['error_message']}")
                if run["run_type"] != "iteration":
                    continue
                name = run["run_name"].split("/")[0]
                found = NAME.fullmatch(name)
                if not found:
                    sys.exit(f"{file}: expected OPERATION_INPUT_ENGINE, found {name}")
                rules = int(found["rules"] or 0)
                key = (found["operation"], found["input"], rules, found["engine"])
                times[key].append(run["cpu_time"] * UNITS[run["time_unit"]])
                for counter in ("worst_us", "bytes", "per_second", "median_us", "p999_us",
                                "waits_per_million"):
                    if counter in run:
                        counters[(*key, counter)].append(run[counter])
        self.times = {key: statistics.median(values) for key, values in times.items()}
        self.counters = {key: statistics.median(values) for key, values in counters.items()}

    def time(self, operation, rules, engine, input="Mixed"):
        return self.times.get((operation, input, rules, engine))

    def counter(self, name, operation, rules, engine, input="Mixed"):
        return self.counters.get((operation, input, rules, engine, name))


def duration(nanoseconds):
    if nanoseconds is None:
        return "–"
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def size(count):
    return "–" if count is None else f"{count / 1e6:.3g} MB"


def count(number):
    return "–" if number is None else f"{number:,.3g}"


def ratio(a, b):
    return "–" if a is None or b is None else f"{a / b:.2f}"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + " ---: |" * len(head)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines)


def fastest(*times):
    known = [time for time in times if time is not None]
    return min(known) if known else None


def queries(results):
    rows = []
    for rules in SIZES:
        def time(engine):
            return results.time("Query", rules, engine)
        peers = [time("RE2"), time("Vectorscan")]
        rows.append([f"{rules:,}", duration(time("Product")), *map(duration, peers),
                     ratio(time("Product"), fastest(*peers)), duration(time("Walk")),
                     duration(time("Expressions")), duration(time("Traced"))])
    return table(["rules", "product", "RE2::Set", "Vectorscan", "product / faster peer",
                  "plain walk", "expressions", "traced"], rows)


def hot(results):
    rows = []
    for rules in SIZES:
        times = [results.time("Hot", rules, engine) for engine in ("Product", "RE2", "Vectorscan")]
        rows.append([f"{rules:,}", *map(duration, times), ratio(times[0], fastest(*times[1:]))])
    return table(["rules", "product", "RE2::Set", "Vectorscan", "product / faster peer"], rows)


def growth(results):
    rows = []
    for sort, operation in (("15 % hits", "Query"), ("misses", "Miss"), ("hits", "Hit")):
        times = [results.time(operation, rules, "Product") for rules in SIZES]
        rows.append([sort, *map(duration, times), ratio(times[4], times[1])])
    return table(["accesses", *(f"{rules:,}" for rules in SIZES), "100,000 / 100"], rows)


def kinds(results):
    rows = []
    for label, kind in (("folders", "Folder"), ("processes", "Process"), ("file types", "Type"),
                        ("paths, a twentieth with regular expressions", "Regex")):
        def time(engine):
            return results.time("Query", 1000, engine, kind)
        peers = [time("RE2"), time("Vectorscan")]
        rows.append([label, duration(time("Product")), *map(duration, peers),
                     ratio(time("Product"), fastest(*peers)), duration(time("Walk")),
                     duration(time("Floor"))])
    return table(["1,000 rules", "product", "RE2::Set", "Vectorscan", "product / faster peer",
                  "plain walk", "hand-written floor"], rows)


def setup(results):
    rows = []
    for rules in (1000, 10000, 100000):
        times = [results.time("SetUp", rules, engine)
                 for engine in ("Product", "RE2", "Expressions")]
        rows.append([f"{rules:,}", *map(duration, times), ratio(times[0], times[1])])
    return table(["rules", "product, first query included", "RE2::Set", "expressions",
                  "product / RE2::Set"], rows)


def memory(results):
    rows = []
    for rules in (1000, 10000, 100000):
        sizes = [results.counter("bytes", "Memory", rules, engine)
                 for engine in ("Product", "Expressions", "RE2")]
        rows.append([f"{rules:,}", *map(size, sizes), ratio(sizes[0], sizes[1])])
    return table(["rules", "product", "expressions", "RE2::Set", "product / expressions"], rows)


def worst(results):
    rows = []
    for (operation, family, _, engine, _), value in results.counters.items():
        if operation == "WorstCase" and engine == "Product":
            words = re.sub(r"(?<=[a-z])(?=[A-Z])", " ", family).lower()
            rows.append([words, duration(value * 1e3)])
    return table(["family", "slowest query"], rows)


def changes(results):
    change = results.time("Change", 10000, "Product")
    rows = [
        ["one rule of 10,000 added, asked, removed, asked", duration(change)],
        ["the slowest of 20,000 such changes",
         duration((results.counter("worst_us", "WorstChange", 10000, "Product") or 0) * 1e3)],
        ["`/Users/*a*a*a*ab` on its crafted 200 bytes",
         duration(results.time("WorstCase", 0, "Product", "FourStars"))],
        ["the same by its expression, which then throws",
         duration(results.time("WorstCase", 0, "Expressions", "FourStars"))],
        ["a trace message that no output takes",
         duration(results.time("Trace", 0, "Product", "Suppressed"))],
    ]
    return table(["operation", "time"], rows)


def threads(results):
    rows = []
    for rules in SIZES[:4]:
        def rate(operation, engine):
            return results.counter("per_second", operation, rules, engine)
        one, two = rate("ThreadsOne", "Product"), rate("ThreadsTwo", "Product")
        sharing = results.counter("shared_to_own", "ThreadsSharing", rules, "Product")
        rows.append([f"{rules:,}", ratio(two, one), ratio(sharing, 1),
                     ratio(rate("ThreadsTwo", "RE2"), rate("ThreadsOne", "RE2")),
                     ratio(rate("ThreadsEight", "Product"), two),
                     ratio(rate("ThreadsMany", "Product"), two),
                     count(results.counter("waits_per_million", "ThreadsMany", rules, "Product"))])
    return table(["rules", "two threads / one", "one manager / a manager each", "RE2::Set: two / one",
                  "8 threads / two", "32 threads / two", "waits of 32 threads in a million queries"],
                 rows)


def tails(results):
    rows = []
    for rules in SIZES[:4]:
        times = [results.counter("p999_us", operation, rules, "Product")
                 for operation in ("TailAlone", "TailBeside", "TailChanging")]
        rows.append([f"{rules:,}", *(duration(time and time * 1e3) for time in times)])
    return table(["rules", "alone", "beside a querying thread", "and one that changes rules"], rows)


def machine(results):
    context = results.context
    return (f"Measured on {context['date'][:10]}: {context['num_cpus']} cores at "
            f"{context['mhz_per_cpu'] / 1000:.1f} GHz, g++ {context['compiler']}, "
            f"Vectorscan {context['vectorscan'].split()[0]}.")


TABLES = {function.__name__: function for function in
          (queries, hot, growth, kinds, setup, memory, worst, changes, threads, tails,
           machine)}


def fill(text, results):
    def replacement(found):
        # Other scripts fill in the rest.
        if found[2] not in TABLES:
            return found[0]
        return f"{found[1]}\n{TABLES[found[2]](results)}\n{found[3]}"
    return re.sub(r"(<!-- table: (\w+) -->)\n.*?(<!-- end -->)", replacement, text, flags=re.DOTALL)


def plot(results, file):
    import matplotlib
    matplotlib.use("svg")
    from matplotlib import pyplot

    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "qvl",
                                "font.family": "sans-serif"})
    figure, axes = pyplot.subplots(figsize=(8, 5))
    lines = (("Product", "product: whole isPresent", "#0b6bcb", "o", "-"),
             ("RE2", "RE2::Set: bare match", "#c2410c", "s", "--"),
             ("Vectorscan", "Vectorscan: bare match", "#15803d", "^", "--"),
             ("Walk", "plain walk of the rules", "#6b7280", "x", ":"),
             ("Expressions", "one expression after the other", "#9333ea", "+", ":"))
    for engine, label, colour, marker, style in lines:
        points = [(rules, results.time("Query", rules, engine)) for rules in SIZES]
        points = [(rules, time / 1e3) for rules, time in points if time is not None]
        if points:
            axes.plot(*zip(*points), label=label, color=colour, marker=marker, linestyle=style)
    axes.set(xscale="log", yscale="log", xlabel="rules", ylabel="microseconds a query",
             title="Time of one query against the number of rules (15 % of the paths match)")
    axes.grid(True, which="major", alpha=0.3)
    axes.legend(frameon=False)
    figure.savefig(file, bbox_inches="tight", facecolor="white", metadata={"Date": None})


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("outputs", nargs="+", metavar="OUTPUT.json")
    parser.add_argument("--document", required=True)
    parser.add_argument("--plot", required=True)
    arguments = parser.parse_args()
    results = Results(arguments.outputs)
    with open(arguments.document, encoding="utf-8") as stream:
        text = stream.read()
    new = arguments.document + ".new"
    with open(new, "w", encoding="utf-8") as stream:
        stream.write(fill(text, results))
    plot(results, arguments.plot)
    os.replace(new, arguments.document)


if __name__ == "__main__":
    main()
