#!/usr/bin/env python3
"""Tests scripts/check-links, whose path is the first argument."""

import os
import subprocess
import sys
import tempfile
import unittest

CHECK_LINKS = sys.argv.pop(1)


def check(page):
    """Returns the exit status and the complaints about a directory with this page and two files."""
    with tempfile.TemporaryDirectory() as directory:
        for name, text in (
            ("docs/page.md", page),
            ("docs/other.md", "# A heading, in words\n"),
            ("file", ""),
        ):
            path = os.path.join(directory, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        done = subprocess.run([CHECK_LINKS, directory], check=False, stderr=subprocess.PIPE, text=True)
        return done.returncode, done.stderr


class CheckLinks(unittest.TestCase):
    def test_good_links(self):
        for link in ("other.md", "../file", "..", "other.md#a-heading-in-words", "https://lanfab.example/x"):
            with self.subTest(link):
                self.assertEqual(check(f"[one](other.md)\nand [another]({link})\n"), (0, ""))

    def test_bad_links(self):
        for link, reason in (
            ("missing.md", "leads nowhere"),
            ("file", "leads nowhere"),
            ("../../file", "leads out of the directory"),
            ("other.md#heading", "names a heading that is not there"),
            ("#here", "names a heading that is not there"),
        ):
            with self.subTest(link):
                self.assertEqual(check(f"[bad]({link})\n"), (1, f"docs/page.md: {link} {reason}\n"))

    def test_code_has_no_links(self):
        code = "`[a](missing)`\n\n    [b](missing)\n\n```\n[c](missing)\n```\n"
        self.assertEqual(check(f"[one](other.md) {code}"), (0, ""))

    def test_no_link_at_all_is_a_mistake(self):
        self.assertEqual(check("No link\n")[0], 1)


if __name__ == "__main__":
    unittest.main()
