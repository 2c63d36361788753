#!/usr/bin/python3
"""Prints the configuration of a network of any size in the format of one of the compared programs.

It has two ports with half of the VLANs each, a static address for each interface, and routes via the second
port, which all programs support. Host names, DHCP and the cellular link are for lanfab only.
"""

import argparse
import dataclasses
import json
import sys

PORTS = {"eth0": "192.168.1.1", "eth1": "192.168.2.1"}
ROUTE_PORT = "eth1"
ROUTE_GATEWAY = "192.168.2.2"
PREFIX = 24
FIRST_VID = 2


@dataclasses.dataclass(frozen=True)
class Network:
    """The size of a network, which determines everything in it."""

    vlans: int = 10
    routes: int = 20
    hosts: int = 4
    dhcp: bool = False
    cellular: bool = False

    def vlans_of(self, port):
        """Returns the (vid, address) pairs of a port; the first port has the extra one of an odd number."""
        middle = (self.vlans + 1) // 2
        numbers = range(middle) if port == "eth0" else range(middle, self.vlans)
        return [(FIRST_VID + position, f"10.{number >> 8}.{number & 255}.1")
                for position, number in enumerate(numbers)]

    def destinations(self):
        """Returns the destinations of the static routes, all different."""
        return [f"172.{16 + (number >> 8)}.{number & 255}.0" for number in range(self.routes)]


def lanfab_configuration(network):
    """Returns the object of network.json."""

    def interface(ipv4):
        settings = {"protocol": "static", "ipv4": ipv4, "netmask": PREFIX}
        if network.dhcp:
            subnet = ipv4.rpartition(".")[0]
            settings["dhcp"] = {"enable": True, "start": f"{subnet}.100", "end": f"{subnet}.199"}
        return settings

    def port(name):
        vlans = [{"enable": True, "vid": vid, "network": interface(ipv4)}
                 for vid, ipv4 in network.vlans_of(name)]
        return {"enable": True, "network": {"mode": "router", **interface(PORTS[name]),
                                            "advanced": {"vlan": {"enable": True, "networks": vlans}}}}

    configuration = {
        "wired": {name: port(name) for name in PORTS},
        "firewall": {"general": {"router": 1}},
        "static_routes": [
            {"enable": True, "interface": ROUTE_PORT, "gateway": ROUTE_GATEWAY, "ipv4": ipv4,
             "netmask": PREFIX}
            for ipv4 in network.destinations()],
        "hostnames": [{"name": f"host{number}", "ipv4": f"10.255.{number >> 8}.{number & 255}"}
                      for number in range(network.hosts)],
    }
    if network.cellular:
        configuration["wireless"] = {"cell": {"enable": True}}
    return configuration


def as_lanfab(network):
    """Returns the content of network.json."""
    return json.dumps(lanfab_configuration(network), indent=2) + "\n"


def as_netplan(network):
    """Returns the content of a file in /etc/netplan."""
    lines = ["network:", "  version: 2", "  renderer: networkd", "  ethernets:"]
    for port, ipv4 in PORTS.items():
        lines += [f"    {port}:", f"      addresses: [{ipv4}/{PREFIX}]"]
        if port == ROUTE_PORT and network.routes:
            lines += ["      routes:"]
            lines += [f"        - {{to: {ipv4}/{PREFIX}, via: {ROUTE_GATEWAY}, on-link: true}}"
                      for ipv4 in network.destinations()]
    if network.vlans:
        lines += ["  vlans:"]
    for port in PORTS:
        for vid, ipv4 in network.vlans_of(port):
            lines += [f"    {port}.{vid}:", f"      id: {vid}", f"      link: {port}",
                      f"      addresses: [{ipv4}/{PREFIX}]"]
    return "\n".join(lines) + "\n"


def as_kernel_options(network):
    """Returns the arguments of a kernel command line, one per line."""

    def address(ipv4, interface):
        return f"ip={ipv4}:::{PREFIX}::{interface}:none"

    words = []
    for port, ipv4 in PORTS.items():
        words.append(address(ipv4, port))
        for vid, vlan_ipv4 in network.vlans_of(port):
            words += [f"vlan={port}.{vid}:{port}", address(vlan_ipv4, f"{port}.{vid}")]
    words += [f"rd.route={ipv4}/{PREFIX}:{ROUTE_GATEWAY}:{ROUTE_PORT}" for ipv4 in network.destinations()]
    return "\n".join(words) + "\n"


FORMATS = {"lanfab": as_lanfab, "netplan": as_netplan, "kernel": as_kernel_options}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0],
                                     formatter_class=argparse.ArgumentDefaultsHelpFormatter)
    parser.add_argument("--vlans", type=int, default=Network.vlans, help="VLANs on the two ports together")
    parser.add_argument("--routes", type=int, default=Network.routes, help="static routes")
    parser.add_argument("--hosts", type=int, default=Network.hosts, help="host names (lanfab)")
    parser.add_argument("--dhcp", action="store_true", help="a DHCP server on each interface (lanfab)")
    parser.add_argument("--cellular", action="store_true", help="the cellular link (lanfab)")
    parser.add_argument("--format", choices=FORMATS, default="lanfab", help="the language")
    arguments = vars(parser.parse_args())
    write = FORMATS[arguments.pop("format")]
    print(write(Network(**arguments)), end="")


if __name__ == "__main__":
    sys.exit(main())
