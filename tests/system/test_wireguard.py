"""WireGuard interfaces: systemd-networkd accepts their units and routes accordingly.

User-mode Linux has no WireGuard, so the device units are read up to the kernel's refusal. For the network
units, a dummy device replaces the tunnel. Traffic through a real tunnel: tests/system/wireguard/run.
"""

import base64
import hashlib
import json
import re
import unittest

import guest

TOOL = "wireguard_units"

# The messages of systemd 252 and 257.
REFUSED = re.compile("(netdev could not be created|Failed to create netdev): Operation not supported$")

gateway = guest.Gateway()


def key(name):
    """Returns a key; any 32 bytes are valid."""
    return base64.b64encode(hashlib.sha256(name.encode()).digest()).decode()


def network():
    """Returns two tunnels and a disabled one between them; a peer of the first has no public key."""
    first = {
        "enable": True,
        "local_addrs": "10.99.0.1/24",
        "peers": [
            {
                "public_key": key("headquarters"),
                "endpoint": "192.168.1.9:51820",
                "allowed_ips": "0.0.0.0/0, 10.77.0.0/16",
                "preshared_key": key("shared"),
                "keep_alive": 25,
            },
            {"public_key": key("technician"), "allowed_ips": "10.99.0.7/32"},
            {"allowed_ips": "10.99.8.0/24"},
        ],
    }
    second = {
        "enable": False,
        "local_addrs": "10.97.0.1/24",
        "peers": [{"public_key": key("former"), "allowed_ips": "10.97.0.0/24"}],
    }
    third = {
        "enable": True,
        "local_addrs": "10.98.0.1/24",
        "peers": [{"public_key": key("depot"), "allowed_ips": "10.98.0.0/24,172.16.0.0/12"}],
    }
    port = {"mode": "router", "protocol": "static", "ipv4": "192.168.1.1", "netmask": 24}
    return {
        "wired": {"eth0": {"enable": True, "network": port}},
        "static_routes": [
            {
                "enable": True,
                "interface": "eth0",
                "gateway": "192.168.1.254",
                "ipv4": "0.0.0.0",
                "netmask": 0,
            },
        ],
        "tunnels": {"wireguard": {"enable": True, "interfaces": [first, second, third]}},
    }


def kernel_has_wireguard():
    done = gateway.run("ip", "link", "add", "probe", "type", "wireguard", check=False)
    gateway.run("ip", "link", "delete", "probe", check=False)
    return done.returncode == 0


def setUpModule():
    for name in ("wg0", "wg1", "wg2"):
        gateway.write(f"/var/data/qel/.wg/{name}-private.key", key(name) + "\n")
    gateway.apply(network())


def restart_networkd():
    """Restarts systemd-networkd, which reads the units; returns the journal's mark before that."""
    start = gateway.journal_position()
    gateway.run("systemctl", "restart", "systemd-networkd")
    return start


def warnings_since(start):
    """Returns systemd-networkd's warnings, with "refused" for a device type that the kernel lacks."""
    return sorted(REFUSED.sub("refused", warning) for warning in gateway.networkd_warnings(start))


class Units(unittest.TestCase):
    def test_networkd_accepts_every_line_and_only_the_kernel_refuses(self):
        gateway.run("wireguard_units")
        start = restart_networkd()
        refusals = [] if kernel_has_wireguard() else ["wg0: refused", "wg2: refused"]
        guest.wait_until(lambda: warnings_since(start) == refusals)
        self.assertEqual(warnings_since(start), refusals)


class Routing(unittest.TestCase):
    """Network units, on dummy devices instead of tunnels."""

    @classmethod
    def setUpClass(cls):
        gateway.run("wireguard_units")
        # With these device units, systemd-networkd would ignore links of another kind.
        gateway.run("sh", "-c", f"rm {guest.UNIT_DIRECTORY}*-wireguard.netdev")
        for name in ("wg0", "wg1", "wg2"):
            gateway.run("ip", "link", "delete", name, check=False)
            gateway.run("ip", "link", "add", name, "type", "dummy")
            cls.addClassCleanup(gateway.run, "ip", "link", "delete", name)
        restart_networkd()
        for name in ("eth0", "wg0", "wg2"):
            guest.wait_until(lambda name=name: gateway.link_setup(name) == "configured")

    def rules(self, family):
        """Returns the policy rules without their order, which systemd-networkd chooses."""
        rules = json.loads(gateway.run("ip", "-json", family, "rule").stdout)
        own = [rule for rule in rules if rule.get("protocol") == "static"]
        kept = ("table", "not", "fwmark", "suppress_prefixlen")
        return [{name: rule[name] for name in kept if name in rule} for rule in own]

    def device_to(self, *destination):
        (route,) = json.loads(gateway.run("ip", "-json", "route", "get", *destination).stdout)
        return route["dev"]

    def test_tunnels_have_their_addresses(self):
        self.assertEqual(gateway.addresses("wg0"), ["10.99.0.1/24"])
        self.assertEqual(gateway.addresses("wg2"), ["10.98.0.1/24"])

    def test_disabled_tunnel_is_left_alone(self):
        self.assertEqual(gateway.link_setup("wg1"), "unmanaged")

    def test_allowed_networks_are_routed_in_the_tunnels_own_table(self):
        expected = {
            "3006": (["default", "10.77.0.0/16", "10.99.0.7", "10.99.8.0/24"], "wg0"),
            "3008": (["10.98.0.0/24", "172.16.0.0/12"], "wg2"),
        }
        for table, (networks, device) in expected.items():
            with self.subTest(table):
                routes = gateway.routes(table=table)
                self.assertCountEqual([route["dst"] for route in routes], networks)
                self.assertEqual({route["dev"] for route in routes}, {device})

    def test_policy_rules_are_there_for_both_families(self):
        expected = [
            {"table": "3006", "not": None, "fwmark": "0xbbe"},
            {"table": "3008", "not": None, "fwmark": "0xbc0"},
            {"table": "main", "suppress_prefixlen": 0},
        ]
        self.assertCountEqual(self.rules("-4"), expected)
        self.assertCountEqual(self.rules("-6"), expected)

    def test_traffic_without_the_mark_takes_the_tunnel(self):
        self.assertEqual(self.device_to("8.8.8.8"), "wg0")

    def test_the_tunnels_own_packets_take_the_default_route(self):
        self.assertEqual(gateway.route("default")["gateway"], "192.168.1.254")
        self.assertEqual(self.device_to("8.8.8.8", "mark", "3006"), "eth0")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
