"""The state of the sandbox: files, system log, system database, and commands recorded by the stubs."""

import collections
import os
import pathlib
import re
import select
import socket
import sqlite3
import stat
import subprocess
import tempfile
import time

from .limits import HANG_SECONDS

RECORDED_COMMANDS = pathlib.Path("/dev/sandbox/commands")
ACTIVE_SERVICES = pathlib.Path("/dev/sandbox/services")
SYSTEM_DATABASE = "/var/run/sysdb.sqlite3"

# The directories that the program writes.
WRITABLE = ("/run", "/var/volatile", "/var/data")
# A file's mode and content.
File = collections.namedtuple("File", "mode content")
# A sanitizer report must not look like a failure of the program.
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": "exitcode=99:detect_leaks=1",
    "UBSAN_OPTIONS": "exitcode=99:halt_on_error=1:print_stacktrace=1",
}

PRIORITIES = ("emerg", "alert", "crit", "err", "warning", "notice", "info", "debug")
LOCAL0 = 16
SYSLOG_LINE = re.compile(rb"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d network: (.*)", re.DOTALL)


def put_first(directory, names):
    """Makes the programs of these names in the directory precede those of the system, from now on.

    This also affects lanfab, which as root ignores the caller's PATH and searches the system's directories.
    """
    layer = tempfile.mkdtemp(dir="/dev/sandbox")
    for name in names:
        os.symlink(os.path.join(directory, name), os.path.join(layer, name))
    mount = ["mount", "-t", "overlay", "-o", f"lowerdir={layer}:/usr/sbin", "tools", "/usr/sbin"]
    subprocess.run(mount, check=True)


class Syslog:
    """Collects the messages to the system log, in order."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self.socket.bind("/dev/log")

    def receive(self):
        """Returns the lines that arrived since the last call."""
        lines = []
        while True:
            try:
                lines.append(describe_log_line(self.socket.recv(65536)))
            except BlockingIOError:
                return lines

    def follow(self, lines, ended, done, seconds=HANG_SECONDS):
        """Adds log lines to `lines` until `done` returns true; returns whether it did so in time.

        Stops early when `ended` becomes readable, for example the descriptor of a process that exits.
        """
        deadline = time.monotonic() + seconds
        ready = [self.socket]
        while not done() and ready and ended not in ready:
            remaining = max(0, deadline - time.monotonic())
            ready, _, _ = select.select([self.socket, ended], [], [], remaining)
            lines += self.receive()
        return done()


def snapshot():
    """Returns every file in the directories that the program writes, by path."""
    files = {}
    for top in WRITABLE:
        for parent, _, names in os.walk(top):
            for name in names:
                path = os.path.join(parent, name)
                mode = os.lstat(path).st_mode
                if stat.S_ISREG(mode):
                    files[path] = File(stat.S_IMODE(mode), pathlib.Path(path).read_bytes())
    return files


def lay(files):
    """Replaces the files in the directories that the program writes."""
    now = snapshot()
    for path in now.keys() - files.keys():
        os.unlink(path)
    for path, file in files.items():
        if now.get(path) != file:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            pathlib.Path(path).write_bytes(file.content)
            os.chmod(path, file.mode)


def describe_log_line(datagram):
    """Converts a syslog message to "priority message"; marks messages that are not the program's."""
    match = SYSLOG_LINE.fullmatch(datagram)
    if match is None or int(match[1]) >> 3 != LOCAL0:
        return f"not under local0 and the ident network: {datagram!r}"
    message = match[2].decode(errors="backslashreplace").replace("\n", "\\n")
    return f"{PRIORITIES[int(match[1]) & 7]} {message}"


def write_system_database(entries):
    """Writes lines "KEY = VALUE" to the default database and "NAME/KEY = VALUE" to the database NAME."""
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


def read_system_database(path=SYSTEM_DATABASE):
    """Returns the entries in the format of `write_system_database`, sorted by name."""
    if not os.path.exists(path):
        return []
    connection = sqlite3.connect(path)
    rows = connection.execute("SELECT database, key, value FROM entries ORDER BY database, key").fetchall()
    connection.close()
    return [f"{f'{database}/' if database else ''}{key} = {value}" for database, key, value in rows]
