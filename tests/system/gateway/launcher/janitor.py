"""Cleans up after the launcher: its processes, its files, and the terminal."""

import contextlib
import os
import shutil
import signal
import termios


class Janitor:
    """Cleans up when the launcher exits or is killed: a separate process that waits for a pipe to close.

    Each line that it reads names a process group to kill. It must be created before any thread.
    """

    def __init__(self, directory):
        read_end, write_end = os.pipe()
        self.process = os.fork()
        if self.process == 0:
            os.setsid()
            # A signal to all processes with the launcher's name is meant for the launcher.
            for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
                signal.signal(number, signal.SIG_IGN)
            os.close(write_end)
            self._clear_away_at_end(read_end, directory)
            os._exit(0)
        os.close(read_end)
        self.pipe = os.fdopen(write_end, "w")

    @staticmethod
    def _clear_away_at_end(read_end, directory):
        with os.fdopen(read_end) as pipe:
            groups = [int(line) for line in pipe]
        for group in groups:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(group, signal.SIGKILL)
        shutil.rmtree(directory, ignore_errors=True)

    def watch(self, process_group):
        print(process_group, file=self.pipe, flush=True)

    def clear_away(self):
        self.pipe.close()
        os.waitpid(self.process, 0)


def take_terminal():
    """Puts this process group into the terminal's foreground."""
    signal.signal(signal.SIGTTOU, signal.SIG_IGN)
    os.tcsetpgrp(0, os.getpid())


@contextlib.contextmanager
def terminal_kept(wanted):
    """Restores the terminal's settings and foreground at the end, if `wanted`."""
    if not wanted:
        yield
        return
    attributes = termios.tcgetattr(0)
    try:
        yield
    finally:
        take_terminal()
        termios.tcsetattr(0, termios.TCSADRAIN, attributes)
