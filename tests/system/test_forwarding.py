"""Forwarding between LANs, VLANs and the cellular link, enabled and disabled by applies."""

import sys
import unittest

import guest


BEYOND = "203.0.113.9"
DEVICE_GATEWAY = "169.125.7.210"
SWITCHES = ("net/ipv4/ip_forward", "net/ipv6/conf/all/forwarding")

gateway = guest.Gateway()


def router(value=1):
    """Returns a router with two LANs and a VLAN on the first. `value` is "firewall.general.router"; None
    leaves out "firewall"."""
    config = guest.example("router")
    # systemd-networkd takes seconds to check that no other host has the link-local address.
    del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
    if value is None:
        del config["firewall"]
    else:
        config["firewall"]["general"]["router"] = value
    return config


def dhcp_client(value):
    """Returns a gateway whose only interface has its address from DHCP."""
    network = {"mode": "router", "protocol": "dhcp_client"}
    return {
        "firewall": {"general": {"router": value}},
        "wired": {"eth0": {"enable": True, "network": network}},
    }


def apply(config):
    gateway.apply(config)
    ports = [name for name, port in config["wired"].items() if name != "bridge" and port["enable"]]
    networks = {name: config["wired"][name]["network"] for name in ports}
    waiting = [name for name in ports if networks[name].get("protocol") == "static"]
    if "advanced" in networks["eth0"] and "vlan" in networks["eth0"]["advanced"]:
        waiting.append("eth0.100")
    if not gateway.wait_for_setup(*waiting, timeout=60):
        raise AssertionError(f"not set up: {waiting}")


def switch_off():
    """Disables forwarding as a boot does: for all current and future interfaces."""
    for switch in SWITCHES:
        gateway.set_sysctl(switch, 0)


def forwarding(family, *names):
    """Returns the kernel's forwarding value of each interface."""
    return {name: gateway.sysctl(f"net/{family}/conf/{name}/forwarding") for name in names}


def add_hosts():
    """Configures a host in each LAN and one on the VLAN."""
    gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
    gateway.set_host_address("lan1", "192.168.2.2/24", "192.168.2.1")
    if "vlan" not in gateway.run("ip", "netns", "list").stdout.split():
        gateway.add_namespace("vlan")
    if "lan0.100" not in gateway.links("vlan"):
        gateway.add_vlan("lan0", "lan0", 100)
        gateway.run("ip", "link", "set", "lan0.100", "netns", "vlan", namespace="lan0")
        gateway.run("ip", "link", "set", "lan0.100", "up", namespace="vlan")
    gateway.set_host_address("vlan", "192.168.100.50/24", "192.168.100.1", ifname="lan0.100")


def connect(prefix=30):
    """Brings the link up. The operator has a route back to the LAN, because there is no NAT here. Like a
    modem, it also answers for the gateway of the cellular interface in pass-through mode."""
    beyond = (f"{BEYOND}/32", f"{DEVICE_GATEWAY}/32")
    gateway.connect_cellular("10.64.1.2", prefix, "10.64.1.1", beyond=beyond)
    gateway.run("ip", "route", "replace", "192.168.1.0/24", "via", "10.64.1.2", "dev", "wwan", "onlink",
                namespace="operator")


class Forwarding(unittest.TestCase):
    def setUp(self):
        # Remove the cellular link of the previous test; systemd-networkd must not set up the next one with
        # the old units.
        gateway.run("systemctl", "stop", "systemd-networkd.socket", "systemd-networkd")
        if "wwan0" in gateway.links():
            gateway.run("ip", "link", "delete", "wwan0")
            gateway.run("ip", "netns", "delete", "operator")
        switch_off()

    def assert_reaches(self, address, host):
        self.assertTrue(gateway.reaches(address, host, timeout=60), f"{host} does not reach {address}")

    def assert_is_cut_off_from(self, address, host, own):
        """Checks that the host reaches the gateway's own address, but not the address behind it."""
        self.assert_reaches(own, host)
        self.assertFalse(gateway.reaches(address, host, timeout=1), f"{host} reaches {address}")

    def assert_forwarding(self, value, *names):
        self.assertEqual(gateway.sysctl("net/ipv4/ip_forward"), value)
        self.assertEqual(forwarding("ipv4", *names), dict.fromkeys(names, value))


class Lans(Forwarding):
    def assert_all_hosts_reach_each_other(self):
        add_hosts()
        for host, address in (("lan0", "192.168.2.2"), ("lan1", "192.168.100.50"), ("vlan", "192.168.1.50")):
            self.assert_reaches(address, host)

    def assert_no_host_reaches_another(self):
        add_hosts()
        self.assert_is_cut_off_from("192.168.2.2", "lan0", "192.168.1.1")
        self.assert_is_cut_off_from("192.168.100.50", "lan1", "192.168.2.1")
        self.assert_is_cut_off_from("192.168.1.50", "vlan", "192.168.100.1")

    def test_router_forwards_between_lans_and_vlan(self):
        apply(router())
        self.assert_all_hosts_reach_each_other()
        self.assert_forwarding("1", "all", "default", "eth0", "eth0.100", "eth1")
        names = ("all", "default", "eth0", "eth0.100", "eth1")
        self.assertEqual(forwarding("ipv6", *names), dict.fromkeys(names, "1"))

    def test_without_a_router_nothing_is_forwarded(self):
        apply(router(None))
        self.assert_no_host_reaches_another()
        self.assert_forwarding("0", "all", "default", "eth0", "eth0.100", "eth1")
        self.assertEqual(gateway.sysctl("net/ipv6/conf/all/forwarding"), "0")

    @guest.exhaustive
    def test_applies_switch_it_on_off_and_on(self):
        for value in (1, 0, -1):
            with self.subTest(value):
                apply(router(value))
                if value:
                    self.assert_all_hosts_reach_each_other()
                else:
                    self.assert_no_host_reaches_another()
        # For IPv6, the second run disables forwarding on each port, but not on "all". The third run finds
        # that enabled and changes nothing.
        self.assertEqual(forwarding("ipv6", "all", "eth0", "eth1", "eth0.100"),
                         {"all": "1", "eth0": "0", "eth1": "0", "eth0.100": "1"})

    @guest.exhaustive
    def test_interface_that_comes_later_forwards_too(self):
        apply(router())
        gateway.run("ip", "link", "add", "late", "type", "dummy")
        self.addCleanup(gateway.run, "ip", "link", "delete", "late")
        self.assert_forwarding("1", "late")

    @guest.exhaustive
    def test_restart_of_systemd_networkd_alone_switches_it_on(self):
        apply(router())
        switch_off()
        gateway.run("systemctl", "restart", "systemd-networkd")
        self.assert_all_hosts_reach_each_other()

    @guest.exhaustive
    def test_dhcp_client_leaves_it_as_it_is(self):
        for before, config in (("0", dhcp_client(1)), ("1", dhcp_client(0))):
            with self.subTest(before):
                gateway.set_sysctl("net/ipv4/ip_forward", before)
                gateway.apply(config)
                guest.wait_until(lambda: gateway.link_setup("eth0") == "configuring", timeout=60)
                self.assert_forwarding(before, "eth0", "eth1")


class Bridge(Forwarding):
    @guest.exhaustive
    def test_bridge_forwards_to_the_link_and_stops_with_the_router(self):
        connect()
        config = guest.example("bridge-wifi")
        config["wireless"]["cell"] = {"enable": True}
        for value in (1, 0):
            with self.subTest(value):
                config["firewall"] = {"general": {"router": value}}
                gateway.apply(config)
                self.assertTrue(gateway.wait_for_address("br-lan", "192.168.1.1/24", timeout=60))
                self.assertTrue(gateway.wait_for_setup("wwan0", timeout=60))
                gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")
                if value:
                    self.assert_reaches(BEYOND, "lan0")
                else:
                    self.assert_is_cut_off_from(BEYOND, "lan0", "192.168.1.1")
                self.assert_forwarding(str(value), "br-lan", "wwan0")


class Cellular(Forwarding):
    def apply(self, value):
        config = guest.example("cellular-router")
        config["firewall"] = {"general": {"router": value}}
        gateway.apply(config)
        self.assertTrue(gateway.wait_for_setup("eth0", timeout=60))
        gateway.set_host_address("lan0", "192.168.1.50/24", "192.168.1.1")

    def test_lan_reaches_the_operator_once_the_link_is_there(self):
        connect()
        gateway.disconnect_cellular()
        self.apply(1)
        self.assert_is_cut_off_from(BEYOND, "lan0", "192.168.1.1")
        connect()
        gateway.wwan_apply()
        self.assert_reaches(BEYOND, "lan0")
        # The unit of the cellular interface lacks the setting: the unit of the port enables it for both.
        self.assertNotIn("IPForward", gateway.read("/run/systemd/network/10-wwan0.network"))
        self.assert_forwarding("1", "eth0", "wwan0")

    @guest.exhaustive
    def test_without_a_router_wwan_apply_does_not_switch_it_on(self):
        connect()
        self.apply(0)
        gateway.wwan_apply()
        self.assertTrue(gateway.wait_for_setup("eth0", "wwan0", timeout=60))
        self.assert_is_cut_off_from(BEYOND, "lan0", "192.168.1.1")
        self.assert_forwarding("0", "eth0", "wwan0")

    @guest.exhaustive
    def test_tunnel_forwards_too(self):
        connect()
        gateway.apply(guest.example("tunnels"))
        self.assertTrue(guest.wait_until(lambda: "gre-tun1" in gateway.link_names(), timeout=60))
        self.assertTrue(gateway.wait_for_setup("eth0", "wwan0", timeout=60))
        self.assert_forwarding("1", "eth0", "wwan0", "gre-tun1")


class PassThrough(Forwarding):
    """The device on eth1 is reachable even if the gateway is not a router."""

    def check(self, example, prefix, port):
        config = guest.example(example)
        del config["firewall"]
        connect(prefix)
        gateway.disconnect_cellular()
        gateway.apply(config)
        self.assertTrue(gateway.wait_for_setup("eth0", timeout=60))
        self.assert_forwarding("0", "eth0", "eth1", "wwan0")

        connect(prefix)
        gateway.wwan_apply()
        gateway.dnsmasq()
        self.assertTrue(gateway.wait_for_setup("eth0", "eth1", "wwan0", timeout=60))
        gateway.run("/var/run/post_networkd_start_actions_script")
        self.assertTrue(guest.wait_until(lambda: gateway.dhcp_lease("lan1"), timeout=60))
        self.assert_reaches(port, "lan1")
        self.assert_reaches(BEYOND, "lan1")
        self.assert_forwarding("1", "eth0", "eth1", "wwan0")

        # Forwarding stays on when the link goes down. Only an apply disables it, because it writes the unit
        # of eth0.
        gateway.disconnect_cellular()
        self.assertEqual(gateway.lanfab("wwan_apply").returncode, 255)
        self.assert_forwarding("1", "eth0", "eth1", "wwan0")
        gateway.apply(config)
        self.assertTrue(gateway.wait_for_setup("eth0", timeout=60))
        self.assert_forwarding("0", "eth0", "eth1", "wwan0")

    def test_auto(self):
        self.check("passthrough", 30, "10.64.1.1")

    @guest.exhaustive
    def test_static(self):
        self.check("passthrough-static", 24, "10.64.1.100")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
