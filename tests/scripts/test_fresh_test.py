#!/usr/bin/python3
"""scripts/test-fresh runs the right commands in the right systems, and cleans up. A stub replaces the
creation of a system."""

import os
import shutil
import signal
import subprocess
import unittest

from command import CHECKOUT, SCRIPTS, CommandTest

# A stub of the first process of a system: records its arguments.
SYSTEM = """#!/bin/sh
printf '%s\\n' "$1" "$3" >>"$CALLS"
directory=$2
[ -d "$directory" ] || exit 9
echo "$directory" >>"$CALLS.directories"
shift 3
for command; do printf '  %s\\n' "$command" | head -n 1; done >>"$CALLS"
"""


class TestFresh(CommandTest):
    def setUp(self):
        super().setUp()
        self.checkout = self.directory / "checkout"
        shutil.copytree(SCRIPTS, self.checkout / "scripts")
        self.calls = self.directory / "calls"
        self.put_system("exit 0")
        self.put("dpkg-query", 'printf "install ok installed"')
        self.put("git", ":")
        self.put("df", "echo Avail; echo 100000")
        self.put("awk", "echo 100000")
        # A stub of setpriv and unshare: runs the command without namespaces.
        self.put("setpriv", 'while [ "$1" != --mount-proc ]; do shift; done; shift; exec "$@"')
        # A stub of sudo that runs commands without becoming root.
        self.put("sudo", "shift; exec \"$@\"")

    def put_system(self, end):
        path = self.checkout / "tests/support/fresh-system"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(SYSTEM + end)
        path.chmod(0o755)

    def command(self, *arguments):
        # As root of a user namespace, even if an ordinary user runs the test.
        command = self.checkout / "scripts/test-fresh"
        return ["/usr/bin/unshare", "--user", "--map-root-user", command, *arguments]

    def run_fresh(self, *arguments):
        return self.run_command(*self.command(*arguments), CALLS=str(self.calls))

    def directories(self):
        return [line for line in (self.directory / "calls.directories").read_text().splitlines()]

    def test_the_commands_of_the_readme_in_debian_12(self):
        self.expect(self.run_fresh(), 0)
        self.assertEqual(self.calls.read_text(), "--memory\nbookworm\n  scripts/demo\n  scripts/test\n")
        readme = (CHECKOUT / "README.md").read_text()
        for command in ("scripts/demo", "scripts/test"):
            self.assertIn(f"\n    {command} ", readme)
        for directory in self.directories():
            self.assertFalse(os.path.exists(directory))

    def test_other_systems_and_further_commands(self):
        self.expect(self.run_fresh("trixie", "--then", "scripts/lint", "noble", "--then", "true"), 0)
        commands = "  scripts/demo\n  scripts/test\n  scripts/lint\n  true\n"
        self.assertEqual(self.calls.read_text(), f"--memory\ntrixie\n{commands}--memory\nnoble\n{commands}")

    def test_other_commands(self):
        self.expect(self.run_fresh("--instead", "scripts/lint", "--instead", "true", "--then", "false"), 0)
        self.assertEqual(self.calls.read_text(), "--memory\nbookworm\n  scripts/lint\n  true\n  false\n")

    def test_only_the_build(self):
        self.expect(self.run_fresh("--build-only"), 0)
        calls = self.calls.read_text()
        self.assertNotIn("scripts/demo", calls)
        self.assertIn("  scripts/build debug ", calls)
        self.assertIn("  scripts/build clang ", calls)

    def test_fails_if_a_command_fails_in_a_system(self):
        self.put_system('[ "$directory" = "${directory#*bookworm}" ]')
        self.expect(self.run_fresh("bookworm", "trixie"), 1)
        self.assertIn("trixie\n", self.calls.read_text())

    def test_with_little_memory_the_system_is_on_the_disk(self):
        self.put("awk", "echo 1000")
        self.expect(self.run_fresh(), 0)
        self.assertIn("--disk\n", self.calls.read_text())
        for directory in self.directories():
            self.assertFalse(os.path.exists(directory))

    def test_with_little_memory_and_a_full_disk_nothing_is_made(self):
        self.put("awk", "echo 1000")
        self.put("df", "echo Avail; echo 7")
        self.put("mktemp", f"touch {self.calls}; exec /usr/bin/mktemp \"$@\"")
        self.expect(self.run_fresh(), 1, "MB free")
        self.assertFalse(self.calls.exists())

    def test_without_namespaces_nothing_is_made(self):
        self.put("unshare", "exit 1")
        self.expect(self.run_fresh(), 1, "which this machine does not allow")
        self.assertFalse(self.calls.exists())

    def test_keeps_the_system_if_asked_to(self):
        done = self.run_fresh("--keep")
        directory, = self.directories()
        self.addCleanup(shutil.rmtree, directory)
        self.expect(done, 0)
        self.assertIn(f"scripts/test-fresh --enter {directory}\n", done.stdout)
        self.assertTrue(os.path.isdir(directory))

    def test_enters_only_what_it_has_kept(self):
        done = self.run_fresh("--enter", str(self.directory))
        self.expect(done, 1, "not a system that scripts/test-fresh --keep created")

    def test_ends_everything_when_it_is_ended(self):
        # The system writes to the pipe when it is up; the pipe is closed when all of its processes are gone.
        up = self.directory / "up"
        os.mkfifo(up)
        self.put_system(f'exec 3>{up}; echo >&3; sleep 600')
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                environment = {**os.environ, "PATH": f"{self.programs}:{os.environ['PATH']}",
                               "CALLS": str(self.calls)}
                self.put("setpriv", "exec /usr/bin/setpriv \"$@\"")
                with subprocess.Popen(self.command(), env=environment, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.DEVNULL) as process, open(up, "rb") as pipe:
                    pipe.readline()
                    process.send_signal(number)
                    self.assertEqual(pipe.read(), b"")
                self.assertEqual(process.returncode, 128 + number)
                for directory in self.directories():
                    self.assertFalse(os.path.exists(directory))


if __name__ == "__main__":
    unittest.main()
