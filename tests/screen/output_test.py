#!/usr/bin/env python3
"""Lets another user create symbolic links at the paths that `lanfab graph -o` and `lanfab preview -o` write:
before the run, during it, and in a loop. lanfab must not follow any of them.

The first argument is lanfab, the second one cmd_lanfab. If the test runs as root, the other user is nobody;
otherwise, it is the caller.
"""

import os
import pathlib
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

from lib.limits import HANG_SECONDS
from lib.processes import wait_for

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
OTHER = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups") if os.geteuid() == 0 else ()
VICTIM = "belongs to somebody else\n"
FOREIGN_LINK = ": refusing to follow a link in a directory that other users can write to\n"


class Planted(unittest.TestCase):
    """A world-writable directory, and a directory of the caller with a file that must not change."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = pathlib.Path(directory.name)
        self.top.chmod(0o755)
        self.shared = self.top / "shared"
        self.shared.mkdir()
        self.shared.chmod(0o777)
        self.own = self.top / "own"
        self.own.mkdir()
        self.victim = self.own / "victim"
        self.victim.write_text(VICTIM)
        self.configuration = self.top / "network.json"
        self.configuration.write_text("{}")

    def tearDown(self):
        """Checks that the file and its directory are unchanged."""
        self.assertEqual(self.victim.read_text(), VICTIM)
        self.assertEqual(os.listdir(self.own), ["victim"])

    def plant(self, script):
        """Runs a script as the other user in the shared directory."""
        subprocess.run([*OTHER, "sh", "-euc", script], cwd=self.shared, check=True)

    def start(self, *words, **options):
        return subprocess.Popen([LANFAB, *map(str, words)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True, **options)

    def finish(self, process, text=None):
        _, errors = process.communicate(text, timeout=HANG_SECONDS)
        return process.returncode, errors

    def run_lanfab(self, *words):
        return self.finish(self.start(*words))


class Graph(Planted):
    def test_a_link_that_is_there(self):
        for mode in 0o777, 0o1777:
            self.shared.chmod(mode)
            self.plant(f"ln -sf {self.victim} picture; ln -sfn {self.own} directory")
            for target in (self.shared / "picture", self.shared / "directory" / "new"):
                self.assertEqual(self.run_lanfab("graph", self.configuration, "-o", target),
                                 (2, f"{target}{FOREIGN_LINK}"))

    def start_reading(self, target):
        """Starts a run that has opened its target and waits for the rest of its configuration."""
        process = self.start("graph", "-", "-o", target, stdin=subprocess.PIPE)
        # More than the capacity of the pipe: when this returns, lanfab has read some of it.
        process.stdin.write(" " * 200_000)
        process.stdin.flush()
        return process

    def test_a_link_that_comes(self):
        process = self.start_reading(self.shared / "picture")
        self.plant(f"ln -s {self.victim} picture")
        self.assertEqual(self.finish(process, "{}"), (0, ""))
        self.assertFalse((self.shared / "picture").is_symlink())

    def test_a_directory_that_is_swapped(self):
        self.plant("mkdir mine; chmod 777 mine")
        process = self.start_reading(self.shared / "mine" / "picture")
        self.plant(f"mv mine moved; ln -s {self.own} mine")
        self.assertEqual(self.finish(process, "{}"), (0, ""))
        self.assertEqual(os.listdir(self.shared / "moved"), ["picture"])

    @unittest.skipUnless(OTHER, "the other user is the caller")
    def test_a_mode_and_a_pipe_of_somebody_else(self):
        self.plant(": >picture; chmod 6777 picture; mkfifo pipe")
        self.assertEqual(self.run_lanfab("graph", self.configuration, "-o", self.shared / "picture"), (0, ""))
        self.assertEqual(stat.S_IMODE((self.shared / "picture").stat().st_mode) & 0o6022, 0)
        self.assertEqual(self.run_lanfab("graph", self.configuration, "-o", self.shared / "pipe"),
                         (2, f"{self.shared}/pipe: Permission denied\n"))

    def test_a_link_of_ones_own(self):
        target = self.top / "picture"
        target.symlink_to("real")
        self.assertEqual(self.run_lanfab("graph", self.configuration, "-o", target), (0, ""))
        self.assertIn("gateway", (self.top / "real").read_text())

    def test_standard_output(self):
        for path in "/dev/stdout", "/proc/self/fd/1":
            process = self.start("graph", self.configuration, "-o", path)
            self.assertIn("gateway", process.communicate(timeout=HANG_SECONDS)[0])
        with open(self.top / "file", "a+", encoding="utf-8") as file:
            file.write("before\n")
            file.flush()
            subprocess.run([LANFAB, "graph", self.configuration, "-o", "/dev/stdout"], stdout=file,
                           check=True)
            file.seek(0)
            self.assertRegex(file.read(), "\\Abefore\ngateway")


class Preview(Planted):
    def setUp(self):
        super().setUp()
        self.program = self.top / "program"

    def write_program(self, script):
        self.program.write_text(f"#!/bin/sh\n{script}")
        self.program.chmod(0o755)

    def preview(self, target):
        return "preview", f"--program={self.program}", "-o", target, self.configuration

    def while_it_runs(self, target, script):
        """Runs a script as the other user while the program runs; returns the status and the errors."""
        self.write_program("sleep infinity\necho new >/var/run/new\n")
        process = self.start(*self.preview(target))
        sleeping = wait_for("sleep", process.pid)
        self.plant(script)
        # The shell prints no message if SIGPIPE kills a child.
        os.kill(sleeping, signal.SIGPIPE)
        return self.finish(process)

    def test_a_link_in_an_empty_directory(self):
        self.plant("mkdir mine; chmod 777 mine")
        target = self.shared / "mine"
        self.assertEqual(self.while_it_runs(target, f"ln -s {self.own} mine/var"),
                         (2, f"{target}: Directory not empty\n"))
        self.assertEqual(os.listdir(target), ["var"])

    def test_a_link_in_place_of_a_directory_that_is_missing(self):
        target = self.shared / "new"
        self.assertEqual(self.while_it_runs(target, f"ln -s {self.own} new"), (2, f"{target}: File exists\n"))

    def test_a_directory_that_is_swapped(self):
        self.plant("mkdir mine; chmod 777 mine")
        script = f"mv mine moved; ln -s {self.own} mine"
        self.assertEqual(self.while_it_runs(self.shared / "mine", script), (0, ""))
        self.assertEqual((self.shared / "moved/var/run/new").read_text(), "new\n")

    def test_a_link_at_any_moment(self):
        """The other user replaces each directory with a link in a loop."""
        self.write_program("echo new >/var/run/new\n")
        script = (f"trap exit TERM; while :; do ln -s {self.own} mine/var; mv mine/var mine/old; "
                  "rm -rf mine/old; done 2>/dev/null")
        for _ in range(30):
            target = self.shared / "mine"
            self.plant("mkdir mine; chmod 777 mine")
            with subprocess.Popen([*OTHER, "sh", "-c", script], cwd=self.shared) as other:
                status, errors = self.run_lanfab(*self.preview(target))
                other.terminate()
            self.assertIn(status, (0, 2), errors)
            subprocess.run(["rm", "-rf", target], check=True)

    def test_a_program_that_runs_as_its_owner(self):
        self.write_program("echo new >/var/run/new\nchmod 6777 /var/run/new\n")
        self.assertEqual(self.run_lanfab(*self.preview(self.top / "files")), (0, ""))
        self.assertEqual(stat.S_IMODE((self.top / "files/var/run/new").stat().st_mode), 0o777)


if __name__ == "__main__":
    unittest.main()
