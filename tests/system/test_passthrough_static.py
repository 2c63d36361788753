"""Static pass-through: the port keeps its configured address, the host behind it gets the cellular one."""

import unittest

import guest

BEYOND = "203.0.113.9"
IN_THE_CELLULAR_NETWORK = "10.64.1.77"
DEVICE_GATEWAY = "169.125.7.210"
ROUTE_SCRIPT = "/var/run/wwan0_static_routes"
CONFIG = {
    "wired": {
        "eth0": {
            "enable": True,
            "network": {
                "mode": "pass-through",
                "protocol": "static",
                # dnsmasq only serves addresses in a network of the port.
                "ipv4": "10.64.1.100",
                "netmask": 24,
                "dhcp": {"enable": True, "leasetime": "5m", "secondary_leasetime": "3m"},
                "advanced": {"enable_secondary_ip": True},
            },
        }
    },
    "wireless": {"cell": {"enable": True}},
    "static_routes": [
        {"enable": True, "interface": "eth0", "ipv4": "10.20.0.0", "netmask": 16, "gateway": "10.64.1.2"},
        {"enable": True, "interface": "wwan0", "ipv4": "10.30.0.0", "netmask": 16},
    ],
}

gateway = guest.Gateway()


def connect():
    """Brings the link up; like a modem, the operator also answers for the cellular interface's gateway."""
    hosts = (BEYOND, IN_THE_CELLULAR_NETWORK, DEVICE_GATEWAY)
    gateway.connect_cellular("10.64.1.2", 24, "10.64.1.1", beyond=[f"{host}/32" for host in hosts])


class StaticPassThrough(unittest.TestCase):
    """Applied while the link is up."""

    @classmethod
    def setUpClass(cls):
        connect()
        gateway.apply(CONFIG)
        gateway.wait_for_setup("eth0", "wwan0")
        # The device runs this script after systemd-networkd has set the port up.
        gateway.run("/var/run/post_networkd_start_actions_script")

    def test_port_has_the_configured_address_and_the_fallback(self):
        self.assertCountEqual(gateway.addresses("eth0"), ["10.64.1.100/24", "169.254.0.1/25"])

    def test_cellular_interface_has_an_address_of_its_own(self):
        self.assertEqual(gateway.addresses("wwan0"), ["169.125.7.209/24"])

    def test_only_the_host_is_reached_on_the_port(self):
        route = gateway.route("10.64.1.2")
        self.assertEqual((route["dev"], route["scope"]), ("eth0", "host"))
        self.assertIsNone(gateway.route("10.64.1.0/24"))

    def test_static_route_of_the_port_leads_to_the_host(self):
        route = gateway.route("10.20.0.0/16")
        self.assertEqual((route["dev"], route["gateway"]), ("eth0", "10.64.1.2"))

    def test_route_script_leads_its_routes_over_the_link(self):
        # WWAN_APPLY runs it too, but systemd-networkd may still be removing foreign routes then.
        gateway.run("ip", "route", "flush", "10.30.0.0/16")
        gateway.run("sh", ROUTE_SCRIPT)
        self.assertEqual(gateway.route("10.30.0.0/16")["dev"], "wwan0")

    def test_both_sides_forward_and_answer_for_each_other(self):
        for interface in ("eth0", "wwan0"):
            with self.subTest(interface):
                self.assertEqual(gateway.sysctl(f"net/ipv4/conf/{interface}/proxy_arp"), "1")
                self.assertEqual(gateway.sysctl(f"net/ipv4/conf/{interface}/forwarding"), "1")

    def test_host_gets_the_cellular_address_and_reaches_that_network_over_the_link(self):
        lease = gateway.dhcp_lease("lan0")
        self.assertEqual(guest.terms(lease), ("10.64.1.2/24", "10.64.1.100", "10.64.1.100", 5 * 60))
        self.assertTrue(gateway.reaches("10.64.1.100", "lan0"))
        self.assertTrue(gateway.reaches(BEYOND, "lan0"))
        self.assertTrue(gateway.reaches(IN_THE_CELLULAR_NETWORK, "lan0"))

    def test_networkd_configures_every_interface_without_a_warning(self):
        for interface in ("eth0", "wwan0"):
            with self.subTest(interface):
                self.assertEqual(gateway.link_setup(interface), "configured")
        self.assertEqual(gateway.networkd_warnings(), [])


class StaticPassThroughBeforeTheLinkIsUp(unittest.TestCase):
    """Applied without a link; the link comes later, then WWAN_APPLY and DNSMASQ run."""

    def setUp(self):
        connect()
        gateway.disconnect_cellular()
        gateway.apply(CONFIG)
        self.mark = gateway.journal_position()

    def test_host_gets_the_fallback_and_then_the_cellular_address(self):
        self.assertTrue(gateway.wait_for_address("eth0", "169.254.0.1/25"))
        self.assertEqual(gateway.addresses("eth0"), ["169.254.0.1/25"])
        lease = gateway.dhcp_lease("lan0")
        self.assertEqual(guest.terms(lease), ("169.254.0.2/25", "169.254.0.1", "169.254.0.1", 3 * 60))
        self.assertTrue(gateway.reaches("169.254.0.1", "lan0"))

        connect()
        gateway.wwan_apply()
        gateway.dnsmasq()
        self.assertTrue(gateway.wait_for_address("eth0", "10.64.1.100/24"))
        lease = gateway.dhcp_lease("lan0", request="169.254.0.2")
        self.assertEqual(guest.terms(lease), ("10.64.1.2/24", "10.64.1.100", "10.64.1.100", 5 * 60))
        self.assertTrue(gateway.reaches(BEYOND, "lan0"))
        self.assertEqual(gateway.networkd_warnings(self.mark), [])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
