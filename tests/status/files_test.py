#!/usr/bin/env python3
"""Injects each divergence of file_divergences.py in the sandbox, where real runs of cmd_lanfab have made the
files, and checks that `lanfab status` reports it, and that the fix which it names ends it. The programs
lanfab and cmd_lanfab are the arguments.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import time
import unittest

from file_divergences import CONFIGURATION, DIVERGENCES, LINKS, UNITS
from lib import play
from lib.checkout import EXAMPLES
from lib.sandbox import write_system_database

LANFAB = os.path.abspath(sys.argv.pop(1))
CMD_LANFAB = os.path.abspath(sys.argv.pop(1))
INSTALLED = pathlib.Path(CONFIGURATION)
ALLOWED = pathlib.Path("/etc/lanfab/status.allow")
BACKUP = pathlib.Path("/var/volatile/qel")
NAMES = sorted(path.parent.name for path in EXAMPLES.glob("*/network.json"))
# In which a fix finds cmd_lanfab.
ENVIRONMENT = {**os.environ, "PATH": f"{os.path.dirname(CMD_LANFAB)}:{os.environ['PATH']}"}
# A run, or a change, that is no longer new.
AN_HOUR_AGO = time.time() - 3600
JOURNAL = {"__CURSOR": "a", "_PID": "4000001", "_UID": "0", "_EXE": "/usr/sbin/cmd_lanfab", "PRIORITY": "5"}


def run(*command, **options):
    """Runs a command that must succeed."""
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **options).stdout


def age(directory=pathlib.Path("/run"), when=AN_HOUR_AGO):
    """Makes all files so old."""
    for path in directory.rglob("*"):
        if path.is_file() and not path.is_symlink():
            os.utime(path, (when, when))


def set_link(state):
    for name in LINKS["up"]:
        pathlib.Path("/run", name).unlink(missing_ok=True)
    for name, value in LINKS[state].items():
        pathlib.Path("/run", name).write_text(f"{value}\n")
    write_system_database([f"CELL_CONNECTED = {int(state != 'down')}"])


def configure(example):
    shutil.copyfile(EXAMPLES / example / "network.json", INSTALLED)


def cmd_lanfab(*actions):
    for action in actions:
        run(CMD_LANFAB, action)


def let_apply_begin(when):
    """Has the journal tell of a good APPLY then."""
    lines = [json.dumps({**JOURNAL, "__REALTIME_TIMESTAMP": str(int((when + second) * 1e6)),
                         "MESSAGE": message}) + "\n"
             for second, message in enumerate(("lanfab APPLY", "cmd_lanfab clear lock"))]
    (play.ANSWERS / "journalctl APPLY").write_text(lines[0])
    (play.ANSWERS / "journalctl _PID=4000001").write_text("".join(lines))


class Files(unittest.TestCase):
    def setUp(self):
        for path in pathlib.Path("/run").iterdir():
            if path.is_file():
                path.unlink()
        for directory in (pathlib.Path(UNITS), BACKUP, INSTALLED.parent):
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        (BACKUP / ".wwan_unit_backup").mkdir()
        shutil.rmtree("/run/dnsmasq.conf", ignore_errors=True)
        for answer in play.ANSWERS.glob("journalctl *"):
            answer.unlink()
        # What the kernel and the services have is another step.
        self.allow("*")

    @staticmethod
    def allow(what, subjects=("eth*", "br-lan*", "wlan*", "wwan*", "gre-*")):
        ALLOWED.write_text("".join(f"{subject}: {what}\n" for subject in subjects))

    def apply(self, example, link="up"):
        configure(example)
        set_link(link)
        cmd_lanfab("apply")
        age()
        age(INSTALLED.parent)

    def status(self, *options):
        """Returns the exit status and the report as JSON."""
        done = subprocess.run([LANFAB, "status", "--format=json", *options], stdout=subprocess.PIPE,
                              check=False)
        return done.returncode, json.loads(done.stdout)

    def assert_fine(self, about):
        status, report = self.status()
        self.assertEqual((status, report["differences"], report["not_checked"]), (0, [], []), about)

    def test_each_divergence_is_reported_and_ended_by_its_fix(self):
        for divergence in DIVERGENCES:
            with self.subTest(divergence.name):
                self.setUp()
                self.apply(divergence.example, divergence.link)
                self.assert_fine("before")
                self.inject(divergence.shell)
                self.check(divergence)

    def inject(self, shell):
        words = shell.split()
        if words[0] == "link":
            set_link(words[1])
            # Just changed, it would be pending.
            for name in LINKS["up"]:
                os.utime(f"/run/{name}", (AN_HOUR_AGO + 60, AN_HOUR_AGO + 60))
        elif words[0] == "configure":
            configure(words[1])
        else:
            run("sh", "-ec", shell)
            age()

    def check(self, divergence):
        status, report = self.status()
        self.assertEqual(status, 1)
        own = [drift for drift in report["differences"] if drift["subject"] == divergence.subject]
        self.assertEqual(len(own), 1, report["differences"])
        self.assertIn(divergence.what, own[0]["what"])
        self.assertTrue(own[0]["why"])
        if divergence.fix:
            self.assertEqual(own[0]["fix"], divergence.fix)
            fixes = {drift["fix"] for drift in report["differences"]}
            for fix in sorted(fixes):
                run("sh", "-c", fix, env=ENVIRONMENT)
            age()
            self.assert_fine("after the fix")


class NoFalseAlarm(Files):
    test_each_divergence_is_reported_and_ended_by_its_fix = None

    def test_no_example_in_any_state_of_the_link(self):
        for example in NAMES:
            for states in (["down"], ["up"], ["down", "up"], ["up", "down"], ["up", "other"],
                           ["up", "down", "other"], ["down", "up", "down"]):
                with self.subTest(f"{example} {states}"):
                    self.setUp()
                    self.apply(example, states[0])
                    for state in states[1:]:
                        set_link(state)
                        # It fails without a link.
                        subprocess.run([CMD_LANFAB, "wwan_apply"], check=False)
                        if example.startswith("passthrough"):
                            cmd_lanfab("dnsmasq")
                        age()
                    self.assert_fine("after all")


if __name__ == "__main__":
    play.lay_answers({})
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/etc"], check=True)
    INSTALLED.parent.mkdir()
    pathlib.Path("/etc/hosts").write_text("127.0.0.1 localhost\n")
    unittest.main()
