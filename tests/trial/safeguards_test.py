#!/usr/bin/env python3
"""Removes the safeguards of a trial one by one, in the sandbox, and checks that the trial still ends. The
program is the first argument."""

import fcntl
import filecmp
import json
import os
import pathlib
import shutil
import subprocess
import time
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import APPLIED, INSTALLED, STATE, TIMER, TRIAL, UNITS
from trial.trial_test import LANFAB, NEW, OLD, Trial

CMD_LANFAB = f"{LANFAB.removesuffix('/cli/lanfab')}/cmd_lanfab"
DIRECTORY = TRIAL.parent
PROGRAMS = DIRECTORY / "programs"
RESERVE = DIRECTORY / "reserve"
GUARD = UNITS / "lanfab-guard.service"
# Grows by one byte with each call of systemctl.
ASKED = pathlib.Path("/run/asked")


def wait_until(condition):
    """Waits until the condition is true; fails after a minute."""
    end = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.02)


def questions():
    return ASKED.stat().st_size


def run_timer():
    subprocess.run(["sh", TIMER], env=systemd.ENVIRONMENT, stdout=subprocess.DEVNULL, check=True)


class Programs(Trial):
    def try_elsewhere(self):
        """Begins a trial with programs in another directory; returns that directory."""
        other = pathlib.Path("/run/other")
        shutil.rmtree(other, ignore_errors=True)
        other.mkdir()
        for program in LANFAB, CMD_LANFAB:
            shutil.copy(program, other)
        subprocess.run([other / "lanfab", "try", self.new], env=systemd.ENVIRONMENT, check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        return other

    def test_are_kept_for_the_trial(self):
        self.try_new()
        for program in LANFAB, CMD_LANFAB:
            copy = PROGRAMS / os.path.basename(program)
            self.assertTrue(filecmp.cmp(program, copy, shallow=False))
            self.assertEqual(copy.stat().st_mode & 0o777, 0o700)
        self.lanfab("confirm", status=0)
        self.assert_files(NEW, OLD)

    def test_may_go_during_the_trial(self):
        shutil.rmtree(self.try_elsewhere())
        (PROGRAMS / "another").touch()
        run_timer()
        self.assert_files(OLD, None)

    def test_whose_copies_have_gone_are_the_installed_ones(self):
        self.try_elsewhere()
        shutil.rmtree(PROGRAMS)
        run_timer()
        self.assert_files(OLD, None)

    def test_have_a_file_system_where_run_forbids_programs(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "noexec", "run", DIRECTORY], check=True)
        try:
            # The second trial removes the leftovers of the first one's rollback.
            for _ in range(2):
                self.try_new()
                self.assertTrue(PROGRAMS.is_mount())
                subprocess.run([PROGRAMS / "lanfab", "--version"], stdout=subprocess.DEVNULL, check=True)
                self.lanfab("revert", status=0)
                self.assert_files(OLD, None)
        finally:
            subprocess.run(["umount", "--recursive", DIRECTORY], check=True)

    def test_have_to_be_copied(self):
        PROGRAMS.touch()
        self.try_new(status=2, said=f"{PROGRAMS}: Not a directory")
        self.assertFalse(TIMER.exists() or TRIAL.exists())


class Services(Trial):
    def setUp(self):
        super().setUp()
        self.calls = pathlib.Path("/run/calls")
        self.calls.write_text("")
        self.before("systemd-run", f"printf '%s\\n' call \"$@\" >>{self.calls}")

    def options_of(self, unit):
        calls = [call.splitlines() for call in self.calls.read_text().split("call\n")]
        return next(call for call in calls if f"--unit={unit}" in call)

    def test_last_when_another_target_is_isolated(self):
        self.try_new()
        for unit in "lanfab-revert", "lanfab-guard", "lanfab-apply":
            self.assertLess({"--property=IgnoreOnIsolate=yes", "--property=DefaultDependencies=no"},
                            set(self.options_of(unit)))
        self.assertIn("--timer-property=IgnoreOnIsolate=yes", self.options_of("lanfab-revert"))

    def test_are_started_again_more_and_more_rarely_where_systemd_can(self):
        for version, can in ("systemd 252 (252.39-1~deb12u2)", False), ("systemd 254 (254.1)", True):
            self.calls.write_text("")
            self.before("systemctl", f"if [ $1 = --version ]; then echo '{version}'; exit; fi")
            self.try_new()
            options = self.options_of("lanfab-revert")
            for option in "Restart=on-failure", "StartLimitIntervalSec=0":
                self.assertIn(f"--property={option}", options)
            self.assertEqual("--property=RestartSteps=5" in options, can)
            self.lanfab("revert", status=0)

    def test_without_a_guard_there_is_no_trial(self):
        self.before("systemd-run", "case $* in *--unit=lanfab-guard*) exit 1 ;; esac")
        self.try_new(status=2, said="the guard of the trial cannot be started")
        self.assert_files(OLD, None)
        self.assert_applied()

    def test_a_guard_that_cannot_be_stopped_allows_no_other_trial(self):
        GUARD.touch()
        self.before("systemctl", "if [ $1 = stop ]; then exit 1; fi")
        self.try_new(status=2, said="lanfab-guard.service cannot be stopped")
        GUARD.unlink()


class Guard(Trial):
    def setUp(self):
        super().setUp()
        ASKED.write_text("")

    def start(self):
        """Begins a trial, and waits until its guard has checked it once."""
        self.try_new()
        self.before("systemctl", f"echo >>{ASKED}")
        self.run_guard()
        wait_until(questions)

    def run_guard(self):
        copy = PROGRAMS / "lanfab"
        program = copy if copy.exists() else LANFAB
        self.guard = subprocess.Popen([program, "revert", "--guard"], env=systemd.ENVIRONMENT,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        GUARD.write_text(str(self.guard.pid))
        self.addCleanup(self.guard.stderr.close)
        self.addCleanup(self.guard.wait)
        self.addCleanup(self.guard.kill)

    def end(self):
        """Waits until the guard exits; returns its messages."""
        said = self.guard.communicate(timeout=60)[1]
        self.assertEqual(self.guard.returncode, 0)
        return said

    def let_time_pass(self):
        """Makes the trial overdue."""
        state = json.loads(STATE.read_text())
        STATE.write_text(json.dumps({**state, "ends": 0}))

    def test_without_a_trial_ends(self):
        self.run_guard()
        self.end()
        GUARD.unlink()
        self.assert_files(OLD, None)

    def test_rolls_back_what_it_does_not_know(self):
        self.try_new()
        STATE.unlink()
        self.run_guard()
        self.end()
        self.assert_rolled_back()

    def test_tries_again_without_knowing_the_trial(self):
        self.fail_once()
        self.try_new()
        STATE.unlink()
        self.run_guard()
        self.end()
        self.assert_rolled_back()

    def test_restores_what_is_removed(self):
        # A sparse file needs little memory. The guard ignores it, because it is too large.
        large = DIRECTORY / "large"
        large.touch()
        os.truncate(large, 129 * 1024 * 1024)
        (DIRECTORY / "empty").touch()
        # Temporary files of other processes, which the guard must not restore.
        passing = [DIRECTORY / "applying", DIRECTORY / "applied.7.new"]
        for path in passing:
            path.write_text("passing")
        self.start()
        for path in large, DIRECTORY / "empty", *passing:
            path.unlink()
        files = {path: (path.read_bytes(), path.stat().st_mode) for path in DIRECTORY.rglob("*")
                 if path.is_file()}
        self.assertLess({STATE, TRIAL, PROGRAMS / "lanfab", PROGRAMS / "cmd_lanfab", RESERVE}, set(files))
        for path in STATE, TRIAL, PROGRAMS / "cmd_lanfab", RESERVE:
            path.unlink()
            wait_until(path.exists)
        STATE.write_text("")
        wait_until(lambda: STATE.read_bytes() == files[STATE][0])
        shutil.rmtree(DIRECTORY)
        wait_until(lambda: all(path.exists() and path.stat().st_size for path in files))
        for path, expected in files.items():
            self.assertEqual((path.read_bytes(), path.stat().st_mode), expected, path)
        self.assertFalse(any(path.exists() for path in passing))
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)
        self.guard.wait()
        self.assertIn(f"<4>{TRIAL} was removed during the trial; restored\n", self.guard.stderr.read())

    def test_knows_what_has_changed(self):
        self.start()
        former = TRIAL.stat().st_mtime_ns
        TRIAL.write_text(OLD)
        os.utime(TRIAL, ns=(former + 1, former + 1))
        seen = questions()
        wait_until(lambda: questions() > seen)
        TRIAL.unlink()
        wait_until(TRIAL.exists)
        self.assertEqual(TRIAL.read_text(), OLD)

    def test_reports_what_it_cannot_restore(self):
        self.start()
        shutil.rmtree(PROGRAMS)
        PROGRAMS.touch()
        self.assertIn("it cannot be restored: ", self.guard.stderr.readline())

    def test_starts_the_timer_again(self):
        self.start()
        TIMER.unlink()
        wait_until(TIMER.exists)
        self.assertIn("lanfab-revert.timer was stopped during the trial; started again",
                      self.guard.stderr.readline())
        run_timer()
        self.assert_files(OLD, None)

    def test_rolls_back_if_nothing_else_does(self):
        self.start()
        self.before("systemd-run", "exit 1")
        TIMER.unlink()
        self.assertIn("it cannot be started again", self.guard.stderr.readline())
        self.let_time_pass()
        self.assertIn("<1>the trial is overdue", self.end())
        self.assert_rolled_back()

    def assert_rolled_back(self):
        """Checks the state after a rollback by the guard, whose unit systemd would have removed by itself."""
        GUARD.unlink()
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_leaves_it_to_the_service_that_rolls_back(self):
        self.start()
        (UNITS / "lanfab-revert.service").touch()
        self.let_time_pass()
        TIMER.unlink()
        seen = questions()
        # The guard queries the service every second and the timer every fifth time, so it has queried both.
        wait_until(lambda: questions() > seen + 6)
        self.assertTrue(TRIAL.exists())
        (UNITS / "lanfab-revert.service").unlink()
        self.end()
        self.assert_rolled_back()

    def fail_once(self):
        """Makes the first apply of the old configuration fail."""
        self.before("timeout", f"if [ ! -e {TRIAL} ] && [ ! -e /run/once ]; then touch /run/once; exit 1; fi")
        self.addCleanup(pathlib.Path("/run/once").unlink)

    def test_tries_again(self):
        self.start()
        self.fail_once()
        self.let_time_pass()
        self.assertEqual(self.end().count("rolling back the trial failed"), 1)
        self.assert_rolled_back()

    def test_rolls_back_without_systemd(self):
        self.start()
        self.before("systemctl", f"echo >>{ASKED}; exit 1")
        seen = questions()
        wait_until(lambda: questions() > seen)
        self.let_time_pass()
        self.end()
        self.assertEqual(systemd.leftovers(), [])
        self.assert_applied(NEW, OLD)

    def test_cleans_up_if_it_cannot_be_stopped(self):
        self.start()
        self.before("systemctl", "case $* in 'stop lanfab-guard.service') exit 1 ;; esac")
        self.lanfab("confirm", status=0)
        self.end()
        GUARD.unlink()
        self.assertEqual(systemd.leftovers(), [])
        self.assertEqual(INSTALLED.read_text(), NEW)

    def test_waits_for_a_rollback_that_has_begun(self):
        self.start()
        # The files that a rollback leaves if it is killed during its APPLY.
        TRIAL.unlink()
        RESERVE.rename(DIRECTORY / "end")
        APPLIED.write_text("")
        seen = questions()
        self.let_time_pass()
        self.end()
        self.assertGreater(questions(), seen)
        GUARD.unlink()
        self.assert_files(OLD, None)
        self.assert_applied(OLD)

    def test_restores_nothing_once_somebody_ends_the_trial(self):
        self.start()
        lock = os.open(DIRECTORY, os.O_RDONLY)
        fcntl.flock(lock, fcntl.LOCK_EX)
        descriptors = pathlib.Path(f"/proc/{self.guard.pid}/fd")
        TRIAL.unlink()
        wait_until(lambda: any(os.path.realpath(file) == str(DIRECTORY) for file in descriptors.iterdir()))
        RESERVE.rename(DIRECTORY / "end")
        os.close(lock)
        seen = questions()
        self.let_time_pass()
        wait_until(lambda: questions() > seen)
        self.end()
        self.assert_rolled_back()


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
