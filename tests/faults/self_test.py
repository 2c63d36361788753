"""Plants one violation after the other and demands that each is noticed, inside the sandbox.

Each is planted in a run of the sample that CI makes, so the sample must have a run in which it can happen.
"""

import errno
import pathlib
import signal

from faults import gateway, simultaneous, worker
from lib.checkout import TESTS


def is_sent(job):
    """A line is not logged, or a name not asked for."""
    return job.how == "error" and job.point.is_main and job.point.name == "sendto"


def is_write_of_hosts(job):
    return job.how == "error" and job.point.is_main and (job.point.name, job.point.object) == HOSTS_WRITE


def is_opened_by_loader(job):
    return job.point.phase == "loader" and job.point.name == "openat"


def is_term(job):
    return job.point.is_main and not job.is_late and (job.how, job.number) == ("signal", signal.SIGTERM)


HOSTS_WRITE = ("write", "/run/hosts")

# What is planted, the action, the disturbed runs in which it can happen, and the invariant that has to notice
# it.
PLANTS = [
    ("wrong-file", "dnsmasq", is_sent, "status"),
    ("lost-command", "dnsmasq", is_sent, "status"),
    ("database", "dnsmasq", is_sent, "status"),
    ("part-of-unit", "wwan_apply", is_sent, "part"),
    ("part-of-dnsmasq", "dnsmasq", is_sent, "part"),
    ("lock", "dnsmasq", is_sent, "lock"),
    ("said", "dnsmasq", is_write_of_hosts, "said"),
    ("silent", "dnsmasq", is_sent, "said"),
    ("end", "dnsmasq", is_sent, "end"),
    ("loader", "dnsmasq", is_opened_by_loader, "end"),
    ("hang", "dnsmasq", is_sent, "hang"),
    ("next", "dnsmasq", is_sent, "next"),
    ("signal-ignored", "dnsmasq", is_term, "end"),
    ("signal-lock", "dnsmasq", is_term, "lock"),
    ("signal-commands", "dnsmasq", is_term, "commands"),
    ("signal-part", "dnsmasq", is_term, "part"),
]
# The planted hang is endless, so its run can be ended at once.
SECONDS_OF_HANG = 2


def sampled(laid, before):
    """The jobs of the sample in the actions of the plants."""
    listing = worker.Worker(laid, before)
    actions = sorted({action for _, action, _, _ in PLANTS})
    return [job for kind in ("faults", "signals") for job in worker.sampled_jobs(listing, kind, actions)]


def play_plants(planted):
    """Yields what was planted and not noticed."""
    planted.additional_environment = {"PLANTED_PROGRAM": planted.program, "PLANT": ""}
    before = planted.prepare()
    jobs = sampled(planted, before)
    planted.program = str(TESTS / "faults" / "planted")
    for name, action, is_possible, invariant in PLANTS:
        job = next((job for job in jobs if job.action == action and is_possible(job)), None)
        if job is None:
            yield f"{name}: it can happen in no run of the sample"
            continue
        planted.additional_environment["PLANT"] = name
        playing = worker.Worker(planted, before)
        playing.reference(action)
        planted.time_limit = SECONDS_OF_HANG if name == "hang" else gateway.HANG_SECONDS
        outcome = playing.run_on(before, action, stage="disturbed")
        planted.time_limit = gateway.HANG_SECONDS
        found = {violation.invariant for violation in playing.judge(job, outcome)}
        print(f"{name}, {worker.describe(job)}: {', '.join(sorted(found)) or 'nothing'}")
        if invariant not in found:
            yield f"{name}: {invariant} did not notice it"
    planted.additional_environment["PLANT"] = "nothing"
    playing = worker.Worker(planted, before)
    harmless = next(job for job in jobs if job.action == "dnsmasq" and is_sent(job))
    if playing.judge(harmless, playing.run_on(before, "dnsmasq", stage="disturbed")):
        yield "a run without a fault does not pass"


def play_tracer(tracer):
    """Yields what the tracer did not do to `dd`, which reads and writes blocks of 1000 bytes."""
    command = ["/bin/dd", "if=/dev/zero", "of=/dev/shm/target", "bs=1000", "count=2", "status=none"]
    _, _, report = gateway.trace(tracer, "--", *command)
    target = pathlib.Path("/dev/shm/target")
    calls = [line.split("\t") for line in report if line.startswith("call")]
    write = next(fields[2] for fields in calls if fields[4] == "write")
    read = next(fields[2] for fields in calls if fields[4] == "read" and fields[6] == "/dev/zero")
    for call, how, status, size in (
            (write, f"error:{errno.ENOSPC}", 1, 0),
            (write, f"late:{errno.EIO}", 1, 1000),
            (write, "short:0", 0, 2000),
            (write, f"torn:{errno.ENOSPC}", 1, 500),
            (read, f"torn:{errno.EIO}", 1, 500),
            (write, f"signal:{int(signal.SIGTERM)}", -signal.SIGTERM, None),
            (write, f"group:{int(signal.SIGINT)}", -signal.SIGINT, None)):
        target.unlink(missing_ok=True)
        ended, _, _ = gateway.trace(tracer, "--at", f"0:{call}", "--disturb", how, "--", *command)
        written = target.stat().st_size
        print(f"dd with {how}: status {ended}, {written} bytes")
        if ended != status or size not in (None, written):
            yield f"{how} makes dd end with {ended} and {written} bytes"


def play_overlaps():
    if simultaneous.overlaps([(1, "set"), (1, "clear"), (2, "set"), (2, "clear")]):
        yield "runs one after the other count as an overlap"
    if simultaneous.overlaps([(1, "set"), (2, "set"), (1, "clear"), (2, "clear")]) != [(1, 2)]:
        yield "an overlap is not noticed"


def play(arguments):
    """Yields what was not noticed."""
    laid = gateway.Gateway(arguments.program)
    yield from play_overlaps()
    yield from play_tracer(laid.tracer)
    yield from play_plants(laid)
