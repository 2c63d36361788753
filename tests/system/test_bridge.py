"""The LAN bridge: ports in one LAN with the settings of the primary port, VLANs, and removing the bridge."""

import json
import unittest

import guest

HOSTS = {"lan0": "02:00:5e:00:01:10", "lan1": "02:00:5e:00:01:11"}

gateway = guest.Gateway()


def port(ipv4, dhcp=None, vlans=()):
    network = {"mode": "router", "protocol": "static", "ipv4": ipv4, "netmask": 24}
    if dhcp:
        network["dhcp"] = dhcp
    if vlans:
        network["advanced"] = {"vlan": {"enable": True, "networks": list(vlans)}}
    return {"enable": True, "network": network}


def pool(start, end):
    return {"enable": True, "start": start, "end": end, "leasetime": "1h"}


def vlan(vid, ipv4, dhcp=None):
    network = {"protocol": "static", "ipv4": ipv4, "netmask": 24}
    if dhcp:
        network["dhcp"] = dhcp
    return {"enable": True, "vid": vid, "network": network}


def bridge_of(*ports):
    return {"enable": True, "interfaces": list(ports), "primary_interface": "eth0"}


def both_ports():
    """Returns a bridge of the two ports that carries the primary port's VLAN 100."""
    tagged = vlan(100, "192.168.100.1", pool("192.168.100.100", "192.168.100.149"))
    eth0 = port("192.168.1.1", pool("192.168.1.100", "192.168.1.149"), [tagged])
    eth0["network"]["advanced"]["enable_secondary_ip"] = True
    route = {
        "enable": True,
        "interface": "br-lan",
        "ipv4": "10.30.0.0",
        "netmask": 16,
        "gateway": "192.168.1.7",
        "metric": 20,
    }
    return {
        "wired": {"bridge": bridge_of("eth0", "eth1"), "eth0": eth0, "eth1": port("192.168.2.1")},
        "firewall": {"general": {"router": 1}},
        "static_routes": [route],
    }


def one_port_and_a_tunnel():
    """Returns a bridge of eth0 alone, eth1 with VLAN 200, and a tunnel to a host behind eth1."""
    tunnel = {
        "enable": True,
        "local_ip": "192.168.2.1",
        "remote_ip": "192.168.2.50",
        "tunnel_local_ip": "10.255.0.1",
        "tunnel_netmask": 30,
        "tunnel_remote_ip": "10.255.0.2",
        "tunnel_networks": [{"dest_ip": "172.16.0.0", "dest_netmask": 16}],
    }
    return {
        "wired": {
            "bridge": bridge_of("eth0"),
            "eth0": port("192.168.1.1"),
            "eth1": port("192.168.2.1", vlans=[vlan(200, "192.168.200.1")]),
        },
        "firewall": {"general": {"router": 1}},
        "tunnels": {"gre": [tunnel]},
    }


def masters():
    """Returns the bridge that each port is attached to, or None."""
    links = gateway.links()
    return {name: links[name].get("master") for name in ("eth0", "eth1")}


class BridgeCase(unittest.TestCase):
    """Each case begins with hosts that have no addresses."""

    def setUp(self):
        for host in HOSTS:
            gateway.run("ip", "-4", "address", "flush", "scope", "global", namespace=host)

    def assert_lease_of(self, lease, network, router):
        """Checks the terms of a lease for an address from `network`.100 to `network`.149."""
        self.assertIsNotNone(lease)
        self.assertIn(lease["ip"], [f"{network}.{number}" for number in range(100, 150)])
        self.assertEqual((lease["mask"], lease["lease"]), ("24", "3600"))
        self.assertEqual((lease["router"], lease["dns"]), (router, router))


class BridgeOfBothPorts(BridgeCase):
    @classmethod
    def setUpClass(cls):
        gateway.apply(both_ports())
        gateway.wait_for_address("br-lan", "192.168.1.1/24")
        gateway.wait_for_address("eth0.100", "192.168.100.1/24")

    def give_both_hosts_an_address(self):
        gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
        gateway.set_host_address("lan1", "192.168.1.51/24", "192.168.1.1")

    def test_ports_are_members_and_forward(self):
        self.assertEqual(gateway.links()["br-lan"]["linkinfo"]["info_kind"], "bridge")
        self.assertEqual(masters(), {"eth0": "br-lan", "eth1": "br-lan"})
        for name in ("eth0", "eth1"):
            with self.subTest(name):
                self.assertEqual(gateway.links()[name]["linkinfo"]["info_slave_data"]["state"], "forwarding")

    def test_bridge_alone_has_the_primary_ports_addresses(self):
        # systemd-networkd first checks that no other host has the link-local address.
        self.assertTrue(gateway.wait_for_address("br-lan", "169.254.0.1/25"))
        self.assertCountEqual(gateway.addresses("br-lan"), ["192.168.1.1/24", "169.254.0.1/25"])
        self.assertEqual(gateway.addresses("eth0"), [])
        self.assertEqual(gateway.addresses("eth1"), [])

    def test_routes_lead_to_the_bridge(self):
        self.assertEqual(gateway.route("192.168.1.0/24")["dev"], "br-lan")
        route = guest.wait_until(lambda: gateway.route("10.30.0.0/16"))
        self.assertEqual((route["gateway"], route["dev"], route["metric"]), ("192.168.1.7", "br-lan", 20))

    def test_hosts_behind_the_two_ports_are_on_one_lan(self):
        self.give_both_hosts_an_address()
        self.assertTrue(gateway.reaches("192.168.1.51", "lan0"))
        neighbours = json.loads(
            gateway.run("ip", "-json", "neighbour", "show", "192.168.1.51", namespace="lan0").stdout
        )
        self.assertEqual([neighbour["lladdr"] for neighbour in neighbours], [HOSTS["lan1"]])

    def test_hosts_behind_both_ports_reach_the_gateway(self):
        self.give_both_hosts_an_address()
        for host in HOSTS:
            with self.subTest(host):
                self.assertTrue(gateway.reaches("192.168.1.1", host))

    def test_hosts_behind_both_ports_get_leases_from_the_one_pool(self):
        leases = [gateway.dhcp_lease(host) for host in HOSTS]
        for lease in leases:
            self.assert_lease_of(lease, "192.168.1", "192.168.1.1")
        self.assertNotEqual(leases[0]["ip"], leases[1]["ip"])
        self.assertTrue(gateway.reaches(leases[1]["ip"], "lan0"))

    def test_vlan_of_the_primary_port_is_on_the_bridge(self):
        interface = gateway.links()["eth0.100"]
        self.assertEqual(interface["link"], "br-lan")
        self.assertEqual(interface["linkinfo"]["info_kind"], "vlan")
        self.assertEqual(interface["linkinfo"]["info_data"]["id"], 100)
        self.assertEqual(gateway.addresses("eth0.100"), ["192.168.100.1/24"])

    def test_bridge_takes_part_in_the_vlan(self):
        def vlans_of_the_bridge():
            (bridge,) = json.loads(gateway.run("bridge", "-json", "vlan", "show", "dev", "br-lan").stdout)
            return [entry["vlan"] for entry in bridge["vlans"]]

        self.assertTrue(guest.wait_until(lambda: 100 in vlans_of_the_bridge()), vlans_of_the_bridge())

    def test_host_behind_the_primary_port_uses_the_vlan(self):
        interface = gateway.add_vlan("lan0", "lan0", 100)
        gateway.set_host_address("lan0", "192.168.100.50/24", ifname=interface)
        self.assertTrue(gateway.reaches("192.168.100.1", "lan0"))

    def test_host_behind_the_other_port_gets_a_lease_on_the_vlan(self):
        self.assert_lease_of(gateway.dhcp_lease("lan1", vlan=100), "192.168.100", "192.168.100.1")
        self.assertTrue(gateway.reaches("192.168.100.1", "lan1"))

    def test_networkd_accepts_every_line(self):
        self.assertEqual(gateway.unit_file_warnings(), [])


class BridgeOfOnePort(BridgeCase):
    @classmethod
    def setUpClass(cls):
        gateway.apply(one_port_and_a_tunnel())

    def test_other_port_keeps_its_own_network_and_vlan(self):
        self.assertTrue(gateway.wait_for_address("br-lan", "192.168.1.1/24"))
        self.assertTrue(gateway.wait_for_address("eth1", "192.168.2.1/24"))
        self.assertTrue(gateway.wait_for_address("eth1.200", "192.168.200.1/24"))
        self.assertEqual(masters(), {"eth0": "br-lan", "eth1": None})
        self.assertEqual(gateway.links()["eth1.200"]["link"], "eth1")

    def test_host_on_the_vlan_and_host_on_the_bridge_reach_each_other(self):
        gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
        interface = gateway.add_vlan("lan1", "lan1", 200)
        gateway.set_host_address("lan1", "192.168.200.50/24", "192.168.200.1", ifname=interface)
        self.assertTrue(gateway.reaches("192.168.200.50", "lan0"))


class BridgeChanges(BridgeCase):
    """A run removes everything that the previous run created, and creates it again if it is configured."""

    def apply_bridge_with_everything(self):
        gateway.apply(one_port_and_a_tunnel())
        self.assertTrue(gateway.wait_for_address("br-lan", "192.168.1.1/24"))
        self.assertTrue(gateway.wait_for_address("eth1.200", "192.168.200.1/24"))
        self.assertTrue(gateway.wait_for_address("gre-tun1", "10.255.0.1/30"))
        self.assertTrue(guest.wait_until(lambda: gateway.route("172.16.0.0/16")))
        self.assertEqual(masters(), {"eth0": "br-lan", "eth1": None})

    def test_bridge_vlan_and_tunnel_are_recreated_and_removed(self):
        self.apply_bridge_with_everything()
        first = gateway.links()["br-lan"]["ifindex"]
        self.apply_bridge_with_everything()
        self.assertNotEqual(gateway.links()["br-lan"]["ifindex"], first)

        config = one_port_and_a_tunnel()
        del config["wired"]["bridge"]
        del config["wired"]["eth1"]["network"]["advanced"]
        config["tunnels"]["gre"][0]["enable"] = False
        gateway.apply(config)

        self.assertTrue(gateway.wait_for_address("eth0", "192.168.1.1/24"))
        self.assertTrue(gateway.wait_for_address("eth1", "192.168.2.1/24"))
        for name in ("br-lan", "eth1.200", "gre-tun1"):
            self.assertNotIn(name, gateway.link_names())
        self.assertEqual(masters(), {"eth0": None, "eth1": None})
        self.assertIsNone(gateway.route("172.16.0.0/16"))
        self.assertEqual(gateway.route("192.168.1.0/24")["dev"], "eth0")
        gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
        gateway.set_host_address("lan1", "192.168.2.50/24", "192.168.2.1")
        self.assertTrue(gateway.reaches("192.168.2.50", "lan0"))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
