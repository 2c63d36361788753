#!/usr/bin/env python3
"""Confirms trials in the sandbox; lists and compares the configurations in the history, and tries them again.
The arguments are lanfab and cmd_lanfab."""

import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import APPLIED, INSTALLED, PREVIOUS, TRIAL, UNITS
from lib.terminal import shown_on_terminal

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
HISTORY = pathlib.Path("/var/lib/lanfab/history")
OLD, FIRST, SECOND = (f'{{"dns": {{"source": "static", "static": ["8.8.8.{number}"]}}}}\n'
                      for number in (1, 2, 3))
KEY = "A" * 43 + "="
NOT_ROOT = ("setpriv", "--bounding-set=-all", "--inh-caps=-all")


def digits(text):
    """Returns the beginning of a configuration's checksum, as `lanfab history` prints it."""
    return hashlib.sha256(text.encode()).hexdigest()[:12]


class History(unittest.TestCase):
    def setUp(self):
        systemd.lay_tools()
        for directory in INSTALLED.parent, TRIAL.parent, UNITS:
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        shutil.rmtree(HISTORY, ignore_errors=True)
        APPLIED.write_text("")
        INSTALLED.write_text(OLD)
        self.new = pathlib.Path("/run/new.json")
        systemd.pretend_apply()

    def lanfab(self, *arguments, status=0, said="", before=(), **environment):
        done = subprocess.run([*before, LANFAB, *arguments], check=False, text=True, stdin=subprocess.DEVNULL,
                              env={**systemd.ENVIRONMENT, "SUDO_USER": "anna", "TZ": "UTC", **environment},
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout)
        self.assertIn(said, done.stdout)
        return done.stdout

    def keep(self, text, *options, **environment):
        """Tries a configuration and confirms it."""
        self.new.write_text(text)
        self.lanfab("try", "--force", "--no-verify", self.new, **environment)
        return self.lanfab("confirm", *options, **environment)

    def keep_two(self):
        self.keep(FIRST, "-m", "other resolver")
        self.keep(SECOND, SSH_CONNECTION="192.0.2.7 40000 192.0.2.1 22")

    @staticmethod
    def lay_entry(number, configuration):
        """Writes an entry of the history in the format of docs/files.md."""
        text = f"time: 1\nwho: anna\ncomment: \n\n{configuration}"
        checksum = hashlib.sha256(text.encode()).hexdigest()
        HISTORY.mkdir(parents=True, exist_ok=True)
        (HISTORY / f"{number}.txt").write_text(f"lanfab-history 1 {checksum}\n{text}")

    def entries(self):
        return json.loads(self.lanfab("history", "--format", "json"))["entries"]


class Lists(History):
    def test_nothing_before_the_first_confirmation(self):
        self.assertEqual(self.lanfab("history"), "No configuration has been confirmed yet.\n")
        self.assertEqual(self.lanfab("history", "--format", "json"), '{\n\t"entries" : []\n}\n')
        self.assertFalse(HISTORY.exists())

    def test_each_confirmed_configuration(self):
        self.keep_two()
        time = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"
        self.assertRegex(self.lanfab("history"),
                         rf"\A   2  {time}  {digits(SECOND)}  anna from 192\.0\.2\.7\n"
                         rf"   1  {time}  {digits(FIRST)}  anna: other resolver\n\Z")

    def test_them_for_programs(self):
        self.keep_two()
        second, first = self.entries()
        self.assertGreaterEqual(second.pop("time"), first.pop("time"))
        self.assertEqual(second, {"number": 2, "who": "anna from 192.0.2.7", "comment": "",
                                  "sha256": hashlib.sha256(SECOND.encode()).hexdigest()})
        self.assertEqual((first["number"], first["comment"]), (1, "other resolver"))

    def test_no_configuration_that_is_rolled_back(self):
        self.new.write_text(FIRST)
        self.lanfab("try", self.new)
        self.lanfab("revert")
        self.assertEqual(self.entries(), [])

    def test_no_configuration_twice_in_a_row(self):
        self.keep(FIRST)
        self.keep(FIRST, "-m", "again")
        self.assertEqual(len(self.entries()), 1)

    def test_what_revert_makes_active(self):
        PREVIOUS.write_text(FIRST)
        self.lanfab("revert", "--yes")
        self.assertEqual(self.lanfab("history", "show", "1"), FIRST)

    def test_damaged_entries_as_damaged(self):
        self.keep_two()
        (HISTORY / "1.txt").write_text("{}")
        self.assertIn("   1  damaged: /var/lib/lanfab/history/1.txt: corrupted\n",
                      self.lanfab("history"))
        self.assertEqual(self.entries()[1],
                         {"number": 1, "damage": "/var/lib/lanfab/history/1.txt: corrupted"})

    def test_nothing_that_a_terminal_would_execute(self):
        self.keep(FIRST, "-m", "\x1b[2Jgone\n\r\u202eback", SUDO_USER="a\x1b[1mb")
        text = self.lanfab("history")
        self.assertIn("  a?[1mb: ?[2Jgone???back\n", text)
        self.assertNotIn("\x1b", json.dumps(self.entries(), ensure_ascii=False))
        self.assertNotIn("\x1b", (HISTORY / "1.txt").read_text())

    def test_nothing_to_an_ordinary_user(self):
        self.keep(FIRST)
        # The sandbox has only one user, who owns the directory: NOT_ROOT drops its capabilities.
        HISTORY.chmod(0)
        self.lanfab("history", status=2, said=f"{HISTORY}: Permission denied", before=NOT_ROOT)


class Shows(History):
    def test_the_configuration(self):
        self.keep_two()
        self.assertEqual(self.lanfab("history", "show", "1"), FIRST)
        shown = json.loads(self.lanfab("history", "show", "1", "--format=json"))
        self.assertEqual((shown["number"], shown["configuration"]), (1, FIRST))

    def test_no_keys(self):
        peer = f'{{"public_key": "x", "preshared_key": "{KEY}"}}'
        self.keep(f'{{"tunnels": {{"wireguard": {{"interfaces": [{{"peers": [{peer}]}}]}}}}}}\n')
        for words in ["1"], ["1", "--format=json"]:
            text = self.lanfab("history", "show", *words)
            self.assertIn("*" * 43, text)
            self.assertNotIn(KEY[:-1], text)
        self.assertIn(KEY, (HISTORY / "1.txt").read_text())

    def test_nothing_that_a_terminal_would_execute(self):
        self.lay_entry(1, '{"comment": "\x1b[2J"}\n')
        text = shown_on_terminal([LANFAB, "history", "show", "1"], env=systemd.ENVIRONMENT)
        self.assertIn('{"comment": "?[2J"}', text)

    def test_nothing_that_is_not_there_or_damaged(self):
        self.keep(FIRST)
        (HISTORY / "2.txt").mkdir()
        for number, said in (("3", "the history has no entry 3; 'lanfab history' lists them"),
                             ("x", "the history has no entry x"), ("2", "2.txt: Is a directory")):
            for words in ("history", "show", number), ("revert", number), ("diff", "--from", number):
                self.lanfab(*words, status=2, said=said)
        self.lanfab("history", "show", status=2, said="requires the number of an entry")
        self.lanfab("history", "list", status=2, said="ACTION")
        self.assertEqual(APPLIED.read_text(), FIRST)

    def test_that_it_cannot_be_read(self):
        HISTORY.parent.mkdir(exist_ok=True)
        HISTORY.write_text("")
        self.addCleanup(HISTORY.unlink)
        for words in ["history"], ["history", "show", "1"]:
            self.lanfab(*words, status=2, said=f"{HISTORY}: Not a directory")


class Compares(History):
    def diff(self, *words, **expected):
        return self.lanfab("diff", f"--program={PROGRAM}", "--action=dnsmasq", "--cell=down", *words,
                           **expected)

    def test_with_the_active_configuration(self):
        self.keep_two()
        text = self.diff("--from", "1", status=1)
        self.assertIn("\n-nameserver 8.8.8.2\n+nameserver 8.8.8.3\n", text)
        self.assertEqual(self.diff("--from", "2"), "")

    def test_with_a_file(self):
        self.keep_two()
        self.assertEqual(self.diff("--from", "1", self.new, status=1), self.diff("--from=1", status=1))
        self.new.write_text("{")
        self.diff("--from", "1", self.new, status=2, said="/run/new.json:1:1: error: ")

    def test_not_with_a_third_one(self):
        self.keep_two()
        self.diff("--from", "1", self.new, self.new, status=2, said="OTHER excludes --from")

    def test_only_what_can_be_parsed(self):
        self.lay_entry(1, "{")
        self.diff("--from", "1", status=2, said="entry 1 of the history:1:1: error: ")


class GoesBack(History):
    def test_as_a_trial(self):
        self.keep_two()
        self.lanfab("revert", "1", said="Run 'lanfab confirm' within")
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (FIRST, SECOND))
        self.assertIn("entry 1 of the history on trial by anna", self.lanfab("revert", "1", status=2))
        self.lanfab("revert", said="The previous configuration is active.")
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (SECOND, SECOND))
        self.assertEqual(APPLIED.read_text(), FIRST + SECOND + FIRST + SECOND)
        self.assertEqual(len(self.entries()), 2)

    def test_for_good_when_it_is_confirmed(self):
        self.keep_two()
        self.lanfab("revert", "1")
        self.lanfab("confirm", "-m", "the former resolver was better")
        self.assertEqual((INSTALLED.read_text(), PREVIOUS.read_text()), (FIRST, SECOND))
        self.assertEqual([entry["comment"] for entry in self.entries()],
                         ["the former resolver was better", "", "other resolver"])

    def test_only_to_a_configuration_without_errors(self):
        self.keep('{"wired": {"eth0": {"enable": true}}}')
        self.keep(FIRST)
        self.lanfab("revert", "1", status=1, said="[port-without-network]")
        self.assertEqual(systemd.active(), FIRST)

    def test_also_if_the_history_is_damaged(self):
        self.keep_two()
        shutil.rmtree(HISTORY)
        HISTORY.write_text("")
        self.addCleanup(HISTORY.unlink)
        self.lanfab("revert", "--yes", said="Not a directory")
        self.assertEqual(INSTALLED.read_text(), FIRST)
        said = self.keep(SECOND)
        self.assertIn(f"warning: could not add it to the history: {HISTORY}: Not a directory", said)
        self.assertIn("Confirmed.", said)
        self.assertEqual(INSTALLED.read_text(), SECOND)


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
