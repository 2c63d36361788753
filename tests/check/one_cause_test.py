#!/usr/bin/env python3
"""Tests that one mistake causes one finding: breaks each value and each key of the examples in several ways,
and expects exactly one finding, at the location of the mistake.

Usage: one_cause_test.py PROGRAM [--exhaustive]
"""

import copy
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from hostile.texts import value_at
from lib.checkout import EXAMPLES
from lib.sample import STEP
from soundness.generator import leaves

EXHAUSTIVE = "--exhaustive" in sys.argv
if EXHAUSTIVE:
    sys.argv.remove("--exhaustive")
LANFAB = os.path.abspath(sys.argv.pop(1))
MARK = "@mistake@"
# Mistakes in the routes to the remote endpoint of a tunnel, which may also change the interface that its
# packets leave through.
UNKNOWN_ROUTES = "tunnels: static_routes"
# Values whose removal causes two findings.
TWO_CAUSES = {"bridge-wifi: wired.eth0", "tunnels: wireless", "tunnels: wireless.cell"}


def wrong_types(value):
    """Yields plausible incorrect values, most of them of another type."""
    if isinstance(value, bool):
        yield from (str(value).lower(), "yes" if value else "no", int(value), None, [value], "maybe", {})
    elif isinstance(value, int):
        yield from (str(value), value + 0.5, None, [value], True, {}, "many", 10**12)
    elif isinstance(value, str):
        yield from (7, None, True, {}, [], 1.5)
    elif isinstance(value, list):
        texts = [element for element in value if isinstance(element, str)]
        yield from (",".join(texts) if texts else "list", value[0] if value and not texts else 7, True, {})
    else:
        yield from (True, "on", 7, [], [value])


def misspellings(key):
    """Yields common misspellings of a key."""
    middle = len(key) // 2
    yield key[:middle] + key[middle + 1:]
    yield key[:middle] + key[middle] + key[middle:]
    yield key[:middle - 1] + key[middle] + key[middle - 1] + key[middle + 1:]
    yield key[:-1] + "x"
    yield key.upper()


def moved(config, path):
    """Yields the configuration with a member moved one level further out, and into each sibling object.

    Its key is MARK.
    """
    *parents, key = path
    holders = [(*parents, name) for name, value in value_at(config, parents).items()
               if name != key and isinstance(value, dict)]
    for target in [tuple(parents[:-1]), *holders] if parents else []:
        broken = copy.deepcopy(config)
        holder = value_at(broken, target)
        if isinstance(holder, dict) and key not in holder:
            holder[MARK] = value_at(broken, parents).pop(key)
            yield broken


def text_and_offset(config, replacement):
    """Returns the text of a configuration with MARK replaced, and the offset of the replacement."""
    text = json.dumps(config, indent=1, ensure_ascii=False)
    offset = text.index(json.dumps(MARK))
    return text.replace(json.dumps(MARK), json.dumps(replacement), 1), offset


def mistakes(config):
    """Yields the name, the text and the offset of each mistake in a configuration."""
    for path in leaves(config):
        # A misspelled key of two letters resembles no known key.
        *parents, key = path
        where = ".".join(map(str, path))
        value = value_at(config, path)
        for wrong in wrong_types(value):
            if isinstance(key, int) and isinstance(value, str) and not isinstance(wrong, (dict, list)):
                continue  # converted to a string, it is a valid name in a list of names
            broken = copy.deepcopy(config)
            value_at(broken, parents)[key] = MARK
            yield f"{where}: {json.dumps(wrong)[:40]}", *text_and_offset(broken, wrong)
        if isinstance(key, int):
            continue
        known = value_at(config, parents).keys()
        for wrong in {word for word in misspellings(key) if len(word) > 2 and word not in known}:
            broken = copy.deepcopy(config)
            holder = value_at(broken, parents)
            items = [(MARK if name == key else name, value) for name, value in holder.items()]
            holder.clear()
            holder.update(items)
            yield f"{where}: key {wrong}", *text_and_offset(broken, wrong)
        # Unknown keys may belong to another program that shares the object.
        if path[0] == "wired" and len(path) > 2:
            for broken in moved(config, path):
                yield f"{where} moved", *text_and_offset(broken, key)


def without(config, path):
    """Returns the text of a configuration without the value at a path."""
    broken = copy.deepcopy(config)
    del value_at(broken, path[:-1])[path[-1]]
    return json.dumps(broken)


def checked(texts):
    """Returns the findings about each text."""
    with tempfile.TemporaryDirectory() as directory:
        names = [f"{number}.json" for number in range(len(texts))]
        for name, text in zip(names, texts):
            pathlib.Path(directory, name).write_text(text, encoding="utf-8")
        output = subprocess.run([LANFAB, "check", "--offline", "--format", "json", *names], cwd=directory,
                                check=False, stdout=subprocess.PIPE, text=True).stdout
    reports = json.loads(output)
    assert [report["file"] for report in reports] == names
    return [report["findings"] for report in reports]


def location(text, offset):
    before = text[:offset]
    return before.count("\n") + 1, offset - before.rfind("\n")


class OneCause(unittest.TestCase):
    EXAMPLES = {path.parent.name: json.loads(path.read_text(encoding="utf-8"))
                for path in sorted(EXAMPLES.glob("*/network.json"))}

    def test_one_mistake_is_one_finding_where_it_is(self):
        for example, config in self.EXAMPLES.items():
            cases = list(mistakes(config))[:: 1 if EXHAUSTIVE else STEP]
            for (name, text, offset), findings in zip(cases, checked([text for _, text, _ in cases])):
                with self.subTest(f"{example}: {name}"):
                    if f"{example}: {name}".startswith(UNKNOWN_ROUTES):
                        findings = [one for one in findings if one["rule"] != "tunnel-local-elsewhere"]
                    self.assertEqual([(one["line"], one["column"]) for one in findings],
                                     [location(text, offset)], findings)

    def test_a_missing_value_is_one_finding_at_most(self):
        for example, config in self.EXAMPLES.items():
            paths = list(leaves(config))
            for path, findings in zip(paths, checked([without(config, path) for path in paths])):
                name = f"{example}: " + ".".join(map(str, path))
                with self.subTest(name):
                    self.assertEqual(len(findings) > 1, name in TWO_CAUSES, findings)


if __name__ == "__main__":
    unittest.main()
