#!/usr/bin/env python3
"""Checks that a program cannot leave the sandbox of `lanfab preview`: root and an ordinary user run
attack.py, which tries to. If this test itself runs in a sandbox, there is only one user. The first argument
is lanfab."""

import contextlib
import json
import os
import pathlib
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

from lib import processes
from lib.checkout import EXAMPLES
from lib.limits import HANG_SECONDS

LANFAB = os.path.abspath(sys.argv.pop(1))
ATTACK = pathlib.Path(__file__).with_name("attack.py")
USER = 65500
UNUSED = range(65520, 65534)
# Runs a command in a user namespace in which no further one can be created. The shell waits for a line, so
# that the test can first write the ID maps.
NO_NAMESPACES = ["unshare", "--user", "sh", "-c", 'echo && read -r _ && exec "$@"', "sh", "sh", "-c",
                 'echo 0 >/proc/sys/user/max_user_namespaces && exec "$@"', "sh"]


def has_users():
    """Whether this process is root and can change to other users."""
    text = pathlib.Path("/proc/self/uid_map").read_text(encoding="utf-8")
    return os.geteuid() == 0 and any(int(line.split()[2]) > UNUSED[-1] for line in text.splitlines())


class Boundary(unittest.TestCase):
    """A directory with files that the program must not reach."""

    def setUp(self):
        self.cleanup = contextlib.ExitStack()
        self.addCleanup(self.cleanup.close)
        # Below /run if it is writable, because systemd's sockets are there, too.
        top = "/run" if os.access("/run", os.W_OK) else None
        self.directory = pathlib.Path(self.cleanup.enter_context(tempfile.TemporaryDirectory(dir=top)))
        self.directory.chmod(0o755)
        self.lanfab = shutil.copy(LANFAB, self.directory / "lanfab")
        shutil.copy(EXAMPLES / "router" / "network.json", self.directory)
        (self.directory / "secret").write_text("secret", encoding="utf-8")
        self.marker = f"bystander-{os.getpid()}"
        self.bystander = self.start(["sh", "-c", "read -r _", self.marker], stdin=subprocess.PIPE)
        self.keyboard, self.terminal = os.openpty()
        for descriptor in self.keyboard, self.terminal:
            self.cleanup.callback(os.close, descriptor)
        os.chmod(os.ttyname(self.terminal), 0o666)
        for name in str(self.directory / "socket"), f"\0{self.marker}":
            server = self.cleanup.enter_context(socket.socket(socket.AF_UNIX))
            server.bind(name)
            server.listen()
        (self.directory / "socket").chmod(0o777)

    def start(self, command, **options):
        process = self.cleanup.enter_context(subprocess.Popen(command, **options))
        self.cleanup.callback(process.kill)
        return process

    def targets(self):
        files = [self.directory / "secret", "/etc/shadow", "/etc/ssh", "/root", "/home", "/sys", "/var/log",
                 pathlib.Path.home() / ".ssh", os.path.abspath(__file__)]
        return {
            "files": [str(path) for path in files if os.path.exists(path)],
            "sockets": [str(self.directory / "socket"), "/run/systemd/private",
                        "/run/dbus/system_bus_socket"],
            "abstract": self.marker,
            "settings": ["/proc/sys/kernel/core_pattern", "/proc/sys/vm/swappiness",
                         "/sys/kernel/mm/transparent_hugepage/enabled"],
            "terminal": os.ttyname(self.terminal),
            "marker": self.marker,
            "process": self.bystander.pid,
        }

    def program(self):
        """Creates the program that makes the attempts; returns its path."""
        text = ATTACK.read_text(encoding="utf-8").replace("TARGETS = {}", f"TARGETS = {self.targets()!r}")
        path = self.directory / "attack"
        path.write_text(f"#!/usr/bin/env python3\n{text}", encoding="utf-8")
        path.chmod(0o755)
        return path

    def attack(self, *command):
        """Runs a command on its own terminal; returns its output."""
        done = subprocess.run(["setsid", "--ctty", *command], stdin=self.terminal, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, check=False, timeout=HANG_SECONDS)
        if b"Run it as root" in done.stderr and command[0] == "setpriv":
            self.skipTest("this machine gives a user no namespaces")
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))
        return done.stdout.decode()

    def preview(self, *before):
        """Returns the report of attack.py from inside the sandbox of a preview."""
        printed = self.attack(*before, self.lanfab, "preview", "--format=json", f"--program={self.program()}",
                              str(self.directory / "network.json"))
        result = json.loads(printed)
        self.assertEqual((result["status"], result["stderr"]), (0, ""))
        return json.loads(result["stdout"])

    def assert_confined(self, report):
        self.assertGreater(len(report["attempts"]), 30)
        self.assertEqual([name for name, error in report["attempts"].items() if error is None], [])

    def test_the_caller(self):
        self.assert_confined(self.preview())

    def test_a_container_that_covers_a_part_of_proc(self):
        """If a part of /proc is covered, the kernel rejects a mount of /proc. The sandbox then only
        has its network settings."""
        program = self.directory / "program"
        program.write_text("#!/bin/sh\necho 0 >/proc/sys/net/ipv4/ip_forward && echo /proc/* /proc/sys/*\n",
                           encoding="utf-8")
        program.chmod(0o755)
        printed = self.attack("unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
                              'mount -t tmpfs none /proc/irq && exec "$@"', "sh", self.lanfab, "preview",
                              f"--program={program}", str(self.directory / "network.json"))
        self.assertIn("\n/proc/sys /proc/sys/net\n", printed)

    def test_the_end_of_lanfab(self):
        """If lanfab is killed, the program is killed, too, even if it has another user ID."""
        program = self.directory / "program"
        program.write_text("#!/bin/sh\nexec sleep infinity\n", encoding="utf-8")
        program.chmod(0o755)
        process = self.start([self.lanfab, "preview", f"--program={program}",
                              str(self.directory / "network.json")], stdout=subprocess.DEVNULL)
        ended = os.pidfd_open(processes.wait_for("sleep", process.pid))
        self.cleanup.callback(os.close, ended)
        process.kill()
        self.assertTrue(select.select([ended], [], [], HANG_SECONDS)[0], "it is still there")

    def test_without_a_sandbox(self):
        """Without a sandbox, attempts must succeed; otherwise, the other tests would prove nothing."""
        reached = {name for name, error in json.loads(self.attack(self.program()))["attempts"].items()
                   if error is None}
        socket_name = self.directory / "socket"
        expected = {f"read {self.directory / 'secret'}", f"connect to {socket_name}", "find a socket",
                    "connect to an abstract socket", "see a process", "signal a process", "have capabilities",
                    f"read {os.path.abspath(__file__)}", "call ptrace", "call keyctl", "call add_key"}
        self.assertLessEqual(expected, reached)

    @unittest.skipUnless(has_users(), "there is only one user")
    def test_the_user_of_root_is_unused(self):
        report = self.preview()
        self.assert_confined(report)
        self.assertEqual(report["user"], 0)
        self.assertIn(int(report["users"][1]), UNUSED)

    @unittest.skipUnless(has_users(), "there is only one user")
    def test_a_program_that_only_root_may_read(self):
        (self.directory / "lanfab").chmod(0o700)
        self.directory.chmod(0o700)
        self.assert_confined(self.preview())
        program = self.program()
        program.chmod(0o500)
        self.assert_confined(json.loads(json.loads(self.attack(
            self.lanfab, "preview", "--format=json", f"--program={program}",
            str(self.directory / "network.json")))["stdout"]))

    @unittest.skipUnless(has_users(), "there is only one user")
    def test_an_ordinary_user(self):
        os.chown(self.directory / "secret", USER, USER)
        report = self.preview("setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups")
        self.assert_confined(report)
        self.assertEqual(report["users"], ["0", str(USER), "1"])

    @unittest.skipUnless(has_users(), "there is only one user")
    def test_root_without_user_namespaces(self):
        words = [*NO_NAMESPACES, self.lanfab, "preview", "--format=json", f"--program={self.program()}",
                 str(self.directory / "network.json")]
        process = self.start(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.stdout.readline()
        for kind in "uid", "gid":
            pathlib.Path(f"/proc/{process.pid}/{kind}_map").write_text("0 0 65536", encoding="utf-8")
        result = json.loads(process.communicate(b"\n", HANG_SECONDS)[0])
        report = json.loads(result["stdout"])
        self.assert_confined(report)
        self.assertIn(report["user"], UNUSED)


if __name__ == "__main__":
    unittest.main()
