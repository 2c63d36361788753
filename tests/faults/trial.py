"""Every call of `lanfab confirm` or `lanfab try` fails once, and every one is once the last.

After `confirm` the installed file is the old configuration or the new one, whole, as a run sees it and as the
next boot finds it. After `try` the old one is active, or the timer runs that restores it.
"""

import errno
import os
import pathlib
import signal
import subprocess

from faults import gateway, points, worker
from lib.fake_systemd import (APPLIED, ENVIRONMENT, INSTALLED, PREVIOUS, STATE, TIMER, TRIAL, UNITS,
                              end_trial, installed_on_disk, is_trial_active, lay_out)

NEW_FILE = pathlib.Path("/run/new.json")
OLDER, OLD, NEW = ('{"is": "' + word * 3000 + '"}\n' for word in ("older", "old", "new"))


def lay():
    """The old configuration is active."""
    while end_trial():
        pass
    APPLIED.write_text("", encoding="utf-8")
    for directory in (INSTALLED.parent, TRIAL.parent, UNITS):
        for path in directory.iterdir():
            path.unlink()
    INSTALLED.write_text(OLD, encoding="utf-8")
    INSTALLED.chmod(0o640)
    NEW_FILE.write_text(NEW, encoding="utf-8")


def lay_trial():
    """A trial under way."""
    lay()
    for path, text in ((PREVIOUS, OLDER), (TRIAL, NEW), (TIMER, "")):
        path.write_text(text, encoding="utf-8")
    STATE.write_text('{"who": "anna", "file": "new.json", "began": 1, "ends": 2}', encoding="utf-8")
    subprocess.run(["mount", "--bind", TRIAL, INSTALLED], check=True)
    subprocess.run(["mount", "-o", "remount,bind,ro", INSTALLED], check=True)


class Confirm:
    """Runs of `lanfab confirm`."""

    words = ("confirm",)
    lay = staticmethod(lay_trial)

    def __init__(self, directory):
        self.tracer = directory / "fault_tracer"
        self.command = (directory / "cli" / "lanfab", *self.words)

    def run(self, *disturbance):
        """Returns the status, which is negative after a signal, what was said, and the report."""
        return gateway.trace(self.tracer, *disturbance, "--", *self.command, env=ENVIRONMENT)

    def jobs(self):
        """Every call of lanfab itself, with each way to disturb it."""
        self.lay()
        status, said, report = self.run()
        if status != 0 or list(self.violations(status, said)):
            raise SystemExit(f"fails without a fault: {status} {said} {list(self.violations(status, said))}")
        calls = [point for point in points.read_list(worker.by_process(report)) if point.is_main]
        for point in calls[self.first(calls):]:
            faults = points.faults_of("write") if point.name == "write" else [("error", "EIO")]
            yield points.Job(self.words[0], point, "signal", signal.SIGKILL)
            for how, error in faults if point.name != "exit_group" else ():
                yield points.Job(self.words[0], point, how, getattr(errno, error) if error else 0)

    def play(self, job):
        """Yields everything that does not hold after one disturbed run."""
        self.lay()
        status, said, report = self.run(*worker.disturbance(job))
        if not any(line.startswith("disturbed\t") for line in report):
            yield "nothing was disturbed"
        yield from self.violations(status, said)
        # What goes on can be confirmed, whatever the disturbed run has left.
        if is_trial_active():
            following = Confirm(self.tracer.parent)
            status, said, _ = following.run()
            for violation in following.violations(status, said):
                yield f"the next one: {violation}"
            if status != 0:
                yield f"the next one: status {status}: {said}"

    @staticmethod
    def first(_):
        """Returns the place in the list of the first call that is disturbed."""
        return 0

    @staticmethod
    def violations(status, said):
        return violations_of_confirm(status, said)


class Try(Confirm):
    """Runs of `lanfab try`."""

    words = ("try", "--force", NEW_FILE)
    lay = staticmethod(lay)

    @staticmethod
    def first(calls):
        """Before, nothing of the gateway is touched: there is only what `lanfab diff` does, too."""
        return next(place for place, call in enumerate(calls) if call.object == str(TRIAL.parent))

    @staticmethod
    def violations(status, said):
        is_bound = is_trial_active()
        if is_bound and not (TIMER.exists() and STATE.exists()):
            yield "the new configuration is active without a rollback"
        applied = APPLIED.read_text(encoding="utf-8")
        if applied.endswith(NEW) and not is_bound:
            yield "applied, but the old configuration is active"
        if installed_on_disk() != OLD:
            yield "the next boot does not find the old configuration"
        if status > 0 and not is_bound and STATE.exists():
            yield "there is no trial, but its state"
        if status == 0 and not (is_bound and applied == NEW):
            yield "success without a trial"
        if status > 0 and not said:
            yield "a failure that is not explained"


def violations_of_confirm(status, said):
    seen, kept, previous = INSTALLED.read_text(), installed_on_disk(), PREVIOUS.read_text()
    is_bound = is_trial_active()
    if seen != NEW:
        yield "a run does not see the new configuration"
    if kept not in (OLD, NEW):
        yield "the next boot finds neither"
    if previous not in (OLDER, OLD) or (kept == NEW and previous != OLD):
        yield "the previous one is lost"
    if kept == OLD and not (is_bound and TIMER.exists() and STATE.exists()):
        yield "the old one is installed, but the trial does not go on"
    if kept == NEW and is_bound:
        yield "the new one is installed, but the trial goes on"
    if kept == NEW and INSTALLED.stat().st_mode & 0o777 != 0o640:
        yield "the installed file has another mode"
    if status == 0 and kept != NEW:
        yield "success, but the next boot finds the old one"
    if status == 0 and (STATE.exists() or TIMER.exists()):
        yield "success, but the trial has not ended"
    if status > 0 and not said:
        yield "a failure that is not explained"
    if status >= 0 and kept == NEW and len(os.listdir(INSTALLED.parent)) != 2:
        yield f"left behind: {os.listdir(INSTALLED.parent)}"


def play(arguments):
    """Yields what does not hold."""
    lay_out()
    runs = {"confirm": Confirm, "try": Try}[arguments.kind](pathlib.Path(arguments.program).parent)
    jobs = [job for job in runs.jobs() if worker.matches(job, arguments)]
    if not jobs:
        raise SystemExit(worker.NO_SUCH_CALL)
    for job in jobs:
        for violation in runs.play(job):
            yield f"{worker.describe(job)}: {violation}"
    print(f"{len(jobs)} runs of lanfab {arguments.kind} disturbed")
