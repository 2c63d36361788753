#!/usr/bin/env python3
"""Tests that each rule of `lanfab check` has a case that hits it and just misses it, and an explanation.

The program is the first argument.
"""

import os
import re
import subprocess
import sys
import unittest

from lib import case
from lib.checkout import CHECKOUT, TESTS

LANFAB = os.path.abspath(sys.argv.pop(1))
# What needs dnsmasq has tests of its own.
NOT_OFFLINE = {"dnsmasq-refuses"}
RULE = re.compile(r"\[([a-z0-9-]+)\]$", re.MULTILINE)


def explain(*words):
    return subprocess.run([LANFAB, "explain", *words], stdout=subprocess.PIPE, text=True, check=True).stdout


def entries():
    """Returns the entries of docs/checks.md by their first line."""
    page = (CHECKOUT / "docs" / "checks.md").read_text(encoding="utf-8")
    sections = re.split("^#+ ", page, flags=re.MULTILINE)
    return {section.partition("\n")[0]: section.rstrip("\n") + "\n" for section in sections}


class Rules(unittest.TestCase):
    RULES = dict(line.split() for line in explain().splitlines())

    def test_each_is_hit_and_just_missed(self):
        for rule in self.RULES.keys() - NOT_OFFLINE:
            with self.subTest(rule):
                directory = "allow" if rule.startswith("allow-") else "check"
                runs = case.runs_of(TESTS / directory / f"{rule}.txtar", 0)
                hits = {rule in RULE.findall(run.outputs["stdout"].body) for run in runs}
                self.assertEqual(hits, {True, False})

    def test_each_is_explained(self):
        known = entries()
        for rule, severity in self.RULES.items():
            self.assertGreaterEqual(known.get(f"{rule} ({severity})", "").count("\n"), 4, rule)

    def test_the_first_and_the_last_explanation_are_printed(self):
        known, (first, severity) = entries(), next(iter(self.RULES.items()))
        for title in f"{first} ({severity})", list(known)[-1]:
            self.assertEqual(explain(title.split()[0]).rstrip("\n") + "\n", known[title])


if __name__ == "__main__":
    unittest.main()
