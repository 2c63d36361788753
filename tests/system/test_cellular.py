"""A router's cellular link: addresses, routes, connectivity of a LAN host, and a link that goes down and
up."""

import unittest

import guest

LAN = "192.168.1.0/24"
BEYOND = "203.0.113.9"
BEHIND_THE_STATIC_ROUTE = "198.51.100.20"
NAME = "news.example"
EXAMPLE_ROUTES = [
    ("10.64.1.0/30", None, None),
    ("198.51.100.0/24", None, None),
    ("default", "10.64.1.1", 100),
]

gateway = guest.Gateway()


def connect(ipv4="10.64.1.2", operator="10.64.1.1"):
    """Brings up a link to an operator that has a DNS server and routes to two hosts."""
    beyond = (f"{BEYOND}/32", f"{BEHIND_THE_STATIC_ROUTE}/32")
    gateway.connect_cellular(ipv4, 30, operator, dns=(operator,), beyond=beyond)
    gateway.run("ip", "link", "set", "wwan", "up", namespace="operator")
    # There is no NAT here, so the operator needs a route back to the LAN.
    gateway.run("ip", "route", "replace", LAN, "via", ipv4, "dev", "wwan", "onlink", namespace="operator")


def lose_carrier():
    gateway.run("ip", "link", "set", "wwan", "down", namespace="operator")


def connect_host():
    gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")


def wwan_routes():
    """Returns (destination, gateway, metric) of each route over the cellular interface."""
    routes = [route for route in gateway.routes() if route["dev"] == "wwan0"]
    return sorted((route["dst"], route.get("gateway"), route.get("metric")) for route in routes)


def wait_for_wwan_routes(*routes):
    guest.wait_until(lambda: wwan_routes() == sorted(routes))
    return wwan_routes()


class CellularRouter(unittest.TestCase):
    """The example, applied while the link is up."""

    @classmethod
    def setUpClass(cls):
        connect()
        gateway.start_host_dnsmasq("operator", f"--address=/{NAME}/{BEYOND}")
        cls.addClassCleanup(gateway.stop_host_dnsmasq, "operator")
        gateway.apply(guest.example("cellular-router"))
        gateway.wait_for_setup("eth0")
        wait_for_wwan_routes(*EXAMPLE_ROUTES)
        connect_host()

    def test_interface_has_the_operators_address(self):
        self.assertEqual(gateway.addresses("wwan0"), ["10.64.1.2/30"])

    def test_interface_has_the_configured_mtu(self):
        self.assertEqual(gateway.links()["wwan0"]["mtu"], 1420)

    def test_default_route_and_static_route_lead_over_the_link(self):
        self.assertEqual(wwan_routes(), EXAMPLE_ROUTES)

    def test_lan_host_reaches_hosts_behind_the_operator(self):
        self.assertTrue(gateway.reaches(BEYOND, "lan0"))
        self.assertTrue(gateway.reaches(BEHIND_THE_STATIC_ROUTE, "lan0"))

    def test_lan_host_resolves_names_that_the_operators_server_knows(self):
        self.assertTrue(gateway.reaches("192.168.1.1", "lan0"))
        self.assertEqual(gateway.resolve(NAME, "192.168.1.1", "lan0"), [BEYOND])

    def test_networkd_has_no_warnings(self):
        self.assertEqual(gateway.networkd_warnings(), [])


class CellularLinkGoesAndComesBack(unittest.TestCase):
    """The link manager removes its values and publishes new ones; WWAN_APPLY runs each time."""

    def setUp(self):
        config = guest.example("cellular-router")
        config["wireless"]["cell"].update(netmask_override=True, netmask=29, mtu_override=False)
        del config["wireless"]["cell"]["metric"]
        config["static_routes"] = [
            {
                "enable": True,
                "interface": "wwan0",
                "ipv4": "198.51.100.0",
                "netmask": 24,
                "gateway": "10.64.1.3",
                "metric": 7,
            }
        ]
        connect()
        gateway.apply(config)
        gateway.wait_for_setup("eth0")
        connect_host()
        self.mark = gateway.journal_position()

    def test_link_goes_and_comes_back_with_other_values(self):
        first = [
            ("10.64.1.0/29", None, None),
            ("198.51.100.0/24", "10.64.1.3", 7),
            ("default", "10.64.1.1", None),
        ]
        self.assertEqual(wait_for_wwan_routes(*first), first)
        self.assertEqual(gateway.addresses("wwan0"), ["10.64.1.2/29"])
        self.assertEqual(gateway.links()["wwan0"]["mtu"], 1430)

        # Without the values, the unit is not rewritten, so the interface gets its old settings again.
        gateway.disconnect_cellular()
        gateway.run("ip", "address", "flush", "dev", "wwan0")
        self.assertEqual(gateway.lanfab("wwan_apply").returncode, 255)
        self.assertEqual(wait_for_wwan_routes(*first), first)

        lose_carrier()
        self.assertEqual(gateway.lanfab("wwan_apply").returncode, 255)
        self.assertEqual(wait_for_wwan_routes(), [])
        self.assertEqual(gateway.addresses("wwan0"), [])
        self.assertTrue(gateway.wait_for_setup("eth0"))
        self.assertTrue(gateway.reaches("192.168.1.1", "lan0"))

        connect("10.64.9.6", "10.64.9.5")
        self.assertEqual(gateway.lanfab("wwan_apply").returncode, 0)
        second = [
            ("10.64.9.0/29", None, None),
            ("198.51.100.0/24", "10.64.1.3", 7),
            ("default", "10.64.9.5", None),
        ]
        self.assertEqual(wait_for_wwan_routes(*second), second)
        self.assertEqual(gateway.addresses("wwan0"), ["10.64.9.6/29"])
        self.assertTrue(gateway.reaches(BEYOND, "lan0"))
        self.assertEqual(gateway.networkd_warnings(self.mark), [])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
