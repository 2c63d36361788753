#!/usr/bin/env python3
"""Runs `lanfab try` on gateways that do and do not reach the configured state, and with probes. The program
is the first argument."""

import os
import pathlib
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import INSTALLED
from lib.trial_case import NEW, OLD, Trial

Trial.program = os.path.abspath(sys.argv.pop(1))
# Created by a probe.
SEEN = pathlib.Path("/run/seen")
# While this file exists, systemd-networkd has failed; if the file is not empty, only until the next query.
FAILED = pathlib.Path("/run/networkd-has-failed")

systemd.SCRIPTS["ip"] = "echo '[]'\n"
systemd.SCRIPTS["networkctl"] = "echo '{\"Interfaces\": []}'\n"


class Verified(Trial):
    def setUp(self):
        super().setUp()
        FAILED.unlink(missing_ok=True)
        self.before("systemctl", f"""
case $* in
  *ActiveState,*)
    if [ -e {FAILED} ]; then state=failed; else state=active; fi
    printf 'ActiveState=%s\nSubState=running\n' $state
    if [ -s {FAILED} ]; then rm {FAILED}; fi
    exit ;;
esac""")

    def fail_in_the_trial(self, word=""):
        """Makes systemd-networkd fail when the trial is applied, but not after the rollback. If `word` is not
        empty, systemd-networkd recovers after the first query of its state.
        """
        self.before("timeout", f"rm -f {FAILED}; [ ! -e {systemd.TRIAL} ] || printf '{word}' >{FAILED}")

    def test_a_difference_that_the_trial_makes_ends_it(self):
        self.fail_in_the_trial()
        said = self.lanfab("try", "--timeout", "12", self.new, status=1)
        self.assertIn("lanfab: systemd-networkd: it is not active\n", said)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_it_continues_unattended(self):
        self.fail_in_the_trial()
        self.lanfab("try", "--no-verify", self.new, status=0)
        self.assert_trial_goes_on()

    def test_it_continues_with_earlier_differences(self):
        FAILED.touch()
        self.lanfab("try", self.new, status=0)
        self.assert_trial_goes_on()

    def test_it_continues_when_the_difference_has_gone(self):
        self.fail_in_the_trial("until somebody has asked")
        self.lanfab("try", self.new, status=0)
        self.assert_trial_goes_on()


class Probed(Trial):
    def setUp(self):
        super().setUp()
        SEEN.unlink(missing_ok=True)

    def test_one_that_fails_ends_the_trial(self):
        said = self.lanfab("try", "--timeout", "10", "--probe", "exit 7", self.new, status=1)
        self.assertIn("lanfab: the probe has failed: exit 7\n", said)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_one_is_repeated_until_it_succeeds(self):
        second_time = f"test -e {SEEN} || {{ touch {SEEN}; false; }}"
        self.lanfab("try", "--probe", "true", "--probe", second_time, self.new, status=0)
        self.assert_trial_goes_on()

    def test_success_may_confirm(self):
        self.lanfab("try", "--probe", "true", "--confirm-after-probe", self.new, status=0, said="Confirmed.")
        self.assert_files(NEW, OLD)

    def test_without_a_probe_nothing_can_confirm(self):
        self.lanfab("try", "--confirm-after-probe", self.new, status=2, said="requires --probe")
        self.assertEqual(INSTALLED.read_text(), OLD)

    def test_a_trial_that_ends_meanwhile_ends_them(self):
        said = self.lanfab("try", "--probe", f"{self.program} revert >/dev/null; exit 7", self.new, status=1)
        self.assertNotIn("the probe has failed", said)
        self.assert_files(OLD, None)


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
