"""Disturbs runs of the program, inside the sandbox."""

import difflib
import errno
import os
import pathlib
import re
import signal
import subprocess

from faults import gateway, invariants, points
from lib import sample
from lib.sandbox import lay

ACTIONS = ("apply", "wwan_apply", "dnsmasq")
SMALL_DISK = pathlib.Path("/dev/shm/small")
FILLER = SMALL_DISK / "filler"
PAGE = 4096
LINES_OF_DIFFERENCE = 20
NO_SUCH_CALL = "there is no such call, or nothing of the kind can happen to it"


class Worker:
    """Disturbs one run after the other; each begins with the same files."""

    def __init__(self, laid_gateway, before):
        self.gateway = laid_gateway
        self.before = before
        self.references = {}
        self.verdicts = {}

    def reference(self, action):
        if action not in self.references:
            self.references[action] = self._make_reference(action)
        return self.references[action]

    def _make_reference(self, action):
        before = gateway.Outcome(0, self.before, self.gateway.database_of(self.before), [], [], "", [])
        after = self.run_on(self.before, action)
        if after.status != 0:
            raise SystemExit(f"{action} fails without a fault: {after}")
        variants = {}
        # Runs without any value of the link, without its state, and without one of its values.
        for unread in ("/run/wwan_", gateway.DATABASE, *(f"/run/wwan_{value}" for value in gateway.LINK)):
            files = {path: file for path, file in self.before.items() if not path.startswith(unread)}
            for path, file in self.run_on(files, action).files.items():
                variants.setdefault(path, set()).add(file.content)
        add_unread_variants(variants, after)
        return invariants.Reference(before, after, variants)

    def run_on(self, files, action, **keywords):
        lay(files)
        return self.gateway.run(action, **keywords)

    def points(self, action, calls):
        """Returns the points of the action; fails if two runs have different ones."""
        options = ["--calls", calls]
        first = by_process(self.run_on(self.before, action, tracer_options=options).report)
        second = by_process(self.run_on(self.before, action, tracer_options=options).report)
        if first != second:
            different = next(pair for pair in zip(first, second) if pair[0] != pair[1])
            raise SystemExit(f"two runs of {action} make different calls: {different}")
        return points.read_list(first)

    def play(self, job):
        """Returns the outcome of the job and all violations."""
        options = tracer_options(job) if job.point is not None else None
        lay(self.before)
        if job.how == "disk":
            fill_disk(job.number)
        outcome = self.gateway.run(job.action, options, stage="disturbed")
        if job.how == "disk":
            FILLER.unlink()
        disturbed = [line.split("\t")[3] for line in outcome.report if line.startswith("disturbed")]
        if job.point is not None and disturbed != [job.point.name]:
            text = f"disturbed {disturbed} instead of {job.point.name}"
            return outcome, [invariants.Violation("harness", text)]
        return outcome, self.judge(job, outcome)

    def judge(self, job, outcome):
        reference = self.reference(job.action)
        return invariants.check(job, outcome, reference) + self._check_next(job, outcome, reference)

    def _check_next(self, job, outcome, reference):
        """Runs the program again on the files that the disturbed run left; returns the violations. Runs that
        leave the same files share one result."""
        files = {path: file for path, file in outcome.files.items() if path != gateway.LOCK}
        journal = files.get(gateway.DATABASE + "-journal")
        state = {path: file for path, file in files.items() if not invariants.is_database(path)}
        key = (job.action, frozenset(state.items()), frozenset(outcome.database), journal)
        if key not in self.verdicts:
            following = self.run_on(files, job.action, stage="next")
            self.verdicts[key] = invariants.check_next(following, reference)
        return self.verdicts[key]


def add_unread_variants(variants, after):
    """Adds variants of dnsmasq.conf: without the unresolvable relay, or without the port's MAC address."""
    for path in (invariants.DNSMASQ_CONF, invariants.STAGING):
        if path in after.files:
            whole = after.files[path].content
            variants.setdefault(path, set()).add(
                whole.replace(b"\n# DHCP relay on br-lan\ndhcp-relay=192.168.1.1,10.1.1.1\n", b""))
            variants[path].add(whole.replace(b"dhcp-host=02:00:5e:00:00:11,", b"dhcp-host=,"))


def by_process(report):
    """Sorts the lines by process: the tracer lists concurrent processes in any order."""
    lines = (re.sub(r"/proc/\d+/", "/proc/self/", line) for line in report if not line.startswith("end"))
    return sorted(lines, key=lambda line: int(line.split("\t")[1]))


def tracer_options(job):
    return ["--calls", "all" if job.point.phase == "loader" else "program", *disturbance(job)]


def disturbance(job):
    return ["--at", f"{job.point.process}:{job.point.call}", "--disturb", f"{job.how}:{job.number}"]


def mount_small_disk():
    """Moves the directories to which the program writes to a file system that can be filled."""
    SMALL_DISK.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m,mode=755", "small", SMALL_DISK], check=True)
    for place in ("/run", "/var/volatile"):
        copy = SMALL_DISK / os.path.basename(place)
        subprocess.run(["cp", "-a", place, copy], check=True)
        subprocess.run(["mount", "--bind", copy, place], check=True)


def fill_disk(free_pages):
    with open(FILLER, "wb") as filler:
        free = os.statvfs(SMALL_DISK).f_bfree - free_pages
        os.posix_fallocate(filler.fileno(), 0, free * PAGE)


def disk_jobs(worker, action):
    """Plays a job for each number of free pages, until they suffice; yields (job, outcome, violations)."""
    reference = worker.reference(action)
    for free_pages in range(200):
        job = points.Job(action, None, "disk", free_pages)
        outcome, found = worker.play(job)
        yield job, outcome, found
        if outcome.status == 0 and not invariants.wrong_things(outcome, reference):
            return
    raise SystemExit(f"200 pages are not enough for {action}")


def as_after_boot(files):
    """Returns the files that exist before the first run after a boot."""
    return {path: file for path, file in files.items() if path.startswith(("/run/wwan_", gateway.DATABASE))}


def listed_jobs(worker, kind, actions, by_turns=False):
    for action in actions:
        if kind == "faults":
            yield from points.fault_jobs(action, worker.points(action, "program"), "program")
            yield from points.fault_jobs(action, worker.points(action, "all"), "loader")
        if kind == "signals":
            yield from points.signal_jobs(action, worker.points(action, "program"), by_turns)


def sampled_jobs(worker, kind, actions):
    """Returns the sample of jobs for CI."""
    return sample.stratified(listed_jobs(worker, kind, actions, by_turns=True), points.class_of)


def wanted_jobs(worker, arguments):
    """Returns the jobs that the command line selects, by default the sample."""
    if arguments.at or arguments.syscall or arguments.disturb or arguments.exhaustive:
        jobs = listed_jobs(worker, arguments.kind, arguments.action)
        return [job for job in jobs if matches(job, arguments)]
    return sampled_jobs(worker, arguments.kind, arguments.action)


def matches(job, arguments):
    at = f"{job.point.process}:{job.point.call}"
    return ((not arguments.syscall or job.point.name in arguments.syscall)
            and (not arguments.at or at == arguments.at)
            and (not arguments.disturb or arguments.disturb == disturbance_name(job))
            and (arguments.loader or not arguments.at or job.point.phase != "loader"))


def disturbance_name(job):
    if job.how in ("signal", "group"):
        return f"{job.how}:{signal.Signals(job.number).name}"
    return f"{job.how}:{errno.errorcode[job.number]}" if job.number else job.how


def describe(job):
    if job.point is None:
        return f"{job.action}: {job.number} free pages"
    point = job.point
    return (f"{job.action} --at {point.process}:{point.call} --disturb {disturbance_name(job)}"
            f"{' --loader' if point.phase == 'loader' else ''}: {point.name}({point.object}) of "
            f"{point.command}")


def difference(path, before, after):
    def lines(files):
        return files[path].content.decode(errors="backslashreplace").splitlines() if path in files else []
    names = (f"expected{path}", f"actual{path}")
    diff = list(difflib.unified_diff(lines(before), lines(after), *names, n=1, lineterm=""))
    return "\n".join(diff[:LINES_OF_DIFFERENCE] + ["..."] * (len(diff) > LINES_OF_DIFFERENCE))


def show(worker, job, outcome, found):
    """Prints everything about one run."""
    reference = worker.reference(job.action)
    print(describe(job))
    print(f"status {outcome.status}")
    for thing in invariants.wrong_things(outcome, reference):
        print(f"differs from a run without a fault: {thing}")
        if thing.startswith("/"):
            print(difference(thing, reference.after.files, outcome.files))
    for line in invariants.new_lines(outcome, reference):
        print(f"said in the log: {line}")
    if outcome.stderr:
        print(f"standard error: {outcome.stderr}", end="")
    for violation in found:
        print(f"{violation.invariant}: {violation.text}")


def name_of_fault(job):
    """Returns the name under which the summary counts the job."""
    if job.point is None:
        return "a full disk"
    return f"{job.point.name} of {'the program' if job.point.is_own else 'a tool'}"


def report(worker, arguments, job, outcome, found):
    """Returns the data about a run for the summary; with --verbose, also prints the run."""
    if arguments.verbose:
        show(worker, job, outcome, found)
    return {"run": describe(job), "fault": name_of_fault(job), "found": found}


def play(arguments, part="0/1"):
    """Plays every COUNT-th job from NUMBER on, for the part "NUMBER/COUNT"; yields the reports."""
    share, shares = map(int, part.split("/"))
    if arguments.kind == "disk":
        mount_small_disk()
    laid = gateway.Gateway(arguments.program)
    worker = Worker(laid, laid.prepare())
    wanted = wanted_jobs(worker, arguments)
    if not wanted and arguments.kind != "disk":
        raise SystemExit(NO_SUCH_CALL)
    for job in wanted[share::shares]:
        yield report(worker, arguments, job, *worker.play(job))
    if arguments.kind == "disk":
        booted = Worker(laid, as_after_boot(worker.before))
        cases = [(one, action) for one in (worker, booted) for action in arguments.action]
        for one, action in cases[share::shares]:
            for job, outcome, found in disk_jobs(one, action):
                yield report(one, arguments, job, outcome, found)
