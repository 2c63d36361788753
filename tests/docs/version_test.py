#!/usr/bin/env python3
"""Tests that every file with the project's version has the one in CMakeLists.txt.

Usage: version_test.py PAGES PROGRAM...      (PAGES: a directory with all manual pages, as they are installed)
"""

import email.utils
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = pathlib.Path(sys.argv.pop(1)).resolve()
PROGRAMS = [sys.argv.pop(1) for _ in sys.argv[1:]]


def find(path, pattern):
    """Returns the first match of a pattern at the start of a line: the group, or a tuple of groups."""
    match = re.search(pattern, (ROOT / path).read_text(encoding="utf-8"), re.MULTILINE)
    assert match, f"{path} has no line that matches {pattern}"
    return match[1] if match.lastindex == 1 else match.groups()


def find_all(path, pattern):
    """Returns all matches of a pattern with several groups, as tuples of groups."""
    return re.findall(pattern, (ROOT / path).read_text(encoding="utf-8"), re.MULTILINE)


VERSION = find("CMakeLists.txt", r"^set\(LANFAB_VERSION (\S+)\)")
# The version number once it is released.
RELEASE = VERSION.removesuffix("~dev")
IS_RELEASED = VERSION == RELEASE


class Version(unittest.TestCase):
    def test_form(self):
        self.assertRegex(VERSION, r"^[0-9]+\.[0-9]+\.[0-9]+(~dev)?$")

    def test_programs(self):
        for program in PROGRAMS:
            with self.subTest(program):
                run = subprocess.run([program, "--version"], capture_output=True, text=True, check=False)
                self.assertEqual(run.stdout + run.stderr, f"{pathlib.Path(program).name} {VERSION}\n")

    def test_installed_manual_pages(self):
        pages = sorted(PAGES.rglob("*.[1-9]"))
        self.assertEqual({page.name for page in pages}, {page.name for page in ROOT.glob("docs/man/*")})
        for page in pages:
            with self.subTest(page.name):
                title = re.search(r"^\.TH .*", page.read_text(encoding="utf-8"), re.MULTILINE)[0]
                self.assertIn(f'"lanfab {VERSION}"', title)

    def test_changelog(self):
        version, date = find("CHANGELOG.md", r"^## \[(.*)\] - (.*)$")
        self.assertEqual(version, RELEASE)
        self.assertRegex(date, r"^[0-9]{4}-[0-9]{2}-[0-9]{2}$" if IS_RELEASED else "^unreleased$")

    def test_changelog_of_the_debian_package(self):
        self.assertEqual(find("packaging/debian/changelog", r"^lanfab \((.*)\)"), VERSION)

    def test_the_changelogs_have_the_same_releases(self):
        releases = find_all("CHANGELOG.md", r"^## \[([0-9.]+)\] - ([0-9-]+)$")
        self.assertTrue(releases)
        of_the_package = [
            (version, email.utils.parsedate_to_datetime(date).strftime("%Y-%m-%d"))
            for version, date in find_all("packaging/debian/changelog",
                                          r"^lanfab \(([0-9.]+)\) (?:.|\n)*?^ -- .*>  (.*)$")]
        self.assertEqual(releases, of_the_package)

    def test_ansible_collection(self):
        # A collection has a version of three numbers.
        self.assertEqual(find("ansible/galaxy.yml", r"^version: (.*)$"), RELEASE)

    def test_yocto_recipes(self):
        self.assertEqual(find("packaging/yocto/lanfab.inc", r'^PV = "(.*)"$'), f"{VERSION}+git")

    def test_buildroot_package(self):
        # Buildroot builds from git: from the tag of the release, or from the branch until there is one.
        revision = find("packaging/buildroot/lanfab/lanfab.mk", r"^LANFAB_VERSION = (.*)$")
        self.assertEqual(revision, VERSION if IS_RELEASED else "main")


if __name__ == "__main__":
    unittest.main()
