#!/usr/bin/env python3
"""Checks that every test named in docs/security.md exists."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# A path in the repository and, in parentheses, names from the file.
REFERENCE = re.compile(r"`(tests/[\w./-]+)`(?: \((`\w+`(?:, `\w+`)*)\))?")


class Security(unittest.TestCase):
    def test_it_names_tests_that_are_there(self):
        references = REFERENCE.findall((ROOT / "docs/security.md").read_text())
        self.assertGreater(len(references), 20)
        for path, names in references:
            with self.subTest(path):
                text = (ROOT / path).read_text()
                for name in re.findall(r"\w+", names):
                    self.assertIn(name, text)


if __name__ == "__main__":
    unittest.main()
