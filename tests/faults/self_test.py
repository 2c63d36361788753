"""Checks, inside the sandbox, that each mutation of the program is detected.

The effect of each mutation is judged as that of a disturbed run in CI's sample, so the sample must have a run
in which it can happen.
"""

import errno
import pathlib
import signal

from faults import gateway, simultaneous, worker
from lib.checkout import TESTS


def is_sent(job):
    """Whether sending a log line or a DNS query fails."""
    return job.how == "error" and job.point.is_main and job.point.name == "sendto"


def is_write_of_hosts(job):
    return job.how == "error" and job.point.is_main and (job.point.name, job.point.object) == HOSTS_WRITE


def is_opened_by_loader(job):
    return job.point.phase == "loader" and job.point.name == "openat"


def is_term(job):
    return job.point.is_main and not job.is_late and (job.how, job.number) == ("signal", signal.SIGTERM)


HOSTS_WRITE = ("write", "/run/hosts")

# Each mutation: its name, the action, the disturbed runs in which it can happen, and the invariant that must
# detect it.
MUTATIONS = [
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
# Time limit for the endless hang.
SECONDS_OF_HANG = 2


def sampled(laid, before):
    """Returns the jobs of CI's sample with the actions of the mutations."""
    listing = worker.Worker(laid, before)
    actions = sorted({action for _, action, _, _ in MUTATIONS})
    return [job for kind in ("faults", "signals") for job in worker.sampled_jobs(listing, kind, actions)]


def play_mutations(mutated):
    """Yields the mutations that were not detected."""
    mutated.additional_environment = {"MUTATED_PROGRAM": mutated.program, "MUTATION": ""}
    before = mutated.prepare()
    jobs = sampled(mutated, before)
    mutated.program = str(TESTS / "faults" / "mutant")
    for name, action, is_possible, invariant in MUTATIONS:
        job = next((job for job in jobs if job.action == action and is_possible(job)), None)
        if job is None:
            yield f"{name}: not possible in any run of the sample"
            continue
        mutated.additional_environment["MUTATION"] = name
        playing = worker.Worker(mutated, before)
        playing.reference(action)
        mutated.time_limit = SECONDS_OF_HANG if name == "hang" else gateway.HANG_SECONDS
        outcome = playing.run_on(before, action, stage="disturbed")
        mutated.time_limit = gateway.HANG_SECONDS
        found = {violation.invariant for violation in playing.judge(job, outcome)}
        print(f"{name}, {worker.describe(job)}: {', '.join(sorted(found)) or 'nothing'}")
        if invariant not in found:
            yield f"{name}: not detected by the invariant {invariant}"
    mutated.additional_environment["MUTATION"] = "nothing"
    playing = worker.Worker(mutated, before)
    harmless = next(job for job in jobs if job.action == "dnsmasq" and is_sent(job))
    if playing.judge(harmless, playing.run_on(before, "dnsmasq", stage="disturbed")):
        yield "a run without a fault violates an invariant"


def play_tracer(tracer):
    """Disturbs `dd`, which copies blocks of 1000 bytes; yields the disturbances with an unexpected effect."""
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
            yield f"dd with {how}: unexpected status {ended} or size {written}"


def play_overlaps():
    if simultaneous.overlaps([(1, "set"), (1, "clear"), (2, "set"), (2, "clear")]):
        yield "consecutive runs are reported as an overlap"
    if simultaneous.overlaps([(1, "set"), (2, "set"), (1, "clear"), (2, "clear")]) != [(1, 2)]:
        yield "an overlap is not reported"


def play(arguments):
    """Yields the failures of the self-test."""
    laid = gateway.Gateway(arguments.program)
    yield from play_overlaps()
    yield from play_tracer(laid.tracer)
    yield from play_mutations(laid)
