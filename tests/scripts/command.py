"""Runs the commands in scripts/, with programs that take the place of the machine's own."""

import os
import pathlib
import subprocess
import tempfile
import unittest

CHECKOUT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPTS = CHECKOUT / "scripts"


class CommandTest(unittest.TestCase):
    """A test with a directory of programs that are found before those of the machine."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.programs = self.directory / "programs"
        self.programs.mkdir()

    def put(self, name, text):
        """Puts a shell script in the place of a program of that name."""
        path = self.programs / name
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def run_command(self, *command, **environment):
        """Returns what came of the command; its programs are those that were put there, or the machine's."""
        path = f"{self.programs}:{os.environ['PATH']}"
        variables = {**os.environ, "PATH": path, "LC_ALL": "C", **environment}
        return subprocess.run(command, cwd=CHECKOUT, env=variables, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)

    def expect(self, done, status, said=""):
        """Demands the status, and that standard error has the text; nothing if it is empty."""
        self.assertEqual(done.returncode, status, done)
        if said:
            self.assertIn(said, done.stderr)
        else:
            self.assertEqual(done.stderr, "")
