"""Errors during a trial: the old network is always kept or restored."""

import json
import os
import pathlib
import pty
import select
import struct
import sys
import unittest

import guest
import trial

TOOL = "cli/lanfab"

DIRECTORY = "/run/lanfab"
LOCK = "/run/LANFAB_LOCKED"
PROGRAM = f"{DIRECTORY}/programs/cmd_lanfab"
# The size of an entry in bytes, see utmp(5).
UTMP_ENTRY = 384
# Replaces systemd-run, which lanfab calls between its steps: kills lanfab and its shell at the step in $STEP,
# and otherwise executes systemd-run.
KILLING = """case "$STEP $*" in
  "before the timer "*--on-active*) kill -KILL 0 ;;
  "after the timer "*--on-active*) /usr/bin/systemd-run "$@" && kill -KILL 0 ;;
  "before the apply "*--unit=lanfab-apply*) kill -KILL 0 ;;
  "during the apply "*--unit=lanfab-apply*)
    setsid /usr/bin/systemd-run "$@" &
    until [ -e /run/LANFAB_LOCKED ]; do sleep 0.1; done
    kill -KILL 0 ;;
  "after the apply "*--unit=lanfab-apply*) /usr/bin/systemd-run "$@" && kill -KILL 0 ;;
esac
exec /usr/bin/systemd-run "$@"
"""
STEPS = ("before the timer", "after the timer", "before the apply", "during the apply", "after the apply")
if not guest.IS_EXHAUSTIVE:
    STEPS = ("before the timer", "during the apply")

gateway = guest.Gateway()
trials = trial.Trials(gateway)


def setUpModule():
    global tools  # pylint: disable=global-statement
    tools = trial.Tools(gateway, "systemd-run", "systemctl")
    tools.put("systemd-run", KILLING)


def kill_at(step):
    """Tries the new configuration, with lanfab and its shell killed at a step; returns the shell's status."""
    command = f"lanfab try {trial.NEW} --timeout 10; echo alive"
    return gateway.run("setsid", "--wait", "env", f"STEP={step}", "sh", "-c", command, check=False)


def has_said(words, priority="info"):
    """Returns whether a service's lanfab has written the words to the journal."""
    return any(words in text for level, text in gateway.syslog(identifier="lanfab") if level == priority)


def reports_leftovers(error):
    """Waits for the message about the leftovers of a trial; returns whether it was printed."""
    words = f"cleaning up the trial failed: {error}"
    return guest.wait_until(lambda: has_said(words))


def wait_for_attempts(number):
    """Waits until the failing program has been called this often; returns whether it has."""
    count = ("sh", "-c", "wc -l </run/attempts || true")
    return guest.wait_until(lambda: gateway.run(*count).stdout.strip() == str(number), timeout=60)


def log_in():
    """Logs in a user on a terminal; returns the user's output stream."""
    master, slave = pty.openpty()
    gateway.run("chown", "1000:tty", os.ttyname(slave))
    gateway.run("chmod", "620", os.ttyname(slave))
    line, user_process = os.ttyname(slave).removeprefix("/dev/").encode(), 7
    entry = struct.pack("hi32s4s32s308x", user_process, os.getpid(), line, line[-4:], b"anna")
    assert len(entry) == UTMP_ENTRY
    pathlib.Path("/run/utmp").write_bytes(entry)
    return master


def is_told(terminal, words):
    """Waits until the words are on a terminal; returns whether they are."""
    text = ""
    while words not in text and select.select([terminal], [], [], 60)[0]:
        text += os.read(terminal, 4096).decode()
    return words in text


class Trouble(unittest.TestCase):
    def setUp(self):
        trials.set_up()
        self.addCleanup(trials.wait_for_end)
        self.addCleanup(gateway.run, "systemctl", "start", "lanfab-revert", check=False)

    def test_killed_at_each_step_it_comes_back(self):
        for step in STEPS:
            with self.subTest(step):
                result = kill_at(step)
                self.assertNotIn("alive", result.stdout)
                if step == "before the timer":
                    # The files of a trial that has not begun remain; the next trial replaces them.
                    self.assertTrue(gateway.exists(trial.STATE))
                    self.assertEqual(trials.installed(), trial.OLD)
                    self.assertTrue(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0"))
                else:
                    self.assertTrue(trials.is_old_network_back())

    def test_run_that_is_killed_leaves_no_lock(self):
        gateway.run("systemd-run", "--quiet", "lanfab", "try", trial.NEW)
        # The run holds the lock for less than a second.
        self.assertTrue(guest.wait_until(lambda: gateway.exists(LOCK), interval=0.01, longest_interval=0.01))
        gateway.run("systemctl", "kill", "--signal=KILL", "lanfab-apply")
        self.assertTrue(trials.is_old_network_back())
        self.assertFalse(gateway.exists(LOCK))
        self.assertTrue(has_said("removed /var/run/LANFAB_LOCKED, which a killed run had left"))

    @guest.exhaustive
    def test_apply_that_fails_ends_it_at_once(self):
        new = {"wired": {**trial.OLD["wired"], "eth1": {"enable": True, "mode": "router"}}}
        gateway.write(trial.NEW, json.dumps(new))
        refused = trials.try_new()
        self.assertEqual(refused.returncode, 1)
        self.assertIn("--force", refused.stderr)
        self.assertFalse(trials.is_under_way())
        forced = trials.try_new("--force", "--timeout", "600")
        self.assertEqual(forced.returncode, 1, forced.stderr)
        self.assertIn("apply failed", forced.stderr)
        self.assertTrue(trials.is_old_network_back())

    def test_rollback_is_retried_until_it_succeeds(self):
        terminal = log_in()
        self.assertEqual(trials.try_new("--timeout", "20").returncode, 0)
        # Replace the program that the rollback service runs.
        gateway.run("mv", PROGRAM, f"{PROGRAM}.real")
        gateway.write(PROGRAM, "#!/bin/sh\necho >>/run/attempts\nexit 255\n")
        gateway.run("chmod", "+x", PROGRAM)
        self.assertTrue(wait_for_attempts(2))
        self.assertTrue(has_said("rolling back the trial failed; retrying", "alert"))
        self.assertTrue(is_told(terminal, "lanfab: rolling back the trial failed"))
        # Killing the service does not end its attempts.
        gateway.run("systemctl", "kill", "--signal=KILL", "lanfab-revert")
        self.assertTrue(wait_for_attempts(3))
        self.assertEqual(trials.active(), trial.OLD)
        gateway.run("mv", f"{PROGRAM}.real", PROGRAM)
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_programs_that_have_gone_when_the_timer_fires(self):
        self.assertEqual(trials.try_new("--timeout", "15").returncode, 0)
        gateway.run("mkdir", "/root/moved")
        gateway.run("mv", "/usr/bin/lanfab", "/usr/bin/cmd_lanfab", "/root/moved")
        try:
            self.assertTrue(trials.is_old_network_back())
        finally:
            gateway.run("mv", "/root/moved/lanfab", "/root/moved/cmd_lanfab", "/usr/bin")
        self.assertTrue(has_said("the previous configuration is active"))

    @guest.exhaustive
    def test_full_run_directory_begins_no_trial(self):
        used = gateway.run("df", "--output=used", "/run").stdout.split()[1]
        gateway.run("mount", "-o", f"remount,size={used}k", "/run")
        gateway.run("sh", "-c", "cat /dev/zero >/run/filler || true")
        try:
            result = trials.try_new("--force")
        finally:
            gateway.run("rm", "/run/filler")
            gateway.run("mount", "-o", "remount,size=50%", "/run")
        self.assertEqual(result.returncode, 2)
        self.assertIn("No space left on device", result.stderr)
        self.assertFalse(trials.is_under_way())
        self.assertEqual(trials.installed(), trial.OLD)
        self.assertTrue(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0"))

    @guest.exhaustive
    def test_read_only_etc_holds_back_the_trial_or_the_confirmation_alone(self):
        gateway.run("mount", "-o", "remount,ro", "/etc")
        self.addCleanup(gateway.run, "mount", "-o", "remount,rw", "/etc")
        refused = trials.try_new()
        self.assertEqual(refused.returncode, 2)
        self.assertIn("Read-only file system", refused.stderr)
        self.assertFalse(trials.is_under_way())
        gateway.run("mount", "-o", "remount,rw", "/etc")
        self.assertEqual(trials.try_new().returncode, 0)
        gateway.run("mount", "-o", "remount,ro", "/etc")
        confirmed = trials.lanfab("confirm")
        self.assertEqual(confirmed.returncode, 2)
        self.assertIn("Read-only file system; the trial continues", confirmed.stderr)
        self.assertTrue(trials.is_under_way())
        self.assertEqual(trials.active(), trial.CUT_OFF)
        gateway.run("mount", "-o", "remount,rw", "/etc")
        self.assertEqual(trials.lanfab("confirm").returncode, 0)
        self.assertEqual(trials.installed(), trial.CUT_OFF)
        self.assertFalse(trials.is_under_way())

    @guest.exhaustive
    def test_without_its_lock_nothing_changes(self):
        gateway.run("rm", "-rf", DIRECTORY)
        gateway.write(DIRECTORY, "")
        gateway.write(trial.PREVIOUS, json.dumps(trial.CUT_OFF))
        self.addCleanup(gateway.run, "rm", "-f", DIRECTORY, trial.PREVIOUS)
        for command in (("try", trial.NEW), ("confirm",), ("revert", "--yes")):
            with self.subTest(command[0]):
                result = trials.lanfab(*command)
                self.assertEqual(result.returncode, 2)
                self.assertEqual(result.stderr, f"{DIRECTORY}: Not a directory\n")
        self.assertEqual(trials.installed(), trial.OLD)

    @guest.exhaustive
    def test_leftovers_of_a_rollback_are_reported(self):
        self.assertEqual(trials.try_new().returncode, 0)
        # A mount point cannot be removed.
        gateway.run("mount", "--bind", trial.STATE, trial.STATE)
        try:
            result = trials.lanfab("revert")
        finally:
            gateway.run("umount", trial.STATE)
        self.assertEqual(result.returncode, 2, result.stdout)
        self.assertTrue(reports_leftovers(f"{DIRECTORY}: Device or resource busy"))
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_timer_that_cannot_be_stopped_is_reported(self):
        self.assertEqual(trials.try_new().returncode, 0)
        tools.put("systemctl", '[ "$1" != stop ] && exec /usr/bin/systemctl "$@"')
        try:
            gateway.run("/usr/bin/systemctl", "start", "lanfab-revert", check=False)
        finally:
            tools.remove("systemctl")
        self.assertTrue(reports_leftovers("lanfab-revert.timer cannot be stopped"))
        gateway.run("systemctl", "stop", "lanfab-revert.timer")
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_nothing_to_go_back_to(self):
        gateway.run("mv", guest.CONFIGURATION, "/root/old.json")
        try:
            result = trials.try_new()
        finally:
            gateway.run("mv", "/root/old.json", guest.CONFIGURATION)
            # A trial can only begin if the file was not changed after its apply.
            gateway.apply()
        self.assertEqual(result.returncode, 2)
        self.assertIn("there is no configuration to roll back to", result.stderr)
        self.assertFalse(gateway.exists(trial.STATE))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
