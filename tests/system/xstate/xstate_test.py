#!/usr/bin/python3
"""Checks that the gateway boots on a kernel that only accepts the complete XSAVE area, as with AMX.

Usage: xstate_test.py REJECT REGISTERS
REJECT is the library that imitates such a kernel, REGISTERS the program that runs in the gateway.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

LAUNCH = pathlib.Path(__file__).resolve().parents[1] / "gateway/launch"
KERNEL = shutil.which("linux.uml")


class WholeAreaOnly(unittest.TestCase):
    def launch(self, preloaded, *command):
        """Launches a gateway whose kernel runs with LD_PRELOAD set to `preloaded`; returns the result.
        `$LD_PRELOAD` in this value is the library of the launcher."""
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        kernel = pathlib.Path(directory.name, "linux.uml")
        kernel.write_text(f'#!/bin/sh\nLD_PRELOAD={preloaded} exec {KERNEL} "$@"\n', encoding="utf-8")
        kernel.chmod(0o755)
        environment = {**os.environ, "PATH": f"{directory.name}:{os.environ['PATH']}", "GATEWAY": "uml"}
        return subprocess.run(
            [LAUNCH, *command], env=environment, capture_output=True, text=True, check=False
        )

    def test_the_kernel_alone_does_not_boot(self):
        done = self.launch(REJECT, "true")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("ptrace set fp regs failed", done.stderr)

    def test_processes_keep_their_vector_registers(self):
        done = self.launch(f"$LD_PRELOAD:{REJECT}", "--tool", REGISTERS, pathlib.Path(REGISTERS).name)
        self.assertEqual(done.returncode, 0, done)
        self.assertRegex(done.stdout, r"^(AVX|SSE) registers kept\n$")


if __name__ == "__main__":
    if KERNEL is None:
        print("skipped: this system has no linux.uml")
        sys.exit(77)
    REJECT, REGISTERS = map(os.path.abspath, sys.argv[1:])
    unittest.main(argv=sys.argv[:1])
