"""A rollback restores the kernel's network: applies each example, tries each of the others, and reverts."""

import itertools
import json
import os
import pathlib
import sys
import unittest

import guest

TOOL = "cli/lanfab"

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = sorted(file.parent.name for file in ROOT.glob("examples/*/network.json"))
PAIRS = list(itertools.permutations(EXAMPLES, 2))
# The trials of the sample add a better route through a tunnel; an address, an MTU and proxy ARP on a port
# that the old configuration does not use; and an MTU on a member of a bridge.
if not guest.IS_EXHAUSTIVE:
    PAIRS = [("router", "tunnels"), ("cellular-router", "passthrough"), ("bridge-wifi", "passthrough")]

SYSCTLS = "/proc/sys/net/ipv4/conf"
# Devices that the kernel creates with the first tunnel and never removes.
FALLBACK_DEVICES = ("gre0:", "gretap0:", "erspan0:")
# The keys in the output of `ip -details` that are configuration, not state.
LINK_KEYS = ("mtu", "address", "master", "link")
KIND_KEYS = ("remote", "local", "ttl", "id", "stp_state", "forward_delay", "vlan_filtering")

gateway = guest.Gateway()


def ip(*arguments):
    return json.loads(gateway.run("ip", "-json", "-details", "-4", *arguments).stdout or "[]")


def links():
    """Yields a line for each setting of each link."""
    for name, link in gateway.links().items():
        info = link.get("linkinfo", {})
        data = info.get("info_data", {})
        settings = {"up": "UP" in link["flags"], "kind": info.get("info_kind"),
                    **{key: link.get(key) for key in LINK_KEYS}, **{key: data.get(key) for key in KIND_KEYS}}
        yield from (f"{name}: {key} {value}" for key, value in settings.items() if value is not None)


def addresses():
    for link in ip("address"):
        for info in link.get("addr_info", []):
            yield f"{link['ifname']}: {info['local']}/{info['prefixlen']} {info['scope']}"


def objects(kind, *arguments):
    """Yields a line for each object, without properties that depend on the carrier."""
    for entry in ip(kind, *arguments):
        entry["flags"] = [flag for flag in entry.get("flags", []) if flag not in ("linkdown", "dead")]
        yield f"{kind} {json.dumps(entry)}"


def sysctls():
    for link in os.listdir(SYSCTLS):
        for name in os.listdir(f"{SYSCTLS}/{link}"):
            yield f"{link}: {name} {gateway.read(f'{SYSCTLS}/{link}/{name}').strip()}"


def kernel():
    """Returns the kernel's configuration as a set of lines."""
    lines = itertools.chain(links(), addresses(), objects("route", "show", "table", "all"), objects("rule"),
                            sysctls())
    return {line for line in lines if not line.startswith(FALLBACK_DEVICES)}


def settle():
    """Waits until systemd-networkd has set up every link that it manages."""
    def is_settled():
        answer = gateway.run("networkctl", "--json=short", "list", check=False).stdout
        return answer and all(link["AdministrativeState"] in ("configured", "unmanaged")
                              for link in json.loads(answer)["Interfaces"])
    return guest.wait_until(is_settled, timeout=30)


def clear():
    """Removes the leftovers of the previous pair's configurations from the kernel."""
    gateway.run("systemctl", "stop", "systemd-networkd.socket", "systemd-networkd")
    for name, link in gateway.links().items():
        if link.get("linkinfo", {}).get("info_kind") in ("gre", "vlan", "bridge"):
            gateway.run("ip", "link", "del", name)
        elif name in ("eth0", "eth1", "wwan0", "wlan0", "wlan1"):
            gateway.run("ip", "address", "flush", "dev", name)
            gateway.run("ip", "link", "set", "dev", name, "down", "mtu", "1500")
            gateway.set_sysctl(f"net/ipv4/conf/{name}/proxy_arp", 0)
    gateway.set_sysctl("net/ipv4/ip_forward", 0)


class Rollback(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gateway.connect_cellular()
        for radio, host in (("wlan0", "wifi0"), ("wlan1", "wifi1")):
            gateway.connect_wifi(radio, host)

    def test_leaves_the_kernel_as_it_was(self):
        for old, new in PAIRS:
            with self.subTest(old=old, new=new):
                self.apply(old)
                before = kernel()
                self.try_out(new)
                self.assertNotEqual(kernel(), before)
                gateway.run("lanfab", "revert")
                self.assertEqual(kernel(), before)

    # Except for policy rules that are added during the trial: systemd-networkd removes them when it starts.
    @guest.exhaustive
    def test_leaves_alone_what_others_have_added(self):
        self.apply("router")
        for command in ("address add 192.168.2.9/32 dev eth1", "route add 10.77.0.0/16 dev eth1 table 77",
                        "rule add from 192.168.2.9 lookup 77 priority 77"):
            gateway.run("ip", *command.split())
        self.addCleanup(gateway.run, "ip", "rule", "del", "priority", "77")
        before = kernel()
        self.try_out("tunnels")
        for command in ("link add docker0 type bridge", "link set docker0 up",
                        "address add 172.17.0.1/16 dev docker0",
                        "route add 10.88.0.0/16 dev docker0 table 88"):
            gateway.run("ip", *command.split())
        self.addCleanup(gateway.run, "ip", "link", "del", "docker0")
        others = {line for line in kernel() if "docker0" in line}
        gateway.run("lanfab", "revert")
        self.assertEqual(kernel(), before | others)

    def apply(self, example):
        clear()
        gateway.apply(guest.example(example))
        self.assertTrue(settle())

    @staticmethod
    def try_out(example):
        gateway.write("/root/new.json", json.dumps(guest.example(example)))
        gateway.run("lanfab", "try", "--force", "--no-verify", "/root/new.json")
        settle()


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
