"""The points at which a run can be disturbed, and the disturbances at each."""

import collections
import errno
import os
import re
import signal

from faults.gateway import canonical

# A call as the tracer lists it. `command` is the line of commands that led to its process, `object` the path
# that it is about or, where it begins a process, the commands of that one. `is_main` is true for the program,
# `is_own` also for a process that it forks and that executes nothing.
Point = collections.namedtuple("Point", "process call phase name argument object command is_main is_own "
                                        "spawns")

# One disturbed run. When `is_late`, a signal may come after all is done.
Job = collections.namedtuple("Job", "action point how number is_late", defaults=(False,))

# What a process runs that is forked and executes nothing.
COPY = "a copy of the program"
LOCK = "/var/run/LANFAB_LOCKED"
STUBS = ("ip", "systemctl", "networkctl", "telnet-init", "route_table_flush", "route_table_add")
# Where a process begins another one.
SPAWNS = ("clone", "clone3", "fork", "vfork")

# The error with which a call fails, and what else goes wrong with some: how, and with which error.
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
    """A process: its commands in order, and its children without a call so far."""

    def __init__(self, parent):
        self.parent = parent
        self.commands = []
        self.children = []
        self.is_stub = parent is not None and parent.is_stub
        self.repeats_loader = False

    def execute(self, command, known_images):
        self.commands.append(command)
        words = command.split()
        # Itself or its interpreter comes first.
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
    """Returns whether the call is the loader's, the program's, or one that is not disturbed."""
    if process.is_stub:
        return "stub"
    # The loader of a tool is disturbed once: it does the same every time.
    return "repeated loader" if fields[1] == "loader" and process.repeats_loader else fields[1]


def make_point(call, following):
    number, process, phase, index, _, name, argument, path = call
    # A new process of posix_spawn has a stack, which is mapped just before.
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
    """Whether a write can be partial: one of a single byte cannot."""
    return how not in ("short", "torn") or point.name in ("read", "pread64") or point.argument > 1


def class_of(job):
    """Jobs of one class do the same to the same call, about the same file, in a process of the same commands.

    The signals that the program can handle are one way to disturb it.
    """
    point = job.point
    is_caught = job.how in ("signal", "group") and job.number != signal.SIGKILL
    how = "caught" if is_caught else (job.how, job.number)
    # Another run has other process IDs.
    return point.name, how, re.sub(r"/proc/\d+/", "/proc/self/", canonical(point.object)), point.command


def signal_jobs(action, points, by_turns):
    """Returns all signals at each point or, `by_turns`, SIGKILL and, in turns, one of the others."""
    main = [point for point in points if point.is_main]
    release = max(point.call for point in main if (point.name, point.object) == ("unlink", LOCK))
    at = [point for point in points[1:] if is_signal_point(point)]
    kill, *others = SIGNALS
    return [Job(action, point, how, int(number), point.is_main and point.call >= release)
            for turn, point in enumerate(at)
            for how, number in ([kill, others[turn % len(others)]] if by_turns else SIGNALS)]


def is_signal_point(point):
    """Returns every call of the program, and of its children the first, the last and those that change
    something."""
    if point.is_main or point.name in ("execve", "exit_group"):
        return point.phase != "repeated loader"
    opens_to_write = point.name == "openat" and point.argument & (os.O_CREAT | os.O_TRUNC)
    return point.phase == "program" and (point.name in CHANGES or opens_to_write)
