#!/usr/bin/env python3
"""Tests scripts/check-links, whose path is the first argument."""

import os
import subprocess
import sys
import tempfile
import unittest

CHECK_LINKS = sys.argv.pop(1)


def check(page):
    """Returns the exit status and the errors for a directory with this page and two files."""
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
        for link, error in (
            ("missing.md", "target does not exist"),
            ("file", "target does not exist"),
            ("../../file", "target is outside the directory"),
            ("other.md#heading", "no such heading"),
            ("#here", "no such heading"),
        ):
            with self.subTest(link):
                self.assertEqual(check(f"[bad]({link})\n"), (1, f"docs/page.md: {link}: {error}\n"))

    def test_code_has_no_links(self):
        code = "`[a](missing)`\n\n    [b](missing)\n\n```\n[c](missing)\n```\n"
        self.assertEqual(check(f"[one](other.md) {code}"), (0, ""))

    def test_a_directory_without_links_is_an_error(self):
        self.assertEqual(check("No link\n")[0], 1)


if __name__ == "__main__":
    unittest.main()
