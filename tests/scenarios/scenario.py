"""Plays one scenario. Runs inside the sandbox, where the paths of the system are free to use.

The runner (`run`) starts it once for each scenario; README.md describes the folder that it reads.
"""

import argparse
import difflib
import os
import pathlib
import re
import resource
import runpy
import select
import shlex
import shutil
import socket
import sqlite3
import stat
import subprocess
import sys
import tempfile
import time

RECORDED_COMMANDS = pathlib.Path("/dev/sandbox/commands")
ACTIVE_SERVICES = pathlib.Path("/dev/sandbox/services")
SYSLOG_SOCKET = "/dev/log"
SYSTEM_DATABASE = "/var/run/sysdb.sqlite3"
LAID_FOLDER = "/var/run"
WATCHED_FOLDERS = (LAID_FOLDER, "/var/volatile", "/var/data")
USUAL_MODE = 0o644

# A run takes well under a second; the sanitizers and an emulated processor stretch that.
TIME_LIMIT_SECONDS = 60

PRIORITIES = ("emerg", "alert", "crit", "err", "warning", "notice", "info", "debug")
LOCAL0 = 16
SYSLOG_LINE = re.compile(rb"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d network: (.*)", re.DOTALL)

# What an emulator of the processor adds to the words of a program that is ended by a signal.
EMULATOR_NOTE = re.compile(r"^qemu: uncaught target signal .*\n", re.MULTILINE)

# A report of a sanitizer must not pass as one of the program's own failures.
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": "exitcode=99:detect_leaks=1",
    "UBSAN_OPTIONS": "exitcode=99:halt_on_error=1:print_stacktrace=1",
}

INPUTS = {"about", "without-ports", "network.json", "action", "run", "sysdb", "services", "umask", "prepare",
          "steps.py", "expected", "refused-by-dnsmasq"}


class Failure(Exception):
    """A scenario that could not be played to its end."""


class Syslog:
    """Collects what is sent to the system log, in order."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self.socket.bind(SYSLOG_SOCKET)

    def receive(self):
        """Returns the lines that have arrived since the last call."""
        lines = []
        while True:
            try:
                lines.append(describe_log_line(self.socket.recv(65536)))
            except BlockingIOError:
                return lines


def describe_log_line(datagram):
    """Turns a line on the wire into "priority message"; one that is not the program's own sticks out."""
    match = SYSLOG_LINE.fullmatch(datagram)
    if match is None or int(match[1]) >> 3 != LOCAL0:
        return f"not under local0 and the ident network: {datagram!r}"
    message = match[2].decode(errors="backslashreplace").replace("\n", "\\n")
    return f"{PRIORITIES[int(match[1]) & 7]} {message}"


class Run:
    """One run of the program. A scenario's own steps.py finds it as `run`."""

    def __init__(self, command, folder, syslog):
        self.command = command + shlex.split(text_of(folder / "action"))
        self.folder = folder
        self.syslog = syslog
        self.log = []
        self.output = {name: tempfile.TemporaryFile() for name in ("stdout", "stderr")}
        self.process = None
        self.ended = None

    def start(self):
        """Starts the program and returns at once."""
        environment = {**os.environ, **SANITIZER_OPTIONS, "LC_ALL": "C", "LANFAB_CONFIG_DIR": str(self.folder)}
        environment.pop("LANFAB_SYSDB", None)
        umask = int(text_of(self.folder / "umask") or "022", 8)
        self.process = subprocess.Popen(self.command, env=environment, umask=umask, stdin=subprocess.DEVNULL,
                                        **self.output)
        self.ended = os.pidfd_open(self.process.pid)

    def wait_for_log(self, line):
        """Returns when the program has logged `line`, "priority message"."""
        self._watch(lambda: line in self.log, f"has not logged: {line}")

    def finish(self):
        """Returns when the program has ended and every line that it logged has arrived."""
        self._watch(lambda: self.process.poll() is not None, "is still running")
        self.log += self.syslog.receive()

    def play(self):
        """Runs the program to its end, with the scenario's own steps when it has some."""
        steps = self.folder / "steps.py"
        if steps.exists():
            runpy.run_path(str(steps), {"run": self})
        else:
            self.start()
        self.finish()

    def text(self, name):
        """What the program wrote to "stdout" or "stderr"."""
        self.output[name].seek(0)
        text = self.output[name].read().decode(errors="backslashreplace")
        return EMULATOR_NOTE.sub("", text).replace(str(self.folder), "$CONFIG")

    def _watch(self, done, complaint):
        deadline = time.monotonic() + TIME_LIMIT_SECONDS
        while not done():
            remaining = max(0, deadline - time.monotonic())
            ready, _, _ = select.select([self.syslog.socket, self.ended], [], [], remaining)
            self.log += self.syslog.receive()
            if not done() and (not ready or self.ended in ready):
                self.process.kill()
                raise Failure(f"the program {complaint}\nits log so far:\n{as_lines(self.log)}")


class Scenario:
    """A scenario's folder and what its runs leave in the sandbox."""

    def __init__(self, folder, command):
        self.folder = folder
        self.command = command
        self.syslog = Syslog()
        self.laid = {}

    def run_folders(self):
        numbered = sorted((path for path in self.folder.iterdir() if path.name.isdigit()),
                          key=lambda path: int(path.name))
        return numbered or [self.folder]

    def play(self, folder):
        """Plays the run of `folder`; returns everything that came out, by the name below expected/."""
        self._refuse_unknown_names(folder)
        RECORDED_COMMANDS.write_text("")
        ACTIVE_SERVICES.write_text(text_of(folder / "services"))
        write_system_database(text_of(folder / "sysdb").splitlines())
        self._lay_files(folder / "run")
        if (folder / "prepare").exists():
            subprocess.run(["/bin/sh", "-eu", folder / "prepare"], check=True)
        before = watched_files()
        run = Run(self.command, folder, self.syslog)
        run.play()
        return self._outcome(run, before, watched_files())

    def _refuse_unknown_names(self, folder):
        """A misspelt input would otherwise be an input that is silently missing."""
        known = INPUTS | {path.name for path in self.run_folders()}
        unknown = {path.name for place in {folder, self.folder} for path in place.iterdir()} - known
        if unknown:
            raise Failure(f"a scenario holds nothing called {', '.join(sorted(unknown))}\n")

    def _lay_files(self, source):
        if not source.is_dir():
            return
        for path in files_below(source):
            target = LAID_FOLDER / path.relative_to(source)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(path, target)
            self.laid[str(target)] = target.read_bytes()

    def _outcome(self, run, before, after):
        new = {name: path for name, path in after.items() if self.laid.get(name) != path.read_bytes()}
        modes = {name: stat.S_IMODE(path.stat().st_mode) for name, path in new.items()}
        outcome = {
            "status": f"{run.process.returncode}\n",
            "log": as_lines(run.log),
            "commands": RECORDED_COMMANDS.read_text(),
            "stdout": run.text("stdout"),
            "stderr": run.text("stderr"),
            "sysdb": as_lines(read_system_database()),
            "removed": as_lines(sorted(before.keys() - after.keys())),
            "modes": as_lines(f"{mode:04o} {name}" for name, mode in sorted(modes.items()) if mode != USUAL_MODE),
        }
        files = {f"files{name}": path.read_bytes() for name, path in new.items()}
        return {name: text.encode() for name, text in outcome.items()} | files


def text_of(path):
    return path.read_text() if path.exists() else ""


def as_lines(lines):
    return "".join(f"{line}\n" for line in lines)


def files_below(folder):
    found = (pathlib.Path(parent) / name for parent, _, names in os.walk(folder) for name in names)
    return sorted(path for path in found if path.is_file() and not path.is_symlink())


def watched_files():
    return {str(path): path for folder in WATCHED_FOLDERS for path in files_below(folder)
            if not str(path).startswith(SYSTEM_DATABASE)}


def write_system_database(entries):
    """Writes lines "KEY = VALUE" to the default database and "NAME/KEY = VALUE" to the one of that name."""
    if not entries:
        return
    connection = sqlite3.connect(SYSTEM_DATABASE)
    with connection:
        connection.execute("CREATE TABLE IF NOT EXISTS "
                           "entries(database TEXT, key TEXT, value TEXT, PRIMARY KEY(database, key))")
        for entry in entries:
            name, _, value = entry.partition(" = ")
            database, _, key = name.rpartition("/")
            connection.execute("INSERT OR REPLACE INTO entries VALUES(?, ?, ?)", (database, key, value))
    connection.close()


def read_system_database():
    if not os.path.exists(SYSTEM_DATABASE):
        return []
    connection = sqlite3.connect(SYSTEM_DATABASE)
    rows = connection.execute("SELECT database, key, value FROM entries ORDER BY database, key").fetchall()
    connection.close()
    return [f"{database}/{key} = {value}" if database else f"{key} = {value}" for database, key, value in rows]


def read_expected(folder):
    """What expected/ says; of what it does not mention, nothing may come out."""
    expected = {"status": b"0\n"}
    expected |= dict.fromkeys(("log", "commands", "stdout", "stderr", "sysdb", "removed", "modes"), b"")
    expected |= {str(path.relative_to(folder)): path.read_bytes() for path in files_below(folder)}
    return expected


def write_expected(folder, outcome):
    shutil.rmtree(folder, ignore_errors=True)
    for name, content in outcome.items():
        if name.startswith("files/") or content not in (b"", b"0\n"):
            path = folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)


def lines_for_diff(content):
    lines = content.decode(errors="backslashreplace").splitlines(keepends=True)
    return [line if line.endswith("\n") else f"{line}\n\\ No newline at end of file\n" for line in lines]


def describe_difference(name, expected, actual):
    if actual is None:
        return f"missing: {name}\n"
    if expected is None:
        return f"not expected: {name}\n" + "".join(f"+{line}" for line in lines_for_diff(actual))
    return "".join(difflib.unified_diff(lines_for_diff(expected), lines_for_diff(actual),
                                        f"expected/{name}", f"actual/{name}"))


def describe_differences(expected, actual):
    names = sorted(expected.keys() | actual.keys())
    return "".join(describe_difference(name, expected.get(name), actual.get(name))
                   for name in names if expected.get(name) != actual.get(name))


def parse_arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--launcher", default="")
    parser.add_argument("--update", action="store_true")
    parser.add_argument("folder", type=pathlib.Path)
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    os.umask(0o022)
    # A run that is meant to abort leaves no core.
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    scenario = Scenario(arguments.folder, [*shlex.split(arguments.launcher), arguments.program])
    differences = ""
    for folder in scenario.run_folders():
        try:
            outcome = scenario.play(folder)
        except Failure as failure:
            print(failure, end="")
            return 1
        if arguments.update:
            write_expected(folder / "expected", outcome)
        else:
            found = describe_differences(read_expected(folder / "expected"), outcome)
            differences += f"{folder.relative_to(scenario.folder.parent)}:\n{found}" if found else ""
    print(differences, end="")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
