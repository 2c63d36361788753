"""The points at which a run can be disturbed, and the disturbances at each."""

import collections
import errno
import os
import re
import signal

from faults.gateway import canonical

# A system call from the tracer's list. `command` are the commands that led to its process. `object` is the
# path of the call or, if the call starts a process, the commands of that process. `is_main` is true for the
# program itself, `is_own` also for processes that it forks and that execute no other program.
Point = collections.namedtuple("Point", "process call phase name argument object command is_main is_own "
                                        "spawns")

# One disturbed run. If `is_late`, the signal may come after the run has done all its work.
Job = collections.namedtuple("Job", "action point how number is_late", defaults=(False,))

# The command of a process that the program forks and that executes no other program.
COPY = "a copy of the program"
LOCK = "/var/run/LANFAB_LOCKED"
STUBS = ("ip", "systemctl", "networkctl", "telnet-init", "route_table_flush", "route_table_add")
# Calls that start a process.
SPAWNS = ("clone", "clone3", "fork", "vfork")

# The error with which each call fails, and the other faults of some calls, as (how, error).
CALLS_BY_ERROR = {
    "EAGAIN": "clone clone3 fork vfork",
    "ECONNREFUSED": "connect recvfrom",
    "EIO": "access copy_file_range faccessat2 fcntl fdatasync fsync ftruncate getdents64 ioctl lseek pread64 "
           "pwrite64 read readlink rename renameat2 unlink unlinkat write writev",
    "EMFILE": "dup2 openat pipe2 socket",
    "ENOBUFS": "sendmmsg sendto",
    "ENOLCK": "flock",
    "ENOMEM": "execve mmap poll",
    "ENOSPC": "copy_file_range mkdir mkdirat pwrite64 write writev",
    "EPERM": "chmod fchmod fchmodat fchown utimensat",
}
OTHER_FAULTS = {
    "close": [("late", "EIO")],
    **dict.fromkeys(("pread64", "read"), [("torn", "EIO")]),
    **dict.fromkeys(("pwrite64", "write"), [("short", None), ("torn", "ENOSPC")]),
}


def faults_of(name):
    """Returns the possible failures of a call of this name."""
    errors = [("error", error) for error, names in CALLS_BY_ERROR.items() if name in names.split()]
    return errors + OTHER_FAULTS.get(name, [])


# Ctrl-C reaches the whole process group of a terminal.
SIGNALS = [("signal", signal.SIGKILL), ("signal", signal.SIGTERM), ("signal", signal.SIGHUP),
           ("group", signal.SIGINT)]

# The calls by which a tool changes something, so that it matters whether a signal comes before or after.
CHANGES = ("write", "copy_file_range", "fchmodat", "unlink", "unlinkat", "utimensat", "rename", "renameat2")


class Process:
    """A process: the commands that it has executed, in order, and its children without a point so far."""

    def __init__(self, parent):
        self.parent = parent
        self.commands = []
        self.children = []
        self.is_stub = parent is not None and parent.is_stub
        self.repeats_loader = False

    def execute(self, command, known_images):
        self.commands.append(command)
        words = command.split()
        # The first word is the stub itself or its interpreter.
        self.is_stub |= any(word.startswith("/") and os.path.basename(word) in STUBS
                                for word in words[:2])
        image = os.path.basename(words[0])
        self.repeats_loader = image in known_images
        known_images.add(image)

    @property
    def is_own(self):
        return self.parent is None or (not self.commands and self.parent.is_own)

    def line_of_commands(self):
        """Returns all commands, from the program's own child down to this process."""
        own = " -> ".join(self.commands) or COPY
        if self.parent is None or self.parent.parent is None:
            return own
        return f"{self.parent.line_of_commands()} -> {own}"


def read_list(report):
    """Returns the points that the tracer listed, in the order of its lines."""
    processes = {0: Process(None)}
    known_images = set()
    calls = []
    for line in report:
        kind, number, *fields = line.split("\t")
        number = int(number)
        if kind == "call":
            calls.append((number, processes[number], phase_of(processes[number], fields), *fields))
        elif kind == "process" and int(fields[0]) >= 0:
            parent = processes[int(fields[0])]
            processes[number] = Process(parent)
            parent.children.append(processes[number])
        elif kind == "process":
            processes[number].execute(fields[1], known_images)
    return [make_point(call, following) for call, following in zip(calls, calls[1:] + calls[-1:])]


def phase_of(process, fields):
    """Returns "loader" or "program", or another word if the call is not to be disturbed."""
    if process.is_stub:
        return "stub"
    # The loader does the same each time a tool is executed: disturb only the first time.
    return "repeated loader" if fields[1] == "loader" and process.repeats_loader else fields[1]


def make_point(call, following):
    number, process, phase, index, _, name, argument, path = call
    # posix_spawn maps the stack of the new process just before it starts the process.
    spawns = name in SPAWNS or (name == "mmap" and following[5] in SPAWNS)
    if spawns and process.children:
        path = process.children[0].line_of_commands()
        if name in SPAWNS:
            process.children.pop(0)
    command = process.line_of_commands() if number > 0 else "the program"
    return Point(number, int(index), phase, name, int(argument), path, command, number == 0, process.is_own,
                 spawns)


def fault_jobs(action, points, phase):
    # The first call is the tracer's own execve of the program.
    return [Job(action, point, how, getattr(errno, error) if error else 0)
            for point in points[1:] if point.phase == phase
            for how, error in faults_of(point.name) if can_happen(how, point)]


def can_happen(how, point):
    """Whether the disturbance is possible: a write of a single byte cannot be partial."""
    return how not in ("short", "torn") or point.name in ("read", "pread64") or point.argument > 1


def class_of(job):
    """Returns the class of a job, for the sample.

    Jobs of one class disturb the same call on the same file in the same way, in processes with the same
    commands. All signals that the program can handle count as the same way.
    """
    point = job.point
    is_caught = job.how in ("signal", "group") and job.number != signal.SIGKILL
    how = "caught" if is_caught else (job.how, job.number)
    # Another run has other process IDs.
    return point.name, how, re.sub(r"/proc/\d+/", "/proc/self/", canonical(point.object)), point.command


def signal_jobs(action, points, by_turns):
    """Returns a job for each signal at each point; if `by_turns`, only for SIGKILL and one other in turn."""
    main = [point for point in points if point.is_main]
    release = max(point.call for point in main if (point.name, point.object) == ("unlink", LOCK))
    at = [point for point in points[1:] if is_signal_point(point)]
    kill, *others = SIGNALS
    return [Job(action, point, how, int(number), point.is_main and point.call >= release)
            for turn, point in enumerate(at)
            for how, number in ([kill, others[turn % len(others)]] if by_turns else SIGNALS)]


def is_signal_point(point):
    """Whether signals are sent at this point: at each call of the program, and at the first, the last and the
    changing calls of its children."""
    if point.is_main or point.name in ("execve", "exit_group"):
        return point.phase != "repeated loader"
    opens_to_write = point.name == "openat" and point.argument & (os.O_CREAT | os.O_TRUNC)
    return point.phase == "program" and (point.name in CHANGES or opens_to_write)
