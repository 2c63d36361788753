"""A gateway with User-mode Linux or QEMU."""

import contextlib
import dataclasses
import json
import os
import pathlib
import shutil
import subprocess
import time

from launcher.janitor import take_terminal
from launcher.stream import Stream

SOURCE = pathlib.Path(__file__).resolve().parents[1]
CHECKOUT = SOURCE.parents[2]


@dataclasses.dataclass
class Files:
    """The files for a gateway, {file: path in the gateway}, and a directory for /etc/lanfab."""

    copies: dict
    disk: pathlib.Path | None = None


class Gateway:
    """A gateway: its kernel's process, its consoles, and the directory that it shares with the launcher."""

    def __init__(self, name, directory, files, console_shown=False, terminal=False):
        self.name = name
        self.directory = directory / name
        self.shared = self.directory / "shared"
        self.shared.mkdir(parents=True)
        self.files = files
        self.terminal = terminal
        self.cables = []
        self.console = Stream(console_shown)
        self.output = Stream(True)
        self.process = None

    def plug(self, card, far_card):
        """Connects a card of this gateway to the other end of its cable."""
        self.cables.append((card, far_card))

    def boot(self, kernel, task, janitor, **environment):
        """Starts the kernel, with environment variables for its first program."""
        task = {**task, "files": self._hand_over_files(), "cards": [*map(self._describe, self.cables)]}
        (self.shared / "task.json").write_text(json.dumps(task), encoding="utf-8")
        command, own_environment, stdout = kernel.command(self, {**self._environment(), **environment})
        self.process = subprocess.Popen(
            command,
            env={"PATH": os.environ["PATH"], "HOME": str(self.directory), **own_environment},
            stdin=None if self.terminal else subprocess.DEVNULL,
            stdout=None if self.terminal else stdout.write_end,
            stderr=self.console.write_end,
            pass_fds=[self.console.write_end, self.output.write_end],
            cwd=self.directory,
            process_group=0,
            preexec_fn=take_terminal if self.terminal else None,
        )
        janitor.watch(self.process.pid)
        self.console.start()
        self.output.start()

    @staticmethod
    def _describe(cable):
        card, _ = cable
        return {
            "mac_address": card.mac_address,
            "name": card.name,
            "namespace": card.namespace,
            "addresses": card.addresses,
        }

    def _environment(self):
        """Returns the environment variables of `init`."""
        names = {
            "GATEWAY_SOURCE": SOURCE,
            "GATEWAY_CHECKOUT": CHECKOUT,
            "GATEWAY_SHARED": self.shared,
            "GATEWAY_DISK": self.files.disk,
        }
        return {name: value for name, value in names.items() if value}

    def _hand_over_files(self):
        """Copies the gateway's files into the shared directory; returns {copy: path in the gateway}."""
        return {
            str(shutil.copy(source, self.shared / os.path.basename(target))): target
            for source, target in self.files.copies.items()
        }

    def wait_for_end(self, deadline):
        """Waits for the kernel to exit; returns whether it did in time."""
        try:
            self.process.wait(max(0, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            return False
        self.console.thread.join()
        self.output.thread.join()
        return True

    def status(self):
        """Returns the exit status of the command; None if it has not exited."""
        with contextlib.suppress(OSError, ValueError):
            return int((self.shared / "status").read_text(encoding="utf-8"))
        return None


BEGUN = "The gateway has begun."


def probe(kernel, directory, janitor, seconds):
    """Boots a kernel that exits immediately. Returns None, or the error if it did not boot."""
    gateway = Gateway("probe", directory, Files({}))
    gateway.boot(kernel, {}, janitor, GATEWAY_PROBE="yes")
    in_time = gateway.wait_for_end(time.monotonic() + seconds)
    if BEGUN in gateway.console.lines:
        return None
    if in_time:
        return "; before that: ".join((gateway.console.cause(), *gateway.console.before_cause(1)))
    gateway.process.kill()
    gateway.process.wait()
    return f"it did not boot in {seconds:g} s"
