"""Two sites connected by a GRE tunnel: the state of both kernels, and traffic between the two LANs."""

import unittest

import guest

GATEWAYS = 2

# The two scripts of a device that maintain its route tables. The program runs ADD_SCRIPT before the tunnel
# exists, and systemd-networkd removes unknown policy rules and routes when it starts, so the script waits for
# the tunnel's address. The rule comes after the main table, so the LAN is still reachable through the tunnel.
FLUSH_SCRIPT = """#!/bin/sh
while ip rule del table "$1"; do :; done 2>/dev/null
ip route flush table "$1"
"""
ADD_SCRIPT = """#!/bin/sh
{
  until ip -4 -oneline address show dev "$2" | grep -q inet; do sleep 0.1; done
  ip route replace default via "$3" dev "$2" onlink table "$1"
  ip rule add priority 40000 iif "$2" table "$1"
} </dev/null >/dev/null 2>&1 &
"""

# Fills the list of this site's tunnels up to two: a run deletes only tunnels with the numbers in its list.
NO_TUNNEL = {"enable": False}

here = guest.Gateway()
there = guest.OtherGateway()


def port(ipv4, netmask):
    network = {"mode": "router", "protocol": "static", "ipv4": ipv4, "netmask": netmask}
    return {"enable": True, "network": network}


def site(lan, outer, *tunnels):
    return {
        "wired": {"eth0": port(lan, 24), "eth1": port(outer, 30)},
        "firewall": {"general": {"router": 1}},
        "tunnels": {"gre": list(tunnels)},
    }


def tunnel(**changes):
    """Returns this site's end of the tunnel, with `changes`."""
    settings = {
        "enable": True,
        "name": "The other site",
        "set_mtu": True,
        "mtu_size": 1400,
        "local_ip": "203.0.113.1",
        "remote_ip": "203.0.113.2",
        "tunnel_local_ip": "10.255.0.1",
        "tunnel_netmask": 30,
        "tunnel_remote_ip": "10.255.0.2",
        "tunnel_networks": [
            {"dest_ip": "192.168.2.0", "dest_netmask": 24},
            {"dest_ip": "10.40.0.9", "dest_netmask": 32},
        ],
    }
    return {**settings, **changes}


def far_tunnel():
    return tunnel(
        local_ip="203.0.113.2",
        remote_ip="203.0.113.1",
        tunnel_local_ip="10.255.0.2",
        tunnel_remote_ip="10.255.0.1",
        tunnel_networks=[
            {"dest_ip": "192.168.1.0", "dest_netmask": 24},
            {"dest_ip": "198.51.100.0", "dest_netmask": 24},
        ],
    )


def this_site(first, second):
    return site("192.168.1.1", "203.0.113.1", first, second)


def other_site():
    return site("192.168.2.1", "203.0.113.2", far_tunnel())


def setUpModule():
    for path, script in (
        ("/usr/bin/route_table_flush", FLUSH_SCRIPT),
        ("/usr/bin/route_table_add", ADD_SCRIPT),
    ):
        here.write(path, script)
        here.run("chmod", "+x", path)
    unittest.addModuleCleanup(there.close)
    there.apply(other_site())
    there.wait_for_address("gre-tun1", "10.255.0.2/30")
    there.set_host_address("lan0", "192.168.2.50/24", "192.168.2.1")
    here.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")


def packets_received(gateway, tunnel_name):
    return int(gateway.read(f"/sys/class/net/{tunnel_name}/statistics/rx_packets"))


def way_beyond_this_site():
    """Returns the first three hops from the other site's host to a network that does not exist at this
    site."""
    trace = ("busybox", "traceroute", "-n", "-q", "1", "-w", "1", "-m", "3", "198.51.100.9")
    lines = there.run(*trace, namespace="lan0", check=False).stdout.splitlines()[1:]
    return [line.split()[1] for line in lines]


class Tunnel(unittest.TestCase):
    """The second tunnel in the list, after a disabled one."""

    @classmethod
    def setUpClass(cls):
        here.apply(this_site(tunnel(enable=False, remote_ip="203.0.113.99"), tunnel()))
        here.wait_for_address("gre-tun2", "10.255.0.1/30")

    def test_device_is_as_configured(self):
        device = here.links()["gre-tun2"]
        self.assertEqual(device["linkinfo"]["info_kind"], "gre")
        self.assertEqual(device["linkinfo"]["info_data"]["local"], "203.0.113.1")
        self.assertEqual(device["linkinfo"]["info_data"]["remote"], "203.0.113.2")
        self.assertEqual(device["mtu"], 1400)
        # The tunnel is not bound to another interface.
        self.assertIsNone(device["link"])

    def test_device_has_the_inner_address(self):
        self.assertEqual(here.addresses("gre-tun2"), ["10.255.0.1/30"])

    def test_far_networks_are_routed_through_the_tunnel(self):
        for network in ("192.168.2.0/24", "10.40.0.9"):
            with self.subTest(network):
                route = guest.wait_until(lambda: here.route(network))
                self.assertEqual((route["dev"], route["gateway"]), ("gre-tun2", "10.255.0.2"))
                self.assertIn("onlink", route["flags"])

    def test_disabled_tunnel_is_not_there(self):
        self.assertNotIn("gre-tun1", here.link_names())

    def test_ends_reach_each_other(self):
        self.assertTrue(here.reaches("10.255.0.2"))
        self.assertTrue(there.reaches("10.255.0.1"))

    def test_hosts_of_the_two_sites_reach_each_other_through_the_tunnel(self):
        self.assertTrue(here.reaches("192.168.2.50", "lan0"))
        self.assertTrue(there.reaches("192.168.1.50", "lan0"))
        ends = ((here, "gre-tun2"), (there, "gre-tun1"))
        before = [packets_received(*end) for end in ends]
        self.assertTrue(here.reaches("192.168.2.50", "lan0"))
        after = [packets_received(*end) for end in ends]
        self.assertGreater(after[0], before[0])
        self.assertGreater(after[1], before[1])

    def test_what_arrives_for_an_unknown_network_goes_no_further(self):
        self.assertTrue(there.reaches("192.168.1.50", "lan0"))
        self.assertEqual(way_beyond_this_site(), ["192.168.2.1", "10.255.0.1"])

    def test_networkd_accepts_every_line(self):
        self.assertEqual(here.unit_file_warnings(), [])
        self.assertEqual(there.unit_file_warnings(), [])


class TunnelChanges(unittest.TestCase):
    def test_incoming_routes_send_back_what_arrives_until_the_tunnel_is_disabled(self):
        here.apply(this_site(tunnel(route_incoming=True, incoming_gre_gateway="10.255.0.2"), NO_TUNNEL))
        self.assertTrue(here.reaches("192.168.2.50", "lan0"))
        there_and_back = ["192.168.2.1", "10.255.0.1", "192.168.2.1"]
        guest.wait_until(lambda: way_beyond_this_site() == there_and_back)
        self.assertEqual(way_beyond_this_site(), there_and_back)

        here.apply(this_site(tunnel(enable=False), NO_TUNNEL))

        self.assertTrue(here.wait_for_address("eth1", "203.0.113.1/30"))
        self.assertNotIn("gre-tun1", here.link_names())
        self.assertIsNone(here.route("192.168.2.0/24"))
        self.assertFalse(here.reaches("192.168.2.50", "lan0", timeout=1))

    def test_changed_tunnel_is_recreated(self):
        here.apply(this_site(tunnel(), NO_TUNNEL))
        self.assertTrue(guest.wait_until(lambda: here.route("10.40.0.9")))
        self.assertEqual(here.links()["gre-tun1"]["mtu"], 1400)

        networks = [{"dest_ip": "192.168.2.0", "dest_netmask": 24}]
        here.apply(this_site(tunnel(mtu_size=1300, tunnel_networks=networks), NO_TUNNEL))

        self.assertTrue(here.wait_for_address("gre-tun1", "10.255.0.1/30"))
        self.assertEqual(here.links()["gre-tun1"]["mtu"], 1300)
        self.assertTrue(here.reaches("192.168.2.50", "lan0"))
        self.assertIsNone(here.route("10.40.0.9"))


class TunnelOverTheCellularLink(unittest.TestCase):
    """A tunnel from the current cellular address to a remote endpoint in the operator's network."""

    FAR_END = "203.0.113.99"

    def connect(self, ipv4, operator):
        here.connect_cellular(ipv4, 30, operator, beyond=[f"{self.FAR_END}/32"])
        far = ("far", "mode", "gre", "local", self.FAR_END, "remote", ipv4)
        here.run("ip", "tunnel", "del", "far", namespace="operator", check=False)
        here.run("ip", "tunnel", "add", *far, namespace="operator")
        here.run("ip", "link", "set", "far", "up", namespace="operator")
        here.set_host_address("operator", "10.255.0.2/30", ifname="far")

    def assert_tunnel_from(self, local):
        self.assertTrue(here.wait_for_address("gre-tun1", "10.255.0.1/30"))
        self.assertEqual(here.links()["gre-tun1"]["linkinfo"]["info_data"]["local"], local)
        self.assertTrue(here.reaches("10.255.0.2"))

    def test_tunnel_follows_the_links_address(self):
        self.addCleanup(here.disconnect_cellular)
        self.connect("10.64.1.2", "10.64.1.1")
        config = this_site(tunnel(local_ip="dynamic", remote_ip=self.FAR_END), NO_TUNNEL)
        config["wireless"] = {"cell": {"enable": True}}
        here.apply(config)
        self.assert_tunnel_from("10.64.1.2")

        self.connect("10.64.1.6", "10.64.1.5")
        here.wwan_apply()
        self.assert_tunnel_from("10.64.1.6")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
