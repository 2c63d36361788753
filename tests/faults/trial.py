"""Makes every call of `lanfab confirm` and `lanfab try` fail once, and kills the process once at every call.

After `confirm`, the installed file is the complete old or new configuration, for a run and for the next boot.
If the trial continues, it can be confirmed, and its timer activates the configuration that the next boot
uses. Each entry of the history is complete or absent. After `try`, the old configuration is active, or the
timer that restores it is running.
"""

import errno
import hashlib
import json
import os
import pathlib
import shutil
import signal
import subprocess

from faults import gateway, points, worker
from lib.fake_systemd import (APPLIED, ENVIRONMENT, INSTALLED, INSTALLED_COPY, PREVIOUS, STATE, TARGET, TIMER,
                              TRIAL, UNITS, active, end_trial, is_trial_active, lay_out, pretend_apply)

NEW_FILE = pathlib.Path("/run/new.json")
HISTORY = pathlib.Path("/var/lib/lanfab/history")
# The file that is mounted on the installed one. BELOW is the content of the file under the mount.
MOUNTED = pathlib.Path("/run/data/network.json")
BELOW, OLDER, OLD, NEW = ('{"is": "' + word * 3000 + '"}\n' for word in ("below", "older", "old", "new"))


def lay():
    """Sets up a gateway whose active configuration is the old one."""
    while subprocess.run(["umount", INSTALLED], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        pass
    end_trial()
    shutil.rmtree(HISTORY, ignore_errors=True)
    APPLIED.write_text("", encoding="utf-8")
    for directory in (INSTALLED.parent, UNITS):
        for path in directory.iterdir():
            path.unlink()
    INSTALLED.write_text(OLD, encoding="utf-8")
    INSTALLED.chmod(0o640)
    NEW_FILE.write_text(NEW, encoding="utf-8")
    pretend_apply()


def lay_trial():
    """Sets up an active trial."""
    lay()
    TARGET.parent.mkdir()
    for path, text in ((PREVIOUS, OLDER), (TRIAL, NEW), (INSTALLED_COPY, OLD), (TARGET, OLD)):
        path.write_text(text, encoding="utf-8")
    state = {"who": "anna", "file": "new.json", "began": 1, "ends": 2, "id": "7", "path": str(INSTALLED),
             "entry": str(INSTALLED), "sha256": hashlib.sha256(NEW.encode()).hexdigest()}
    STATE.write_text(json.dumps(state), encoding="utf-8")
    TIMER.write_text("", encoding="utf-8")
    pretend_apply()


def lay_mounted_trial():
    """Sets up an active trial; the installed file is mounted from a data partition."""
    lay_trial()
    MOUNTED.parent.mkdir(exist_ok=True)
    for path in MOUNTED.parent.iterdir():
        path.unlink()
    for path in INSTALLED, PREVIOUS:
        shutil.copy(path, MOUNTED.parent)
    PREVIOUS.unlink()
    INSTALLED.write_text(BELOW, encoding="utf-8")
    subprocess.run(["mount", "--bind", MOUNTED, INSTALLED], check=True)
    STATE.write_text(STATE.read_text(encoding="utf-8").replace(f'"entry": "{INSTALLED}"',
                                                               f'"entry": "{MOUNTED}"'), encoding="utf-8")


def violations_of_history(status):
    """Checks that each entry of the history is complete or absent."""
    names = os.listdir(HISTORY) if HISTORY.exists() else []
    entries = [HISTORY / name for name in names if name.endswith(".txt")]
    for entry in entries:
        head, _, rest = entry.read_bytes().partition(b"\n")
        if head.decode() != f"lanfab-history 1 {hashlib.sha256(rest).hexdigest()}" or rest.count(b"\n") != 5:
            yield f"the entry {entry.name} of the history is damaged"
    if status >= 0 and "new" in names:
        yield "a file is left in the history"


class Confirm:
    """Runs of `lanfab confirm`."""

    words = ("confirm",)
    lay = staticmethod(lay_trial)
    # The real path of the installed file, which the next boot reads.
    entry = INSTALLED

    def __init__(self, directory):
        self.tracer = directory / "fault_tracer"
        self.lanfab = directory / "cli" / "lanfab"
        self.command = (self.lanfab, *self.words)

    def run(self, *disturbance):
        """Returns the exit status (negative after a signal), the output, and the report."""
        return gateway.trace(self.tracer, *disturbance, "--", *self.command, env=ENVIRONMENT)

    def jobs(self):
        """Yields a job for each disturbance of each call of lanfab itself."""
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
        """Yields all violations after a disturbed run."""
        self.lay()
        status, said, report = self.run(*worker.disturbance(job))
        if not any(line.startswith("disturbed\t") for line in report):
            yield "nothing was disturbed"
        yield from self.violations(status, said)
        yield from self.violations_of_end(job)

    def violations_of_end(self, job):
        """Checks that an active trial can be confirmed, or is ended by its timer."""
        if STATE.exists() and is_trial_active() and job.how != "signal":
            following = Confirm(self.tracer.parent)
            following.entry = self.entry
            status, said, _ = following.run()
            for violation in following.violations(status, said):
                yield f"the next one: {violation}"
            if status != 0:
                yield f"the next one: status {status}: {said}"
        elif TIMER.exists():
            kept, is_state_left = self.entry.read_text(), STATE.exists()
            command = [self.lanfab, "revert", "--timer"]
            if subprocess.run(command, env=ENVIRONMENT, check=False, capture_output=True).returncode != 0:
                yield "the timer fails"
            if active() != kept or self.entry.read_text() != kept:
                yield "what the timer leaves active is not what the next boot finds"
            # If the state was already missing, the timer may remain: it has nothing to do.
            if STATE.exists() or (is_state_left and TIMER.exists()):
                yield "the timer does not end the trial"

    @staticmethod
    def first(_):
        """Returns the index of the first call that is disturbed."""
        return 0

    def violations(self, status, said):
        kept, previous = self.entry.read_text(), pathlib.Path(f"{self.entry}.previous").read_text()
        # The configuration that becomes the previous one when it is next read.
        waiting = pathlib.Path(f"{self.entry}.previous.new")
        is_left = is_trial_active() or STATE.exists() or TIMER.exists()
        if active() != NEW:
            yield "a run does not see the new configuration"
        if kept not in (OLD, NEW):
            yield "the next boot finds neither"
        if previous not in (OLDER, OLD) or previous == kept:
            yield "the previous one is lost"
        if kept == NEW and previous == OLDER and not (waiting.exists() and waiting.read_text() == OLD):
            yield "what was installed before is lost"
        if kept == OLD and not (is_trial_active() and TIMER.exists() and STATE.exists()):
            yield "the old one is installed, but the trial does not go on"
        if is_trial_active() and not TIMER.exists():
            yield "the trial is active, but nothing ends it"
        if kept == NEW and self.entry.stat().st_mode & 0o777 != 0o640:
            yield "the installed file has another mode"
        if status == 0 and (is_left or not INSTALLED.samefile(self.entry)):
            yield "success, but the trial has not ended"
        if status == 0 and kept != NEW:
            yield "success, but the next boot finds the old one"
        if status > 0 and not said:
            yield "a failure without a message"
        if status >= 0 and kept == NEW and len(os.listdir(self.entry.parent)) != 2 + waiting.exists():
            yield f"left behind: {os.listdir(self.entry.parent)}"
        yield from violations_of_history(status)
        if status == 0 and "to the history" not in said and len(os.listdir(HISTORY)) != 1:
            yield "success, but not in the history"


class ConfirmMounted(Confirm):
    """Runs of `lanfab confirm` with the installed file as a mount point."""

    lay = staticmethod(lay_mounted_trial)
    entry = MOUNTED


class Try(Confirm):
    """Runs of `lanfab try` without the final verification of the gateway."""

    words = ("try", "--force", "--no-verify", NEW_FILE)
    lay = staticmethod(lay)

    @staticmethod
    def first(calls):
        """Returns the index of the first call after the dry run: earlier calls do not change the gateway."""
        return next(place for place, call in enumerate(calls) if call.object == str(TRIAL.parent))

    def violations(self, status, said):
        if is_trial_active() and not (TIMER.exists() and STATE.exists()):
            yield "the new configuration is active without a rollback"
        applied = APPLIED.read_text(encoding="utf-8")
        if applied.endswith(NEW) and not is_trial_active():
            yield "applied, but the old configuration is active"
        if INSTALLED.read_text() != OLD:
            yield "the next boot does not use the old configuration"
        if status > 0 and not is_trial_active() and STATE.exists():
            yield "the state of a trial without a trial"
        if status == 0 and not (is_trial_active() and applied == NEW):
            yield "success without a trial"
        if status > 0 and not said:
            yield "a failure without a message"


class VerifiedTry(Try):
    """Runs of `lanfab try` with the final verification of the gateway."""

    words = ("try", "--force", NEW_FILE)


def kinds_of(arguments):
    """Returns the classes of disturbed runs."""
    if arguments.kind == "confirm":
        return Confirm, ConfirmMounted
    return (Try, VerifiedTry) if arguments.exhaustive else (Try,)


def play(arguments):
    """Yields the violations."""
    lay_out()
    number = 0
    for kind in kinds_of(arguments):
        runs = kind(pathlib.Path(arguments.program).parent)
        jobs = [job for job in runs.jobs() if worker.matches(job, arguments)]
        # Most of these runs wait for a service, so CI plays only every ninth job of `lanfab try`.
        if kind is Try and not (arguments.exhaustive or arguments.at or arguments.disturb):
            jobs = jobs[::9]
        number += len(jobs)
        for job in jobs:
            for violation in runs.play(job):
                yield f"{kind.__name__}: {worker.describe(job)}: {violation}"
    if number == 0:
        raise SystemExit(worker.NO_SUCH_CALL)
    print(f"{number} runs of lanfab {arguments.kind} disturbed")
