#!/usr/bin/env python3
"""Tests the launcher's output if a gateway cannot be booted. The kernels are stubs."""

import sys
import unittest

from scripts.command import CHECKOUT, CommandTest

LAUNCH = CHECKOUT / "tests/system/gateway/launch"
DEATH = """echo 'Run init as init process'
echo 'ptrace set fp regs failed, errno = 14'
echo ' [<6067bb96>] ? dump_stack_print_info+0xe2/0xf1'
echo 'Kernel panic - not syncing: Attempted to kill init!'
echo 'CPU: 0 PID: 1 Comm: init Not tainted 6.1.176 #1'
echo 'Call Trace:'
echo ' [<606944ba>] ? _printk+0x0/0x94'"""


class Launch(CommandTest):
    def launch(self, *arguments, **environment):
        return self.run_command(LAUNCH, *arguments, **{"GATEWAY": "uml", **environment})

    def test_the_cause_comes_first_without_the_stack_trace(self):
        self.put("linux.uml", DEATH)
        done = self.launch("true")
        self.expect(done, 1, "Gateway a failed: Kernel panic - not syncing: Attempted to kill init!")
        self.assertIn("errno = 14", done.stderr)
        self.assertNotIn("+0x", done.stderr)

    def test_the_console_can_be_shown(self):
        self.put("linux.uml", DEATH)
        self.assertIn("_printk", self.launch("--console", "true").stdout)

    def test_the_probe_is_silent_when_the_kernel_boots(self):
        self.put("linux.uml", "echo The gateway has begun.")
        done = self.launch("--probe")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "")

    def test_the_probe_prints_cause_and_remedy(self):
        self.put("linux.uml", DEATH)
        self.expect(self.launch("--probe"), 1, "Kernel panic")
        self.put("linux.uml", "echo 'check_ptrace : ptrace failed, errno = 1'")
        done = self.launch("--probe")
        self.expect(done, 1, "check_ptrace")
        self.assertEqual(len(done.stderr.splitlines()), 2)
        self.assertIn("Allow ptrace", done.stderr)

    def test_the_probe_distinguishes_missing_packages_from_other_errors(self):
        (self.programs / "python3").symlink_to(sys.executable)
        done = self.run_command("python3", LAUNCH, "--probe", PATH=str(self.programs), GATEWAY="uml")
        self.expect(done, 3, "linux.uml is not installed\n  Run: scripts/install-packages gateway\n")

    def test_the_kernel_of_qemu_is_not_downloaded_for_a_probe(self):
        for name in ("qemu-system-x86_64", "qemu-system-aarch64", "cpio", "modprobe", "busybox"):
            self.put(name, "exit 1")
        done = self.launch("--probe", GATEWAY="qemu", XDG_CACHE_HOME=str(self.directory))
        self.expect(done, 3, "is not downloaded yet")

    def test_an_unknown_kernel(self):
        done = self.launch("true", GATEWAY="vmm")
        self.expect(done, 1, "GATEWAY=vmm is invalid\n  Set it to one of: uml, qemu\n")


if __name__ == "__main__":
    unittest.main()
