"""A run of the service that takes too long is ended, its lock is removed, and the next run works."""

import re
import sys
import unittest

import guest
import package

PACKAGE = "/root/lanfab.deb"

LOCK = "/var/run/LANFAB_LOCKED"
UNIT = "/lib/systemd/system/lanfab.service"
TELNET_INIT = "/usr/bin/telnet-init"
# Seconds; long enough for a run to reach telnet-init on a busy machine.
SHORT = 15

gateway = guest.Gateway()


def setUpModule():
    package.install(gateway, PACKAGE)
    config = guest.example("router")
    config["wired"]["eth0"]["network"]["advanced"]["telnet"] = {"enable": True}
    gateway.configure(config)


def shorten_time_outs():
    """Shortens systemd's time limits, including that of a reload, to about SHORT seconds."""
    (reload,) = re.findall("^ExecReload=.*$", gateway.read(UNIT), re.MULTILINE)
    less = reload.replace("170", str(SHORT))
    package.set_up(gateway, "lanfab", f"TimeoutStartSec={SHORT + 5}", "ExecReload=", less)


def replace_telnet_init(command):
    gateway.write(TELNET_INIT, f"#!/bin/sh\n{command}\n")
    gateway.run("chmod", "+x", TELNET_INIT)


def show(name):
    """Returns a property of the service."""
    return gateway.run("systemctl", "show", f"--property={name}", "--value", "lanfab").stdout.strip()


class ServiceEnd(unittest.TestCase):
    def setUp(self):
        gateway.run("systemctl", "stop", "lanfab")
        gateway.run("rm", "-f", LOCK)
        replace_telnet_init("true")
        shorten_time_outs()

    def check_next_run(self):
        replace_telnet_init("true")
        gateway.run("systemctl", "restart", "lanfab")
        self.assertEqual((show("ActiveState"), show("Result")), ("active", "success"))
        self.assertFalse(gateway.exists(LOCK))

    @guest.exhaustive
    def test_start_that_takes_too_long_leaves_no_lock(self):
        replace_telnet_init("exec sleep 1000")
        gateway.run("systemctl", "start", "lanfab", check=False)
        self.assertEqual((show("ActiveState"), show("Result")), ("failed", "timeout"))
        self.assertFalse(gateway.exists(LOCK))
        self.check_next_run()

    def test_reload_that_takes_too_long_leaves_no_lock(self):
        gateway.run("systemctl", "start", "lanfab")
        replace_telnet_init("exec sleep 1000")
        self.assertNotEqual(gateway.run("systemctl", "reload", "lanfab", check=False).returncode, 0)
        self.assertFalse(gateway.exists(LOCK))
        self.assertEqual(show("ActiveState"), "active")
        self.check_next_run()

    def test_stop_in_the_middle_of_a_run_leaves_no_lock(self):
        replace_telnet_init("exec sleep 1000")
        gateway.run("systemctl", "start", "--no-block", "lanfab")
        self.assertTrue(guest.wait_until(lambda: gateway.exists(LOCK)))
        gateway.run("systemctl", "stop", "lanfab")
        self.assertFalse(gateway.exists(LOCK))
        self.check_next_run()

    @guest.exhaustive
    def test_run_that_waits_for_a_lock_leaves_it_to_its_owner(self):
        gateway.write(LOCK, "")
        start = gateway.journal_position()
        gateway.run("systemctl", "start", "--no-block", "lanfab")
        waiting = ("notice", "cmd_lanfab is locked, waiting")
        self.assertTrue(guest.wait_until(lambda: waiting in gateway.syslog(start)))
        gateway.run("systemctl", "stop", "lanfab")
        self.assertTrue(gateway.exists(LOCK))
        gateway.run("rm", LOCK)
        self.check_next_run()

    @guest.exhaustive
    def test_reload_is_ended_before_systemd_kills_it(self):
        package.set_up(gateway, "lanfab")
        (seconds,) = re.findall(r"^ExecReload=timeout (\d+) ", gateway.read(UNIT), re.MULTILINE)
        self.assertEqual(show("TimeoutStartUSec"), "3min")
        self.assertLess(int(seconds), 180)


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
