"""DHCP and names on the LAN: leases on a port and a VLAN, static leases, a relay to another server, names."""

import unittest

import guest

KNOWN_HOST = "00:00:5e:00:53:10"
STRANGERS = ("00:00:5e:00:53:20", "00:00:5e:00:53:21")
DHCP_SERVER = "192.168.1.2"
CONFIG = {
    "wired": {
        "eth0": {
            "enable": True,
            "network": {
                "mode": "router",
                "protocol": "static",
                "ipv4": "192.168.1.1",
                "netmask": 24,
                "dhcp": {
                    "enable": True,
                    "start": "192.168.1.100",
                    "end": "192.168.1.101",
                    "leasetime": "2h",
                    "mac_binding": {
                        "enable": True,
                        "devices": [{"enable": True, "mac": KNOWN_HOST, "ipv4": "192.168.1.10"}],
                    },
                },
                "advanced": {
                    "vlan": {
                        "enable": True,
                        "networks": [
                            {
                                "enable": True,
                                "vid": 100,
                                "network": {
                                    "protocol": "static",
                                    "ipv4": "192.168.100.1",
                                    "netmask": 26,
                                    "dhcp": {
                                        "enable": True,
                                        "start": "192.168.100.20",
                                        "end": "192.168.100.20",
                                    },
                                },
                            }
                        ],
                    }
                },
            },
        },
        "eth1": {
            "enable": True,
            "network": {
                "mode": "router",
                "protocol": "static",
                "ipv4": "192.168.2.1",
                "netmask": 24,
                "dhcp": {"dhcp_relay": {"enable": True, "relay_server1": DHCP_SERVER}},
            },
        },
    },
    "wireless": {
        "wifi": {
            "wlan0": {"ap": {"enable": True, "network": {"ipv4": "192.168.3.1", "dhcp": {"enable": True}}}}
        }
    },
    "firewall": {"general": {"router": 1}},
    "hostnames": [
        {"name": "storage", "ipv4": "192.168.1.10"},
        {"name": "printer.lan", "ipv4": "192.168.2.20"},
        {"name": "reception", "ipv4": "fd00::5"},
    ],
}

gateway = guest.Gateway()


class Dhcp(unittest.TestCase):
    """Two ports, one with a DHCP server and one with a relay, and a VLAN."""

    @classmethod
    def setUpClass(cls):
        gateway.apply(CONFIG)
        gateway.wait_for_address("eth0", "192.168.1.1/24")
        gateway.wait_for_address("eth0.100", "192.168.100.1/26")
        gateway.wait_for_address("eth1", "192.168.2.1/24")

    def test_service_runs(self):
        self.assertTrue(gateway.service_active("dnsmasq"))

    def test_hosts_get_the_addresses_of_the_pool(self):
        leases = [guest.terms(gateway.dhcp_lease("lan0", hwaddr=stranger)) for stranger in STRANGERS]
        options = ("192.168.1.1", "192.168.1.1", 2 * 3600)
        self.assertCountEqual(leases, [("192.168.1.100/24", *options), ("192.168.1.101/24", *options)])
        self.assertEqual(gateway.addresses("lan0", "lan0"), [leases[-1][0]])
        self.assertTrue(gateway.reaches("192.168.1.1", "lan0"))

    def test_known_host_gets_its_own_address(self):
        lease = gateway.dhcp_lease("lan0", hwaddr=KNOWN_HOST)
        self.assertEqual(guest.terms(lease), ("192.168.1.10/24", "192.168.1.1", "192.168.1.1", 2 * 3600))

    def test_host_on_the_vlan_gets_the_address_of_the_vlan(self):
        lease = gateway.dhcp_lease("lan0", vlan=100)
        # No lease time is configured for the VLAN: the default is an hour.
        self.assertEqual(guest.terms(lease), ("192.168.100.20/26", "192.168.100.1", "192.168.100.1", 3600))
        self.assertTrue(gateway.reaches("192.168.100.1", "lan0"))

    def test_relayed_host_gets_its_address_from_the_server_elsewhere(self):
        gateway.set_host_address("lan0", f"{DHCP_SERVER}/24", "192.168.1.1")
        pool = "--dhcp-range=192.168.2.50,192.168.2.50,255.255.255.0,30m"
        gateway.start_host_dnsmasq(
            "lan0", pool, "--dhcp-option=3,192.168.2.1", f"--dhcp-option=6,{DHCP_SERVER}"
        )
        self.addCleanup(gateway.stop_host_dnsmasq, "lan0")
        lease = gateway.dhcp_lease("lan1")
        self.assertEqual(guest.terms(lease), ("192.168.2.50/24", "192.168.2.1", DHCP_SERVER, 30 * 60))
        self.assertEqual(lease["serverid"], DHCP_SERVER)
        self.assertTrue(gateway.reaches(DHCP_SERVER, "lan1"))

    def test_names_resolve(self):
        gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
        self.assertTrue(gateway.reaches("192.168.1.1", "lan0"))
        names = {
            "storage": "192.168.1.10",
            "printer.lan": "192.168.2.20",
            "qele": "192.168.1.1",
            "qel": "192.168.3.1",
        }
        for name, address in names.items():
            with self.subTest(name):
                self.assertEqual(gateway.resolve(name, "192.168.1.1", "lan0"), [address])
        self.assertEqual(gateway.resolve("reception", "192.168.1.1", "lan0", record="aaaa"), ["fd00::5"])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
