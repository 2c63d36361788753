#!/usr/bin/env python3
"""Tests that each rule of `lanfab check` has an explanation, an example, and cases that violate it and barely
comply with it.

The program is the first argument.
"""

import os
import re
import subprocess
import sys
import textwrap
import unittest

from lib import case
from lib.checkout import CHECKOUT
from lib.examples import FOUND, case_of, examples_of

LANFAB = os.path.abspath(sys.argv.pop(1))
# Rules that run dnsmasq, which dnsmasq_test.py tests.
NOT_OFFLINE = {"dnsmasq-refuses"}
# The command of an example. It may allow the rules about a configuration as a whole, so that examples of
# other rules can be small.
COMMAND = re.compile(
    r"lanfab check --offline( --allow (locked-out|forwarding-off))* (example|corrected)\.json")


def explain(*words):
    return subprocess.run([LANFAB, "explain", *words], stdout=subprocess.PIPE, text=True, check=True).stdout


def entries():
    """Returns the entries of docs/checks.md by their first line."""
    page = (CHECKOUT / "docs" / "checks.md").read_text(encoding="utf-8")
    sections = re.split("^#+ ", page, flags=re.MULTILINE)
    return {section.partition("\n")[0]: section.rstrip("\n") + "\n" for section in sections}


def printed(entry):
    """Returns an entry as `lanfab explain` prints it: examples are indented instead of marked."""
    return re.sub(r"```json\n(.*?)```\n", lambda block: textwrap.indent(block[1], 4 * " "), entry,
                  flags=re.DOTALL)


class Rules(unittest.TestCase):
    RULES = dict(line.split() for line in explain().splitlines())

    def test_each_is_hit_and_just_missed(self):
        for rule in self.RULES.keys() - NOT_OFFLINE:
            with self.subTest(rule):
                runs = case.runs_of(case_of(rule), 0)
                hits = {rule in FOUND.findall(run.outputs["stdout"].body) for run in runs}
                self.assertEqual(hits, {True, False})

    def test_each_has_an_example(self):
        for rule in self.RULES.keys() - NOT_OFFLINE:
            with self.subTest(rule):
                wrong, corrected = examples_of(rule)
                self.assertIn(rule, wrong.found)
                self.assertEqual(corrected.found, ())
                for example in wrong, corrected:
                    self.assertRegex(example.command, COMMAND)
                    self.assertNotIn(f"--allow {rule}", example.command)
                    # Only printable ASCII characters.
                    self.assertRegex(example.text, r"\A[ -~\n]+\Z")

    def test_each_is_explained(self):
        known = entries()
        for rule, severity in self.RULES.items():
            self.assertGreaterEqual(known.get(f"{rule} ({severity})", "").count("\n"), 4, rule)

    def test_the_explanations_are_printed(self):
        known = entries()
        for rule, severity in self.RULES.items():
            self.assertEqual(explain(rule), printed(known[f"{rule} ({severity})"]))

    def test_examples_are_printed(self):
        printed_lines = explain("vlan-id-missing")
        for title, example in zip(("Example", "Corrected"), examples_of("vlan-id-missing")):
            self.assertIn(f"\n{title}:\n\n{textwrap.indent(example.text, 4 * ' ')}", printed_lines)


if __name__ == "__main__":
    unittest.main()
