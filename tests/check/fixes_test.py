#!/usr/bin/env python3
"""Makes mistakes in the examples and checks the result of `lanfab check --fix`: no new finding, no change
except to the mistakes, the original value where a mistake was fixed, and nothing left to fix.

Usage: fixes_test.py PROGRAM [--exhaustive]
"""

import collections
import difflib
import ipaddress
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

from lib.checkout import EXAMPLES

EXHAUSTIVE = "--exhaustive" in sys.argv
if EXHAUSTIVE:
    sys.argv.remove("--exhaustive")
LANFAB = os.path.abspath(sys.argv.pop(1))
CONFIGURATIONS = 1_000 if EXHAUSTIVE else 50
SEED = 20
# The minimum fraction of mistakes that must be fixed, by kind; 0.9 for the others.
USUALLY_FIXED = {"word": 0.5}
TOKEN = re.compile(r'[\s\ufeff]*("(?:[^"\\]|\\.)*"|[^\s",:\[\]{}]+|[,:\[\]{}])')
WORDS = {"mode", "protocol", "source"}
SPACED = {"interface", "ipv4", "remote_ip", "start", "end"}
ADDRESSES = {"ipv4": "netmask", "dest_ip": "dest_netmask", "tunnel_local_ip": "tunnel_netmask"}

# A member of an object or an element of an array: the path of keys to it, the offsets of its key (if it has
# one) and of its value, the value, and the members of the object by key.
Place = collections.namedtuple("Place", ("keys", "key", "key_end", "begin", "end", "value", "siblings"))
# The range of a configuration file to replace, and the incorrect text to write there.
Mistake = collections.namedtuple("Mistake", ("kind", "begin", "end", "text"))


class Scanner:
    """Finds the values of a configuration."""

    def __init__(self, text):
        self.tokens = [(match.group(1), match.start(1), match.end(1)) for match in TOKEN.finditer(text)]
        self.next = 0
        self.places = []
        self.scan((), None, None, {})

    def take(self):
        self.next += 1
        return self.tokens[self.next - 1]

    def is_at(self, text):
        return self.tokens[self.next][0] == text

    def scan(self, keys, key, key_end, siblings):
        token, begin, end = self.take()
        value = None
        if token in "{[":
            members = {}
            while not (self.is_at("}") or self.is_at("]")):
                if token == "{":
                    name, name_begin, name_end = self.take()
                    self.take()
                    self.scan((*keys, json.loads(name)), name_begin, name_end, members)
                else:
                    self.scan((*keys, None), None, None, {})
                if self.is_at(","):
                    self.take()
            end = self.take()[2]
        else:
            value = json.loads(token)
        place = Place(keys, key, key_end, begin, end, value, siblings)
        if keys:
            siblings[keys[-1]] = place
            self.places.append(place)


def misspelled(word, generator):
    """Returns the word with a typing error, in capitals, or with a space at its end."""
    place = generator.randrange(len(word) - 1)
    return generator.choice((
        word[:place] + word[place + 1] + word[place] + word[place + 2:],
        word[:place] + word[place + 1:],
        word[:place] + word[place] + word[place:],
        word.upper(), word.capitalize(), word + " "))


def keys(places, generator):
    for place in places:
        if place.key is not None and re.fullmatch("[a-z_]{4,}", place.keys[-1]):
            yield Mistake("key", place.key, place.key_end, json.dumps(misspelled(place.keys[-1], generator)))


def words(places, generator):
    for place in places:
        if place.keys[-1] in WORDS and place.value:
            yield Mistake("word", place.begin, place.end, json.dumps(misspelled(place.value, generator)))


def numbers(places, generator):
    for place in places:
        if isinstance(place.value, int) and not isinstance(place.value, bool):
            text = json.dumps(generator.choice(("", " ")) + str(place.value))
            yield Mistake("number", place.begin, place.end, text)


def booleans(places, generator):
    for place in places:
        if isinstance(place.value, bool):
            text = generator.choice(('"true"', '"True"', '"yes"', "1") if place.value else
                                    ('"false"', '"False"', '"no"', "0"))
            yield Mistake("boolean", place.begin, place.end, text)


def netmasks(places, _):
    for place in places:
        if place.keys[-1] in ADDRESSES.values() and place.value:
            mask = ipaddress.ip_network(f"0.0.0.0/{place.value}").netmask
            yield Mistake("netmask", place.begin, place.end, json.dumps(str(mask)))


def addresses(places, _):
    """Yields addresses with a prefix length, in addition to the netmask and instead of it."""
    for place in places:
        netmask = place.siblings.get(ADDRESSES.get(place.keys[-1], ""))
        if netmask is None or not place.value:
            continue
        text = json.dumps(f"{place.value}/{netmask.value}")
        yield Mistake("address", place.begin, place.end, text)
        follows = min((other.key for other in place.siblings.values() if other.key > place.key), default=None)
        if follows == netmask.key:
            yield Mistake("address", place.begin, netmask.end, text)


def host_bits(places, generator):
    for place in places:
        netmask = place.siblings.get(ADDRESSES.get(place.keys[-1], ""))
        if netmask is None or place.keys[0] == "wired" or place.keys[-1] == "tunnel_local_ip":
            continue
        network = ipaddress.ip_network(f"{place.value}/{netmask.value}", strict=False)
        if network.num_addresses > 1 and str(network.network_address) == place.value:
            host = network[generator.randrange(1, network.num_addresses)]
            yield Mistake("host bits", place.begin, place.end, json.dumps(str(host)))


def spaces(places, generator):
    for place in places:
        if isinstance(place.value, str) and place.keys[-1] in SPACED:
            text = generator.choice((f" {place.value}", f"{place.value} ", f"{place.value}  "))
            yield Mistake("space", place.begin, place.end, json.dumps(text))


KINDS = (keys, words, numbers, booleans, netmasks, addresses, host_bits, spaces)


def with_mistakes(text, mistakes):
    """Returns the text with these mistakes, which must not overlap."""
    for mistake in sorted(mistakes, key=lambda mistake: mistake.begin, reverse=True):
        text = text[:mistake.begin] + mistake.text + text[mistake.end:]
    return text


def draw(text, generator):
    """Returns up to three random mistakes at random locations of a text; possibly none."""
    places = Scanner(text).places
    drawn = []
    for _ in range(generator.choice((1, 1, 1, 2, 3))):
        candidates = list(generator.choice(KINDS)(places, generator))
        if not candidates:
            continue
        mistake = generator.choice(candidates)
        is_free = all(mistake.end <= other.begin or other.end <= mistake.begin for other in drawn)
        if is_free and mistake.text != text[mistake.begin:mistake.end]:
            drawn.append(mistake)
    return drawn


LAYOUTS = (
    lambda text: text,
    lambda text: text.replace("\n", "\r\n"),
    lambda text: "\ufeff" + text,
    lambda text: re.sub(r"^ +", lambda match: "\t" * (len(match.group()) // 2), text, flags=re.MULTILINE),
    lambda text: json.dumps(json.loads(text)),
    lambda text: json.dumps(json.loads(text), separators=(",", ":")),
    lambda text: json.dumps(json.loads(text), indent=4).rstrip() + "\n\n",
)


def random_configurations(count):
    """Yields a valid text and the mistakes to make in it."""
    generator = random.Random(SEED)
    examples = [path.read_text(encoding="utf-8") for path in sorted(EXAMPLES.glob("*/network.json"))]
    while count > 0:
        text = generator.choice(LAYOUTS)(generator.choice(examples))
        mistakes = draw(text, generator)
        if mistakes:
            count -= 1
            yield text, mistakes


def subsets(values):
    for bits in range(2 ** len(values)):
        yield [value for place, value in enumerate(values) if bits >> place & 1]


def counted(findings):
    return collections.Counter((finding["rule"], finding["message"]) for finding in findings)


def difference(old, new):
    return "\n".join(difflib.unified_diff(old.splitlines(), new.splitlines(), "valid", "fixed", lineterm=""))


class Fixes(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.cases = dict(enumerate(random_configurations(CONFIGURATIONS)))
        for number, (text, mistakes) in self.cases.items():
            self.path(number).write_bytes(with_mistakes(text, mistakes).encode())

    def path(self, number):
        return self.directory / f"{number}.json"

    def text(self, number):
        return self.path(number).read_bytes().decode()

    def run_check(self, *words):
        files = [self.path(number).name for number in self.cases]
        return subprocess.run([LANFAB, "check", "--offline", *words, *files], cwd=self.directory, text=True,
                              stdout=subprocess.PIPE, check=False).stdout

    def findings(self):
        return [report["findings"] for report in json.loads(self.run_check("--format", "json"))]

    def test_random_mistakes(self):
        before = self.findings()
        self.run_check("--fix")
        after = self.findings()
        texts = {number: self.text(number) for number in self.cases}
        self.assertEqual(self.run_check("--diff"), "")
        self.run_check("--fix")
        made, fixed = collections.Counter(), collections.Counter()
        for number, (text, mistakes) in self.cases.items():
            with self.subTest(number, mistakes=mistakes):
                self.assertEqual(self.text(number), texts[number])
                self.assertEqual(counted(after[number]) - counted(before[number]), collections.Counter())
                results = {with_mistakes(text, left): left for left in subsets(mistakes)}
                self.assertTrue(texts[number] in results, difference(text, texts[number]))
                left = results[texts[number]]
                self.assertTrue(left or not after[number])
                made.update(mistake.kind for mistake in mistakes)
                fixed.update(mistake.kind for mistake in mistakes if mistake not in left)
        for kind, number in made.items():
            self.assertGreaterEqual(fixed[kind], USUALLY_FIXED.get(kind, 0.9) * number, kind)


if __name__ == "__main__":
    unittest.main()
