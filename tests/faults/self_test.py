"""Plants one violation after the other and demands that each is noticed, inside the sandbox."""

import argparse
import errno
import os
import pathlib
import signal
import subprocess
import sys

import gateway
import invariants
import points
import simultaneous
import worker

HERE = pathlib.Path(__file__).resolve().parent

HARMLESS = points.Point(0, 9, "program", "sendto", 0, "socket", "the program", True, True, False)
WRITE = HARMLESS._replace(name="write", object="/run/hosts")
LOADER = HARMLESS._replace(phase="loader", name="openat", object="/lib")
FAULT = points.Job("dnsmasq", HARMLESS, "error", errno.ENOBUFS)
TERM = points.Job("dnsmasq", HARMLESS, "signal", int(signal.SIGTERM))

# What is planted, in which disturbed run, and the invariant that has to notice it.
PLANTS = [
    ("wrong-file", FAULT, "status"),
    ("lost-command", FAULT, "status"),
    ("database", FAULT, "status"),
    ("part-of-unit", FAULT._replace(action="wwan_apply"), "part"),
    ("part-of-dnsmasq", FAULT, "part"),
    ("lock", FAULT, "lock"),
    ("said", FAULT._replace(point=WRITE), "said"),
    ("silent", FAULT, "said"),
    ("end", FAULT, "end"),
    ("loader", FAULT._replace(point=LOADER), "end"),
    ("hang", FAULT, "hang"),
    ("next", FAULT, "next"),
    ("signal-ignored", TERM, "end"),
    ("signal-lock", TERM, "lock"),
    ("signal-commands", TERM, "commands"),
    ("signal-part", TERM, "part"),
]


def play_plants(program):
    """Yields what was planted and not noticed."""
    planted = gateway.Gateway(str(HERE / "planted"), {"PLANTED_PROGRAM": program, "PLANT": ""})
    before = planted.prepare()
    for name, job, invariant in PLANTS:
        planted.additional_environment["PLANT"] = name
        planted.time_limit = 2 if name == "hang" else gateway.TIME_LIMIT_SECONDS
        playing = worker.Worker(planted, before)
        outcome = playing.run_on(before, job.action, stage="disturbed")
        found = {violation.invariant for violation in playing.judge(job, outcome)}
        print(f"{name}: {', '.join(sorted(found)) or 'nothing'}")
        if invariant not in found:
            yield f"{name}: {invariant} did not notice it"
    planted.additional_environment["PLANT"] = "nothing"
    playing = worker.Worker(planted, before)
    if playing.judge(FAULT, playing.run_on(before, "dnsmasq", stage="disturbed")):
        yield "a run without a fault does not pass"


def trace(tracer, options, command):
    """Runs a command under the tracer; returns how it ended, and the report."""
    report = pathlib.Path("/dev/shm/self-test-report")
    options = ["--report", str(report), "--calls", "program", *options]
    subprocess.run([tracer, *options, "--", *command], stderr=subprocess.DEVNULL, check=True)
    lines = report.read_text().splitlines()
    return gateway.status_in(lines), lines


def play_tracer(tracer):
    """Yields what the tracer did not do to `dd`, which reads and writes blocks of 1000 bytes."""
    command = ["/bin/dd", "if=/dev/zero", "of=/dev/shm/target", "bs=1000", "count=2", "status=none"]
    _, report = trace(tracer, [], command)
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
        ended, _ = trace(tracer, ["--at", f"0:{call}", "--disturb", how], command)
        written = target.stat().st_size
        print(f"dd with {how}: status {ended}, {written} bytes")
        if ended != status or size not in (None, written):
            yield f"{how} makes dd end with {ended} and {written} bytes"


def play_overlaps():
    if simultaneous.overlaps([(1, "set"), (1, "clear"), (2, "set"), (2, "clear")]):
        yield "runs one after the other count as an overlap"
    if simultaneous.overlaps([(1, "set"), (2, "set"), (1, "clear"), (2, "clear")]) != [(1, 2)]:
        yield "an overlap is not noticed"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    arguments = parser.parse_args()
    os.umask(0o022)
    tracer = os.path.join(os.path.dirname(arguments.program), "fault_tracer")
    missed = [*play_overlaps(), *play_tracer(tracer), *play_plants(arguments.program)]
    for text in missed:
        print(f"FAILED {text}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
