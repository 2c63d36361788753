"""Runs the session that scripts/draw-session draws, inside the gateway, and prints it as JSON.

Usage: session.py COLUMNS
"""

import fcntl
import json
import os
import pathlib
import pty
import struct
import subprocess
import sys
import termios

import guest

CONFIGURATION = pathlib.Path(guest.CONFIGURATION)
# The new configuration moves the LAN to another network, which disconnects the administrator. It also has a
# misspelled key.
OLD_NETWORK, NEW_NETWORK = "192.168.1.", "192.168.7."
KEY, MISSPELT_KEY = '"netmask"', '"netmaks"'
COMMANDS = (
    "lanfab check new.json",
    "sed -i s/netmaks/netmask/ new.json",
    "lanfab try --timeout 60 new.json",
)
# The administrator is behind eth0.
ENVIRONMENT = {"TERM": "xterm-256color", "SSH_CONNECTION": "192.168.1.50 51000 192.168.1.1 22"}


def run(command, columns):
    """Returns the output of a command on a terminal; of an overwritten line, only its first content."""
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 100, columns, 0, 0))
    process = subprocess.Popen(
        ["sh", "-c", command],
        stdin=slave,
        stdout=slave,
        stderr=slave,
        env={**os.environ, **ENVIRONMENT},
        start_new_session=True,
    )
    os.close(slave)
    printed = b""
    try:
        while chunk := os.read(master, 4096):
            printed += chunk
    except OSError:
        pass  # the last process on the terminal has exited
    process.wait()
    lines = printed.decode().replace("\r\n", "\n").split("\n")
    return "\n".join(next(filter(None, line.split("\r")), "") for line in lines)


def main():
    gateway = guest.Gateway()
    gateway.apply()
    os.chdir("/root")
    content = CONFIGURATION.read_text(encoding="utf-8").replace(OLD_NETWORK, NEW_NETWORK)
    content = content.replace(KEY, MISSPELT_KEY, 1)
    pathlib.Path("new.json").write_text(content, encoding="utf-8")
    print(json.dumps([(command, run(command, int(sys.argv[1]))) for command in COMMANDS]))


main()
