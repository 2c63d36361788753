#!/usr/bin/env python3
"""Puts markup and scripts into every string of a configuration, and checks that the page of `lanfab graph`
has only its own elements.

Usage: page_test.py PROGRAM
"""

import html.parser
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from lib.checkout import EXAMPLES

SKIPPED = 77
LANFAB = os.path.abspath(sys.argv.pop(1))

# Markup that ends any context into which it is injected: an attribute, a comment, the text or the style of an
# element.
HOSTILE = ('"\'></td></text></svg></style></title>--><!--]]><script>alert(1)</script>'
           "<img src=x onerror=alert(1)>&lt;b&gt;{}*/")
# Keys whose values determine the nodes of the diagram.
STRUCTURE = {"mode", "protocol", "source", "interface", "interfaces", "primary_interface", "tunnel_local_ip",
             "tunnel_remote_ip"}
ELEMENTS = {
    "html": {"lang"}, "head": set(), "meta": {"charset", "http-equiv", "content", "name"}, "title": set(),
    "style": set(), "body": set(), "h1": set(), "h2": set(), "p": set(), "figure": set(), "table": set(),
    "tr": set(), "th": set(), "td": {"class"},
    "svg": {"width", "height", "viewbox", "xmlns", "xmlns:xlink"}, "g": {"id", "class", "transform"},
    "polygon": {"fill", "stroke", "stroke-width", "points"},
    "polyline": {"fill", "stroke", "stroke-width", "points"},
    "path": {"fill", "stroke", "stroke-width", "d"},
    "text": {"text-anchor", "x", "y", "font-family", "font-weight", "font-size", "fill"},
}
WITHOUT_END = {"meta"}


def hostile(value, kept, name=""):
    """Returns the configuration with the markup appended to every string, except for members with a key in
    `kept`; `name` is the key of `value`."""
    if isinstance(value, dict):
        return {key: hostile(member, kept, key) for key, member in value.items()}
    if isinstance(value, list):
        return [hostile(element, kept, name) for element in value]
    if isinstance(value, str) and name not in kept:
        return value + HOSTILE
    return value


def hostile_keys(value):
    """Returns the configuration with a member in each object whose key and value are the markup."""
    if isinstance(value, dict):
        return {**{key: hostile_keys(member) for key, member in value.items()}, HOSTILE: HOSTILE}
    return list(map(hostile_keys, value)) if isinstance(value, list) else value


class PageParser(html.parser.HTMLParser):
    """Records the elements of a page and its errors."""

    def __init__(self, page):
        super().__init__()
        self.open, self.problems, self.styles, self.text = [], [], [], ""
        self.feed(page)
        self.close()
        if self.open:
            self.problems.append(f"not closed: {self.open}")

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name not in ELEMENTS.get(tag, ()) or "alert" in (value or ""):
                self.problems.append((tag, name, value))
        if tag not in ELEMENTS:
            self.problems.append(tag)
        if tag not in WITHOUT_END:
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)
        self.handle_endtag(tag)

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.problems.append(f"end of {tag}")

    def handle_comment(self, data):
        self.problems.append(f"comment {data}")

    def unknown_decl(self, data):
        self.problems.append(f"declaration {data}")

    def handle_pi(self, data):
        self.problems.append(f"instruction {data}")

    def handle_data(self, data):
        if self.open and self.open[-1] == "style":
            self.styles.append(data)
        else:
            self.text += data


class Page(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def parse(self, configuration, *arguments, name="network.json"):
        (self.directory / name).write_text(json.dumps(configuration), encoding="utf-8")
        done = subprocess.run([LANFAB, "graph", "--format", "html", *arguments, "--", name],
                              cwd=self.directory, capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        page = PageParser(done.stdout)
        self.assertEqual(page.problems, [])
        return page

    def test_no_string_becomes_markup(self):
        own_style = self.parse({}).styles
        self.assertEqual(len(own_style), 1)
        for path in sorted(EXAMPLES.glob("*/network.json")):
            example = json.loads(path.read_text(encoding="utf-8"))
            for configuration in hostile(example, STRUCTURE), hostile(example, ()), hostile_keys(example):
                with self.subTest(example=path.parent.name):
                    page = self.parse(configuration)
                    self.assertEqual(page.styles, own_style)
                    self.assertIn("<script>", page.text)

    def test_nor_does_a_title_or_the_name_of_a_file(self):
        name = HOSTILE.replace("/", "")
        page = self.parse({}, "--title", HOSTILE, name=name)
        self.assertEqual(page.text.count(HOSTILE), 2)
        self.assertIn(name + ", 2", page.text)

    def test_the_parser_sees_what_is_not_its_own(self):
        for markup in ("<script>", "<p onclick=x>", "<p><g></p></g>", "</p>", "<!-- -->", "<![CDATA[x]]>",
                       "<?x?>"):
            self.assertNotEqual(PageParser(markup).problems, [], markup)


if __name__ == "__main__":
    if shutil.which("dot") is None:
        print("Graphviz is not installed")
        sys.exit(SKIPPED)
    unittest.main()
