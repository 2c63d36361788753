#!/usr/bin/env python3
"""Runs `lanfab status --watch` in the sandbox on a terminal. The program is the first argument."""

import fcntl
import os
import pathlib
import signal
import struct
import sys
import termios
import unittest

from lib import play
from lib.terminal import Terminal

LANFAB = os.path.abspath(sys.argv.pop(1))
ENVIRONMENT = {**os.environ, "TZ": "UTC", "NO_COLOR": "1"}
UNIT = pathlib.Path("/run/systemd/network/20-eth0.network")
NOT_WANTED = b'[{"ifname": "eth0", "flags": [], "mtu": 1500, "addr_info": []}]'
BEGIN, END = "\x1b[?1049h\x1b[?25l", "\x1b[?25h\x1b[?1049l"
DOWN = "it is down"


class Watch(unittest.TestCase):
    def setUp(self):
        play.lay_answers({})
        (play.ANSWERS / "ip address").write_bytes(NOT_WANTED)
        (play.TOOLS / "ip").write_text(play.TOOL)
        pathlib.Path("/run/hosts").touch()
        UNIT.write_text("[Match]\nName = eth0\n[Network]\nAddress = 192.168.1.1/24\n")

    def start(self, rows=40, before=()):
        terminal = Terminal(*before, LANFAB, "status", "--watch", env=ENVIRONMENT)
        self.resize(terminal, rows)
        terminal.wait_for(BEGIN)
        return terminal

    @staticmethod
    def resize(terminal, rows):
        fcntl.ioctl(terminal.keyboard, termios.TIOCSWINSZ, struct.pack("4H", rows, 80, 0, 0))

    def end(self, terminal, key, status):
        terminal.type(key)
        terminal.wait_for(END)
        self.assertEqual(terminal.status(), status)

    def end_by_signal(self, terminal):
        terminal.wait_for(DOWN)
        terminal.process.send_signal(signal.SIGTERM)
        terminal.wait_for(END)
        self.assertEqual(terminal.status(), -signal.SIGTERM)

    def test_a_key_ends_it_with_the_status_of_the_last_page(self):
        for key in b"q", b"\x03":
            terminal = self.start()
            terminal.wait_for(DOWN)
            self.end(terminal, key, 1)

    def test_a_signal_ends_it(self):
        terminal = self.start()
        terminal.type(b"x")
        self.end_by_signal(terminal)

    def test_a_change_in_the_kernel_is_shown(self):
        """The stub of `ip monitor` reports a change for each line that is written to a pipe."""
        events = "/run/events"
        os.mkfifo(events)
        (play.TOOLS / "ip").write_text(play.TOOL.replace(
            "tool=", f"if [ $1 = monitor ]; then exec cat {events}; fi\ntool=", 1))
        terminal = self.start()
        terminal.wait_for(DOWN)
        (play.ANSWERS / "ip address").write_bytes(NOT_WANTED.replace(b"[]", b'["UP", "LOWER_UP"]', 1))
        with open(events, "wb", buffering=0) as pipe:
            pipe.write(b"eth0\n")
            terminal.wait_for("yes")
            self.end(terminal, b"q", 1)

    def test_a_failure_is_a_page_unless_it_is_the_first(self):
        terminal = self.start()
        terminal.wait_for(DOWN)
        UNIT.unlink()
        terminal.wait_for("lanfab: ")
        self.end(terminal, b"q", 2)
        terminal = Terminal(LANFAB, "status", "--watch", env=ENVIRONMENT)
        terminal.wait_for("lanfab: ")
        self.assertEqual(terminal.status(), 2)

    def test_a_page_that_is_too_long_is_cut_in_the_middle(self):
        terminal = self.start()
        terminal.wait_for("Last runs")
        self.resize(terminal, 6)
        terminal.wait_for("\x1b[HFiles\x1b[K\r\n"
                          "! /etc/lanfab/network.json\x1b[K\r\n"
                          "!     it is missing: the next run fails\x1b[K\r\n"
                          "  ...\x1b[K\r\n"
                          "3 differences.\x1b[K\r\n\x1b[J")
        self.end(terminal, b"q", 1)

    def test_without_a_keyboard_a_signal_ends_it(self):
        self.end_by_signal(self.start(before=("sh", "-c", 'exec "$0" "$@" </dev/null')))


if __name__ == "__main__":
    unittest.main()
