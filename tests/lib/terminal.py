"""A program on its own terminal, on which a test types."""

import contextlib
import os
import re
import select
import subprocess
import time

from .limits import HANG_SECONDS


def shown_on_terminal(command, **options):
    """Runs a program on its own terminal until the end of its output; returns the output."""
    keyboard, terminal = os.openpty()
    try:
        with subprocess.Popen(command, stdin=terminal, stdout=terminal, stderr=terminal, **options):
            os.close(terminal)
            # After the end of the output, reading from a terminal that no process has open is an error.
            text = b""
            with contextlib.suppress(OSError):
                while piece := os.read(keyboard, 1 << 16):
                    text += piece
    finally:
        os.close(keyboard)
    return text.decode(errors="surrogateescape")


class Terminal:
    def __init__(self, *command, env):
        self.text = ""
        self.keyboard, terminal = os.openpty()
        # The program receives Ctrl-C and the hangup.
        self.process = subprocess.Popen(["setsid", "--ctty", *command], env=env, stdin=terminal,
                                        stdout=terminal, stderr=terminal)
        os.close(terminal)

    def wait_for(self, words):
        """Waits until the program has printed the words, after those of the previous call."""
        deadline = time.monotonic() + HANG_SECONDS
        pattern = self.printed(words)
        while not (found := pattern.search(self.text)):
            if not select.select([self.keyboard], [], [], deadline - time.monotonic())[0]:
                raise AssertionError(f"not {words!r} but {self.text!r}")
            self.text += os.read(self.keyboard, 4096).decode(errors="replace")
        self.text = self.text[found.end() :]

    @staticmethod
    def printed(words):
        """Returns a pattern for the program's output of the words."""
        return re.compile(re.escape(words))

    def type(self, text):
        os.write(self.keyboard, text)

    def hang_up(self):
        os.close(self.keyboard)

    def status(self):
        """Waits until the program exits; returns the exit status, negative after a signal."""
        return self.process.wait(HANG_SECONDS)
