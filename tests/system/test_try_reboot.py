"""After a power failure, the confirmed configuration is active, not one that was on trial."""

import json
import os
import sys
import unittest

import guest
import trial

TOOL = "cli/lanfab"
BOOTS = 2

CONFIRMED = trial.one_port("192.168.3.1")

gateway = guest.Gateway()
trials = trial.Trials(gateway)


def is_past_time_of_configuration():
    """The files on the disk have the times of the machine, whose clock is ahead of the gateway's if the
    machine is busy: the configuration would look as if it had been changed after the apply."""
    gateway.write("/run/now", "")
    return os.stat("/run/now").st_mtime_ns > os.stat(guest.CONFIGURATION).st_ctime_ns


class Boot1(unittest.TestCase):
    """The power fails at the end of the test."""

    def test_one_is_confirmed_and_one_under_way(self):
        trials.set_up()
        guest.wait_until(is_past_time_of_configuration)
        gateway.apply()
        self.assert_tries_out(CONFIRMED)
        self.assertEqual(trials.lanfab("confirm").returncode, 0)
        self.assert_tries_out(trial.CUT_OFF)
        self.assertTrue(trials.has_new_address())
        self.assertEqual(trials.active(), trial.CUT_OFF)
        self.assertTrue(trials.is_under_way())

    def assert_tries_out(self, config):
        gateway.write(trial.NEW, json.dumps(config))
        done = trials.try_new("--timeout", "600")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


class Boot2(unittest.TestCase):
    def test_only_what_was_confirmed_is_active(self):
        self.assertFalse(trials.is_under_way())
        self.assertEqual(trials.active(), CONFIRMED)
        self.assertEqual(json.loads(gateway.read(trial.PREVIOUS)), trial.OLD)
        self.assertEqual(sorted(os.listdir("/etc/lanfab")), ["network.json", "network.json.previous"])
        gateway.apply()
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.3.1/24"))
        gateway.set_host_address("lan0", "192.168.3.10/24")
        self.assertTrue(gateway.reaches("192.168.3.1", namespace="lan0"))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=[sys.argv[0], f"Boot{sys.argv[1]}"], verbosity=2)
