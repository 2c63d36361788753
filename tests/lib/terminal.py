"""A program on a terminal of its own, on which a test types."""

import contextlib
import os
import re
import select
import subprocess
import time

from .limits import HANG_SECONDS


def shown_on_terminal(command, **options):
    """Returns what a program prints on a terminal of its own, which has read it to its end."""
    keyboard, terminal = os.openpty()
    try:
        with subprocess.Popen(command, stdin=terminal, stdout=terminal, stderr=terminal, **options):
            os.close(terminal)
            # Once all of it is read, the terminal that nobody has open is an error.
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
        # Its Ctrl-C and its end reach the program.
        self.process = subprocess.Popen(["setsid", "--ctty", *command], env=env, stdin=terminal,
                                        stdout=terminal, stderr=terminal)
        os.close(terminal)

    def wait_for(self, words):
        """Returns once the program has printed the words, after those of the last time."""
        deadline = time.monotonic() + HANG_SECONDS
        pattern = self.printed(words)
        while not (found := pattern.search(self.text)):
            if not select.select([self.keyboard], [], [], deadline - time.monotonic())[0]:
                raise AssertionError(f"not {words!r} but {self.text!r}")
            self.text += os.read(self.keyboard, 4096).decode(errors="replace")
        self.text = self.text[found.end() :]

    @staticmethod
    def printed(words):
        """The pattern of what a program prints to show the words."""
        return re.compile(re.escape(words))

    def type(self, text):
        os.write(self.keyboard, text)

    def hang_up(self):
        os.close(self.keyboard)

    def status(self):
        """Waits for the end; returns the exit status, which is negative after a signal."""
        return self.process.wait(HANG_SECONDS)
