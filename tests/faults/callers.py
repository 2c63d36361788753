"""Runs the program under different callers, inside the sandbox, and checks that the outcome is the same.

Also sends signals to runs that wait for the lock of another run, and to a run that is acquiring the lock.
"""

import os
import pathlib
import re
import signal
import subprocess

from faults import gateway, invariants, worker
from lib.limits import HANG_SECONDS
from lib.sandbox import lay

WAITS = re.compile("is locked, waiting")


def ignore_children():
    signal.signal(signal.SIGCHLD, signal.SIG_IGN)


def block_all_signals():
    signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())


def close_standard_streams():
    os.closerange(0, 3)


def unread_pipe():
    reader, writer = os.pipe()
    os.close(reader)
    return writer


CALLERS = {
    "ignores SIGCHLD": {"preexec_fn": ignore_children},
    "blocks all signals": {"preexec_fn": block_all_signals},
    "has no standard streams": {"preexec_fn": close_standard_streams},
    "has a umask of 077": {"umask": 0o077},
    "does not read standard output": {"stdout": unread_pipe()},
}


def play_callers(laid, before):
    """Yields the differences between the outcome under each caller and the usual one."""
    runs = worker.Worker(laid, before)
    for action in worker.ACTIONS:
        reference = runs.reference(action)
        for name, caller in CALLERS.items():
            outcome = runs.run_on(before, action, **caller)
            wrong = invariants.wrong_things(outcome, reference) + invariants.new_lines(outcome, reference)
            if outcome.status != 0 or wrong:
                yield f"{action}, whose caller {name}, ends with {outcome.status}; wrong: {', '.join(wrong)}"


def play_waiting_runs(laid, before):
    """Yields an error for each signal that does not end a waiting run, or that has another effect."""
    lock = pathlib.Path(gateway.LOCK)
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        lay(before)
        lock.touch()
        run = subprocess.Popen([laid.program, "dnsmasq"], env=laid.environment("new", "waiting"))
        lines = []
        if not laid.syslog.follow(lines, os.pidfd_open(run.pid), lambda: any(map(WAITS.search, lines))):
            yield "a run does not wait for the lock"
        run.send_signal(number)
        if run.wait(HANG_SECONDS) != -number:
            yield f"a waiting run ends with {run.returncode} instead of {number.name}"
        if not lock.exists():
            yield f"a waiting run that ends by {number.name} deletes the lock of another one"


# Replaces touch: sends SIGTERM to the run and kills the shell between the two. Creates the lock file after
# the run has started to wait for the touch, or has exited.
LATE_TOUCH = """#!/bin/sh
run=$(cut -d " " -f 4 "/proc/$PPID/stat")
kill -TERM "$run"
kill -KILL $PPID
while kill -0 $PPID 2>/dev/null; do :; done
while state=$(cut -d " " -f 3 "/proc/$run/stat" 2>/dev/null) && [ "$state" = R ]; do :; done
: >"$1"
"""


def play_late_touch(laid, before):
    """Yields an error if a run leaves a lock because its shell exits before the touch that it started."""
    lay(before)
    stub = laid.scratch / "touch"
    stub.write_text(LATE_TOUCH)
    stub.chmod(0o755)
    subprocess.run(["mount", "--bind", stub, "/bin/touch"], check=True)
    run = subprocess.Popen([laid.program, "dnsmasq"], env=laid.environment("new", "late touch"),
                           stdout=subprocess.PIPE)
    # Waits for the touch, too, which also has standard output open.
    run.communicate(timeout=HANG_SECONDS)
    if run.returncode != -signal.SIGTERM:
        yield f"a run whose touch is late ends with {run.returncode}"
    subprocess.run(["umount", "/bin/touch"], check=True)
    if os.path.exists(gateway.LOCK):
        yield "a late touch leaves the lock behind"


def play(arguments):
    """Yields the errors."""
    laid = gateway.Gateway(arguments.program)
    before = laid.prepare()
    yield from play_callers(laid, before)
    yield from play_waiting_runs(laid, before)
    yield from play_late_touch(laid, before)
    print(f"{len(CALLERS)} callers and 3 signals to waiting runs, and a late touch")
