#!/usr/bin/env python3
"""Checks that every path in the installed pages exists: installed, or in the sources if the page says so.

Usage: installed_paths_test.py CMAKE BUILD
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD = (sys.argv.pop(1) for _ in range(2))
ROOT = pathlib.Path(__file__).resolve().parents[2]
CODE = re.compile(r"`([^`]+)`")
# A page with paths that are not installed explains where they are.
WHERE = "the sources"
PLACEHOLDER = re.compile(r"[*<>{]|\b[A-Z]{2,}\b")


def top_directories():
    """Returns the names of the directories that a path in the sources begins with."""
    return {path.name for path in ROOT.iterdir() if path.is_dir() and path.name != "build"}


def code_of(text):
    """Yields the first word of each piece of code in a page's paragraphs."""
    for code in CODE.findall(re.sub(r"^    .*$", "", text, flags=re.MULTILINE)):
        if words := code.split():
            yield words[0].removeprefix("../")


class InstalledPaths(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.prefix = pathlib.Path(directory.name)
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", cls.prefix], stdout=subprocess.DEVNULL,
                       check=True)
        cls.pages = {path: path.read_text(encoding="utf-8") for path in cls.prefix.rglob("*.md")}
        cls.manual = {path: path.read_text(encoding="utf-8").replace("\\", "")
                      for path in cls.prefix.glob("share/man/man*/*")}
        cls.tops = top_directories()

    def is_installed(self, path, page):
        return any((directory / path).exists() for directory in (page.parent, page.parent.parent))

    def test_relative_paths_are_installed_or_in_the_sources(self):
        found = 0
        for page, text in self.pages.items():
            for path in code_of(text):
                if path.split("/")[0] not in self.tops or "/" not in path or PLACEHOLDER.search(path):
                    continue
                if not self.is_installed(path, page):
                    with self.subTest(page=page.name, path=path):
                        self.assertTrue((ROOT / path).exists(), "it is nowhere")
                        self.assertTrue(WHERE in text, "the page does not say where it is")
                found += 1
        self.assertGreater(found, 20)

    def test_absolute_paths_are_installed(self):
        found = 0
        for page, text in {**self.pages, **self.manual}.items():
            for path in re.findall(r"/usr/(share/(?:doc/)?lanfab/[\w./-]*\w)", text):
                with self.subTest(page=page.name, path=path):
                    self.assertTrue((self.prefix / path).exists())
                found += 1
        self.assertGreater(found, 5)

    def test_what_is_listed_as_installed_is(self):
        page = next(text for path, text in self.pages.items() if path.name == "integration.md")
        table = page.split("## What is installed, below the prefix")[1].split("\n## ")[0]
        rows = re.findall(r"^\| (`.*?) \|", table, re.MULTILINE)
        self.assertGreater(len(rows), 5)
        for path in CODE.findall(" ".join(rows)):
            with self.subTest(path):
                self.assertTrue((self.prefix / path).exists())


if __name__ == "__main__":
    unittest.main()
