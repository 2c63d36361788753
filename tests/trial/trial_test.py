#!/usr/bin/env python3
"""Runs `lanfab try`, `confirm` and `revert` in the sandbox, with and without a terminal, and ends trials in
every possible way. The program is the first argument.
"""

import os
import pathlib
import signal
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import APPLIED, INSTALLED, PREVIOUS, STAGED, STATE, TIMER, TRIAL, UNITS
from lib.terminal import Terminal
from lib.trial_case import NEW, OLD, OLDER, Trial

LANFAB = Trial.program = os.path.abspath(sys.argv.pop(1))
WITH_ERROR = '{"wired": {"eth0": {"enable": true}}}'
# Prefix of a command that runs as an ordinary user.
NOT_ROOT = ("unshare", "--user")


class Ends(Trial):
    def test_continues_without_lanfab(self):
        TRIAL.parent.rmdir()
        text = self.try_new()
        self.assertRegex(text, r"(?s)DNS servers 8\.8\.8\.3\n.*Applying /run/new\.json;.* 120 s ")
        self.assert_trial_goes_on()
        self.assert_applied(NEW)
        # Users who may read the installed file may also read the one on trial, but cannot list its directory.
        self.assertEqual(TRIAL.parent.stat().st_mode & 0o777, 0o711)
        self.assertEqual(TRIAL.stat().st_mode & 0o777, 0o640)

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
        self.before("timeout", f"if [ -e {TRIAL} ]; then exit 1; fi")
        self.try_new(status=1, said="journalctl -u lanfab-apply.service")
        self.assert_files(OLD, None)
        self.assert_applied(OLD)

    def test_ctrl_c_during_the_apply_ends_it(self):
        self.before("systemd-run", "case $* in *--unit=lanfab-apply*) kill -INT $PPID ;; esac")
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
        self.lanfab("revert", status=0, said=f"removed {lock}, which a killed run had left")
        self.assertFalse(lock.exists())

    def test_the_lock_of_a_killed_run_does_not_delay_the_new_configuration(self):
        lock = pathlib.Path("/var/run/LANFAB_LOCKED")
        lock.touch()
        self.try_new(said=f"removed {lock}, which a killed run had left")
        self.assertFalse(lock.exists())


class Race(Trial):
    """The trial is ended by another process while it is being applied, or during the countdown."""

    def during_apply(self, line):
        """Makes the first apply, and no other one, run a shell line, which may stop the apply."""
        unit = UNITS / "lanfab-apply.service"
        self.before("timeout",
                    f"if [ ! -e /run/once ]; then touch /run/once; {line}; [ -e {unit} ] || exit 143; fi")
        self.addCleanup(pathlib.Path("/run/once").unlink)

    def begin_another(self):
        """Returns a shell line that rolls the trial back and begins another one."""
        other = pathlib.Path("/run/other.json")
        other.write_text(OLDER)
        return f"{LANFAB} revert; SUDO_USER=anna {LANFAB} try {other}"

    def assert_another_goes_on(self):
        self.assertIn('"anna"', STATE.read_text())
        self.assertEqual(systemd.active(), OLDER)
        self.assertTrue(TIMER.exists())

    def test_rolled_back(self):
        for line in f"sh {TIMER}", f"{LANFAB} revert", f"{LANFAB} revert --timer; exit 1":
            self.setUp()
            self.during_apply(line)
            said = self.try_new(status=1, said="The previous configuration is active.")
            self.assertNotIn("Applied.", said)
            self.assert_files(OLD, None)
            self.doCleanups()

    def test_rollback_in_progress(self):
        self.during_apply(f"rm {TRIAL}")
        self.try_new(status=1, said="The previous configuration is active.")
        self.assert_files(OLD, None)

    def test_another_one_has_begun(self):
        self.during_apply(self.begin_another())
        self.try_new(status=1, said="another one has begun: /run/other.json on trial by anna")
        self.assert_another_goes_on()

    def test_another_one_has_begun_during_the_countdown(self):
        terminal = Terminal(LANFAB, "try", self.new, env=systemd.ENVIRONMENT)
        terminal.wait_for("Keep this configuration?")
        subprocess.run(self.begin_another(), shell=True, env=systemd.ENVIRONMENT, check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        # This answer is about the former trial.
        terminal.type(b"y\n")
        self.assertEqual(terminal.status(), 1)
        self.assert_another_goes_on()

    def test_confirmed(self):
        self.before("systemd-run", f"case $* in *--unit=lanfab-apply*) trap '{LANFAB} confirm' EXIT ;; esac")
        self.try_new(status=0, said="Confirmed by another 'lanfab confirm'.")
        self.assert_files(NEW, OLD)

    def test_stopped_before_it_is_active(self):
        self.before("systemd-run", f"""case $* in *--on-active*)
  echo {LANFAB} revert --timer >{TIMER}; kill -STOP $PPID; exit ;; esac""")
        with subprocess.Popen([LANFAB, "try", self.new], env=systemd.ENVIRONMENT, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as stopped:
            os.waitid(os.P_PID, stopped.pid, os.WSTOPPED | os.WNOWAIT)
            self.lanfab("revert", "--timer", status=0, said="/run/lanfab: another process has held its lock")
            self.assert_files(OLD, None)
            stopped.send_signal(signal.SIGCONT)
            self.assertIn(f"{TRIAL}: No such file or directory", stopped.communicate()[1])
            self.assertEqual(stopped.returncode, 2)
        self.assert_files(OLD, None)
        self.assert_applied(OLD)


class Changed(Trial):
    """The installed file has changed since the trial began."""

    def setUp(self):
        super().setUp()
        self.try_new()
        INSTALLED.write_text(OLDER)

    def test_it_is_not_replaced(self):
        self.lanfab("confirm", status=1, said=f"{INSTALLED} has changed since the trial began")
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (NEW, OLDER))
        self.lanfab("revert", status=0, said=f"{INSTALLED} is another configuration, which is not applied")
        self.assert_files(OLDER, None)
        self.assert_applied(NEW, OLD)

    def test_it_becomes_the_previous_one_if_forced(self):
        self.lanfab("confirm", "--force", status=0, said=str(PREVIOUS))
        self.assert_files(NEW, OLDER)

    def test_by_a_confirmation_that_was_killed(self):
        for words, status, said in ((("confirm",), 0, str(PREVIOUS)),
                                    (("revert", "--timer"), 0, "its configuration stays active"),
                                    (("revert",), 1, "The trial had been confirmed")):
            INSTALLED.write_text(NEW)
            PREVIOUS.write_text(OLD)
            self.lanfab(*words, status=status, said=said)
            self.assert_files(NEW, OLD)
            self.assert_applied(NEW)
            self.doCleanups()
            self.setUp()

    def test_by_a_confirmation_whose_timer_does_not_stop(self):
        INSTALLED.write_text(NEW)
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        self.lanfab("revert", "--timer", status=2, said="lanfab-revert.timer cannot be stopped")
        self.assertEqual(systemd.active(), NEW)


class Confinement(Trial):
    """The services of a trial run like lanfab.service."""

    def setUp(self):
        super().setUp()
        self.calls = pathlib.Path("/run/calls")
        self.calls.write_text("")
        self.before("systemd-run", f"printf '%s\\n' call \"$@\" >>{self.calls}")

    def options_of(self, unit):
        """Returns the properties with which systemd-run was called for a unit."""
        for call in self.calls.read_text().split("call\n"):
            if f"--unit={unit}\n" in call:
                return [line.removeprefix("--property=") for line in call.splitlines()
                        if line.startswith("--property=")]
        return self.fail(f"{unit} was not started")

    def assert_confined(self, expected):
        for unit in "lanfab-revert-test", "lanfab-revert", "lanfab-apply":
            options = self.options_of(unit)
            self.assertEqual(options[:len(expected)], expected, unit)
            self.assertIn("Type=oneshot", options)

    def test_as_the_packaged_unit(self):
        unit = pathlib.Path(__file__).parents[2] / "packaging/lanfab.service.in"
        confinement = unit.read_text().split("\n# The settings below confine")[1].split("[Install]")[0]
        self.try_new()
        expected = ["SyslogIdentifier=cmd_lanfab", *(line for line in confinement.splitlines()
                                                     if "=" in line and not line.startswith("#"))]
        self.assertGreater(len(expected), 25)
        self.assert_confined(expected)

    def test_with_the_group_of_terminals_where_it_exists(self):
        self.try_new()
        group = "SupplementaryGroups=tty"
        self.assertNotIn(group, self.options_of("lanfab-revert"))
        self.lanfab("revert", status=0)
        groups = pathlib.Path("/etc/group")
        groups.write_text("tty:x:5:\n")
        self.addCleanup(groups.unlink)
        self.calls.write_text("")
        self.try_new()
        self.assertIn(group, self.options_of("lanfab-revert"))
        self.assertNotIn(group, self.options_of("lanfab-apply"))

    def test_as_the_installed_unit_with_its_drop_ins(self):
        self.before("systemctl", f"case $* in 'cat lanfab.service') exec cat {systemd.UNIT} ;; esac")
        systemd.UNIT.write_text("# /usr/lib/systemd/system/lanfab.service\n[Service]\nType=oneshot\n"
                                "ExecStart=true\nProtectSystem=strict\n\n# /etc/systemd/system/x.conf\n"
                                "[Service]\nEnvironment=LANFAB_SYSDB=/run/db\nProtectSystem=\n")
        self.try_new()
        self.assert_confined(["ProtectSystem=strict", "Environment=LANFAB_SYSDB=/run/db", "ProtectSystem="])


class Active(Trial):
    """By default, the other commands read the configuration on trial, or else the installed one."""

    def test_is_that_on_trial(self):
        self.new.write_text(WITH_ERROR)
        self.lanfab("check", status=0)
        self.lanfab("try", "--force", "--no-verify", self.new, status=0)
        self.lanfab("check", status=1, said=f"{TRIAL}:1:")
        self.lanfab("check", INSTALLED, status=0)
        self.assertIn('"error"', self.lanfab("check", "--format", "json", status=1))
        self.lanfab("revert", status=0)
        self.lanfab("check", status=0)

    def test_is_never_passed_over(self):
        TRIAL.mkdir()
        for command in "check", "diff", "graph", "preview":
            self.lanfab(command, status=2, said=f"{TRIAL}: Is a directory")

    def test_is_the_installed_one_when_it_is_tried_again(self):
        self.lanfab("try", INSTALLED, status=0)
        self.lanfab("confirm", status=0, said="Confirmed.\n")
        self.assert_files(OLD, None)


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

    def test_whose_apply_fails_is_rolled_back_at_once(self):
        self.before("timeout", f"if [ -e {TRIAL} ]; then exit 1; fi")
        self.lanfab("revert", "--yes", status=1, said="journalctl -u lanfab-apply.service")
        self.assert_files(OLD, OLDER)
        self.assert_applied(OLD)

    def test_with_an_error_is_not_put_back(self):
        for text, status, said in (("{", 2, f"{PREVIOUS}:1:1: error: "),
                                   (WITH_ERROR, 1, "[port-without-network]")):
            PREVIOUS.write_text(text)
            self.lanfab("revert", "--yes", status=status, said=said)
            self.assert_files(OLD, text)
        self.assert_applied()

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
        self.try_new(status=2, said="in progress: /run/new.json on trial by user 0 for ")
        STATE.unlink()
        self.try_new(status=2, said="in progress")
        self.assert_applied(NEW)

    def test_what_a_killed_one_left_is_no_trial(self):
        for path in STATE, STAGED:
            path.write_text("{}")
        for unit in TIMER, UNITS / "lanfab-revert.service":
            unit.touch()
            self.try_new(status=2, said="in progress")
            unit.unlink()
        self.try_new()
        self.assert_trial_goes_on()

    def test_to_confirm_during_the_apply_or_the_rollback(self):
        self.try_new()
        for unit, said in ("lanfab-apply", "still being applied"), ("lanfab-revert", "rolled back"):
            (UNITS / f"{unit}.service").touch()
            self.lanfab("confirm", status=1, said=said)
            (UNITS / f"{unit}.service").unlink()
        self.assert_trial_goes_on()
        TRIAL.unlink()
        self.lanfab("confirm", status=1, said="rolled back")

    def test_to_try_during_a_rollback(self):
        (UNITS / "lanfab-revert.service").touch()
        self.try_new(status=2, said="rollback is in progress")

    def test_a_configuration_with_errors_unless_forced(self):
        self.new.write_text(WITH_ERROR)
        self.try_new(status=1, said="[port-without-network]")
        self.assert_files(OLD, None)
        self.lanfab("try", "--force", "--no-verify", self.new, status=0, said="[port-without-network]")
        self.assertTrue(systemd.is_trial_active())

    def test_a_configuration_that_cannot_be_read(self):
        self.new.write_text("{")
        self.try_new(status=2, said="/run/new.json:1:1: error: ")
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
        self.lanfab("revert", "--timer", status=2, said="root", before=NOT_ROOT)
        # Nothing else is printed, such as the changes that the trial would make.
        self.assertEqual(self.lanfab("try", self.new, status=2, before=NOT_ROOT),
                         "lanfab: only root can change the network: run this command as root\n")

    def test_without_the_mount_namespace_of_the_services(self):
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
        self.lanfab("revert", "--timer", status=0)
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
        self.before("systemd-run", "case $* in *--on-active*) exit 1 ;; esac")
        self.try_new(status=2, said="timer")
        self.assert_files(OLD, None)

    def test_a_rollback_that_could_not_start(self):
        self.before("systemd-run", "case $* in *--unit=lanfab-revert-test*) exit 203 ;; esac")
        self.try_new(status=2, said="journalctl -u lanfab-revert-test")
        self.assert_files(OLD, None)
        self.assert_applied()

    def test_a_timer_that_does_not_stop(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        self.lanfab("confirm", status=2, said="lanfab-revert.timer")
        self.assertEqual((INSTALLED.read_text(), PREVIOUS.read_text()), (NEW, OLD))
        self.assertFalse(systemd.is_trial_active())
        self.try_new(status=2, said="lanfab-revert.timer")
        self.assertFalse(systemd.is_trial_active())

    def test_a_rollback_that_does_not_start(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = start ]; then exit 1; fi")
        self.lanfab("revert", status=2, said="journalctl -u lanfab-revert.service")
        self.assert_trial_goes_on()
        TIMER.unlink()
        self.before("systemd-run", "exit 1")
        self.lanfab("revert", status=2, said="journalctl -u lanfab-revert.service")
        self.assertTrue(systemd.is_trial_active())

    def test_a_rollback_that_cannot_clean_up(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        STATE.unlink()
        (STATE / "full").mkdir(parents=True)
        self.lanfab("revert", "--timer", status=2, said="/run/lanfab: Is a directory")
        self.assert_applied(NEW, OLD)

    def test_a_rollback_that_fails_is_not_forgotten_without_a_state(self):
        self.try_new()
        STATE.unlink()
        self.before("timeout", "if [ ! -e /run/once ]; then touch /run/once; exit 1; fi")
        self.addCleanup(pathlib.Path("/run/once").unlink)
        self.lanfab("revert", "--timer", status=1)
        self.lanfab("revert", "--timer", status=0)
        self.assert_files(OLD, None)
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
        self.lanfab("try", "--no-verify", self.new, status=0)
        self.assert_trial_goes_on()

    def test_an_apply_and_a_rollback_that_fail(self):
        self.before("timeout", "exit 1")
        self.before("systemctl", "if [ $1 = start ]; then exit 1; fi")
        self.try_new(status=2, said="journalctl -u lanfab-revert.service")
        self.assert_trial_goes_on()

    def test_systemd_that_does_not_answer(self):
        for line, said in (("exit 1", "systemctl: status 1"), ("exit 0", "does not print the state"),
                           ("echo true", "does not print the state"),
                           ("case $* in *revert.service) exit 1 ;; esac", "systemctl: status 1")):
            self.before("systemctl", f"if [ $1 = show ]; then {line}; fi")
            self.try_new(status=2, said=said)
            self.assert_files(OLD, None)
            STATE.write_text('{"who": "anna"}')
            TRIAL.touch()
            self.lanfab("confirm", status=2, said=said)
            systemd.end_trial()
            systemd.lay_tools()

    def test_few_descriptors(self):
        for number in range(3, 24):
            limit = ("prlimit", f"--nofile={number}")
            done = subprocess.run([*limit, LANFAB, "try", self.new], env=systemd.ENVIRONMENT, check=False,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                  stderr=subprocess.STDOUT)
            self.assertNotIn("rolled back", done.stdout)
            self.assertNotIn("in progress", done.stdout)
            if done.returncode == 0:
                self.assert_trial_goes_on()
                self.lanfab("revert", status=0)
            else:
                self.assertFalse(systemd.is_trial_active(), done.stdout)

    def test_a_malformed_state(self):
        STATE.write_text("[" * 2000)
        self.lanfab("confirm", status=2, said="lanfab: ")

    def test_a_trial_that_cannot_be_written(self):
        for path in STATE, STAGED, systemd.INSTALLED_COPY:
            (path / "full").mkdir(parents=True)
            self.try_new(status=2, said="Is a directory")
            self.assertFalse(TIMER.exists() or TRIAL.exists())
            systemd.end_trial()

    def test_full_run(self):
        page = os.sysconf("SC_PAGESIZE")
        programs = LANFAB, f"{LANFAB.removesuffix('/cli/lanfab')}/cmd_lanfab"
        copies = sum(-(-os.path.getsize(program) // page) for program in programs)
        reserved = 1024 * 1024 // page
        for pages, said in ((1, "programs: No space"), (copies + 2, "no room for a rollback"),
                            (copies + reserved, "/run/lanfab: No space"),
                            (copies + reserved + 2, "/run/lanfab: No space")):
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={pages * page}", "full", TRIAL.parent],
                           check=True)
            try:
                self.try_new(status=2, said=said)
                self.assertEqual(os.listdir(TRIAL.parent), [])
            finally:
                subprocess.run(["umount", TRIAL.parent], check=True)
            self.assert_files(OLD, None)

    def test_a_trial_that_cannot_be_removed(self):
        self.try_new()
        TRIAL.unlink()
        TRIAL.mkdir()
        self.lanfab("revert", "--timer", status=2, said=f"{TRIAL}: Is a directory")
        self.assertTrue(STATE.exists())

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
        terminal.wait_for("Keep this configuration?")
        return terminal

    def test_yes_confirms(self):
        terminal = self.start_trial()
        terminal.type(b"y\n")
        self.assertEqual(terminal.status(), 0)
        self.assert_files(NEW, OLD)

    def test_no_reverts(self):
        for answer in b"n\n", b"N\n":
            APPLIED.write_text("")
            terminal = self.start_trial()
            terminal.type(answer)
            self.assertEqual(terminal.status(), 1)
            self.assert_files(OLD, None)
            self.assert_applied(NEW, OLD)

    def test_it_asks_again_after_any_other_answer(self):
        terminal = self.start_trial()
        # The end of the input comes alone, then in the middle of a line; the last line is too long.
        for answer in b"\n", b"no\n", b"\x04", b"a\x04y\n", 255 * b"a" + b"y\n":
            terminal.type(answer)
            terminal.wait_for("Keep this configuration?")
        self.assert_trial_goes_on()
        terminal.type(b"Y\n")
        self.assertEqual(terminal.status(), 0)

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
            terminal.type(b"y\n")
            self.assertEqual(terminal.status(), status)
        self.assert_files(NEW, OLD)

    def test_no_prompt_if_the_output_is_not_a_terminal(self):
        PREVIOUS.write_text(OLDER)
        terminal = Terminal("sh", "-c", '"$0" revert >/run/said', LANFAB, env=systemd.ENVIRONMENT)
        self.assertEqual(terminal.status(), 1)
        self.assertEqual(INSTALLED.read_text(), OLD)

    def test_it_continues_when_the_terminal_has_gone(self):
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
