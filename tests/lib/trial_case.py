"""The base class of trial tests: a gateway on which a trial can begin, and the state after a trial."""

import os
import pathlib
import shutil
import subprocess
import unittest

from . import fake_systemd as systemd
from .fake_systemd import APPLIED, INSTALLED, PREVIOUS, STATE, TIMER, TRIAL, UNITS

OLDER, OLD, NEW = (f'{{"dns": {{"source": "static", "static": ["8.8.8.{number}"]}}}}\n'
                   for number in (1, 2, 3))


class Trial(unittest.TestCase):
    # The path of the program.
    program = ""

    def setUp(self):
        systemd.lay_tools()
        for directory in INSTALLED.parent, TRIAL.parent, UNITS:
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        APPLIED.write_text("")
        INSTALLED.write_text(OLD)
        INSTALLED.chmod(0o640)
        self.new = pathlib.Path("/run/new.json")
        self.new.write_text(NEW)
        systemd.pretend_apply()

    def lanfab(self, *arguments, status, said="", before=()):
        """Runs lanfab without a terminal; checks its exit status and output."""
        done = subprocess.run([*before, self.program, *arguments], env=systemd.ENVIRONMENT, text=True,
                              check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout)
        self.assertIn(said, done.stdout)
        return done.stdout

    def try_new(self, status=0, said=""):
        return self.lanfab("try", self.new, status=status, said=said)

    @staticmethod
    def in_own_view(line):
        """Returns a command prefix that runs a shell line in a private mount namespace first."""
        return "unshare", "--mount", "sh", "-ec", f'{line}; exec "$0" "$@"'

    @staticmethod
    def before(tool, line):
        """Makes a stub run a shell line first."""
        path = systemd.TOOLS / tool
        path.write_text(path.read_text().replace("\n", f"\n{line}\n", 1))

    def assert_trial_goes_on(self):
        self.assertTrue(systemd.is_trial_active() and STATE.exists() and TIMER.exists())
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (NEW, OLD))

    def assert_files(self, installed, previous):
        """Checks that no trial is left, and the installed and the previous configuration."""
        self.assertEqual(systemd.leftovers() + os.listdir(UNITS), [])
        self.assertEqual(INSTALLED.read_text(), installed)
        self.assertEqual(PREVIOUS.read_text() if PREVIOUS.exists() else None, previous)
        self.assertEqual(INSTALLED.stat().st_mode & 0o777, 0o640)
        self.assertEqual(len(os.listdir(INSTALLED.parent)), 2 if previous else 1)

    def assert_applied(self, *configurations):
        self.assertEqual(APPLIED.read_text(), "".join(configurations))
