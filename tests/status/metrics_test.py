#!/usr/bin/env python3
"""Runs `lanfab status --format prometheus` and `-o` in the sandbox. The program is the first argument."""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

from lib import play
from lib.limits import HANG_SECONDS

LANFAB = os.path.abspath(sys.argv.pop(1))
UNIT = pathlib.Path("/run/systemd/network/20-eth0.network")
FILE = pathlib.Path("/run/textfile/lanfab.prom")
FORMER = "lanfab_status_success 1\n"


class Metrics(unittest.TestCase):
    def setUp(self):
        play.lay_answers({})
        shutil.rmtree(FILE.parent, ignore_errors=True)
        FILE.parent.mkdir()
        UNIT.unlink(missing_ok=True)

    @staticmethod
    def run_status(*options):
        return subprocess.run([LANFAB, "status", *options], capture_output=True, text=True,
                              timeout=HANG_SECONDS, check=False)

    @staticmethod
    def make_gateway():
        UNIT.write_text("[Match]\nName = eth0\n[Network]\n")
        pathlib.Path("/run/hosts").touch()

    def test_drift_is_no_failure_of_who_collects_them(self):
        self.make_gateway()
        result = self.run_status("--format", "prometheus", "-o", FILE)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertIn("lanfab_status_success 1\n", FILE.read_text())
        self.assertEqual(self.run_status("--format", "prometheus").stdout, FILE.read_text())

    def test_no_gateway(self):
        pathlib.Path("/run/hosts").unlink(missing_ok=True)
        result = self.run_status("--format", "prometheus")
        self.assertEqual(result.returncode, 0)
        self.assertIn("lanfab_status_success 0\n", result.stdout)
        self.assertEqual(result.stderr,
                         "lanfab: this machine has not been configured by cmd_lanfab\n")

    def test_a_report_that_cannot_be_made_leaves_the_former_one(self):
        pathlib.Path("/run/hosts").unlink(missing_ok=True)
        FILE.write_text(FORMER)
        self.assertEqual(self.run_status("-o", FILE).returncode, 2)
        self.assertEqual(FILE.read_text(), FORMER)

    def test_a_file_that_cannot_be_written(self):
        self.make_gateway()
        missing = self.run_status("-o", "/run/missing/lanfab.prom")
        self.assertEqual((missing.returncode, missing.stdout), (2, ""))
        self.assertIn("/run/missing", missing.stderr)
        full = self.run_status("-o", "/dev/full")
        self.assertEqual((full.returncode, full.stdout), (2, ""))
        self.assertIn("No space left on device", full.stderr)


if __name__ == "__main__":
    unittest.main()
