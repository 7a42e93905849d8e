"""SARIF that qvlctl writes, held against the structure that the standard asks for.

    sarif_test.py QVLCTL SCHEMA
"""

import copy
import json
import os
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("needs the Python package jsonschema")
    sys.exit(77)

QVLCTL, SCHEMA = (os.path.abspath(name) for name in sys.argv[1:])

POLICY = """<exclusion-policy version="1"><logic>{logic}</logic>
<data-set number="1" kind="folder">
<allow finding="covers-tree" rule="/usr/" reason="why &quot;not&quot;"/>
<rule>/usr/</rule>
<rule>{rule}</rule>
</data-set></exclusion-policy>
"""


def run(*arguments, text=""):
    result = subprocess.run([QVLCTL, *arguments], input=text.encode(), capture_output=True)
    return result.stdout


def logs():
    """Every sort of log that there is, by its name."""
    with open("a file \u00fc%.xml", "w") as file:
        file.write(POLICY.format(logic="1", rule="/var/"))
    with open("next.xml", "w") as file:
        file.write(POLICY.format(logic="1", rule="/srv/x/"))
    with open("broken.xml", "w") as file:
        file.write(POLICY.format(logic="1|", rule="/srv/x"))
    os.makedirs("tree/srv")
    with open("baseline.json", "wb") as file:
        file.write(run("lint", "-p", "next.xml", "--format", "json"))
    lint = ("lint", "--format", "sarif", "--platform", "linux", "-p")
    yield "lint", run(*lint, "a file \u00fc%.xml")
    yield "lint with an absolute name", run(*lint, os.path.abspath("a file \u00fc%.xml"))
    yield "lint with a baseline", run(*lint, "a file \u00fc%.xml", "--baseline", "baseline.json")
    yield "lint of what is broken", run(*lint, "broken.xml")
    yield "lint of standard input", run(*lint, "-", text="<")
    yield "lint without findings", run(*lint, "-", text=run("init", "--platform", "linux").decode())
    diff = ("diff", "--format", "sarif")
    policies = ("-p", "a file \u00fc%.xml", "--with", "next.xml")
    yield "diff", run(*diff, *policies, text="/var/x\n/srv/x/y\n/z\n")
    yield "diff without changes", run(*diff, *policies, text="/z\n")
    for policy, audit in (("a file \u00fc%.xml", "old.json"), ("next.xml", "new.json")):
        with open(audit, "wb") as file:
            file.write(run("audit", "-p", policy, "--format", "json", SCHEMA[: SCHEMA.rindex("/")]))
    yield "diff of audits", run(*diff, "--audits", "old.json", "new.json")


def without(log, *path):
    changed = copy.deepcopy(log)
    place = changed
    for step in path[:-1]:
        place = place[step]
    del place[path[-1]]
    return changed


def with_value(log, value, *path):
    changed = copy.deepcopy(log)
    place = changed
    for step in path[:-1]:
        place = place[step]
    place[path[-1]] = value
    return changed


def main():
    with open(SCHEMA) as file:
        check = jsonschema.Draft7Validator(json.load(file))
    counts = {}
    seen = {}
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for name, text in logs():
            log = json.loads(text)
            check.validate(log)
            run_of_log = log["runs"][0]
            for result in run_of_log["results"]:
                # What the schema cannot say: the index and the name of a rule agree.
                rule = run_of_log["tool"]["driver"]["rules"][result["ruleIndex"]]
                assert rule["id"] == result["ruleId"], name
            counts[name] = len(run_of_log["results"])
            seen[name] = log
        os.chdir("/")
    print(counts)
    assert counts["lint"] == 2 and counts["lint without findings"] == 0
    assert counts["diff"] == 2 and counts["diff without changes"] == 0
    assert counts["lint of what is broken"] >= 2 and counts["lint of standard input"] == 1

    # The check can fail.
    log = seen["lint"]
    result = ("runs", 0, "results", 0)
    place = (*result, "locations", 0, "physicalLocation")
    for broken in (
        without(log, "version"),
        without(log, "runs", 0, "tool"),
        without(log, *result, "message"),
        with_value(log, "fatal", *result, "level"),
        with_value(log, 0, *place, "region", "startLine"),
        with_value(log, "a file.xml", *place, "artifactLocation", "uri"),
        with_value(log, 1, *result, "comment"),
        with_value(log, [{"justification": "x"}], *result, "suppressions"),
    ):
        assert not check.is_valid(broken)


main()
