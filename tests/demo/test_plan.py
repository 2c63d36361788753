#!/usr/bin/python3
"""The plan of the demo's tour. No value of any type anywhere in a configuration stops the tour."""

import contextlib
import copy
import io
import ipaddress
import json
import tempfile
import unittest
from unittest import mock

from lib.checkout import EXAMPLES as EXAMPLE_DIRECTORY
from system.gateway.tour import plan, screen, settings

EXAMPLES = {
    path.parent.name: json.loads(path.read_text(encoding="utf-8"))
    for path in sorted(EXAMPLE_DIRECTORY.glob("*/network.json"))
}
# JSON text, because Python's JSON module cannot write some of these values.
WRONG_VALUES = (
    "null",
    "true",
    "false",
    "0",
    "-1",
    "33",
    "24.5",
    "1e999",
    "99999999999999999999",
    '""',
    '"x"',
    '"192.168.1.300"',
    '"10.0.0.1/8"',
    '"255.255.255.255"',
    '"\\ud800\\u0000\\u001b[31m"',
    "[]",
    "[1, 2, 3]",
    '[null, "a", [], {}]',
    "{}",
    '{"enable": true}',
)


def paths(value, path=()):
    """Yields the path of each value below a JSON value."""
    members = []
    if isinstance(value, dict):
        members = value.items()
    elif isinstance(value, list):
        members = enumerate(value)
    for key, member in members:
        yield (*path, key)
        yield from paths(member, (*path, key))


def replaced(config, path, value):
    """Returns a copy of the configuration with another value at the path."""
    config = copy.deepcopy(config)
    parent = config
    for key in path[:-1]:
        parent = parent[key]
    parent[path[-1]] = value
    return config


def make(config):
    return plan.make(settings.Settings(config))


def remarks(config):
    return list(make(config).remarks)


class Reader(unittest.TestCase):
    def load(self, content):
        with tempfile.NamedTemporaryFile() as file:
            file.write(content)
            file.flush()
            return settings.load(file.name)

    def test_values_of_their_type(self):
        config = self.load(b'{"a": {"flag": true, "number": 24.0, "text": "t", "list": [{"x": 1}, 2, {}]}}')
        a = config.object("a")
        self.assertEqual((a.flag("flag"), a.integer("number"), a.text("text")), (True, 24, "t"))
        self.assertEqual([entry.integer("x") for entry in a.objects("list")], [1, None, None])
        self.assertEqual(list(config.remarks), ['"a.list[1]" is a number, not an object'])

    def test_missing_values_need_no_remark(self):
        config = self.load(b"{}")
        self.assertFalse(config.flag("flag"))
        for query in (config.integer, config.text, config.address, config.host_name):
            self.assertIsNone(query("missing"))
        self.assertEqual((config.objects("missing"), config.strings("missing")), ([], []))
        self.assertIsNone(config.at("one.two.three").text("four"))
        self.assertEqual(config.remarks, {})

    def test_each_query_of_each_wrong_value(self):
        queries = {
            "flag": (bool,),
            "integer": (int, type(None)),
            "text": (str, type(None)),
            "address": (ipaddress.IPv4Address, type(None)),
            "host_name": (str, type(None)),
            "mac_address": (str, type(None)),
            "object": (settings.Settings,),
            "objects": (list,),
            "strings": (list,),
        }
        for value in WRONG_VALUES:
            for query, types in queries.items():
                with self.subTest(f"{query} {value}"):
                    config = self.load(b'{"key": %s}' % value.encode())
                    self.assertIs(type(getattr(config, query)("key")) in types, True)
                    self.assertTrue(all(line.isascii() and line.isprintable() for line in config.remarks))

    def test_boolean_and_fraction_are_not_integers(self):
        config = self.load(b'{"netmask": true, "metric": 24.5}')
        self.assertIsNone(config.integer("netmask"))
        self.assertIsNone(config.integer("metric"))
        remarks_about_both = [
            '"netmask" is a boolean, not an integer',
            '"metric" is a number, not an integer',
        ]
        self.assertEqual(list(config.remarks), remarks_about_both)


class AnyValueAnywhere(unittest.TestCase):
    def test_plan_of_each_example_with_each_value_at_each_path(self):
        for name, config in EXAMPLES.items():
            for path in paths(config):
                for value in WRONG_VALUES:
                    with self.subTest(name, path=path, value=value):
                        tour = make(replaced(config, path, json.loads(value)))
                        for remark in tour.remarks:
                            self.assertTrue(remark.isascii() and remark.isprintable(), remark)

    def test_wrong_type_of_what_the_tour_needs_gets_a_remark(self):
        cases = (
            ({"wired": {"eth0": [1, 2, 3]}}, '"wired.eth0" is an array, not an object'),
            ({"tunnels": {"gre": {}}}, '"tunnels.gre" is an object, not an array'),
            ({"wireless": {"cell": {"enable": "yes"}}}, '"wireless.cell.enable" is a string, not a boolean'),
            ({"hostnames": [{"name": 5}]}, '"hostnames[0].name" is a number, not a string'),
        )
        for config, remark in cases:
            with self.subTest(remark):
                self.assertEqual(remarks(config), [remark])

    def test_invalid_address_gets_a_remark(self):
        config = copy.deepcopy(EXAMPLES["router"])
        config["wired"]["eth1"]["network"]["ipv4"] = "192.168.1.300"
        self.assertIn('"wired.eth1.network.ipv4" is not an IPv4 address: "192.168.1.300"', remarks(config))
        self.assertEqual([lan.ifname for lan in make(config).lans], ["eth0", "eth0.100"])


class Contents(unittest.TestCase):
    """The contents of a tour depend on the configuration, not on its name."""

    def test_networks_of_each_example(self):
        expected = {
            "router": ["eth0", "eth1", "eth0.100"],
            "cellular-router": ["eth0"],
            "passthrough": ["eth0"],
            "passthrough-static": ["eth0"],
            "bridge-wifi": ["br-lan", "wlan1"],
            "tunnels": ["eth0", "eth1"],
            "shop": ["eth0", "eth0.20"],
        }
        found = {name: [lan.ifname for lan in make(config).lans] for name, config in EXAMPLES.items()}
        self.assertEqual(found, expected)

    def test_bridge_has_a_host_behind_each_member(self):
        bridge = make(EXAMPLES["bridge-wifi"]).lans[0]
        self.assertEqual(bridge.behind, ["eth0", "eth1", "wlan0"])

    def test_many_networks_and_tunnels_and_names(self):
        network = {"ipv4": "10.0.0.1", "netmask": 24}
        vlans = [{"enable": True, "vid": vid, "network": network} for vid in range(100, 200)]
        tunnel = EXAMPLES["shop"]["tunnels"]["gre"][0]
        config = copy.deepcopy(EXAMPLES["router"])
        config["wired"]["eth0"]["network"]["advanced"]["vlan"]["networks"] = vlans
        config["tunnels"] = {"gre": [tunnel] * 6}
        config["hostnames"] *= 2
        tour = make(config)
        names = [lan.ifname for lan in tour.lans]
        self.assertEqual(names, ["eth0", "eth1", "eth0.100", "eth0.101", "eth0.102"])
        self.assertEqual(len(tour.tunnels), 4)
        self.assertEqual(
            list(tour.remarks),
            [
                "97 more networks: eth0.103 to eth0.199",
                "2 more tunnels: gre-tun5 to gre-tun6",
                "2 more host names: storage to press",
            ],
        )

    def test_names_without_an_address_are_not_resolved(self):
        names = [{"name": "press", "ipv4": "192.168.2.2"}, {"name": "till"}, {"name": "safe", "ipv4": "x"}]
        self.assertEqual(make({"hostnames": names}).names, ["press"])

    def test_hosts_simulate_the_configured_routers(self):
        lans = {lan.ifname: lan for lan in make(EXAMPLES["tunnels"]).lans}
        self.assertEqual([str(address) for address in lans["eth1"].free], ["203.0.113.1"])

    def test_free_addresses_stay_in_the_network(self):
        cases = (
            ("192.168.1.1/24", 3, ["192.168.1.2", "192.168.1.3", "192.168.1.4"]),
            ("192.168.1.253/24", 2, ["192.168.1.254", "192.168.1.252"]),
            ("10.0.0.1/30", 2, ["10.0.0.2"]),
            ("10.0.0.0/31", 1, []),
            ("10.0.0.1/32", 1, []),
        )
        for address, count, expected in cases:
            with self.subTest(address):
                found = plan.free_addresses(ipaddress.IPv4Interface(address), [], count)
                self.assertEqual([str(free) for free in found], expected)

    def test_simulated_addresses_do_not_overlap_configured_ones(self):
        config = copy.deepcopy(EXAMPLES["cellular-router"])
        config["wired"]["eth0"]["network"].update(ipv4="10.64.0.1", netmask=16)
        config["static_routes"][0].update(ipv4="203.0.113.0", netmask=24)
        default = {"enable": True, "interface": "eth0", "ipv4": "0.0.0.0", "netmask": 0}
        config["static_routes"].append(default)
        link = make(config).link
        self.assertEqual((str(link.address), str(link.beyond)), ("100.64.1.2/30", "198.51.100.9"))

    def test_link_of_static_pass_through_is_in_the_ports_network(self):
        tour = make(EXAMPLES["passthrough-static"])
        self.assertEqual((tour.passthrough.port, tour.passthrough.automatic), ("eth1", False))
        self.assertEqual((str(tour.link.address), str(tour.link.gateway)), ("10.64.1.101/24", "10.64.1.102"))
        config = copy.deepcopy(EXAMPLES["passthrough-static"])
        config["wired"]["eth1"]["network"].update(ipv4="10.64.1.1", netmask=30)
        link = make(config).link
        self.assertEqual((str(link.address), str(link.gateway)), ("10.64.1.2/30", "10.64.1.1"))

    def test_tunnel_without_inner_addresses_leaves_out_those_after_it(self):
        config = copy.deepcopy(EXAMPLES["tunnels"])
        del config["tunnels"]["gre"][0]["tunnel_local_ip"]
        tour = make(config)
        self.assertEqual(tour.tunnels, [])
        remark = "gre-tun1 has no inner addresses: it and the tunnels after it are ignored"
        self.assertIn(remark, tour.remarks)

    def test_disabled_pass_through_port_has_no_device_and_the_lans_no_link(self):
        config = copy.deepcopy(EXAMPLES["passthrough"])
        config["wired"]["eth1"]["enable"] = False
        tour = make(config)
        self.assertIsNone(tour.passthrough)
        self.assertFalse(tour.link_for_lans)
        remark = "eth1 is the pass-through port, but disabled: the demo does not connect a device"
        self.assertIn(remark, tour.remarks)


class ExitStatus(unittest.TestCase):
    """The demo exits with status 1 if an answer was no."""

    def run_demo(self, status, *answers):
        """Returns the demo's exit status and what it prints at the end."""
        with mock.patch.object(screen, "_negative_answers", []):
            with contextlib.redirect_stdout(io.StringIO()):
                for text, good in answers:
                    screen.answer(text, good)
            with contextlib.redirect_stdout(io.StringIO()) as output:
                return screen.exit_status(status), output.getvalue()

    def test_all_answers_are_yes(self):
        self.assertEqual(self.run_demo(0, ("reaches a", True), ("reaches b", True)), (0, ""))

    def test_one_answer_is_no(self):
        status, output = self.run_demo(0, ("reaches a", True), ("reaches b", False), ("reaches c", True))
        self.assertEqual(status, 1)
        self.assertIn("    reaches b\n", output)
        self.assertNotIn("reaches a", output)

    def test_the_programs_own_status_comes_first(self):
        self.assertEqual(self.run_demo(255, ("reaches a", False))[0], 255)


if __name__ == "__main__":
    unittest.main()
