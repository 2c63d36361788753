#!/usr/bin/env python3
"""Runs `lanfab try` and `revert` in the sandbox with a stub of `ip`; checks which links the rollback removes
from the kernel, and its messages. The program is the first argument."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd

LANFAB = os.path.abspath(sys.argv.pop(1))
# The links that the stub of `ip` prints, and the arguments of its calls that change the kernel.
LINKS = pathlib.Path("/run/links.json")
CHANGES = pathlib.Path("/run/changes")
REFUSES = pathlib.Path("/run/refuses")
ALERTS = pathlib.Path("/run/alerts")
RECORD = systemd.TRIAL.parent / "kernel.json"

systemd.SCRIPTS["ip"] = f"""
case $* in
  "-Numeric -json -details link show") cat {LINKS} ;;
  -Numeric*|-json*|-details*|-batch*) ;;
  *) echo "$*" >>{CHANGES}; [ ! -e {REFUSES} ] || exit 2; echo "[]" >{LINKS} ;;
esac
"""
systemd.SCRIPTS["wall"] = f"echo \"$*\" >>{ALERTS}\n"

TUNNEL = [{"ifname": "gre-tun1", "linkinfo": {"info_kind": "gre"}}]
# The unit file of the trial's tunnel, which the stub of an apply does not write.
UNIT = pathlib.Path("/run/systemd/network/70-gre-tun1.netdev")


class Kernel(unittest.TestCase):
    def setUp(self):
        for file in (LINKS, CHANGES, REFUSES, ALERTS, UNIT):
            file.unlink(missing_ok=True)
        systemd.INSTALLED.write_text("{}\n")
        self.new = pathlib.Path("/run/new.json")
        self.new.write_text('{"dns": {}}\n')
        for directory in systemd.TRIAL.parent, systemd.UNITS:
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        systemd.pretend_apply()

    def lanfab(self, *arguments):
        """Runs lanfab, which must succeed; returns its output."""
        done = subprocess.run([LANFAB, *arguments], env=systemd.ENVIRONMENT, text=True, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def try_a_tunnel(self):
        LINKS.write_text("[]")
        self.lanfab("try", self.new)
        self.assertEqual(json.loads(RECORD.read_text())["links"], [])
        LINKS.write_text(json.dumps(TUNNEL))
        UNIT.write_text("")
        # An apply of the old configuration removes the unit of the tunnel, but not the tunnel itself.
        tool = systemd.TOOLS / "timeout"
        tool.write_text(f"#!/bin/sh\nrm -f {UNIT}\n")
        self.addCleanup(systemd.lay_tools)


class Rollback(Kernel):
    def test_what_the_trial_has_added_is_removed(self):
        self.try_a_tunnel()
        self.assertIn("gre-tun1 still exists; restored", self.lanfab("revert"))
        self.assertEqual(CHANGES.read_text(), "link del dev gre-tun1\n")
        self.assertFalse(ALERTS.exists())
        self.assertEqual(systemd.leftovers(), [])

    def test_what_cannot_be_removed_is_an_alert_and_does_not_stop_the_rollback(self):
        self.try_a_tunnel()
        REFUSES.touch()
        self.lanfab("revert")
        self.assertEqual(ALERTS.read_text(),
                         "lanfab: the old configuration is active, but gre-tun1 still exists\n")
        self.assertEqual(systemd.leftovers(), [])

    def test_a_damaged_record_does_not_stop_the_rollback(self):
        for text in ("", "{", "[" * 2000, '{"links": 7}'):
            self.try_a_tunnel()
            RECORD.write_text(text)
            self.lanfab("revert")
            self.assertEqual(systemd.leftovers(), [])
            systemd.lay_tools()

    def test_a_confirmation_removes_the_record(self):
        LINKS.write_text("[]")
        self.lanfab("try", self.new)
        self.assertTrue(RECORD.exists())
        self.lanfab("confirm")
        self.assertEqual(systemd.leftovers(), [])


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
