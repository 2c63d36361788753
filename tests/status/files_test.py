#!/usr/bin/env python3
"""Injects each divergence of file_divergences.py into the files of a real run of cmd_lanfab in the sandbox.
Checks that `lanfab status` reports it and that the printed fix removes it. The arguments are the programs
lanfab and cmd_lanfab. Without the option --exhaustive, it injects one divergence for each finding, and each
example has one state of the cellular link.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import time
import unittest

from file_divergences import CONFIGURATION, DIVERGENCES, LINKS, UNITS
from lib import play, sample
from lib.checkout import EXAMPLES
from lib.sandbox import write_system_database

LANFAB = os.path.abspath(sys.argv.pop(1))
CMD_LANFAB = os.path.abspath(sys.argv.pop(1))
INSTALLED = pathlib.Path(CONFIGURATION)
ALLOWED = pathlib.Path("/etc/lanfab/status.allow")
BACKUP = pathlib.Path("/var/volatile/qel")
IS_EXHAUSTIVE = "--exhaustive" in sys.argv
NAMES = sorted(path.parent.name for path in EXAMPLES.glob("*/network.json"))
# The environment of the fixes: cmd_lanfab is in PATH.
ENVIRONMENT = {**os.environ, "PATH": f"{os.path.dirname(CMD_LANFAB)}:{os.environ['PATH']}"}
# Prefix of a command that runs as an unprivileged user, to whom file permissions apply.
ANOTHER_USER = ("unshare", "--user", "--map-user=1000", "--map-group=1000")
# The time of runs and changes that are too old to be pending.
AN_HOUR_AGO = time.time() - 3600
JOURNAL = {"__CURSOR": "a", "_PID": "4000001", "_UID": "0", "_EXE": "/usr/sbin/cmd_lanfab", "PRIORITY": "5"}


def run(*command, **options):
    """Runs a command that must succeed."""
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **options).stdout


def age(directory=pathlib.Path("/run"), when=AN_HOUR_AGO):
    """Sets the modification time of all files in the directory."""
    for path in directory.rglob("*"):
        if path.is_file() and not path.is_symlink():
            os.utime(path, (when, when))


def set_link(state):
    for name in LINKS["up"]:
        pathlib.Path("/run", name).unlink(missing_ok=True)
    for name, value in LINKS[state].items():
        pathlib.Path("/run", name).write_text(f"{value}\n")
    write_system_database([f"CELL_CONNECTED = {int(state != 'down')}"])


def configure(example):
    shutil.copyfile(EXAMPLES / example / "network.json", INSTALLED)


def cmd_lanfab(*actions):
    for action in actions:
        run(CMD_LANFAB, action)


def let_apply_begin(when):
    """Adds a successful APPLY at this time to the journal."""
    lines = [json.dumps({**JOURNAL, "__REALTIME_TIMESTAMP": str(int((when + second) * 1e6)),
                         "MESSAGE": message}) + "\n"
             for second, message in enumerate(("lanfab APPLY", "cmd_lanfab clear lock"))]
    (play.ANSWERS / "journalctl APPLY").write_text(lines[0])
    (play.ANSWERS / "journalctl _PID=4000001").write_text("".join(lines))


class Files(unittest.TestCase):
    def setUp(self):
        for path in pathlib.Path("/run").iterdir():
            if path.is_file():
                path.unlink()
        for directory in (pathlib.Path(UNITS), BACKUP, INSTALLED.parent):
            shutil.rmtree(directory, ignore_errors=True)
            directory.mkdir()
        (BACKUP / ".wwan_unit_backup").mkdir()
        shutil.rmtree("/run/dnsmasq.conf", ignore_errors=True)
        for answer in play.ANSWERS.glob("journalctl *"):
            answer.unlink()
        # These tests are only about files, not about the kernel and the services.
        self.allow("*")

    @staticmethod
    def allow(what, subjects=("eth*", "br-lan*", "wlan*", "wwan*", "gre-*")):
        ALLOWED.write_text("".join(f"{subject}: {what}\n" for subject in subjects))

    def apply(self, example, link="up"):
        configure(example)
        set_link(link)
        cmd_lanfab("apply")
        age()
        age(INSTALLED.parent)

    def status(self, *options):
        """Returns the exit status and the report as JSON."""
        done = subprocess.run([LANFAB, "status", "--format=json", *options], stdout=subprocess.PIPE,
                              check=False)
        return done.returncode, json.loads(done.stdout)

    def assert_fine(self, about):
        status, report = self.status()
        self.assertEqual((status, report["differences"], report["not_checked"]), (0, [], []), about)


class Divergences(Files):
    def test_each_is_reported_and_ended_by_its_fix(self):
        for divergence in DIVERGENCES if IS_EXHAUSTIVE else sample.stratified(DIVERGENCES, lambda d: d.what):
            with self.subTest(divergence.name):
                self.setUp()
                self.apply(divergence.example, divergence.link)
                self.assert_fine("before")
                self.inject(divergence.shell)
                self.check(divergence)

    def inject(self, shell):
        words = shell.split()
        if words[0] == "link":
            set_link(words[1])
            # Drift after a recent change of the link would be pending.
            for name in LINKS["up"]:
                os.utime(f"/run/{name}", (AN_HOUR_AGO + 60, AN_HOUR_AGO + 60))
        elif words[0] == "configure":
            configure(words[1])
        else:
            run("sh", "-ec", shell)
            age()

    def check(self, divergence):
        status, report = self.status()
        self.assertEqual(status, 1)
        own = [drift for drift in report["differences"] if drift["subject"] == divergence.subject]
        self.assertEqual(len(own), 1, report["differences"])
        self.assertIn(divergence.what, own[0]["what"])
        self.assertTrue(own[0]["why"])
        if divergence.fix:
            self.assertEqual(own[0]["fix"], divergence.fix)
            fixes = {drift["fix"] for drift in report["differences"]}
            for fix in sorted(fixes):
                run("sh", "-c", fix, env=ENVIRONMENT)
            age()
            self.assert_fine("after the fix")


class NoFalseAlarm(Files):
    # The states of the cellular link, one after the other.
    STATES = (["up", "other"], ["down"], ["down", "up"], ["up", "down"], ["up", "down", "other"],
              ["down", "up", "down"], ["up"])

    def test_no_example_in_any_state_of_the_link(self):
        for number, example in enumerate(NAMES):
            for states in self.STATES if IS_EXHAUSTIVE else [self.STATES[number % len(self.STATES)]]:
                with self.subTest(f"{example} {states}"):
                    self.setUp()
                    self.apply(example, states[0])
                    for state in states[1:]:
                        set_link(state)
                        # This action fails without a link.
                        subprocess.run([CMD_LANFAB, "wwan_apply"], check=False)
                        if example.startswith("passthrough"):
                            cmd_lanfab("dnsmasq")
                        age()
                    self.assert_fine("after all")


class Words(Files):
    """Details of a finding besides the name of the file."""

    def setUp(self):
        super().setUp()
        self.apply("router")
        self.unit = pathlib.Path(UNITS, "20-eth0.network")

    def drift(self, expected_status=1):
        """Returns the findings as "subject: what"."""
        status, report = self.status()
        self.assertEqual(status, expected_status, report)
        return [f"{drift['subject']}: {drift['what']}" for drift in report["differences"]]

    @staticmethod
    def spoil(path):
        path.write_text(path.read_text() + "# mine\n")

    def test_a_changed_configuration_is_named_with_its_age(self):
        let_apply_begin(AN_HOUR_AGO)
        INSTALLED.write_text(INSTALLED.read_text().replace("192.168.1.1", "192.168.7.1"))
        os.utime(INSTALLED, (AN_HOUR_AGO + 725, AN_HOUR_AGO + 725))
        drift = self.drift()
        self.assertEqual(drift[0], f"{CONFIGURATION}: it was changed 12 minutes after the last apply")
        self.assertIn("/var/run/systemd/network/20-eth0.network: it is older than the configuration", drift)

    def test_a_touched_configuration_is_no_drift(self):
        let_apply_begin(AN_HOUR_AGO)
        INSTALLED.touch()
        self.assert_fine("touched")

    def test_a_file_that_is_newer_than_the_last_run_was_edited(self):
        let_apply_begin(AN_HOUR_AGO)
        self.spoil(self.unit)
        self.assertEqual(self.drift(), ["/var/run/systemd/network/20-eth0.network: it was edited"])

    def test_new_values_of_the_link_are_pending_for_a_while(self):
        set_link("other")
        path = "/var/run/systemd/network/10-wwan0.network"
        self.assertEqual(self.drift(expected_status=3), [f"{path}: it has old values of the cellular link"])

    def test_everything_is_pending_while_a_run_holds_the_lock(self):
        self.spoil(self.unit)
        self.spoil(INSTALLED.with_name("status.allow"))
        self.allow("*")
        INSTALLED.write_text(INSTALLED.read_text().replace("192.168.1.1", "192.168.7.1"))
        let_apply_begin(AN_HOUR_AGO)
        shutil.copy("/bin/sleep", "/run/cmd_lanfab")
        pathlib.Path("/run/LANFAB_LOCKED").touch()
        # A run that holds the lock catches or ignores SIGTERM; a waiting run does not.
        with subprocess.Popen(["sh", "-c", "trap '' TERM; exec /run/cmd_lanfab 1000"],
                              stdout=subprocess.PIPE) as process:
            while os.readlink(f"/proc/{process.pid}/exe") != "/run/cmd_lanfab":
                os.sched_yield()
            _, report = self.status()
            process.kill()
        own = [drift for drift in report["differences"] if drift["subject"] != "lock"]
        self.assertTrue(own)
        for drift in own:
            self.assertEqual((drift["pending"], drift["fix"]), (True, ""), drift)


class Limits(Files):
    """Dry runs that fail, and files that the user cannot read."""

    def setUp(self):
        super().setUp()
        self.apply("router")

    def status_with(self, script):
        """Runs `lanfab status` with this script as cmd_lanfab, or without cmd_lanfab if the script is empty.

        Returns the exit status, the differences and the checks that were skipped.
        """
        directory = pathlib.Path("/run/tools")
        shutil.rmtree(directory, ignore_errors=True)
        directory.mkdir()
        shutil.copy(LANFAB, directory)
        if script:
            (directory / "cmd_lanfab").write_text(f"#!/bin/sh\n{script}\n")
            (directory / "cmd_lanfab").chmod(0o755)
        done = subprocess.run([directory / "lanfab", "status", "--format=json"], stdout=subprocess.PIPE,
                              check=False)
        shutil.rmtree(directory)
        report = json.loads(done.stdout)
        return done.returncode, [drift["what"] for drift in report["differences"]], report["not_checked"]

    def test_a_run_that_fails_is_reported(self):
        self.assertEqual(self.status_with("exit 3"), (1, ["a dry run fails with the exit status 3"], []))
        status, drift, _ = self.status_with("kill -9 $$")
        self.assertEqual((status, drift), (1, ["a dry run is ended by a signal: Killed"]))

    def test_a_run_that_does_not_end_is_not_compared(self):
        began = time.monotonic()
        status, drift, not_checked = self.status_with("exec sleep 1000")
        self.assertEqual((status, drift), (0, []))
        self.assertEqual(not_checked, ["the files: the run was stopped: it took longer than 10 s"])
        self.assertLess(time.monotonic() - began, 60)

    def test_without_cmd_lanfab_the_files_are_not_checked(self):
        status, drift, not_checked = self.status_with("")
        self.assertEqual((status, drift), (0, []))
        self.assertRegex(not_checked[0], "^the files: .* neither beside this program nor in PATH$")

    def as_another_user(self):
        """Returns the exit status and the report for an unprivileged user."""
        done = subprocess.run([*ANOTHER_USER, LANFAB, "status", "--format=json"],
                              stdout=subprocess.PIPE, check=False)
        return done.returncode, json.loads(done.stdout)

    def test_a_file_that_this_user_may_not_read_is_not_missing(self):
        pathlib.Path(UNITS, "20-eth0.network").chmod(0)
        _, report = self.as_another_user()
        self.assertIn("/var/run/systemd/network/20-eth0.network: Permission denied", report["not_checked"])
        self.assertEqual(report["differences"], [])

    def test_a_configuration_that_this_user_may_not_read_is_not_checked(self):
        INSTALLED.chmod(0)
        status, report = self.as_another_user()
        self.assertEqual((status, report["differences"]), (0, []))
        self.assertEqual(report["not_checked"], [f"the files: {CONFIGURATION}: Permission denied"])


class Allowed(Files):
    def setUp(self):
        super().setUp()
        self.apply("router")
        pathlib.Path(UNITS, "99-vpn.network").write_text("[Match]\n")

    def test_an_allowed_file_is_no_drift(self):
        self.allow("*", ("*",))
        status, report = self.status()
        self.assertEqual((status, report["differences"]), (0, []))
        self.assertIn("/var/run/systemd/network/99-vpn.network",
                      [drift["subject"] for drift in report["allowed"]])

    def test_a_line_that_allows_nothing_is_drift(self):
        self.allow("*", ("eth*", "wlan*", "wwan*", "/var/run/*"))
        ALLOWED.write_text(ALLOWED.read_text() + "99-vpn.network\n")
        status, report = self.status()
        self.assertEqual((status, [drift["what"] for drift in report["differences"]]),
                         (1, ['line 5 is not "SUBJECT: TEXT"']))

    def test_a_file_that_is_too_large_allows_nothing(self):
        ALLOWED.write_text("*: *\n" * 20_000)
        status, report = self.status()
        self.assertEqual(status, 1)
        self.assertEqual(report["differences"][-1]["what"], "it is larger than 64 KiB")

    def test_a_directory_allows_nothing(self):
        ALLOWED.unlink()
        ALLOWED.mkdir()
        _, report = self.status()
        self.assertEqual(report["not_checked"], [f"{ALLOWED}: Is a directory"])


class Trial(Files):
    """Alarms for a trial that systemd may not end in time."""

    def setUp(self):
        super().setUp()
        self.apply("router")
        self.state = pathlib.Path("/run/lanfab/trial.json")
        shutil.rmtree(self.state.parent, ignore_errors=True)
        self.state.parent.mkdir()
        shutil.copyfile(INSTALLED, self.state.with_name("network.json"))
        self.addCleanup(shutil.rmtree, self.state.parent)
        self.begin(ends=80)
        self.answer("timer", "active")
        self.answer("service", "inactive")
        self.answer("service", "active", unit="lanfab-guard")

    def begin(self, ends):
        now = int(time.monotonic())
        self.state.write_text(json.dumps({"who": "anna", "file": "new.json", "began": now - 40,
                                          "ends": now + ends, "id": "1", "path": "", "entry": ""}))

    def answer(self, kind, state, unit="lanfab-revert"):
        answer = play.ANSWERS / f"systemctl {unit}.{kind}"
        answer.write_text(f"{state}\n")
        self.addCleanup(answer.unlink, missing_ok=True)

    def drift(self):
        _, report = self.status()
        return [f"{drift['subject']}: {drift['what']}; {drift['fix']}" for drift in report["differences"]]

    def test_a_trial_with_its_timer_is_no_alarm(self):
        self.assertEqual(self.drift(), [])

    def test_a_lost_timer(self):
        self.answer("timer", "inactive")
        self.assertEqual(self.drift(), ["trial: its timer is gone; lanfab revert"])

    def test_an_overdue_trial(self):
        self.begin(ends=-600)
        self.assertRegex(self.drift()[0], "^trial: it has been overdue for 60[0-9] s; lanfab revert$")

    def test_a_lost_state(self):
        self.state.unlink()
        self.assertEqual(self.drift(), ["trial: its state is missing or damaged; lanfab revert"])

    def test_a_state_that_this_user_may_not_read(self):
        self.state.chmod(0)
        done = subprocess.run([*ANOTHER_USER, LANFAB, "status", "--format=json"],
                              stdout=subprocess.PIPE, check=False)
        self.assertEqual(json.loads(done.stdout)["not_checked"], ["the trial: only root may read its state"])

    def test_systemd_that_does_not_answer(self):
        self.answer("timer", "what?")
        _, report = self.status()
        self.assertRegex(report["not_checked"][0], "^the timer of the trial: .*does not print the state")


class Plugin(Files):
    """The output line and the exit status for a monitoring system."""

    def plugin(self):
        done = subprocess.run([LANFAB, "status", "--format", "nagios"], stdout=subprocess.PIPE, text=True,
                              check=False)
        return done.returncode, done.stdout

    def test_its_line_and_status(self):
        self.apply("router")
        status, line = self.plugin()
        self.assertEqual(status, 0)
        self.assertRegex(line, r"^LANFAB OK - no drift \| drift=0 pending=0 allowed=\d+\n$")
        pathlib.Path("/run/resolv.conf").unlink()
        status, line = self.plugin()
        self.assertEqual(status, 2)
        self.assertRegex(line, r"^LANFAB CRITICAL - /var/run/resolv.conf: it is missing \| drift=1 ")

    def test_without_a_gateway_it_is_unknown(self):
        self.assertEqual(self.plugin(), (3, "LANFAB UNKNOWN - this machine has not been configured by "
                                            "cmd_lanfab\n"))


if __name__ == "__main__":
    play.lay_answers({})
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/etc"], check=True)
    INSTALLED.parent.mkdir()
    pathlib.Path("/etc/hosts").write_text("127.0.0.1 localhost\n")
    unittest.main(argv=[word for word in sys.argv if word != "--exhaustive"])
