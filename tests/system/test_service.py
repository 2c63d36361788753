"""Checks that the service, with the package's confinement, has the same effects as the program without it."""

import json
import os
import sys
import unittest

import guest
import package

PACKAGE = "/root/lanfab.deb"

UNIT = "/lib/systemd/system/lanfab.service"
# Limit for ten times the exposure level of systemd-analyze. Raise it only together with a reason in the unit.
EXPOSURE = 23
# An interface and its address for each example: when they are set, the example is in effect.
EXAMPLES = {
    "router": ("eth0.100", "192.168.100.1/24"),
    "bridge-wifi": ("br-lan", "192.168.1.1/24"),
    "cellular-router": ("wwan0", "10.64.1.2/30"),
    "passthrough": ("eth1", "10.64.1.1/30"),
    "tunnels": ("gre-tun2", "10.255.2.2/30"),
}
# The sample covers start, restart and reload.
if not guest.IS_EXHAUSTIVE:
    EXAMPLES = {example: EXAMPLES[example] for example in ("bridge-wifi", "passthrough", "tunnels")}
DIRECTORIES = ("/run", "/run/systemd/network", "/var/volatile/qel", "/var/volatile/qel/.wwan_unit_backup")
NOT_THE_PROGRAMS = ("dnsmasq.pid", "dnsmasq.leases", "sysdb.sqlite3")
# When systemd-networkd starts, it removes routes and rules that it does not know, so the script records them.
DEVICE_SCRIPTS = {
    "route_table_flush": 'ip rule del table "$1" 2>/dev/null; ip route flush table "$1"',
    "route_table_add": """{
  ip route replace unreachable default table "$1"
  ip rule add priority 40000 iif "$2" table "$1"
  ip route show table "$1"
  ip rule show
} >"/run/route_table_$1" 2>&1""",
}

gateway = guest.Gateway()


def setUpModule():
    package.install(gateway, PACKAGE)
    for name, commands in DEVICE_SCRIPTS.items():
        gateway.write(f"/usr/bin/{name}", f"#!/bin/sh\n{commands}\n")
        gateway.run("chmod", "+x", f"/usr/bin/{name}")
    gateway.connect_cellular()


def files():
    """Returns the written files, {path: (mode, owner, group, text)}, and the database's entries."""
    found = {"sysdb": gateway.sysdb()}
    for directory in DIRECTORIES:
        for entry in os.scandir(directory):
            if entry.is_file() and entry.name not in NOT_THE_PROGRAMS:
                status = entry.stat()
                rights = (oct(status.st_mode), status.st_uid, status.st_gid)
                found[entry.path] = (*rights, gateway.read(entry.path))
    return found


def network():
    """Returns the kernel's interfaces, addresses, routes, rules and forwarding."""
    links = {
        name: (link["operstate"], link["mtu"], link.get("master")) for name, link in gateway.links().items()
    }
    told = {
        "addresses": ("ip", "-brief", "-4", "address"),
        "routes": ("ip", "-4", "route", "show", "table", "all"),
        "rules": ("ip", "rule"),
        "forwarding": ("sh", "-c", "grep . /proc/sys/net/ipv[46]/conf/*/forwarding"),
    }
    lines = {name: sorted(gateway.run(*command).stdout.splitlines()) for name, command in told.items()}
    return {"links": links, **lines}


def settled(ifname, address):
    """Whether systemd-networkd has finished. Its state of wwan0 does not count: there, it waits for an IPv6
    router that does not exist."""
    listed = json.loads(gateway.run("networkctl", "--json=short", "list").stdout)["Interfaces"]
    states = {link["AdministrativeState"] for link in listed if link["Name"] != "wwan0"}
    wwan_routes = (route for route in gateway.routes() if route["dev"] == "wwan0")
    return states <= {"configured", "unmanaged"} and address in gateway.addresses(ifname) and any(wwan_routes)


def restore_mtu():
    """Restores the MTU of a pass-through port, which no run does."""
    gateway.run("ip", "link", "set", "eth1", "mtu", "1500")


def apply_directly(example):
    """Applies an example with the program; returns the result."""
    restore_mtu()
    start = gateway.journal_position()
    said = gateway.apply(guest.example(example)).stderr.splitlines()
    if not guest.wait_until(lambda: settled(*EXAMPLES[example])):
        raise AssertionError(f"{example}: systemd-networkd has not come to an end: {network()}")
    return {"files": files(), "network": network(), "log": gateway.syslog(start), "said": said}


class Service(unittest.TestCase):
    maxDiff = None

    def test_sets_up_each_example_as_the_unconfined_program_does(self):
        # A run undoes the previous one, so each example has to follow the same example in both rounds.
        gateway.apply(guest.example(list(EXAMPLES)[-1]))
        expected = {example: apply_directly(example) for example in EXAMPLES}
        for verb, example in zip(("start", "restart", "reload", "restart", "restart"), EXAMPLES):
            with self.subTest(example):
                restore_mtu()
                gateway.configure(guest.example(example))
                start = gateway.journal_position()
                gateway.run("systemctl", verb, "lanfab.service")
                self.assertEqual(files(), expected[example]["files"])
                self.assertEqual(gateway.syslog(start), expected[example]["log"])
                said = [message for _, message in gateway.syslog(start, "cmd_lanfab")]
                self.assertEqual(said, expected[example]["said"])
                guest.wait_until(lambda: network() == expected[example]["network"])
                self.assertEqual(network(), expected[example]["network"])

    def test_exposure_is_within_its_limit(self):
        analyze = ("systemd-analyze", "security", "--no-pager", "--offline=true")
        gateway.run(*analyze, f"--threshold={EXPOSURE}", UNIT)
        lower = gateway.run(*analyze, f"--threshold={EXPOSURE - 1}", UNIT, check=False)
        self.assertNotEqual(lower.returncode, 0, "the limit can be lowered")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
