"""Checks that a WireGuard tunnel from the program's units carries traffic. Runs in a gateway whose kernel has
WireGuard.

systemd-networkd reads the units. The host behind eth1 is a router that knows only the two networks connected
to it; the remote endpoint of the tunnel is behind this router, set up with ip and wg.
"""

import json
import os
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
import guest

FAR_ADDRESS = "10.99.0.2"
# An address that is only reachable through the tunnel, which is the default route.
BEYOND = "192.0.2.55"

gateway = guest.Gateway()


def new_key(kind="genkey"):
    return gateway.run("wg", kind).stdout.strip()


def public_key(private_key):
    return gateway.run("wg", "pubkey", stdin=private_key).stdout.strip()


def set_up_router():
    gateway.add_namespace("far")
    peer = ("peer", "name", "outer", "netns", "far")
    gateway.run("ip", "link", "add", "far", "type", "veth", *peer, namespace="lan1")
    gateway.run("ip", "link", "set", "far", "up", namespace="lan1")
    gateway.run("ip", "link", "set", "outer", "up", namespace="far")
    gateway.set_host_address("lan1", "198.51.100.254/24")
    gateway.set_host_address("lan1", "203.0.113.254/24", ifname="far")
    gateway.run("sysctl", "-q", "-w", "net.ipv4.ip_forward=1", namespace="lan1")


def set_up_far_end(private_key, shared_key, near_public_key):
    gateway.set_host_address("far", "203.0.113.2/24", "203.0.113.254", ifname="outer")
    gateway.write("/run/far.key", private_key)
    gateway.write("/run/shared.key", shared_key)
    gateway.run("ip", "link", "add", "wg0", "type", "wireguard", namespace="far")
    peer = ("peer", near_public_key, "preshared-key", "/run/shared.key", "allowed-ips", "10.99.0.1/32")
    own = ("listen-port", "51820", "private-key", "/run/far.key")
    gateway.run("wg", "set", "wg0", *own, *peer, namespace="far")
    for address in (f"{FAR_ADDRESS}/24", f"{BEYOND}/32"):
        gateway.run("ip", "address", "add", address, "dev", "wg0", namespace="far")
    gateway.run("ip", "link", "set", "wg0", "up", namespace="far")


def set_up_near_end(private_key, shared_key, far_public_key):
    with open(os.path.join(HERE, "network.json"), encoding="utf-8") as file:
        text = file.read()
    keys = {"FAR_PUBLIC_KEY": far_public_key, "SHARED_KEY": shared_key}
    for name, key in keys.items():
        text = text.replace(name, key)
    gateway.configure(json.loads(text))
    gateway.write("/var/data/qel/.wg/wg0-private.key", private_key + "\n")
    # An apply would create this directory.
    gateway.run("mkdir", "-p", guest.UNIT_DIRECTORY)
    gateway.run("wireguard_units")
    gateway.run("ip", "address", "add", "198.51.100.1/24", "dev", "eth1")
    gateway.run("ip", "link", "set", "eth1", "up")
    gateway.run("ip", "route", "add", "default", "via", "198.51.100.254")
    gateway.run("systemctl", "restart", "systemd-networkd")


def setUpModule():
    near, far, shared = new_key(), new_key(), new_key("genpsk")
    set_up_router()
    set_up_far_end(far, shared, public_key(near))
    set_up_near_end(near, shared, public_key(far))


class Tunnel(unittest.TestCase):
    def test_networkd_accepts_every_line(self):
        self.assertTrue(gateway.wait_for_setup("wg0"))
        self.assertEqual(gateway.unit_file_warnings(), [])

    def test_the_far_end_answers_through_the_tunnel(self):
        self.assertTrue(gateway.reaches(FAR_ADDRESS, timeout=30), gateway.run("wg", "show").stdout)

    def test_the_tunnel_is_the_default_route(self):
        self.assertTrue(gateway.reaches(BEYOND, timeout=30), gateway.run("ip", "rule").stdout)


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
