#!/usr/bin/env python3
"""Runs each command of `lanfab` with another user's programs in PATH: as root, it must not run them.

Runs in the sandbox. The first argument is lanfab, the second one cmd_lanfab.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

from lib import fake_systemd, play
from lib.limits import HANG_SECONDS

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
DIRECTORY = pathlib.Path("/run/path")
# The directory of another user's programs, and the file to which they write.
HIS = DIRECTORY / "his"
MARKER = DIRECTORY / "found"
TOOLS = ("ip", "systemctl", "networkctl", "journalctl", "systemd-run", "timeout", "wall", "dnsmasq", "dot",
         "cmd_lanfab")
# Runs a command as an ordinary user.
NOT_ROOT = ("unshare", "--user")


def setUpModule():
    HIS.mkdir(parents=True)
    for tool in TOOLS:
        (HIS / tool).write_text(f"#!/bin/sh\necho {tool} >>{MARKER}\n")
        (HIS / tool).chmod(0o755)
    for file in "/run/hosts", "/run/dnsmasq.conf":
        pathlib.Path(file).touch()


def run_lanfab(*words, lanfab=LANFAB, before=(), environment=None):
    """Returns the exit status, and standard output with standard error. By default, PATH begins with HIS."""
    if environment is None:
        environment = {"PATH": f"{HIS}:{os.environ['PATH']}"}
    done = subprocess.run([*before, lanfab, *words], cwd=DIRECTORY, capture_output=True, text=True,
                          env=environment, stdin=subprocess.DEVNULL, timeout=HANG_SECONDS, check=False)
    return done.returncode, done.stdout + done.stderr


class Commands(unittest.TestCase):
    def setUp(self):
        MARKER.write_text("")
        MARKER.chmod(0o666)
        fake_systemd.lay_out()
        self.addCleanup(subprocess.run, ["umount", "/etc", "/usr/sbin"], check=True)
        fake_systemd.INSTALLED.write_text("{}")

    def test_root_finds_nothing_there(self):
        # Without cmd_lanfab in its own directory, lanfab searches PATH for it.
        alone = shutil.copy(LANFAB, DIRECTORY / "lanfab")
        installed = str(fake_systemd.INSTALLED)
        for lanfab in LANFAB, alone:
            for command in (["check", installed], ["graph", installed, "--format=svg"],
                            ["preview", installed], ["diff", installed], ["status", "-v"],
                            ["try", installed], ["confirm"],
                            ["try", installed], ["revert"], ["revert", "--yes"]):
                output = run_lanfab(*command, lanfab=lanfab)
                self.assertEqual(MARKER.read_text(), "", f"{command}: {output}")

    def test_another_user_has_his_own_path(self):
        run_lanfab("graph", str(fake_systemd.INSTALLED), "--format=svg", before=NOT_ROOT)
        self.assertEqual(MARKER.read_text(), "dot\n")


class Children(unittest.TestCase):
    """PATH of the tools that lanfab runs, printed by a stub of ip."""

    @classmethod
    def setUpClass(cls):
        play.lay_answers({})
        (play.TOOLS / "ip").write_text("#!/bin/sh\necho $PATH >&2\nexit 1\n")

    def test_all_of_root_get_the_same_path(self):
        said = (2, "lanfab: ip: /usr/sbin:/usr/bin:/sbin:/bin\n")
        self.assertEqual(run_lanfab("status"), said)
        self.assertEqual(run_lanfab("status", environment={}), said)

    def test_those_of_an_ordinary_user_need_no_path(self):
        # Without the stub, lanfab must find the system's one in /usr/bin.
        (play.TOOLS / "systemctl").unlink()
        output = run_lanfab("status", before=NOT_ROOT, environment={})[1]
        self.assertNotIn("No such file or directory", output)


if __name__ == "__main__":
    unittest.main()
