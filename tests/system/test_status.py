"""The output of lanfab status on a gateway that matches its configuration, and on one with drift."""

import contextlib
import fcntl
import json
import os
import pathlib
import pty
import select
import shutil
import signal
import stat
import struct
import subprocess
import sys
import termios
import time
import unittest

import guest

TOOL = "cli/lanfab"

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = sorted(file.parent.name for file in ROOT.glob("examples/*/network.json"))
# The sample covers every kind of interface.
if not guest.IS_EXHAUSTIVE:
    EXAMPLES = [example for example in EXAMPLES if example in ("bridge-wifi", "passthrough", "shop")]
LOCK = "/var/run/LANFAB_LOCKED"

gateway = guest.Gateway()


def status(*options):
    return gateway.run("lanfab", "status", *options, check=False)


def look():
    return json.loads(status("--format", "json").stdout)


def differences():
    """Returns (subject, what) of each difference, marked if it is pending."""
    return differences_of(look())


def differences_of(seen):
    return {(one["subject"], one["what"] + (" (pending)" if one["pending"] else ""))
            for one in seen["differences"]}


def wait_until_as_wanted():
    """Waits until there is no drift; returns the last report."""
    seen = None

    def is_as_wanted():
        nonlocal seen
        seen = look()
        return not seen["differences"]

    guest.wait_until(is_as_wanted, timeout=60, interval=1)
    return seen


@contextlib.contextmanager
def run_at(moment):
    """Starts an apply and stops it when the condition is true, as on a very slow machine. Continues it at the
    end."""
    with subprocess.Popen(["cmd_lanfab", "apply"], stderr=subprocess.DEVNULL) as process:
        guest.wait_until(moment, interval=0.005, longest_interval=0.005)
        process.send_signal(signal.SIGSTOP)
        try:
            yield process
        finally:
            process.send_signal(signal.SIGCONT)


def remove_leftovers():
    """Removes leftovers of a former configuration from the kernel, which would be drift."""
    for name in gateway.link_names():
        if name.startswith("gre-tun"):
            gateway.run("ip", "link", "del", name)
        elif name.startswith(("eth", "wwan")):
            gateway.set_sysctl(f"net/ipv4/conf/{name}/proxy_arp", 0)
        if name in ("eth0", "eth1", "wlan0", "wlan1"):
            gateway.run("ip", "link", "set", name, "mtu", "1500")
            gateway.run("ip", "address", "flush", "dev", name)


class OfEachExample(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gateway.connect_cellular()
        for radio, host in (("wlan0", "wifi0"), ("wlan1", "wifi1")):
            gateway.connect_wifi(radio, host)

    def test_everything_is_as_wanted(self):
        for example in EXAMPLES:
            with self.subTest(example):
                gateway.apply(guest.example(example))
                seen = wait_until_as_wanted()
                self.assertEqual(differences_of(seen), set())
                self.assert_that_addresses_are_seen(seen)
                result = status()
                end = "\nNo drift: the gateway matches its configuration.\n"
                self.assertTrue(result.stdout.endswith(end))
                self.assertLessEqual(max(map(len, result.stdout.splitlines())), 80)
            remove_leftovers()

    def assert_that_addresses_are_seen(self, seen):
        addresses = {interface["name"]: interface["kernel"]["addresses"] for interface in seen["interfaces"]}
        self.assertEqual({name: sorted(own) for name, own in addresses.items()},
                         {name: sorted(gateway.addresses(name)) for name in addresses})
        self.assertIn("192.168.1.1/24", sum(addresses.values(), []))


def router():
    config = guest.example("router")
    # systemd-networkd takes seconds to check that no other host has the link-local address.
    del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
    return config


class Differences(unittest.TestCase):
    """Drift; each test undoes its changes."""

    @classmethod
    def setUpClass(cls):
        gateway.connect_cellular()
        gateway.apply(router())

    def setUp(self):
        self.assertTrue(gateway.wait_for_setup("eth0", "eth0.100", "eth1", "wwan0", timeout=60))

    def do(self, command, *undo):
        gateway.run(*command.split())
        for one in reversed(undo):
            self.addCleanup(gateway.run, *one.split())

    def assert_differences(self, *wanted):
        self.assertEqual(differences(), set(wanted))

    def test_an_address_that_is_gone(self):
        self.do("ip address del 192.168.100.1/24 dev eth0.100",
                "ip address add 192.168.100.1/24 brd + dev eth0.100",
                "ip route append 192.168.100.0/24 dev eth0.100 proto static")
        self.assert_differences(("eth0.100", "the address 192.168.100.1/24 is missing"),
                                ("eth0.100", "the route to 192.168.100.0/24 is missing"))
        result = status()
        self.assertEqual(result.returncode, 1)
        self.assertIn("!     the address 192.168.100.1/24 is missing: hosts cannot reach it\n"
                      "!     fix: networkctl reconfigure eth0.100\n"
                      "!     the route to 192.168.100.0/24 is missing: packets take another route or\n"
                      "!     none\n"
                      "!     fix: ip route replace 192.168.100.0/24 dev eth0.100 proto static\n",
                      result.stdout)

    def test_services_that_are_stopped(self):
        self.do("systemctl stop dnsmasq systemd-networkd", "systemctl start systemd-networkd dnsmasq")
        self.assertEqual(differences(), {("dnsmasq", "it is not active"),
                                         ("systemd-networkd", "it is not active")})
        self.assertIn("\n! dnsmasq           inactive (dead)", status().stdout)
        # `lanfab status` has not started the services.
        self.assertFalse(gateway.service_active("systemd-networkd"))
        self.assertFalse(gateway.service_active("dnsmasq"))

    def test_a_cable_that_is_pulled_is_none(self):
        self.do("nsenter --net=/run/netns/operator ip link set wwan down",
                "nsenter --net=/run/netns/operator ip link set wwan up")
        guest.wait_until(lambda: not gateway.addresses("wwan0"))
        self.assert_differences()

    def test_an_address_that_a_former_cellular_link_has_left(self):
        self.addCleanup(gateway.apply, router())
        self.addCleanup(gateway.connect_cellular)
        gateway.disconnect_cellular()
        gateway.apply(router())
        self.assertTrue(gateway.wait_for_setup("eth0", "eth0.100", "eth1", timeout=60))
        left = ("wwan0", "the address 10.64.1.2/30 is not configured")
        self.assertTrue(guest.wait_until(lambda: left in differences()))

    def test_a_trial_is_named_and_no_difference(self):
        trial = {"who": "anna from 192.0.2.7", "file": "new.json", "began": 0, "ends": 0}
        gateway.write("/run/lanfab/trial.json", json.dumps(trial))
        self.addCleanup(gateway.run, "rm", "/run/lanfab/trial.json")
        trial_line = "Trial\n      new.json on trial by anna from 192.0.2.7 for "
        self.assertTrue(status().stdout.startswith(trial_line))
        self.assertEqual(differences(), set())



class RunThatFailed(unittest.TestCase):
    def test_is_a_difference(self):
        config = router()
        del config["wired"]["eth1"]["network"]
        gateway.configure(config)
        self.assertEqual(gateway.lanfab("apply").returncode, 255)
        gateway.run("journalctl", "--sync")
        self.assertIn(("APPLY", "the last run failed"), differences())
        self.assertIn("\n      cmd lanfab apply failed\n", status("-v").stdout)


class ForgedRun(unittest.TestCase):
    """Journal entries of another user that look like those of a run."""

    def test_of_another_user_is_not_a_run(self):
        gateway.apply(router())
        gateway.run("journalctl", "--sync")
        runs = look()["runs"]
        for message in "lanfab APPLY", "cmd lanfab apply failed", "lanfab DNSMASQ":
            gateway.run("setpriv", "--reuid=65534", "logger", "--tag", "network", message)
        gateway.run("journalctl", "--sync")
        self.assertIn("lanfab DNSMASQ", gateway.run("journalctl", "--boot", "_UID=65534").stdout)
        self.assertEqual(look()["runs"], runs)


class Lock(unittest.TestCase):
    def lock(self):
        return look()["lock"]

    def subjects(self):
        return {subject for subject, _ in differences()}

    def test_of_a_run_at_work_is_no_difference(self):
        gateway.configure(router())
        with run_at(lambda: gateway.exists(LOCK)):
            lock = self.lock()
            self.assertEqual((lock["held"], lock["runs"]), (True, 1))
            self.assertNotIn("lock", self.subjects())

    def test_of_a_run_that_was_killed(self):
        gateway.configure(router())
        mark = gateway.journal_position()
        with run_at(lambda: ("notice", "lanfab APPLY") in gateway.syslog(mark)) as process:
            process.kill()
            process.wait()
        found = look()
        self.assertEqual((found["lock"]["held"], found["lock"]["runs"]), (False, 0))
        self.assertEqual({run["action"]: run["end"] for run in found["runs"]}["APPLY"], "interrupted")
        self.assertGreaterEqual(self.subjects(), {"lock", "APPLY"})
        self.assertIn(f"!     fix: rm {LOCK}\n", status().stdout)
        # A waiting run does not make the lock held.
        with subprocess.Popen(["cmd_lanfab", "dnsmasq"]) as waiting:
            guest.wait_until(lambda: self.lock()["runs"] == 1)
            self.assertFalse(self.lock()["held"])
            gateway.run("rm", LOCK)
            self.assertEqual(waiting.wait(60), 0)
        self.assertIsNone(self.lock())


# Interferes as another user can: locks the directory, and looks like a run that holds the lock, even by the
# name of its program and the owner of its directory in /proc.
MISCHIEF = """
import ctypes, fcntl, os, signal, sys
fcntl.flock(os.open("/run", os.O_RDONLY), fcntl.LOCK_EX)
signal.signal(signal.SIGTERM, lambda *_: None)
open("/proc/self/comm", "w").write("cmd_lanfab")
PR_SET_DUMPABLE = 4
assert ctypes.CDLL(None).prctl(PR_SET_DUMPABLE, 0) == 0
print("ready", flush=True)
sys.stdin.read()
"""


class OtherUser(unittest.TestCase):
    def setUp(self):
        gateway.apply(router())
        program = pathlib.Path("/tmp/cmd_lanfab")
        shutil.copy(sys.executable, program)
        self.addCleanup(program.unlink)
        process = self.enterContext(
            subprocess.Popen([program, "-c", MISCHIEF], user="nobody", group="nogroup", extra_groups=[],
                             stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True))
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), "ready\n")

    def test_does_not_hold_up_a_run(self):
        self.assertEqual(subprocess.run(["cmd_lanfab", "dnsmasq"], timeout=120, check=False).returncode, 0)

    def test_does_not_make_a_stale_lock_look_held(self):
        gateway.write(LOCK, "")
        self.addCleanup(gateway.run, "rm", "-f", LOCK)
        lock = look()["lock"]
        self.assertEqual((lock["held"], lock["runs"]), (False, 0))


class Leases(unittest.TestCase):
    def test_are_shown(self):
        gateway.apply(router())
        gateway.wait_for_setup("eth0")
        lease = guest.wait_until(lambda: gateway.dhcp_lease("lan0", hwaddr="02:00:5e:00:53:77"))
        self.assertIn((lease["ip"], "02:00:5e:00:53:77"),
                      [(entry["address"], entry["mac"]) for entry in look()["leases"]])
        self.assertIn(f"{lease['ip']:15}  02:00:5e:00:53:77  until 20", status().stdout)


class Metrics(unittest.TestCase):
    """The service that writes metrics for the node exporter."""

    DIRECTORY = "/var/lib/prometheus/node-exporter"

    def test_are_written_for_everybody_to_read(self):
        gateway.apply(router())
        gateway.run("mkdir", "-p", self.DIRECTORY)
        unit = (ROOT / "packaging/tools/lanfab-metrics.service.in").read_text(encoding="utf-8")
        gateway.write("/etc/systemd/system/lanfab-metrics.service",
                      unit.replace("@LANFAB_TOOL@", "/usr/bin/lanfab"))
        gateway.run("cp", ROOT / "packaging/tools/lanfab-metrics.timer", "/etc/systemd/system")
        verified = gateway.run("systemd-analyze", "--man=no", "verify", "lanfab-metrics.timer")
        self.assertEqual(verified.stderr, "")
        gateway.run("systemctl", "daemon-reload")
        gateway.run("systemctl", "start", "lanfab-metrics")
        written = pathlib.Path(self.DIRECTORY, "lanfab.prom")
        self.assertEqual(stat.S_IMODE(written.stat().st_mode), 0o644)
        metrics = written.read_text(encoding="ascii").splitlines()
        for line in "lanfab_status_success 1", "lanfab_last_apply_success 1", "lanfab_trial_active 0":
            self.assertIn(line, metrics)
        # The confinement of the service does not hide anything that lanfab status checks.
        self.assertIn("lanfab_drift_not_checked 0", metrics)


class Terminal:
    """lanfab status --watch on its own terminal."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        # Too small for a page, of which the last line is still shown.
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", 12, 80, 0, 0))
        self.settings = termios.tcgetattr(self.slave)
        self.text = ""
        self.process = subprocess.Popen(
            ["lanfab", "status", "--watch"],
            stdin=self.slave,
            stdout=self.slave,
            stderr=self.slave,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )

    def wait_for(self, words, timeout=60):
        """Reads until the words have been printed; returns whether they have."""
        self.text = ""
        deadline = time.monotonic() + timeout
        while words not in self.text and time.monotonic() < deadline:
            self.read(1)
        return words in self.text

    def read(self, seconds):
        while select.select([self.master], [], [], seconds)[0]:
            self.text += os.read(self.master, 4096).decode()
            seconds = 0

    def end(self):
        """Waits until the program exits; returns the status and whether the terminal is restored."""
        result = self.process.wait(20)
        self.read(0)
        is_left = self.text.endswith("\033[?25h\033[?1049l")
        return result, is_left and termios.tcgetattr(self.slave) == self.settings


class Watch(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gateway.apply(router())
        wait_until_as_wanted()

    def test_shows_changes_until_q(self):
        terminal = Terminal()
        self.assertTrue(terminal.wait_for("No drift"))
        gateway.run("ip", "address", "add", "172.16.0.1/24", "dev", "eth1")
        self.assertTrue(terminal.wait_for("1 difference"))
        self.assertIn("\n  ...\033[K\r\n", terminal.text)
        gateway.run("ip", "address", "del", "172.16.0.1/24", "dev", "eth1")
        self.assertTrue(terminal.wait_for("No drift"))
        os.write(terminal.master, b"q")
        self.assertEqual(terminal.end(), (0, True))

    def test_restores_the_terminal(self):
        for end, result in ((lambda terminal: os.write(terminal.master, b"\x03"), 0),
                            (lambda terminal: terminal.process.terminate(), -signal.SIGTERM)):
            terminal = Terminal()
            self.assertTrue(terminal.wait_for("No drift"))
            end(terminal)
            self.assertEqual(terminal.end(), (result, True))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
