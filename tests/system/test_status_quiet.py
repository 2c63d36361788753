"""lanfab status raises no false alarm: in every state of the cellular link, during a run, and over an
hour."""

import contextlib
import json
import pathlib
import subprocess
import sys
import time
import unittest

import guest

TOOL = "cli/lanfab"

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = sorted(file.parent.name for file in ROOT.glob("examples/*/network.json"))
if not guest.IS_EXHAUSTIVE:
    EXAMPLES = ["shop"]
MINUTES = 60 if guest.IS_EXHAUSTIVE else 5

# In pass-through, dnsmasq serves the address of the link.
RUNS_OF_LINK = ("sh", "-c", "cmd_lanfab wwan_apply; cmd_lanfab dnsmasq")
LOCK = "/var/run/LANFAB_LOCKED"

gateway = guest.Gateway()


def status():
    """Returns the output of `lanfab status`; nothing if systemd did not answer in time on a busy machine."""
    result = gateway.run("lanfab", "status", "--format", "json", check=False)
    if result.returncode != 2:
        return result.stdout
    if "no answer within" not in result.stderr:
        raise AssertionError(result.stderr)
    return None


def look():
    """Returns the differences: alarms, and pending ones."""
    found = json.loads(guest.wait_until(status))["differences"]
    texts = {True: set(), False: set()}
    for one in found:
        texts[one["pending"]].add(f"{one['subject']}: {one['what']}")
    return texts[False], texts[True]


def forget_links():
    """Removes the cellular link, and an example's leftovers in the kernel."""
    gateway.disconnect_cellular()
    # It would configure the next link with the unit of this one.
    gateway.run("systemctl", "stop", "systemd-networkd.socket", "systemd-networkd")
    for name in gateway.link_names():
        if name.startswith(("gre-tun", "eth0.", "br-lan", "wwan0")):
            gateway.run("ip", "link", "delete", name, check=False)
        elif name.startswith(("eth", "wlan")):
            gateway.run("ip", "link", "set", name, "mtu", "1500")
            gateway.run("ip", "address", "flush", "dev", name)
            gateway.set_sysctl(f"net/ipv4/conf/{name}/proxy_arp", 0)
    gateway.run("ip", "netns", "delete", "operator", check=False)


class Quiet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for radio, host in (("wlan0", "wifi0"), ("wlan1", "wifi1")):
            gateway.connect_wifi(radio, host)

    def assert_quiet_until_settled(self, *command):
        """Checks the status while the command runs and until nothing is pending."""
        with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as run:
            # Before the run begins, the differences that it will remove are alarms.
            guest.wait_until(lambda: gateway.exists(LOCK) or run.poll() is not None, interval=0.001,
                             longest_interval=0.001)
            end = time.monotonic() + 90 * guest.SLOWNESS
            while True:
                is_over = run.poll() is not None
                alarms, pending = look()
                self.assertEqual(alarms, set())
                if is_over and not pending:
                    return
                self.assertLess(time.monotonic(), end, f"still pending: {pending}")

    def test_in_every_state_of_the_cellular_link(self):
        for example in EXAMPLES:
            with self.subTest(example):
                forget_links()
                gateway.configure(guest.example(example))
                self.assert_quiet_until_settled("cmd_lanfab", "apply")
                # The interface exists now, but its address follows later.
                gateway.connect_cellular()
                gateway.disconnect_cellular()
                self.assert_quiet_until_settled("cmd_lanfab", "apply")
                gateway.connect_cellular()
                self.assert_quiet_until_settled(*RUNS_OF_LINK)
                self.assert_quiet_until_settled("cmd_lanfab", "apply")
                gateway.connect_cellular(ipv4="10.64.9.2", gateway="10.64.9.1")
                self.assert_quiet_until_settled(*RUNS_OF_LINK)

    def test_over_an_hour(self):
        for example in EXAMPLES:
            with self.subTest(example):
                forget_links()
                gateway.connect_cellular()
                gateway.configure(guest.example(example))
                self.assert_quiet_until_settled("cmd_lanfab", "apply")
                for minute in range(MINUTES):
                    time.clock_settime(time.CLOCK_REALTIME, time.time() + 60)
                    self.do_what_happens_in(minute)
                    alarms, pending = look()
                    self.assertEqual((minute, alarms), (minute, set()))
                    self.assertEqual((minute, pending), (minute, set()))

    def do_what_happens_in(self, minute):
        happens = (
            ("systemctl", "kill", "--signal=HUP", "dnsmasq"),
            ("journalctl", "--rotate"),
            ("systemctl", "daemon-reload"),
            ("true",),
        )
        gateway.run(*happens[minute % len(happens)])
        if minute % 20 == 1:
            gateway.dhcp_lease("lan0", hwaddr="02:00:5e:00:53:77")

    @guest.exhaustive
    def test_while_nothing_is_plugged_in(self):
        forget_links()
        gateway.connect_cellular()
        gateway.configure(guest.example("bridge-wifi"))
        with contextlib.ExitStack() as undo:
            for host, card in (("wifi1", "wifi1"), ("operator", "wwan")):
                gateway.run("ip", "link", "set", card, "down", namespace=host)
                undo.callback(gateway.run, "ip", "link", "set", card, "up", namespace=host)
            self.assert_quiet_until_settled("cmd_lanfab", "apply")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
