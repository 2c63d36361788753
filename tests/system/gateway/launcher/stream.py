"""The output of a gateway."""

import collections
import os
import re
import sys
import threading

LINES_KEPT = 2000
DEATH = re.compile(r"Kernel panic|\bBUG:|\bOops\b")
STACK = re.compile(r"^(\[ *[\d.]+\] )?( ?\[<[0-9a-f]+>\]| ?\S+\+0x[0-9a-f]+/|Call Trace:| *RIP:| *$)")


class Stream:
    """Reads a console of a gateway until it is closed; keeps the last lines and, if `shown`, prints all."""

    def __init__(self, shown):
        self.lines = collections.deque(maxlen=LINES_KEPT)
        self.shown = shown
        self.read_end, self.write_end = os.pipe()
        self.thread = threading.Thread(target=self._read, daemon=True)

    def start(self):
        os.close(self.write_end)
        self.thread.start()

    def _read(self):
        with os.fdopen(self.read_end, "rb") as pipe:
            for line in pipe:
                text = line.replace(b"\r", b"")
                self.lines.append(text.decode(errors="replace").rstrip("\n"))
                if self.shown:
                    sys.stdout.buffer.write(text)
                    sys.stdout.buffer.flush()

    def _split_at_cause(self):
        """Returns (lines before the cause, cause). The cause is a kernel panic, or else the last line."""
        words = [line.strip() for line in self.lines if not STACK.match(line)] or ["no output"]
        end = next((index for index, line in enumerate(words) if DEATH.search(line)), len(words) - 1)
        return words[:end], words[end]

    def cause(self):
        """Returns the line that most likely explains why the kernel exited."""
        return self._split_at_cause()[1]

    def before_cause(self, count):
        """Returns the last lines before the cause, without the stack trace."""
        return self._split_at_cause()[0][-count:]
