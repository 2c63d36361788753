#!/usr/bin/python3
"""scripts/check-machine reports each unmet requirement in two lines: the cause and the remedy.

The tests fake the machine, with stubs of its programs and files for its /proc and /sys.
"""

import os
import shutil
import unittest

from command import CHECKOUT, SCRIPTS, CommandTest

GIB = 2**30


class CheckMachine(CommandTest):
    def setUp(self):
        super().setUp()
        self.checkout = self.directory / "checkout"
        shutil.copytree(SCRIPTS, self.checkout / "scripts")
        shutil.copytree(CHECKOUT / "tests/support", self.checkout / "tests/support")
        self.machine = self.directory / "machine"
        self.temporary = self.directory / "temporary"
        self.temporary.mkdir()
        self.put("unshare", "exit 0")
        self.put("uname", "echo x86_64")
        self.put("nproc", "echo 8")
        self.put("df", "echo Avail; echo 100000")
        self.put("findmnt", "echo rw")
        self.put_launcher("exit 0")
        self.put_on_machine("proc/meminfo", "MemAvailable: 16777216 kB\nSwapFree: 0 kB\n")
        self.put_on_machine("proc/self/cgroup", "0::/\n")
        self.put_on_machine("proc/self/mountinfo", "1 0 0:1 / / rw - ext4 /dev/vda rw\n")

    def put_on_machine(self, name, text):
        path = self.machine / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def put_launcher(self, text):
        path = self.checkout / "tests/system/gateway/launch"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def check(self, *needs, **environment):
        variables = {"LANFAB_MACHINE": str(self.machine), "TMPDIR": str(self.temporary), "GATEWAY": ""}
        command = self.checkout / "scripts/check-machine"
        return self.run_command(command, *needs, **{**variables, **environment})

    def expect_missing(self, done, cause, remedy):
        """Checks that there is one line with the cause and one with the remedy, and no temporary file."""
        self.expect(done, 1, cause)
        self.assertIn(remedy, done.stderr)
        self.assertEqual(len(done.stderr.splitlines()), 2, done.stderr)
        self.assertEqual(done.stdout, "")
        self.assertEqual(os.listdir(self.temporary), [])


class Needs(CheckMachine):
    def test_is_silent_when_nothing_is_missing(self):
        for need in ("build", "sandbox", "gateway"):
            with self.subTest(need):
                done = self.check(need)
                self.expect(done, 0)
                self.assertEqual(done.stdout, "")

    def test_a_full_disk(self):
        self.put("df", "echo Avail; echo 7")
        self.expect_missing(self.check("build"), "checkout has less than 2000 MB free", "Free some space")
        done = self.check("gateway")
        self.expect_missing(done, f"Neither /dev/shm nor {self.temporary} has 800 MB free", "set TMPDIR")

    def test_no_space_for_temporary_files(self):
        self.put("df", f'echo Avail; case "$*" in *{self.temporary}) echo 7 ;; *) echo 100000 ;; esac')
        self.expect_missing(self.check("build"), "or has less than 100 MB free", "set TMPDIR")

    def test_no_directory_for_temporary_files(self):
        self.put("df", 'for last; do :; done; [ -d "$last" ] && echo Avail && echo 100000')
        missing = self.directory / "missing"
        done = self.check("build", TMPDIR=str(missing))
        self.expect_missing(done, f"{missing} is not writable", "set TMPDIR")


class Memory(CheckMachine):
    def available(self, mebibytes, swap=0):
        text = f"MemTotal: 99999999 kB\nMemAvailable: {mebibytes * 1024} kB\nSwapFree: {swap * 1024} kB\n"
        self.put_on_machine("proc/meminfo", text)

    def limit(self, group, file, limit):
        """Puts this process into a control group, and limits that group or a parent of it."""
        self.put_on_machine("proc/self/cgroup", group)
        self.put_on_machine(f"sys/fs/cgroup/{file}", f"{limit}\n")

    def expect_too_little(self, need, mebibytes):
        cause = f"Only {mebibytes} MB of memory available; the build and the gateways need 1500 MB\n"
        self.expect_missing(self.check(need), cause, "use a machine with 2 GB")

    def test_too_little(self):
        self.available(900)
        for need in ("build", "gateway"):
            with self.subTest(need):
                self.expect_too_little(need, 900)

    def test_is_reported_once(self):
        self.available(900)
        done = self.check("build", "gateway")
        self.assertEqual(done.stderr.count("memory available"), 1, done.stderr)

    def test_swap_counts(self):
        self.available(900, swap=600)
        self.expect(self.check("build", "gateway"), 0)

    def test_limit_of_a_container(self):
        cases = (
            ("0::/\n", "memory.max"),
            ("0::/user/session\n", "user/session/memory.max"),
            ("0::/user/session\n", "user/memory.max"),
            ("5:devices:/\n4:cpu,memory:/box\n", "memory/box/memory.limit_in_bytes"),
            # A container may see the host's path of its group, and its own group at the root.
            ("4:memory:/docker/box\n", "memory/memory.limit_in_bytes"),
        )
        for group, file in cases:
            with self.subTest(file, group=group):
                self.limit(group, file, GIB)
                self.expect_too_little("build", 1024)
                (self.machine / "sys/fs/cgroup" / file).unlink()

    def test_no_limit(self):
        cases = (
            ("0::/box\n", "box/memory.max", "max"),
            ("4:memory:/\n", "memory/memory.limit_in_bytes", 9223372036854771712),
            ("4:devices:/box\n", "memory/box/memory.limit_in_bytes", GIB),
        )
        for group, file, limit in cases:
            with self.subTest(file):
                self.limit(group, file, limit)
                self.expect(self.check("build"), 0)

    def test_compile_jobs(self):
        for mebibytes, jobs in ((100_000, 8), (3600, 4), (3599, 3), (2200, 2), (1500, 1), (100, 1)):
            with self.subTest(mebibytes):
                self.available(mebibytes)
                self.assert_jobs(jobs, "--jobs")
        self.available(3600)
        self.assert_jobs(2, "--jobs", "1400")

    def assert_jobs(self, jobs, *options):
        done = self.check(*options)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, f"{jobs}\n", ""))


class Sandbox(CheckMachine):
    def test_no_user_namespaces(self):
        self.put("unshare", "exit 1")
        self.expect_missing(self.check("sandbox"), "need user namespaces", "Run the container with more")
        self.put_on_machine("proc/sys/user/max_user_namespaces", "0\n")
        self.expect_missing(self.check("sandbox"), "need user namespaces", "sysctl user.max_user_namespaces=")

    def test_no_user_namespaces_in_a_chroot(self):
        self.put("unshare", "exit 1")
        self.put_on_machine("proc/self/mountinfo", "1 0 0:1 / /proc rw - proc proc rw\n")
        self.expect_missing(self.check("sandbox"), "this is a chroot", "Run it outside")

    def test_fails(self):
        self.put("unshare", '[ "$*" = "--user true" ] || { echo mount failed >&2; exit 1; }')
        done = self.check("sandbox")
        self.expect_missing(done, "Could not create the test sandbox: mount failed", "--privileged")

    def test_is_restricted(self):
        self.put("unshare", '[ "$*" = "--user true" ]')
        self.put_on_machine("proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1\n")
        self.expect_missing(self.check("sandbox"), "AppArmor", "sysctl kernel.apparmor_restrict")

    def test_hangs(self):
        self.put("unshare", '[ "$*" = "--user true" ] || sleep 600')
        # With a much shorter time limit.
        timeout = shutil.which("timeout")
        self.put("timeout", f'shift; exec {timeout} 0.1 "$@"')
        self.expect_missing(self.check("sandbox"), "Could not create the test sandbox", "--privileged")


class Gateway(CheckMachine):
    def test_the_kernel_does_not_boot(self):
        self.put_launcher('[ "$*" = --probe ] && printf "It panics\\n  Use another one\\n" >&2; exit 1')
        self.expect_missing(self.check("gateway"), "It panics\n", "  Use another one\n")

    def test_the_kernel_dies_on_this_processor(self):
        shutil.rmtree(self.checkout / "tests/system")
        shutil.copytree(CHECKOUT / "tests/system", self.checkout / "tests/system")
        self.put("cc", "exit 0")
        self.put("linux.uml", "echo 'Kernel panic - not syncing: no mm' >&2; kill -SEGV $$")
        self.expect_missing(self.check("gateway"), "Kernel panic - not syncing: no mm", "GATEWAY=qemu")

    def test_its_packages_are_not_installed_yet(self):
        self.put_launcher("echo QEMU is missing >&2; exit 3")
        self.expect(self.check("gateway"), 0)

    def test_python_is_not_installed_yet(self):
        self.put_launcher("exit 1")
        for name in ("bash", "dirname", "cat", "awk", "xargs", "tail", "grep"):
            (self.programs / name).symlink_to(shutil.which(name))
        self.expect(self.check("gateway", PATH=str(self.programs)), 0)

    def test_no_program_may_run_where_the_memory_is(self):
        self.put("findmnt", "echo rw,noexec")
        done = self.check("gateway")
        self.expect_missing(done, "800 MB free on a file system without noexec", "set TMPDIR to another")
        self.expect(self.check("gateway", GATEWAY="qemu"), 0)

    def test_one_directory_for_the_memory_is_enough(self):
        self.put("findmnt", 'case "$*" in */dev/shm) echo rw,noexec ;; *) echo rw ;; esac')
        self.expect(self.check("gateway"), 0)

    def test_another_processor(self):
        self.put_launcher("echo It was started >&2; exit 1")
        self.put("uname", "echo riscv64")
        done = self.check("gateway")
        self.expect_missing(done, "Neither User-mode Linux nor QEMU", "scripts/test --possible")

    def test_processors_for_which_one_of_them_serves(self):
        for processor in ("x86_64", "aarch64"):
            with self.subTest(processor):
                self.put("uname", f"echo {processor}")
                self.expect(self.check("gateway"), 0)


if __name__ == "__main__":
    unittest.main()
