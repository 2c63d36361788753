#!/usr/bin/python3
"""What the machine lacks is said before anything is built, and what to do."""

import unittest

from command import SCRIPTS, CommandTest

COMMAND = SCRIPTS / "check-machine"


class CheckMachine(CommandTest):
    def check(self, need, **environment):
        return self.run_command(COMMAND, need, **environment)

    def expect_missing(self, done, what, remedy):
        self.expect(done, 1, what)
        self.assertIn(remedy, done.stderr)
        self.assertEqual(done.stdout, "")

    def test_is_silent_when_nothing_is_missing(self):
        self.put("unshare", "exit 0")
        self.put("linux.uml", "echo 'Checking PROT_EXEC mmap in /dev/shm...OK'; sleep 60")
        self.put("uname", "echo x86_64")
        self.put("df", "echo Avail; echo 100000")
        self.put("findmnt", "echo rw")
        for need in ("build", "sandbox", "gateway"):
            with self.subTest(need):
                self.expect(self.check(need), 0)

    def test_a_full_disk(self):
        self.put("df", "echo Avail; echo 7")
        self.expect_missing(self.check("build"), "MB free", "make space")
        self.expect_missing(self.check("gateway", TMPDIR="/tmp"), "Neither /dev/shm nor /tmp", "TMPDIR")

    def test_no_program_may_run_where_the_memory_is(self):
        self.put("findmnt", "echo rw,noexec")
        self.expect_missing(self.check("gateway"), "where programs may run", "TMPDIR")

    def test_no_user_namespaces(self):
        self.put("unshare", "exit 1")
        # What the settings of the kernel are.
        self.put("cat", "echo 1")
        self.put("grep", "exit 0")
        self.expect_missing(self.check("sandbox"), "makes no user namespaces", "Run the container with more")
        self.put("cat", "echo 0")
        self.expect_missing(self.check("sandbox"), "makes no user namespaces", "sysctl user.max_user_namesp")

    def test_no_user_namespaces_in_a_chroot(self):
        self.put("unshare", "exit 1")
        self.put("cat", "echo 1")
        # Nothing is mounted on the root.
        self.put("grep", "exit 1")
        self.expect_missing(self.check("sandbox"), "this is a chroot", "Run it outside")

    def test_a_sandbox_that_fails(self):
        self.put("unshare", '[ "$*" = "--user true" ] || { echo mount failed >&2; exit 1; }')
        self.expect_missing(self.check("sandbox"), "cannot be made: mount failed", "--privileged")

    def test_a_sandbox_that_hangs(self):
        self.put("unshare", '[ "$*" = "--user true" ] || sleep 60')
        self.expect_missing(self.check("sandbox"), "cannot be made", "--privileged")

    def test_a_gateway_that_cannot_trace(self):
        self.put("uname", "echo x86_64")
        self.put("df", "echo Avail; echo 100000")
        self.put("findmnt", "echo rw")
        self.put("linux.uml", "echo 'Checking that ptrace can ...failed'; exit 1")
        self.expect_missing(self.check("gateway"), "does not run: Checking that ptrace", "yama/ptrace_scope")

    def test_another_processor(self):
        self.put("uname", "echo riscv64")
        self.expect_missing(self.check("gateway"), "not for riscv64", "64-bit PC")


if __name__ == "__main__":
    unittest.main()
