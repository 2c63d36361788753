#!/usr/bin/env python3
"""Checks that `lanfab preview` ends a program that exceeds a limit, and prints one line that names the limit.
The first argument is lanfab, the second one cmd_lanfab, the third one "sanitizers" if both are built with
them."""

import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import unittest

from lib.checkout import EXAMPLES
from lib.limits import HANG_SECONDS

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
HAS_SANITIZERS = sys.argv.pop(1) == "sanitizers"
EXAMPLE = EXAMPLES / "router" / "network.json"
TOO_LARGE = "lanfab: the run was stopped: its output, log, and files exceed 64 MB\n"
# Memory limit: twice 64 MB for a growing string in each of two processes, and some for the rest.
MEMORY = 300_000_000
SMALL = "head -c 30000000 /dev/zero"


class Preview(unittest.TestCase):
    def preview(self, script, *words, before=()):
        """Runs a preview with a shell script as the program; returns its exit status, standard output and
        standard error."""
        with tempfile.TemporaryDirectory() as directory:
            program = pathlib.Path(directory, "program")
            program.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            program.chmod(0o755)
            done = subprocess.run([*before, LANFAB, "preview", f"--program={program}", *words, EXAMPLE],
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                                  timeout=HANG_SECONDS)
        return done.returncode, done.stdout, done.stderr

    def assert_too_large(self, script):
        self.assertEqual(self.preview(script), (2, "", TOO_LARGE))
        if not HAS_SANITIZERS:
            self.assertLess(1024 * resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, MEMORY)


class Floods(Preview):
    """Large outputs, below and above the limit. With sanitizers, these tests take minutes."""

    def test_output(self):
        for script in ("exec cat /dev/zero", "exec cat /dev/zero >&2"):
            self.assert_too_large(script)

    def test_log(self):
        self.assert_too_large("yes $(head -c 900 /dev/zero | tr '\\0' x) | logger")

    def test_less_than_that(self):
        status, out, err = self.preview(f"{SMALL}; {SMALL} >/run/large")
        self.assertEqual((status, err), (0, ""))
        self.assertGreater(len(out), 60_000_000)


class Limits(Preview):
    def test_time(self):
        self.assertEqual(self.preview("sleep infinity"),
                         (2, "", "lanfab: the run was stopped: it took longer than 60 s\n"))

    def test_files(self):
        self.assert_too_large("head -c 70000000 /dev/zero >/run/large")
        # A sparse file occupies no space, but its content is larger than the limit.
        self.assert_too_large("truncate -s 1T /run/sparse")

    def test_calls(self):
        self.assert_too_large("head -c 10000000 /dev/zero >/.sandbox/commands")

    def test_together(self):
        self.assert_too_large(f"{SMALL}; {SMALL} >&2; {SMALL} >/run/large")

    def test_database(self):
        self.assert_too_large("""python3 - <<'end'
import sqlite3
database = sqlite3.connect("/var/run/sysdb.sqlite3")
database.execute("DROP TABLE entries")
database.execute("CREATE VIEW entries AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
                 "SELECT '' AS database, i AS key, hex(zeroblob(1000)) AS value FROM n")
end""")

    def test_what_is_left_running(self):
        """Processes that the program leaves running are killed when it ends."""
        status, out, err = self.preview("cat /dev/zero >/dev/null & sleep infinity & echo done")
        self.assertEqual((status, err), (0, ""))
        self.assertIn("done", out)

    def test_open_files(self):
        complaint = "lanfab: a dry run needs 64 open files, and the limit is 9; see 'ulimit -n'\n"
        for command in ("preview", "diff"):
            done = subprocess.run(["prlimit", "--nofile=9", LANFAB, command, f"--program={PROGRAM}", EXAMPLE],
                                  capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", complaint))

    def test_open_files_that_may_be_more(self):
        command = [LANFAB, "preview", f"--program={PROGRAM}", EXAMPLE]
        done = subprocess.run(["prlimit", "--nofile=9:1000", *command], capture_output=True, text=True,
                              check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, subprocess.run(command, capture_output=True, text=True,
                                                     check=True).stdout)


if __name__ == "__main__":
    unittest.main()
