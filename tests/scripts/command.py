"""Runs the commands in scripts/ with stubs for programs of the machine."""

import os
import pathlib
import subprocess
import tempfile
import unittest

CHECKOUT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPTS = CHECKOUT / "scripts"


class CommandTest(unittest.TestCase):
    """A test case with a directory of stubs, which precedes the machine's programs on the PATH."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.programs = self.directory / "programs"
        self.programs.mkdir()

    def put(self, name, text):
        """Creates a stub of a program, a shell script."""
        path = self.programs / name
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def run_command(self, *command, **environment):
        """Runs a command, with the stubs on its PATH; returns its result."""
        path = f"{self.programs}:{os.environ['PATH']}"
        variables = {**os.environ, "PATH": path, "LC_ALL": "C", **environment}
        return subprocess.run(command, cwd=CHECKOUT, env=variables, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)

    def expect(self, done, status, error=""):
        """Checks the status, and that standard error contains the string, or is empty if the string is."""
        self.assertEqual(done.returncode, status, done)
        if error:
            self.assertIn(error, done.stderr)
        else:
            self.assertEqual(done.stderr, "")
