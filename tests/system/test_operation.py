"""Checks the statements of the manual page about a failed run, and about the lines that a run may print."""

import pathlib
import re
import unittest

import guest

MANUAL = pathlib.Path(__file__).resolve().parents[2] / "docs/man/cmd_lanfab.8"
INTERFACE = re.compile(r"\b(eth[01](\.\d+)?|br-lan|wlan[01]|gre-tun\d)\b")

gateway = guest.Gateway()


class FailedApply(unittest.TestCase):
    """An apply fails after a successful one, because a port has no network."""

    def services(self):
        return gateway.run("systemctl", "show", "--property=MainPID", "systemd-networkd", "dnsmasq").stdout

    def test_has_undone_the_previous_run_and_leaves_the_services_alone(self):
        config = guest.example("router")
        # systemd-networkd takes seconds to check that no other host has the link-local address.
        del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
        gateway.apply(config)
        gateway.wait_for_setup("eth0", "eth0.100", "eth1")
        services = self.services()
        config["wired"]["eth0"]["network"]["ipv4"] = "192.168.7.1"
        del config["wired"]["eth1"]["network"]
        gateway.configure(config)
        self.assertEqual(gateway.lanfab("apply").returncode, 255)

        self.assertNotIn("eth0.100", gateway.link_names())
        self.assertIsNone(gateway.route("10.20.0.0/16"))
        units = ["20-eth0.network", "30-eth0.100.netdev", "30-eth0.100.network"]
        self.assertEqual(gateway.unit_files(), units)
        self.assertEqual(self.services(), services)
        self.assertEqual(gateway.addresses("eth0"), ["192.168.1.1/24"])
        self.assertEqual(gateway.addresses("eth1"), ["192.168.2.1/24"])

        gateway.run("systemctl", "restart", "systemd-networkd")
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.7.1/24"))


def lines_of_the_manual():
    """Returns the lines that a run may print, from the section DIAGNOSTICS."""
    section = MANUAL.read_text(encoding="utf-8").split(".SH DIAGNOSTICS\n")[1].split("\n.SH ")[0]
    quoted = re.findall(r"^\.T[PQ]\n\.B (.*)$", section, re.MULTILINE)
    return {generic(line.replace(r"\(dq", '"').replace(r"\-", "-")) for line in quoted}


def generic(line):
    # Newer versions of iproute2 print this message without the article.
    return INTERFACE.sub("INTERFACE", line).replace("is a garbage", "is garbage")


class LinesOfARun(unittest.TestCase):
    """The manual page has exactly the lines that successful runs print."""

    def lines_of(self, *command):
        result = gateway.run(*command, check=False)
        return set(map(generic, (result.stdout + result.stderr).splitlines()))

    def lines_of_apply(self, config):
        gateway.configure(config)
        return self.lines_of("cmd_lanfab", "apply")

    def test_are_those_of_the_manual_page(self):
        gateway.connect_cellular()
        router = guest.example("router")
        router["firewall"]["general"]["router"] = 0
        bridge = guest.example("bridge-wifi")
        vlans = router["wired"]["eth0"]["network"]["advanced"]
        bridge["wired"]["eth0"]["network"]["advanced"] = vlans
        cellular = guest.example("cellular-router")
        route = {"interface": "wwan0", "ipv4": "10.30.0.0", "netmask": 16, "gateway": "10.64.1.1"}
        cellular["static_routes"].append({"enable": True, **route})

        lines = set()
        for config in (router, bridge, guest.example("tunnels"), cellular):
            lines |= self.lines_of_apply(config)
        # wwan_apply runs this script at its end; by then, systemd-networkd has the routes.
        gateway.wait_for_setup("wwan0")
        lines |= self.lines_of("sh", "/var/run/wwan0_static_routes")
        self.assertEqual(lines, lines_of_the_manual())


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
