#!/usr/bin/env python3
"""Checks which configuration a rollback applies, and the messages of `lanfab try`, `confirm` and `revert`
about it. The program is the first argument."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import INSTALLED, MARK, OUTCOME, PREVIOUS, RECORD, STATE, TARGET, TIMER, TRIAL, UNITS
from lib.terminal import shown_on_terminal
from lib.trial_case import NEW, OLD, OLDER, Trial

LANFAB = Trial.program = os.path.abspath(sys.argv.pop(1))
DECISION = pathlib.Path("/run/lanfab/decision")
HISTORY = pathlib.Path("/var/lib/lanfab/history")
# The file that is renamed to PREVIOUS.
WAITING = pathlib.Path(f"{PREVIOUS}.new")


def time_is_up():
    """Makes the trial overdue and runs the command of its timer."""
    state = json.loads(STATE.read_text())
    STATE.write_text(json.dumps({**state, "ends": 1}))
    subprocess.run(["sh", TIMER], env=systemd.ENVIRONMENT, stdout=subprocess.DEVNULL, check=True)


class Target(Trial):
    """The rollback applies the configuration that was active before the trial, not the installed file."""

    def test_an_installed_file_that_is_invalid_now(self):
        self.try_new()
        INSTALLED.write_text("{")
        self.lanfab("revert", status=0, said=f"{INSTALLED} is another configuration, which is not applied")
        self.assert_applied(NEW, OLD)
        self.assert_files("{", None)

    def test_an_installed_directory_that_has_another_name_now(self):
        self.try_new()
        elsewhere = INSTALLED.parent.rename("/etc/elsewhere")
        time_is_up()
        elsewhere.rename(INSTALLED.parent)
        self.assert_applied(NEW, OLD)
        self.assert_files(OLD, None)

    def test_an_installed_file_that_was_never_applied(self):
        self.lanfab("try", self.new, status=0)
        self.lanfab("revert", status=0)
        INSTALLED.write_text(OLDER)
        self.try_new()
        self.lanfab("revert", status=0)
        self.assert_applied(NEW, OLD, NEW, OLD)
        self.assert_files(OLDER, None)

    def test_without_its_copy_the_installed_one_is_applied(self):
        self.try_new()
        TARGET.unlink()
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def refuse(self, said, file=None):
        self.lanfab("try", file or self.new, "--force", status=1, said=f"lanfab: not applied: {said}")
        self.assertEqual(systemd.leftovers() + os.listdir(UNITS), [])
        self.assert_applied()

    def test_nothing_is_applied_yet(self):
        MARK.unlink()
        self.refuse("nothing has been applied since the machine was started, "
                    "so there is nothing to roll back to")

    def test_what_was_applied_is_not_known(self):
        systemd.wait_for_tick()
        INSTALLED.write_text(OLDER)
        self.refuse(f"{INSTALLED} was changed after the last APPLY, so there is nothing to roll back to")

    def test_the_installed_file_itself_is_tried_and_was_edited(self):
        self.try_new()
        self.lanfab("revert", status=0)
        systemd.APPLIED.write_text("")
        INSTALLED.write_text(OLDER)
        link = pathlib.Path("/run/link.json")
        link.unlink(missing_ok=True)
        link.symlink_to(INSTALLED)
        for file in INSTALLED, link:
            self.refuse(f"{INSTALLED} is the installed configuration, but was changed", file)

    def test_what_was_applied_is_invalid(self):
        for text, said in (("{", "what was applied:1:1: error: "),
                           ('{"dns": {"source": "a\\nb"}}', "what was applied: dns.source: ")):
            INSTALLED.write_text(text)
            systemd.pretend_apply()
            self.refuse(f"there is nothing to roll back to: {said}")


class Text(Trial):
    """Only the configuration that was applied can be confirmed or restored."""

    def test_an_edited_trial_is_not_kept(self):
        self.try_new()
        TRIAL.write_text(OLDER)
        self.lanfab("confirm", status=1, said=f"{TRIAL} was edited during the trial: run 'lanfab revert'")
        self.assertEqual(INSTALLED.read_text(), OLD)
        self.lanfab("revert", status=0)
        self.assert_files(OLD, None)

    def test_an_apply_by_hand_of_the_trial_counts(self):
        self.try_new()
        systemd.pretend_apply()
        self.lanfab("confirm", status=0)
        # The installed file is newer than that apply, but known to be the applied configuration.
        self.lanfab("try", INSTALLED, status=0)
        self.lanfab("revert", status=0)
        self.assert_applied(NEW, NEW, NEW)

    def test_an_apply_that_leaves_no_mark_is_a_failure(self):
        """An apply without a mark was stopped, even if its service succeeds."""
        self.before("timeout", f"if [ -e {TRIAL} ]; then rm -f {MARK}; exit 0; fi")
        self.try_new(status=1, said="apply failed or was stopped")
        self.assert_files(OLD, None)
        self.assert_applied(OLD)

    def test_an_old_configuration_that_is_not_active_is_not_claimed(self):
        self.try_new()
        self.before("timeout", f"rm -f {MARK}; exit 0")
        said = self.lanfab("revert", status=2, said="may not be active")
        self.assertNotIn("The previous configuration is active.", said)

    def test_a_trial_without_a_state_is_rolled_back(self):
        for text in "", "{", None:
            self.setUp()
            self.try_new()
            if text is None:
                STATE.unlink()
            else:
                STATE.write_text(text)
            self.lanfab("revert", status=0, said="The previous configuration is active.")
            self.assert_applied(NEW, OLD)


class AtOnce(Trial):
    """A confirmation and a rollback at the same time."""

    def test_a_stopped_confirmation_installs_nothing_after_a_rollback(self):
        self.try_new()
        self.before("systemctl", "if [ $1 = show ] && [ ! -e /run/once ]; then touch /run/once; "
                    "kill -STOP $PPID; fi")
        self.addCleanup(pathlib.Path("/run/once").unlink)
        with subprocess.Popen([LANFAB, "confirm"], env=systemd.ENVIRONMENT, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as stopped:
            os.waitid(os.P_PID, stopped.pid, os.WSTOPPED | os.WNOWAIT)
            # The stopped confirmation holds the lock.
            self.lanfab("revert", "--timer", status=0, said="/run/lanfab: another process has held its lock")
            stopped.send_signal(signal.SIGCONT)
            said = stopped.communicate()[0]
        self.assertEqual(stopped.returncode, 1, said)
        self.assertIn("is being rolled back", said)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)

    def test_what_was_kept_first_stays(self):
        """The confirmation was interrupted after it had installed the new configuration."""
        self.try_new()
        INSTALLED.write_text(NEW)
        PREVIOUS.write_text(OLD)
        DECISION.symlink_to("confirmed")
        self.lanfab("revert", "--timer", status=0, said="had been confirmed; its configuration stays active")
        self.assert_files(NEW, OLD)
        self.assert_applied(NEW)

    def test_a_rollback_that_has_begun_continues(self):
        """The rollback was killed before it had removed the trial."""
        self.try_new()
        DECISION.symlink_to("rolled back")
        self.lanfab("confirm", status=1, said="is being rolled back")
        self.lanfab("revert", "--timer", status=0)
        self.assert_files(OLD, None)
        self.assert_applied(NEW, OLD)


class Previous(Trial):
    """The previous configuration does not become a copy of the installed one."""

    def test_the_same_text_twice(self):
        PREVIOUS.write_text(OLDER)
        for _ in range(2):
            self.try_new()
            self.lanfab("confirm", status=0)
            self.assert_files(NEW, OLD)

    def test_one_that_waits_since_a_loss_of_power_is_offered(self):
        PREVIOUS.write_text(OLDER)
        WAITING.write_text(NEW)
        PREVIOUS.chmod(0o640)
        WAITING.chmod(0o640)
        self.lanfab("revert", "--yes", status=0)
        self.assert_files(NEW, OLD)

    def test_one_that_cannot_be_looked_at(self):
        PREVIOUS.symlink_to(PREVIOUS)
        self.lanfab("revert", status=2, said=f"{PREVIOUS}: Too many levels of symbolic links")

    def test_one_that_waits_for_nothing_is_forgotten(self):
        PREVIOUS.write_text(OLDER)
        WAITING.write_text(OLD)
        self.lanfab("revert", status=1, said="lanfab revert --yes")
        self.assert_files(OLD, OLDER)


class Outcome(Trial):
    """Users are told later how the trial ended."""

    def login(self, home):
        """Returns the output of an interactive login shell."""
        profile = pathlib.Path(__file__).parents[2] / "packaging/tools/profile.sh"
        (systemd.TOOLS / "lanfab").unlink(missing_ok=True)
        (systemd.TOOLS / "lanfab").symlink_to(LANFAB)
        environment = {**systemd.ENVIRONMENT, "HOME": home}
        return shown_on_terminal(["sh", "-eui", "+m", "-c", f". {profile}"], env=environment)

    def outcome(self):
        return self.lanfab("record", "outcome", status=0)

    def test_each_end_has_its_words(self):
        for end, words in ((lambda: self.lanfab("confirm", status=0), r"was confirmed at \S+ \S+ by user 0"),
                           (lambda: self.lanfab("revert", status=0), r"was rolled back at \S+ \S+ by user 0"),
                           (time_is_up, r"was rolled back at \S+ \S+ since it was not confirmed in time")):
            self.setUp()
            OUTCOME.write_text('{"ending": "confirmed", "file": "of the one before"}')
            self.try_new()
            self.assertEqual(self.outcome(), "")
            end()
            self.assertRegex(self.outcome(), f"^/run/new.json, tried by user 0, {words}\n$")

    def test_an_apply_that_fails(self):
        self.before("timeout", f"if [ -e {TRIAL} ]; then exit 1; fi")
        self.try_new(status=1)
        self.assertRegex(self.outcome(), r" was rolled back at \S+ \S+ since its APPLY failed or was stopped")

    def test_a_service_that_somebody_has_started(self):
        self.try_new()
        self.lanfab("revert", "--timer", status=0)
        self.assertRegex(self.outcome(), " since lanfab-revert.service was started\n$")

    def test_what_differs_from_the_installed_file_is_said(self):
        self.try_new()
        INSTALLED.write_text(OLDER)
        time_is_up()
        self.assertIn(f"; the network is that of before the trial; {INSTALLED} is", self.outcome())

    def test_it_is_shown_once_at_the_next_login_of_each_user(self):
        homes = [pathlib.Path(f"/run/home{number}") for number in range(2)]
        for home in homes:
            home.mkdir(exist_ok=True)
        self.assertEqual(self.login(homes[0]), "")
        self.try_new()
        self.lanfab("revert", status=0)
        for home in homes:
            self.assertRegex(self.login(home), "^lanfab: /run/new.json, tried by user 0, was rolled back at ")
            self.assertEqual(self.login(home), "")
        OUTCOME.unlink()
        self.assertEqual(self.login(homes[0]), "")

    def test_names_that_a_terminal_would_execute(self):
        name = pathlib.Path("/run/\033[31m.json")
        name.write_text(NEW)
        self.addCleanup(name.unlink)
        environment = {**systemd.ENVIRONMENT, "SUDO_USER": "\033[2Janna"}
        for words in ("try", name), ("try", name), ("revert",), ("record", "outcome"):
            done = subprocess.run([LANFAB, *words], env=environment, stdin=subprocess.DEVNULL, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            self.assertNotIn("\033", done.stdout)

    def test_a_service_that_records_what_it_applies(self):
        self.lanfab("record", "before", status=0)
        systemd.pretend_apply()
        self.lanfab("record", "after", status=0)
        self.assertTrue(RECORD.read_text().endswith(OLD))
        self.lanfab("record", "after", status=2, said="cannot record what is applied")
        self.lanfab("record", "apply", "cmd_lanfab", status=0)
        self.before("timeout", "exit 1")
        self.lanfab("record", "apply", "cmd_lanfab", status=1)
        self.lanfab("record", "before", status=2, said="root", before=("unshare", "--user"))

    def test_what_a_service_applies_is_in_the_history_unless_it_is_on_trial(self):
        shutil.rmtree(HISTORY, ignore_errors=True)
        for text, entries in (OLD, 1), (OLD, 1), (NEW, 2):
            INSTALLED.write_text(text)
            self.lanfab("record", "before", status=0)
            systemd.pretend_apply()
            self.lanfab("record", "after", status=0)
            self.assertEqual(len(list(HISTORY.glob("*.txt"))), entries)
        self.assertIn(NEW, self.lanfab("history", "show", "2", status=0))
        INSTALLED.write_text(OLDER)
        systemd.pretend_apply()
        self.try_new()
        self.lanfab("record", "before", status=0)
        systemd.pretend_apply()
        self.lanfab("record", "after", status=0)
        self.assertEqual(len(list(HISTORY.glob("*.txt"))), 2)


class Pipe(Trial):
    def test_a_pipe_is_refused_at_once(self):
        pipe = pathlib.Path("/run/pipe.json")
        os.mkfifo(pipe)
        self.addCleanup(pipe.unlink)
        for command in "try", "check", "diff", "graph", "preview":
            self.lanfab(command, pipe, status=2, said=f"{pipe}: not a regular file; - reads standard input")


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
