"""Removes the safeguards of a trial, and checks that the old network is still restored."""

import os
import pathlib
import signal
import subprocess
import sys
import unittest

import guest
import trial

TOOL = "cli/lanfab"

DIRECTORY = "/run/lanfab"
TIMER = "lanfab-revert.timer"
SERVICE = "lanfab-revert.service"
GUARD = "lanfab-guard.service"
# A target with only the units that the gateway requires: no sysinit.target, like emergency.target.
TARGET = """[Unit]
DefaultDependencies=no
AllowIsolate=yes
Requires=systemd-journald.socket systemd-journald-dev-log.socket dbus.socket
Requires=systemd-udevd.service gateway-task.service
"""

# Replaces systemctl: stops, once, the lanfab whose PID is in /run/confirm.
STOPPING = """if [ $PPID = "$(cat /run/confirm)" ]; then
  rm /run/confirm
  kill -STOP $PPID
fi
exec /usr/bin/systemctl "$@\""""

gateway = guest.Gateway()
trials = trial.Trials(gateway)


def setUpModule():
    global tools  # pylint: disable=global-statement
    tools = trial.Tools(gateway, "systemctl", "systemd-run", "timeout")
    gateway.write("/etc/systemd/system/small.target", TARGET)
    gateway.run("systemctl", "daemon-reload")


def has_said(words):
    """Waits until a service of the trial has written the words to the journal; returns whether it has."""
    return guest.wait_until(lambda: any(words in text for _, text in gateway.syslog(identifier="lanfab")))


def is_back(path):
    """Waits until a file exists; returns whether it does."""
    return guest.wait_until(lambda: gateway.exists(path))


class Safeguards(unittest.TestCase):
    def setUp(self):
        trials.set_up()
        self.addCleanup(trials.wait_for_end)
        self.addCleanup(trials.lanfab, "revert")

    def begin(self, seconds=15):
        result = trials.try_new("--timeout", str(seconds))
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertEqual(trials.active(), trial.CUT_OFF)
        self.assertTrue(gateway.service_active(TIMER) and gateway.service_active(GUARD))

    def check_rollback(self):
        """Checks that the old network is restored, and that only the history is left."""
        self.assertTrue(trials.is_old_network_back())
        self.assertEqual(sorted(os.listdir(DIRECTORY)), ["applied", "outcome.json"])

    def test_timer_stopped(self):
        self.begin(40)
        gateway.run("systemctl", "stop", TIMER)
        self.assertTrue(guest.wait_until(lambda: gateway.service_active(TIMER)))
        self.check_rollback()

    def test_systemd_reads_its_files_again(self):
        self.begin()
        # systemd serializes the commands of the trial's services and reads them again.
        gateway.run("systemctl", "daemon-reload")
        self.check_rollback()

    def test_directory_removed(self):
        self.begin(30)
        gateway.run("rm", "-rf", DIRECTORY)
        self.assertTrue(is_back(trial.STATE))
        self.assertTrue(is_back(f"{DIRECTORY}/programs/lanfab"))
        self.assertEqual(trials.active(), trial.CUT_OFF)
        self.check_rollback()

    @guest.exhaustive
    def test_isolate(self):
        self.begin(30)
        gateway.run("systemctl", "isolate", "small.target")
        self.assertTrue(gateway.service_active(TIMER) and gateway.service_active(GUARD))
        self.check_rollback()

    @guest.exhaustive
    def test_timer_that_cannot_be_started_again(self):
        self.begin()
        tools.put("systemd-run", "exit 1")
        self.addCleanup(tools.remove, "systemd-run")
        gateway.run("systemctl", "stop", TIMER)
        self.assertTrue(has_said("the trial is overdue"))
        self.check_rollback()

    @guest.exhaustive
    def test_guard_stopped(self):
        self.begin()
        gateway.run("systemctl", "stop", GUARD)
        self.assertFalse(gateway.service_active(GUARD))
        self.check_rollback()

    @guest.exhaustive
    def test_timer_and_guard_stopped(self):
        self.begin()
        gateway.run("systemctl", "stop", GUARD, TIMER)
        # Nothing is left that rolls back automatically: a person must do it.
        self.assertEqual(trials.active(), trial.CUT_OFF)
        reverted = trials.lanfab("revert")
        self.assertEqual(reverted.returncode, 0, reverted.stderr)
        self.check_rollback()

    @guest.exhaustive
    def test_guard_killed(self):
        for name in "KILL", "TERM":
            with self.subTest(name):
                self.begin(30)
                gateway.run("systemctl", "kill", f"--signal={name}", GUARD)
                self.assertTrue(guest.wait_until(lambda: gateway.service_active(GUARD)))
                gateway.run("systemctl", "stop", TIMER)
                self.check_rollback()

    @guest.exhaustive
    def test_guard_killed_and_state_removed(self):
        self.begin(600)
        gateway.run("sh", "-c", f"systemctl kill --signal=KILL {GUARD}; rm {trial.STATE}")
        gateway.run("systemctl", "stop", TIMER)
        self.check_rollback()

    @guest.exhaustive
    def test_every_process_killed(self):
        with subprocess.Popen(["lanfab", "try", trial.NEW, "--timeout", "20"], stdout=subprocess.PIPE,
                              text=True) as command:
            self.assertTrue(guest.wait_until(lambda: gateway.service_active(GUARD)))
            command.send_signal(signal.SIGKILL)
            for unit in GUARD, "lanfab-apply.service":
                gateway.run("systemctl", "kill", "--signal=KILL", unit, check=False)
        self.check_rollback()

    @guest.exhaustive
    def test_files_removed(self):
        self.begin(40)
        files = [path for path in pathlib.Path(DIRECTORY).rglob("*") if path.is_file()]
        self.assertGreater(len(files), 4)
        for path in files:
            gateway.run("rm", path)
            self.assertTrue(is_back(path), path)
        self.assertEqual(trials.active(), trial.CUT_OFF)
        self.check_rollback()

    @guest.exhaustive
    def test_installed_directory_renamed_until_the_rollback_has_failed(self):
        self.begin()
        gateway.run("mv", "/etc/lanfab", "/etc/moved")
        try:
            self.assertTrue(guest.wait_until(lambda: not gateway.exists(trial.FILE)))
        finally:
            gateway.run("mv", "/etc/moved", "/etc/lanfab")
        self.check_rollback()

    @guest.exhaustive
    def test_run_filled(self):
        self.begin(30)
        used = gateway.run("df", "--output=used", "/run").stdout.split()[1]
        gateway.run("mount", "-o", f"remount,size={int(used) + 64}k", "/run")
        gateway.run("sh", "-c", "cat /dev/zero >/run/filler || true")
        try:
            self.assertTrue(trials.wait_for_end())
        finally:
            gateway.run("rm", "/run/filler")
            gateway.run("mount", "-o", "remount,size=50%", "/run")
        self.check_rollback()

    @guest.exhaustive
    def test_confirmation_stopped_with_the_lock(self):
        self.begin(30)
        tools.put("systemctl", STOPPING)
        self.addCleanup(tools.remove, "systemctl")
        with subprocess.Popen(["sh", "-c", "echo $$ >/run/confirm; exec lanfab confirm"],
                              stderr=subprocess.PIPE, text=True) as command:
            self.check_rollback()
            command.send_signal(signal.SIGCONT)
            command.communicate(timeout=60)
            self.assertNotEqual(command.returncode, 0)
        self.assertEqual(trials.active(), trial.OLD)

    @guest.exhaustive
    def test_rollback_stopped(self):
        self.begin()
        tools.put("timeout", "exit 1")
        try:
            self.assertTrue(has_said("rolling back the trial failed"))
            gateway.run("systemctl", "stop", SERVICE)
        finally:
            tools.remove("timeout")
        self.check_rollback()


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
