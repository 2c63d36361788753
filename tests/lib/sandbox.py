"""What there is in the sandbox: the system log, the system database, and the recorded commands."""

import os
import pathlib
import re
import socket
import sqlite3

RECORDED_COMMANDS = pathlib.Path("/dev/sandbox/commands")
ACTIVE_SERVICES = pathlib.Path("/dev/sandbox/services")
SYSTEM_DATABASE = "/var/run/sysdb.sqlite3"

PRIORITIES = ("emerg", "alert", "crit", "err", "warning", "notice", "info", "debug")
LOCAL0 = 16
SYSLOG_LINE = re.compile(rb"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d network: (.*)", re.DOTALL)


class Syslog:
    """Collects what is sent to the system log, in order."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self.socket.bind("/dev/log")

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
    return [f"{f'{database}/' if database else ''}{key} = {value}" for database, key, value in rows]
