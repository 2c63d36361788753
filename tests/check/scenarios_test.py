#!/usr/bin/env python3
"""Checks the configurations of all scenarios and compares the errors with scenarios.expected.

Usage: scenarios_test.py [--update] PROGRAM

Scenarios that are not listed there have no errors. Errors of listed scenarios are intended; each line names
a violated rule. A configuration that dnsmasq rejects must have an error, and the examples must have no
findings.
"""

import json
import pathlib
import subprocess
import sys
import tempfile

from lib import case, txtar
from lib.checkout import EXAMPLES, TESTS
from lib.runner import paths_of

EXPECTED = TESTS / "check" / "scenarios.expected"


def errors_of(program):
    """Returns the rules that find an error in a configuration, by scenario."""
    with tempfile.TemporaryDirectory() as directory:
        names = {}
        for path in paths_of("scenarios"):
            for number, text in enumerate(case.configurations(path)):
                file = pathlib.Path(directory, f"{path.stem}-{number}.json")
                file.write_bytes(txtar.encode(text))
                names[str(file)] = path.stem
        done = subprocess.run(
            [program, "check", "--offline", "--format", "json", *names],
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            check=False,
        )
    errors = {}
    for report in json.loads(done.stdout):
        rules = {finding["rule"] for finding in report["findings"] if finding["severity"] == "error"}
        if rules:
            errors.setdefault(names[report["file"]], set()).update(rules)
    return errors


def refused_by_dnsmasq():
    return {path.stem for path in paths_of("scenarios") if "\n-- refused by dnsmasq --\n" in txtar.read(path)}


def findings_about_examples(program):
    """Returns the output lines of `lanfab check` for the examples, without the summary line."""
    examples = sorted(EXAMPLES.glob("*/network.json"))
    done = subprocess.run(
        [program, "check", "--offline", *examples], text=True, stdout=subprocess.PIPE, check=False
    )
    return done.stdout.splitlines()[:-1]


def main():
    errors = errors_of(sys.argv[-1])
    lines = [f"{name} {rule}\n" for name, rules in sorted(errors.items()) for rule in sorted(rules)]
    if "--update" in sys.argv:
        EXPECTED.write_text("".join(lines), encoding="ascii")
    expected = EXPECTED.read_text(encoding="ascii").splitlines(keepends=True)
    for line in sorted(set(lines) ^ set(expected)):
        print("+" if line in lines else "-", line, end="")
    missed = refused_by_dnsmasq() - set(errors)
    for name in sorted(missed):
        print(f"{name}: dnsmasq refuses it, and no rule finds an error")
    findings = findings_about_examples(sys.argv[-1])
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if missed or findings or lines != expected else 0


if __name__ == "__main__":
    sys.exit(main())
