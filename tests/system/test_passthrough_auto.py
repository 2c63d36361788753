"""Automatic pass-through: the host behind the port has the cellular address; the fallback without a link."""

import unittest

import guest

BEYOND = "203.0.113.9"
DEVICE_GATEWAY = "169.125.7.210"

gateway = guest.Gateway()


def connect(ipv4="10.64.1.2", operator="10.64.1.1"):
    """Brings the link up; like a modem, the operator also answers for the cellular interface's gateway."""
    gateway.connect_cellular(ipv4, 30, operator, beyond=(f"{BEYOND}/32", f"{DEVICE_GATEWAY}/32"))


def default_routes():
    return sorted(
        (route["dev"], route.get("gateway", "")) for route in gateway.routes() if route["dst"] == "default"
    )


def neighbour(address, namespace):
    """Returns the MAC address in the host's neighbor table for `address`, or None."""
    words = gateway.run("ip", "neighbour", "show", address, namespace=namespace).stdout.split()
    return words[words.index("lladdr") + 1] if "lladdr" in words else None


class AutomaticPassThrough(unittest.TestCase):
    """The example, with eth1 in pass-through, applied while the link is up."""

    @classmethod
    def setUpClass(cls):
        connect()
        gateway.apply(guest.example("passthrough"))
        gateway.wait_for_setup("eth0", "eth1", "wwan0")

    def test_port_has_the_operators_gateway_address_and_the_fallback(self):
        self.assertCountEqual(gateway.addresses("eth1"), ["10.64.1.1/30", "169.254.0.129/25"])

    def test_cellular_interface_has_an_address_of_its_own(self):
        self.assertEqual(gateway.addresses("wwan0"), ["169.125.7.209/24"])

    def test_everything_but_the_hosts_network_is_routed_over_the_link(self):
        self.assertEqual(default_routes(), [("wwan0", ""), ("wwan0", DEVICE_GATEWAY)])
        self.assertEqual(gateway.route("10.64.1.0/30")["dev"], "eth1")

    def test_both_sides_forward_and_answer_for_each_other(self):
        for interface in ("eth1", "wwan0"):
            with self.subTest(interface):
                self.assertEqual(gateway.sysctl(f"net/ipv4/conf/{interface}/proxy_arp"), "1")
                self.assertEqual(gateway.sysctl(f"net/ipv4/conf/{interface}/forwarding"), "1")
        self.assertEqual(gateway.sysctl("net/ipv4/conf/eth0/proxy_arp"), "0")

    def test_both_sides_have_the_mtu_of_the_link(self):
        for interface, mtu in (("eth1", 1430), ("wwan0", 1430), ("eth0", 1500)):
            with self.subTest(interface):
                self.assertEqual(gateway.links()[interface]["mtu"], mtu)

    def test_host_gets_the_cellular_address_and_reaches_what_is_beyond(self):
        lease = gateway.dhcp_lease("lan1")
        self.assertEqual(guest.terms(lease), ("10.64.1.2/30", "10.64.1.1", "10.64.1.1", 5 * 60))
        self.assertEqual(gateway.addresses("lan1", "lan1"), ["10.64.1.2/30"])
        self.assertTrue(gateway.reaches(BEYOND, "lan1"))
        self.assertEqual(neighbour("10.64.1.2", "operator"), gateway.links()["wwan0"]["address"])

    def test_networkd_configures_every_interface_without_a_warning(self):
        for interface in ("eth0", "eth1", "wwan0"):
            with self.subTest(interface):
                self.assertEqual(gateway.link_setup(interface), "configured")
        self.assertEqual(gateway.networkd_warnings(), [])


class LinkOfAutomaticPassThroughGoesAndComesBack(unittest.TestCase):
    """The link manager runs WWAN_APPLY, then DNSMASQ, each time."""

    def setUp(self):
        connect()
        gateway.apply(guest.example("passthrough"))
        self.mark = gateway.journal_position()

    def test_host_gets_the_fallback_and_then_the_new_cellular_address(self):
        gateway.disconnect_cellular()
        self.assertEqual(gateway.lanfab("wwan_apply").returncode, 255)
        gateway.dnsmasq()
        self.assertTrue(gateway.wait_for_address("eth1", "169.254.0.129/25"))
        lease = gateway.dhcp_lease("lan1", request="10.64.1.2")
        self.assertEqual(guest.terms(lease), ("169.254.0.130/25", "169.254.0.129", "169.254.0.129", 3 * 60))
        self.assertTrue(gateway.reaches("169.254.0.129", "lan1"))

        connect("10.64.9.6", "10.64.9.5")
        gateway.wwan_apply()
        gateway.dnsmasq()
        self.assertTrue(gateway.wait_for_address("eth1", "10.64.9.5/30"))
        lease = gateway.dhcp_lease("lan1", request="169.254.0.130")
        self.assertEqual(guest.terms(lease), ("10.64.9.6/30", "10.64.9.5", "10.64.9.5", 5 * 60))
        self.assertTrue(gateway.reaches(BEYOND, "lan1"))
        self.assertTrue(gateway.wait_for_setup("eth1", "wwan0"))
        self.assertCountEqual(gateway.addresses("eth1"), ["10.64.9.5/30", "169.254.0.129/25"])
        self.assertEqual(default_routes(), [("wwan0", ""), ("wwan0", DEVICE_GATEWAY)])
        self.assertEqual(gateway.networkd_warnings(self.mark), [])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
