"""Trials with `lanfab try`: they are rolled back automatically unless they are confirmed."""

import fcntl
import json
import os
import pathlib
import pty
import re
import select
import signal
import subprocess
import sys
import termios
import time
import unittest

import guest
import trial

TOOL = "cli/lanfab"

PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
UNIT = PACKAGING / "lanfab.service.in"
RECORDING = PACKAGING / "tools/lanfab.service.conf.in"
DROP_INS = "/etc/systemd/system/lanfab.service.d"

gateway = guest.Gateway()
trials = trial.Trials(gateway)


class Terminal:
    """A lanfab process on its own terminal."""

    def __init__(self, *arguments):
        self.master, slave = pty.openpty()
        self.text = ""
        self.process = subprocess.Popen(
            ["lanfab", *arguments],
            stdin=slave,
            stdout=slave,
            stderr=slave,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )
        os.close(slave)

    def wait_for(self, words, again=False, timeout=80):
        """Reads until lanfab has printed the words; returns whether it has. With `again`, only new output
        counts."""
        if again:
            self.text = ""
        deadline = time.monotonic() + timeout
        while words not in self.text and time.monotonic() < deadline:
            if select.select([self.master], [], [], 1)[0] and not self.read():
                print(self.text)
                break
        return words in self.text

    def read(self):
        """Reads output of lanfab; returns False at its end."""
        try:
            self.text += os.read(self.master, 4096).decode()
        except OSError:
            return False
        return True

    def type(self, text):
        os.write(self.master, text)

    def end(self):
        """Reads until lanfab exits; returns its status."""
        deadline = time.monotonic() + 80
        while time.monotonic() < deadline:
            if select.select([self.master], [], [], 1)[0] and not self.read():
                break
        return self.process.wait(20)


def exposure(unit):
    """Returns systemd's exposure level of a unit, 0 to 10."""
    analysis = gateway.run("systemd-analyze", "security", "--no-pager", unit).stdout
    return float(re.search(r"Overall exposure level for \S+: ([0-9.]+)", analysis)[1])


def show(unit, name):
    """Returns a property of a unit."""
    return gateway.run("systemctl", "show", f"--property={name}", "--value", unit).stdout.strip()


class Trial(unittest.TestCase):
    def setUp(self):
        trials.set_up()
        self.addCleanup(trials.wait_for_end)
        self.addCleanup(gateway.run, "systemctl", "start", "lanfab-revert", check=False)

    def test_rolls_back_by_itself_even_if_the_clock_is_changed(self):
        terminal = Terminal("try", trial.NEW, "--timeout", "30", "--no-verify")
        self.assertTrue(terminal.wait_for("Keep this configuration?"))
        self.assertTrue(trials.has_new_address())
        self.assertFalse(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0", timeout=1))
        # Setting the clock neither ends the trial early nor prevents its end.
        gateway.run("date", "--set=+2 days")
        # With a clock that is behind, the configuration would seem to have changed after it was applied.
        self.addCleanup(gateway.run, "date", "--set=+2 days")
        self.assertTrue(gateway.exists(trial.STATE))
        self.assertEqual(trials.active(), trial.CUT_OFF)
        gateway.run("date", "--set=-4 days")
        self.assertTrue(terminal.wait_for("The previous configuration is active."))
        self.assertEqual(terminal.end(), 1)
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_comes_back_when_the_terminal_has_gone(self):
        terminal = Terminal("try", trial.NEW, "--timeout", "30", "--no-verify")
        self.assertTrue(terminal.wait_for("Keep this configuration?"))
        os.close(terminal.master)
        self.assertEqual(terminal.process.wait(20), -signal.SIGHUP)
        self.assertTrue(trials.has_new_address())
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_ctrl_c_goes_back_at_once(self):
        for moment in ("Applying", "Keep this configuration?"):
            with self.subTest(moment):
                terminal = Terminal("try", trial.NEW)
                self.assertTrue(terminal.wait_for(moment))
                terminal.type(b"\x03")
                self.assertTrue(terminal.wait_for("The previous configuration is active."))
                self.assertEqual(terminal.end(), 1)
                self.assertTrue(trials.is_old_network_back())

    def test_yes_keeps_it_and_revert_offers_the_one_before(self):
        gateway.run("chmod", "640", guest.CONFIGURATION)
        gateway.run("chown", "0:42", guest.CONFIGURATION)
        # lanfab try refuses to begin if the file was changed after it was applied.
        gateway.apply()
        terminal = Terminal("try", trial.NEW)
        self.assertTrue(terminal.wait_for("Applying"))
        # This answer is too early to be about the new network, so it must be ignored.
        terminal.type(b"y\n")
        self.assertTrue(terminal.wait_for("Keep this configuration?"))
        self.assertTrue(terminal.wait_for("Keep this configuration?", again=True))
        self.assertTrue(gateway.exists(trial.STATE))
        terminal.type(b"y\n")
        self.assertEqual(terminal.end(), 0)
        self.assertFalse(trials.is_under_way())
        self.assert_files(trial.CUT_OFF, trial.OLD)
        self.assertEqual(trials.lanfab("confirm").returncode, 1)

        asked = trials.lanfab("revert")
        self.assertEqual(asked.returncode, 1)
        self.assertIn("lanfab revert --yes", asked.stdout)
        terminal = Terminal("revert")
        self.assertTrue(terminal.wait_for("[y/N]"))
        self.assert_files(trial.CUT_OFF, trial.OLD)
        terminal.type(b"y\n")
        self.assertEqual(terminal.end(), 0)
        self.assert_files(trial.OLD, trial.CUT_OFF)
        self.assertTrue(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0"))

    def assert_files(self, installed, previous):
        """Checks the contents, modes and owners of both files, and that there are no other files."""
        self.assertEqual(trials.installed(), installed)
        self.assertEqual(json.loads(gateway.read(trial.PREVIOUS)), previous)
        for file in (guest.CONFIGURATION, trial.PREVIOUS):
            self.assertEqual(gateway.run("stat", "--format=%a %u:%g", file).stdout, "640 0:42\n")
        self.assertEqual(sorted(os.listdir("/etc/lanfab")), ["network.json", "network.json.previous"])

    def test_goes_back_to_what_the_service_applied(self):
        self.install_service()
        gateway.write(f"{DROP_INS}/record.conf", RECORDING.read_text(encoding="utf-8").replace(
            "@LANFAB_TOOL@", "/usr/bin/lanfab").replace("@LANFAB_PROGRAM@", "/usr/bin/cmd_lanfab"))
        self.addCleanup(gateway.run, "systemctl", "daemon-reload")
        self.addCleanup(gateway.run, "rm", "-r", DROP_INS)
        gateway.run("systemctl", "daemon-reload")
        for command in "restart", "reload":
            with self.subTest(command):
                gateway.run("systemctl", command, "lanfab")
                self.assertIn(trial.OLD_ADDRESS, gateway.read("/run/lanfab/applied"))
                # An apply of this file would fail.
                gateway.write(guest.CONFIGURATION, "{")
                self.assertEqual(trials.try_new().returncode, 0)
                self.assertTrue(trials.has_new_address())
                reverted = trials.lanfab("revert")
                gateway.write(guest.CONFIGURATION, json.dumps(trial.OLD))
                self.assertEqual(reverted.returncode, 0, reverted.stderr)
                self.assertIn("which is not applied", reverted.stdout)
                self.assertTrue(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0"))

    @staticmethod
    def install_service():
        unit = UNIT.read_text(encoding="utf-8").replace("@LANFAB_PROGRAM@", "cmd_lanfab")
        gateway.write("/etc/systemd/system/lanfab.service", unit)
        gateway.run("systemctl", "daemon-reload")

    @guest.exhaustive
    def test_its_services_are_confined_like_that_of_the_boot(self):
        self.install_service()
        gateway.run("mkdir", "-p", DROP_INS)
        self.addCleanup(gateway.run, "systemctl", "daemon-reload")
        self.addCleanup(gateway.run, "rm", "-r", DROP_INS)
        gateway.write(f"{DROP_INS}/local.conf", "[Service]\nEnvironment=LANFAB_SYSDB=/run/other.sqlite3\n")
        gateway.run("systemctl", "daemon-reload")
        release = trials.hold_apply()
        self.addCleanup(release)
        terminal = Terminal("try", trial.NEW)
        self.assertTrue(trials.wait_for_apply())
        boot = exposure("lanfab.service")
        self.assertLess(boot, 4)
        # systemd does not count all options of a unit without default dependencies.
        self.assertAlmostEqual(exposure("lanfab-apply.service"), boot, delta=0.2)
        # This service may also write to terminals.
        self.assertLessEqual(exposure("lanfab-revert.service"), boot + 0.5)
        for name in ("CapabilityBoundingSet", "SystemCallFilter", "ProtectSystem", "ReadWritePaths",
                     "RestrictAddressFamilies", "NoNewPrivileges", "Environment"):
            for unit in "lanfab-apply.service", "lanfab-revert.service":
                self.assertEqual(show(unit, name), show("lanfab.service", name))
        release()
        self.assertTrue(terminal.wait_for("Keep this configuration?"))
        self.assertTrue(gateway.exists("/run/other.sqlite3"))
        terminal.type(b"\x03")
        self.assertTrue(terminal.wait_for("The previous configuration is active."))
        self.assertEqual(terminal.end(), 1)
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_program_that_its_services_do_not_see_is_copied(self):
        gateway.run("cp", "/usr/bin/lanfab", "/root/lanfab")
        begun = gateway.run("/root/lanfab", "try", trial.NEW, check=False)
        self.assertEqual(begun.returncode, 0, begun.stderr)
        gateway.run("systemctl", "start", "lanfab-revert")
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_every_run_sees_it_and_what_is_installed_meanwhile_is_not_lost(self):
        self.install_service()
        gateway.run("systemctl", "start", "lanfab")
        gateway.connect_cellular()
        self.addCleanup(gateway.disconnect_cellular)
        route = {"enable": True, "interface": "wwan0", "ipv4": "10.30.0.0", "netmask": 16}
        cell = {"wireless": {"cell": {"enable": True}}, "static_routes": [route]}
        gateway.write(trial.NEW, json.dumps({**trial.CUT_OFF, **cell}))
        self.assertEqual(trials.try_new().returncode, 0)
        for command, file, mark in (
            ("cmd_lanfab wwan_apply", "/run/systemd/network/10-wwan0.network", "10.30.0.0/16"),
            ("systemctl reload lanfab", "/run/systemd/network/20-eth0.network", trial.NEW_ADDRESS),
            ("systemctl restart lanfab", "/run/systemd/network/20-eth0.network", trial.NEW_ADDRESS),
        ):
            with self.subTest(command):
                gateway.run("rm", file)
                gateway.run(*command.split())
                self.assertIn(mark, gateway.read(file))
        installed = trial.one_port("192.168.8.1")
        gateway.write(guest.CONFIGURATION, json.dumps(installed))
        refused = trials.lanfab("confirm")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("has changed since the trial began", refused.stderr)
        self.assertEqual(trials.lanfab("confirm", "--force").returncode, 0)
        self.assertEqual(json.loads(gateway.read(trial.PREVIOUS)), installed)

    @guest.exhaustive
    def test_file_that_is_mounted_by_itself_is_replaced_where_the_services_see_it(self):
        gateway.run("mkdir", "-p", "/root/data")
        gateway.run("cp", guest.CONFIGURATION, "/root/data/network.json")
        gateway.run("mount", "--bind", "/root/data/network.json", guest.CONFIGURATION)
        self.addCleanup(gateway.run, "umount", guest.CONFIGURATION)
        gateway.apply()
        self.assertEqual(trials.try_new().returncode, 0)
        confirmed = gateway.run("unshare", "--mount", "lanfab", "confirm", check=False)
        self.assertEqual(confirmed.returncode, 0, confirmed.stderr)
        self.assertEqual(json.loads(gateway.read("/root/data/network.json")), trial.CUT_OFF)
        self.assertEqual(trials.installed(), trial.CUT_OFF)
        self.assertEqual(trials.lanfab("revert", "--yes").returncode, 0)
        self.assertEqual(trials.installed(), trial.OLD)
        self.assertTrue(gateway.reaches(trial.OLD_ADDRESS, namespace="lan0"))

    @guest.exhaustive
    def test_apply_that_sigterm_ends_is_not_reported_as_applied(self):
        self.addCleanup(trials.hold_apply())
        terminal = Terminal("try", trial.NEW)
        self.assertTrue(trials.wait_for_apply())
        gateway.run("systemctl", "kill", "--kill-whom=main", "--signal=TERM", "lanfab-apply")
        self.assertTrue(terminal.wait_for("The previous configuration is active."))
        self.assertIn("apply failed or was stopped", terminal.text)
        self.assertEqual(terminal.end(), 1)
        self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_rollback_during_the_apply_is_reported(self):
        self.addCleanup(trials.hold_apply())
        for command in ("systemctl", "start", "lanfab-revert"), ("lanfab", "revert"):
            terminal = Terminal("try", trial.NEW)
            self.assertTrue(trials.wait_for_apply())
            gateway.run(*command)
            self.assertEqual(terminal.end(), 1)
            self.assertTrue(terminal.wait_for("The previous configuration is active."))
            self.assertNotIn("Keep this configuration?", terminal.text)
            self.assertTrue(trials.is_old_network_back())

    @guest.exhaustive
    def test_only_one_of_two_begins_and_the_other_is_reported(self):
        anna = f"SUDO_USER=anna SSH_CONNECTION='192.0.2.7 1 192.0.2.1 22' lanfab try {trial.NEW}"
        both = f"{anna} >>/root/said & {anna} >>/root/said; second=$?; wait $!; echo $? $second"
        result = gateway.run("sh", "-c", both)
        self.assertIn("eth0", gateway.read("/root/said"))
        self.assertEqual(sorted(result.stdout.split()), ["0", "2"])
        self.assertRegex(
            result.stderr,
            r"in progress: /root/new\.json on trial by anna from 192\.0\.2\.7 for \d+ s, \d+ s left\n",
        )
        reverted = trials.lanfab("revert")
        self.assertEqual(reverted.returncode, 0, reverted.stderr)
        self.assertTrue(trials.is_old_network_back())


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
