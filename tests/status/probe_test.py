#!/usr/bin/env python3
"""Runs `lanfab status --probe` in the sandbox. The program is the first argument."""

import os
import pathlib
import subprocess
import sys
import unittest

from lib import play
from lib.limits import HANG_SECONDS

LANFAB = os.path.abspath(sys.argv.pop(1))
# Prefix of a command that runs as an ordinary user.
NOT_ROOT = ("unshare", "--user")
UNIT = pathlib.Path("/run/systemd/network/20-eth0.network")
LINKS = '[{"ifname": "eth0", "flags": ["UP", "LOWER_UP"], "mtu": 1500, "addr_info": []}]'


class Probe(unittest.TestCase):
    def setUp(self):
        play.lay_answers({})
        (play.ANSWERS / "ip address").write_text(LINKS)
        # No host has the address of this gateway.
        UNIT.write_text("[Match]\nName = eth0\n[Network]\n[Route]\nGateway = 192.168.1.254\nTable = 9\n")
        pathlib.Path("/run/hosts").touch()

    @staticmethod
    def run_status(*options, before=()):
        return subprocess.run([*before, LANFAB, "status", *options], capture_output=True, text=True,
                              timeout=HANG_SECONDS, check=False)

    def test_sends_packets_if_it_is_asked_to(self):
        self.assertNotIn("does not answer", self.run_status().stdout)
        result = self.run_status("--probe")
        self.assertEqual((result.returncode, result.stderr), (1, ""))
        self.assertIn("!     the gateway 192.168.1.254 does not answer", result.stdout)

    def test_takes_root(self):
        result = self.run_status("--probe", before=NOT_ROOT)
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (2, "", "lanfab: --probe sends packets, which requires root\n"))

    def test_is_for_one_look(self):
        self.assertIn("excludes", self.run_status("--watch", "--probe").stderr)


if __name__ == "__main__":
    unittest.main()
