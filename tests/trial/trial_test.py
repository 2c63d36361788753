#!/usr/bin/env python3
"""Runs `lanfab try`, `confirm` and `revert` in the sandbox, with and without a terminal, until the trial has
ended in each way that it can. The program is the first argument.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import APPLIED, INSTALLED, PREVIOUS, STATE, TIMER, TRIAL, UNITS
from lib.terminal import Terminal

LANFAB = os.path.abspath(sys.argv.pop(1))
OLDER, OLD, NEW = (f'{{"dns": {{"source": "static", "static": ["8.8.8.{number}"]}}}}\n'
                   for number in (1, 2, 3))
# What a command runs under: an ordinary user, and a root who may not mount.
NOT_ROOT = ("unshare", "--user")
CANNOT_MOUNT = ("setpriv", "--bounding-set=-sys_admin")


class Trial(unittest.TestCase):
    def setUp(self):
        while systemd.end_trial():
            pass
        for directory in INSTALLED.parent, TRIAL.parent, UNITS:
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        APPLIED.write_text("")
        systemd.lay_tools()
        INSTALLED.write_text(OLD)
        INSTALLED.chmod(0o640)
        self.new = pathlib.Path("/run/new.json")
        self.new.write_text(NEW)

    def lanfab(self, *arguments, status, said="", before=()):
        """Runs lanfab without a terminal; it must end with this status and these words."""
        done = subprocess.run([*before, LANFAB, *arguments], env=systemd.ENVIRONMENT, text=True, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout)
        self.assertIn(said, done.stdout)
        return done.stdout

    def try_new(self, status=0, said=""):
        return self.lanfab("try", self.new, status=status, said=said)

    @staticmethod
    def in_own_view(line):
        """What a command runs under in a view of the file system that a line of shell changes first."""
        return "unshare", "--mount", "sh", "-ec", f'{line}; exec "$0" "$@"'

    @staticmethod
    def before(tool, line):
        """Has a tool run a line of shell first."""
        path = systemd.TOOLS / tool
        path.write_text(path.read_text().replace("\n", f"\n{line}\n", 1))

    def assert_trial_goes_on(self):
        self.assertTrue(systemd.is_trial_active() and STATE.exists() and TIMER.exists())
        self.assertEqual((INSTALLED.read_text(), systemd.installed_on_disk()), (NEW, OLD))

    def assert_files(self, installed, previous):
        """No trial is left, and these are the installed file and the previous one."""
        self.assertEqual(os.listdir(TRIAL.parent) + os.listdir(UNITS), [])
        self.assertFalse(systemd.end_trial())
        self.assertEqual(INSTALLED.read_text(), installed)
        self.assertEqual(PREVIOUS.read_text() if PREVIOUS.exists() else None, previous)
        self.assertEqual(INSTALLED.stat().st_mode & 0o777, 0o640)
        self.assertEqual(len(os.listdir(INSTALLED.parent)), 2 if previous else 1)

    def assert_applied(self, *configurations):
        self.assertEqual(APPLIED.read_text(), "".join(configurations))


class Ends(Trial):
    def test_goes_on_without_lanfab(self):
        TRIAL.parent.rmdir()
        text = self.try_new()
        self.assertRegex(text, r"(?s)DNS servers 8\.8\.8\.3\n.*Applying /run/new\.json;.* 120 s ")
        self.assert_trial_goes_on()
        self.assert_applied(NEW)
        self.assertEqual(TRIAL.parent.stat().st_mode & 0o777, 0o700)

    def test_confirmed(self):
        self.try_new()
        self.lanfab("confirm", status=0, said=str(PREVIOUS))
        self.assert_files(NEW, OLD)
        self.assert_applied(NEW)
        self.lanfab("confirm", status=1, said="no trial")

    def test_reverted(self):
        self.try_new()
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_ended_by_its_timer(self):
        self.try_new()
        subprocess.run(["sh", TIMER], env=systemd.ENVIRONMENT, stdout=subprocess.DEVNULL, check=True)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_reverted_after_somebody_has_removed_the_state(self):
        self.try_new()
        STATE.unlink()
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_reverted_after_somebody_has_stopped_the_timer(self):
        self.try_new()
        TIMER.unlink()
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)

    def test_the_timer_finds_nothing_to_do(self):
        self.lanfab("revert", "--timer", status=0)
        self.assert_files(OLD, None)
        self.assert_applied()

    def test_an_apply_that_fails_ends_it(self):
        self.before("timeout", f"if cmp -s {INSTALLED} {self.new}; then exit 1; fi")
        self.try_new(status=1, said="journalctl --unit=lanfab-apply.service")
        self.assert_files(OLD, None)
        self.assert_applied(OLD)

    def test_ctrl_c_during_the_apply_ends_it(self):
        self.before("timeout", f"if cmp -s {INSTALLED} {self.new}; then kill -INT $PPID; fi")
        self.try_new(status=1)
        self.assert_files(OLD, None)

    def test_ctrl_c_before_the_apply_ends_it(self):
        self.before("systemd-run", "case $* in *--on-active*) kill -INT $PPID ;; esac")
        self.try_new(status=1)
        self.assert_files(OLD, None)
        self.assert_applied(OLD)

    def test_an_apply_that_is_still_running_is_stopped(self):
        self.try_new()
        (UNITS / "lanfab-apply.service").touch()
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)

    def test_the_services_see_it_when_its_caller_has_another_view_of_the_file_system(self):
        own = self.in_own_view(f"mount -t tmpfs own {INSTALLED.parent}")
        self.lanfab("try", self.new, status=0, before=own)
        self.assert_trial_goes_on()

    def test_the_lock_of_a_killed_run_does_not_delay_the_old_configuration(self):
        lock = pathlib.Path("/var/run/LANFAB_LOCKED")
        self.try_new()
        lock.touch()
        self.lanfab("revert", status=0, said=f"{lock}: ")
        self.assertFalse(lock.exists())


class Previous(Trial):
    def setUp(self):
        super().setUp()
        PREVIOUS.write_text(OLDER)

    def test_is_put_back_on_request(self):
        self.assertIn("lanfab revert --yes", self.lanfab("revert", status=1))
        self.assertEqual(INSTALLED.read_text(), OLD)
        self.assert_applied()
        self.lanfab("revert", "--yes", status=0)
        self.assert_files(OLDER, OLD)
        self.assert_applied(OLDER)

    def test_whose_apply_fails_stays(self):
        self.before("timeout", "exit 1")
        self.lanfab("revert", "--yes", status=2, said="journalctl --unit=lanfab-apply.service")
        self.assert_files(OLDER, OLD)

    def test_that_cannot_be_installed_changes_nothing(self):
        (INSTALLED.parent / "network.json.new" / "full").mkdir(parents=True)
        self.lanfab("revert", "--yes", status=2, said="network.json.new: Is a directory")
        self.assertEqual((INSTALLED.read_text(), PREVIOUS.read_text()), (OLD, OLDER))

    def test_is_missing_or_no_file(self):
        PREVIOUS.unlink()
        self.lanfab("revert", "--yes", status=1, said="no previous configuration")
        PREVIOUS.mkdir()
        self.lanfab("revert", "--yes", status=2, said="Is a directory")
        self.assert_applied()


class Refusals(Trial):
    def test_a_second_trial(self):
        self.try_new()
        self.try_new(status=2, said="under way: user 0 tries /run/new.json since ")
        STATE.unlink()
        self.try_new(status=2, said="under way")
        self.assert_applied(NEW)

    def test_what_a_killed_one_left_is_no_trial(self):
        for path in STATE, TRIAL:
            path.write_text("{}")
        for unit in TIMER, UNITS / "lanfab-revert.service":
            unit.touch()
            self.try_new(status=2, said="under way")
            unit.unlink()
        self.try_new()
        self.assert_trial_goes_on()

    def test_to_confirm_what_is_being_applied_or_taken_back(self):
        self.try_new()
        for unit, said in ("lanfab-apply", "still at work"), ("lanfab-revert", "taken back"):
            (UNITS / f"{unit}.service").touch()
            self.lanfab("confirm", status=1, said=said)
            (UNITS / f"{unit}.service").unlink()
        self.assert_trial_goes_on()
        systemd.end_trial()
        self.lanfab("confirm", status=1, said="taken back")

    def test_to_try_while_one_is_being_taken_back(self):
        (UNITS / "lanfab-revert.service").touch()
        self.try_new(status=2, said="taken back")

    def test_a_configuration_with_errors_unless_forced(self):
        self.new.write_text('{"wired": {"eth0": {"enable": true}}}')
        self.try_new(status=1, said="[port-without-network]")
        self.assert_files(OLD, None)
        self.lanfab("try", "--force", self.new, status=0, said="[port-without-network]")
        self.assertTrue(systemd.is_trial_active())

    def test_a_configuration_that_cannot_be_read(self):
        self.new.write_text("{")
        self.try_new(status=2, said="/run/new.json:1:2: ")
        self.assert_files(OLD, None)

    def test_on_a_machine_that_is_no_gateway(self):
        for path, said in ((INSTALLED, f"{INSTALLED}: No such file or directory"),
                           (systemd.BOOTED, "systemd does not run")):
            elsewhere = path.rename(f"{path}.elsewhere")
            self.refuse_all(said)
            elsewhere.rename(path)

    def refuse_all(self, said, before=()):
        for words in ("try", self.new), ("confirm",), ("revert",):
            self.lanfab(*words, status=2, said=said, before=before)
        self.assert_applied()

    def test_to_an_ordinary_user(self):
        self.refuse_all("root", before=NOT_ROOT)

    def test_where_the_view_of_the_services_is_not_to_be_had(self):
        missing = "mount -t tmpfs own /proc/1"
        for line, error in ((missing, "No such file or directory"),
                            (f"{missing}; mkdir /proc/1/ns; touch /proc/1/ns/mnt", "Invalid argument")):
            self.refuse_all(f"/proc/1/ns/mnt: {error}", before=self.in_own_view(line))

    def test_without_a_directory_for_the_state(self):
        TRIAL.parent.rmdir()
        TRIAL.parent.touch()
        PREVIOUS.write_text(OLDER)
        for words in ("try", self.new), ("confirm",), ("revert", "--yes"):
            self.lanfab(*words, status=2, said="/run/lanfab: Not a directory")
        # The rollback matters more than its lock.
        self.lanfab("revert", "--timer", status=0, said="/run/lanfab: Not a directory")
        TRIAL.parent.unlink()
        self.assertEqual(INSTALLED.read_text(), OLD)

    def test_where_run_is_read_only(self):
        for change in "true", "rmdir /run/lanfab":
            subprocess.run(f"{change}; mount --bind /run /run; mount -o remount,bind,ro /run", shell=True,
                           check=True)
            self.lanfab("confirm", status=2, said="/run/lanfab: Read-only file system")
            subprocess.run(["umount", "-l", "/run"], check=True)

    def test_without_cmd_lanfab(self):
        alone = pathlib.Path("/run/alone/lanfab")
        alone.parent.mkdir()
        alone.touch()
        subprocess.run(["mount", "--bind", LANFAB, alone], check=True)
        PREVIOUS.write_text(OLDER)
        for words in ("try", self.new), ("revert", "--yes"), ("revert", "--timer"):
            done = subprocess.run([alone, *words], env={**os.environ, "PATH": ""}, capture_output=True,
                                  text=True, check=False)
            self.assertEqual(done.returncode, 2)
            self.assertIn("cmd_lanfab is not installed", done.stderr)
        self.assert_files(OLD, OLDER)


class Failures(Trial):
    def test_a_timer_that_does_not_start(self):
        self.before("systemd-run", "exit 1")
        self.try_new(status=2, said="timer")
        self.assert_files(OLD, None)

    def test_a_timer_that_does_not_stop(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        self.lanfab("confirm", status=2, said="lanfab-revert.timer")
        self.assertEqual((systemd.installed_on_disk(), PREVIOUS.read_text()), (NEW, OLD))
        self.assertFalse(systemd.is_trial_active())
        self.try_new(status=2, said="lanfab-revert.timer")
        self.assertFalse(systemd.is_trial_active())

    def test_a_rollback_that_does_not_start(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = start ]; then exit 1; fi")
        self.lanfab("revert", status=2, said="journalctl --unit=lanfab-revert.service")
        self.assert_trial_goes_on()
        TIMER.unlink()
        self.before("systemd-run", "exit 1")
        self.lanfab("revert", status=2, said="journalctl --unit=lanfab-revert.service")
        self.assertTrue(systemd.is_trial_active())

    def test_a_rollback_that_cannot_clean_up(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        STATE.unlink()
        (STATE / "full").mkdir(parents=True)
        self.lanfab("revert", "--timer", status=2, said="/run/lanfab: Is a directory")
        self.assert_applied(NEW, OLD)

    def test_a_rollback_that_has_begun_is_joined(self):
        self.try_new()
        TIMER.unlink()
        (UNITS / "lanfab-revert.service").touch()
        self.before("systemctl", f"if [ $1 = start ]; then exec {LANFAB} revert --timer; fi")
        self.before("systemd-run", "exit 1")
        self.lanfab("revert", status=0)
        self.assert_applied(NEW, OLD)

    def test_a_unit_that_has_failed_is_not_running(self):
        self.before("systemctl", "if [ $1 = show ]; then echo failed; exit; fi")
        self.try_new()
        self.assert_trial_goes_on()

    def test_an_apply_and_a_rollback_that_fail(self):
        self.before("timeout", "exit 1")
        self.before("systemctl", "if [ $1 = start ]; then exit 1; fi")
        self.try_new(status=2, said="journalctl --unit=lanfab-revert.service")
        self.assert_trial_goes_on()

    def test_systemd_that_does_not_answer_may_be_at_work(self):
        self.before("systemctl", "if [ $1 = show ]; then exit 1; fi")
        self.try_new(status=2, said="taken back")

    def test_a_state_that_nobody_has_written(self):
        STATE.write_text("[" * 2000)
        self.lanfab("confirm", status=2, said="lanfab: ")

    def test_a_trial_that_cannot_be_written(self):
        for path in STATE, TRIAL:
            (path / "full").mkdir(parents=True)
            self.try_new(status=2, said="Is a directory")
            self.assertFalse(TIMER.exists())
            shutil.rmtree(path)

    def test_a_root_who_may_not_mount(self):
        said = f"{INSTALLED}: Operation not permitted"
        self.lanfab("try", self.new, status=2, said=said, before=CANNOT_MOUNT)
        self.assert_files(OLD, None)
        self.try_new()
        for words in ("confirm",), ("revert", "--timer"):
            self.lanfab(*words, status=2, said=said, before=CANNOT_MOUNT)
            self.assert_trial_goes_on()

    def test_a_file_that_cannot_be_installed(self):
        self.try_new()
        (INSTALLED.parent / "network.json.new" / "full").mkdir(parents=True)
        self.lanfab("confirm", status=2, said="network.json.new: Is a directory")
        self.assert_trial_goes_on()


class OnTerminal(Trial):
    def start(self, *words):
        return Terminal(LANFAB, *words, env=systemd.ENVIRONMENT)

    def start_trial(self):
        terminal = self.start("try", self.new)
        terminal.wait_for("Ctrl-C")
        return terminal

    def test_enter_confirms(self):
        terminal = self.start_trial()
        terminal.type(b"\n")
        self.assertEqual(terminal.status(), 0)
        self.assert_files(NEW, OLD)

    def test_ctrl_c_reverts(self):
        terminal = self.start_trial()
        terminal.type(b"\x03")
        self.assertEqual(terminal.status(), 1)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_another_one_reverts_or_confirms(self):
        for command, status in ("revert", 1), ("confirm", 0):
            terminal = self.start_trial()
            self.lanfab(command, status=0)
            terminal.type(b"\n")
            self.assertEqual(terminal.status(), status)
        self.assert_files(NEW, OLD)

    def test_nobody_is_asked_who_cannot_read_the_question(self):
        PREVIOUS.write_text(OLDER)
        terminal = Terminal("sh", "-c", '"$0" revert >/run/said', LANFAB, env=systemd.ENVIRONMENT)
        self.assertEqual(terminal.status(), 1)
        self.assertEqual(INSTALLED.read_text(), OLD)

    def test_it_goes_on_without_input(self):
        terminal = self.start_trial()
        terminal.type(b"\x04")
        self.assertEqual(terminal.status(), 0)
        self.assert_trial_goes_on()

    def test_it_goes_on_when_the_terminal_has_gone(self):
        terminal = self.start_trial()
        terminal.hang_up()
        self.assertEqual(terminal.status(), -signal.SIGHUP)
        self.assert_trial_goes_on()

    def test_the_previous_one_is_put_back_when_the_answer_is_yes(self):
        PREVIOUS.write_text(OLDER)
        for answer, status, files in ((b"\n", 1, (OLD, OLDER)), (b"y\n", 0, (OLDER, OLD)),
                                      (b"Y\n", 0, (OLD, OLDER)), (b"\x04", 1, (OLD, OLDER))):
            terminal = self.start("revert")
            terminal.wait_for("[y/N]")
            terminal.type(answer)
            self.assertEqual(terminal.status(), status)
            self.assertEqual((INSTALLED.read_text(), PREVIOUS.read_text()), files)


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
