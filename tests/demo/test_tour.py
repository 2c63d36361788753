#!/usr/bin/python3
"""The demo's tour of one configuration in a gateway: its answers, remarks and exit status."""

import argparse
import fnmatch
import json
import pathlib
import subprocess
import sys
import tempfile

CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
GATEWAY = CHECKOUT / "tests/system/gateway"

DHCP = "gets an address from DHCP"
LAN = [DHCP, "reaches the gateway at 192.168.1.1"]
BEYOND = "reaches 203.0.113.9, a host behind the operator"
FALLBACK = [
    "gets the fallback address 169.254.0.130 from DHCP",
    "reaches the gateway at 169.254.0.129",
]
NAME_OF_THE_GATEWAY = "resolves the name gateway: 192.168.1.1"
NAME_BEYOND = "resolves news.example, a name from the operator's DNS server: 203.0.113.9"
STATIC_LEASE = "gets the static lease 192.168.1.10 as 00:00:5e:00:53:10"


def through_tunnel(address, network):
    return f"the host behind eth0 reaches {address} in {network} through the tunnel"


def remote_endpoint(address):
    return f"the gateway reaches {address}, the remote endpoint's address in the tunnel"


# The lines with a yes, in order; an asterisk matches an address that dnsmasq chooses.
ANSWERS = {
    "router": [
        DHCP,
        STATIC_LEASE,
        "reaches the gateway at 192.168.1.1",
        NAME_OF_THE_GATEWAY,
        "resolves the name storage: 192.168.1.10",
        "resolves the name press: 192.168.2.2",
        "reaches the gateway at 192.168.2.1",
        DHCP,
        "reaches the gateway at 192.168.100.1",
        "the host behind eth0 reaches 192.168.2.2 behind eth1",
    ],
    "cellular-router": [
        *LAN,
        NAME_OF_THE_GATEWAY,
        BEYOND,
        "reaches 198.51.100.1, the destination of a static route",
        NAME_BEYOND,
    ],
    "passthrough": [*LAN, *FALLBACK, "gets the cellular address 10.64.1.2 from DHCP", BEYOND],
    "passthrough-static": [*LAN, *FALLBACK, "gets the cellular address 10.64.1.101 from DHCP", BEYOND],
    "bridge-wifi": [
        *[*LAN, NAME_OF_THE_GATEWAY] * 3,
        "the host behind eth0 reaches 192.168.1.* on the Wi-Fi of wlan0",
        DHCP,
        "reaches the gateway at 192.168.50.1",
        "the host behind eth0 reaches 192.168.50.* on the Wi-Fi of wlan1",
    ],
    "tunnels": [
        *LAN,
        "reaches the gateway at 203.0.113.10",
        "the host behind eth0 reaches 203.0.113.1 behind eth1",
        remote_endpoint("10.255.1.1"),
        through_tunnel("10.10.0.1", "10.10.0.0/16"),
        through_tunnel("10.11.0.5", "10.11.0.5/32"),
        remote_endpoint("10.255.2.1"),
        through_tunnel("10.20.0.1", "10.20.0.0/16"),
    ],
    "shop": [
        DHCP,
        STATIC_LEASE,
        "reaches the gateway at 192.168.1.1",
        NAME_OF_THE_GATEWAY,
        "resolves the name till: 192.168.1.10",
        "resolves the name printer: 192.168.1.11",
        "resolves the name stock: 10.10.0.5",
        DHCP,
        "reaches the gateway at 192.168.20.1",
        BEYOND,
        NAME_BEYOND,
        remote_endpoint("10.255.1.1"),
        through_tunnel("10.10.0.1", "10.10.0.0/16"),
    ],
    "wrong_values": ["reaches the gateway at 192.168.3.1"],
    "unmet": LAN,
    "refused": [],
    "many_vlans": [
        "reaches the gateway at 192.168.1.1",
        *[f"reaches the gateway at 10.0.{vid}.1" for vid in range(100, 104)],
    ],
}
# The lines with a no; the examples have none.
NEGATIVE_ANSWERS = {"unmet": ["gets the static lease 10.9.9.9 as 00:00:5e:00:53:10"]}
# Required lines besides the answers.
LINES = {
    "passthrough": ["The device behind eth1, while the cellular link is down"],
    "bridge-wifi": ["         The gateway has no Wi-Fi radio: the demo uses a cable for each access point."],
    "tunnels": [
        "         the default route uses eth1, not the cellular link",
        '    "route_incoming": two scripts of the device create its routes',
    ],
    "wrong_values": [
        '    "wired.eth0" is an array, not an object',
        '    "wired.eth1.network.ipv4" is not an IPv4 address: "192.168.1.300"',
        '    "tunnels.gre" is a boolean, not an array',
        "Warnings from systemd-networkd about the unit files",
    ],
    "refused": [
        "    exit status 255",
        "      /etc/lanfab/network.json:1:25: hostnames[0].name: *",
        "    the network: a failed run leaves the previous network unchanged",
        "The demo exits with the status of cmd_lanfab: 255.",
    ],
    "many_vlans": ["    96 more networks: eth0.104 to eth0.199"],
}
STATUSES = {"refused": 255, "unmet": 1}


def static(address):
    return {"mode": "router", "protocol": "static", "ipv4": address, "netmask": 24}


def wrong_values():
    """Returns a configuration with one valid network, and invalid values of many kinds."""
    access_point = {"enable": True, "network": static("192.168.3.1")}
    return {
        "wired": {"eth0": [1, 2, 3], "eth1": {"enable": True, "network": static("192.168.1.300")}},
        "wireless": {"wifi": {"wlan0": {"ap": access_point}}},
        "tunnels": {"gre": True},
        "hostnames": [{"name": "n" * 10_000, "ipv4": "1"}, {"name": "Zürich \u2028\U0001f40c", "ipv4": "x"}],
    }


def unmet():
    """Returns a configuration with a static lease in another network, so that no device gets it."""
    lease = {"enable": True, "mac": "00:00:5e:00:53:10", "ipv4": "10.9.9.9"}
    dhcp = {
        "enable": True,
        "start": "192.168.1.100",
        "end": "192.168.1.199",
        "mac_binding": {"enable": True, "devices": [lease]},
    }
    return {"wired": {"eth0": {"enable": True, "network": {**static("192.168.1.1"), "dhcp": dhcp}}}}


def many_vlans():
    vlans = [
        {"enable": True, "vid": vid, "network": static(f"10.0.{vid}.1")} for vid in range(100, 200)
    ]
    network = {**static("192.168.1.1"), "advanced": {"vlan": {"enable": True, "networks": vlans}}}
    return {"wired": {"eth0": {"enable": True, "network": network}}}


CONFIGURATIONS = {
    "wrong_values": wrong_values,
    "unmet": unmet,
    "refused": lambda: {"hostnames": [{"name": "two\nlines", "ipv4": "192.168.1.1"}]},
    "many_vlans": many_vlans,
}


def take_tour(program, lanfab, name):
    """Returns the result of the tour of an example, or of one of the configurations above."""
    config = CHECKOUT / "examples" / name / "network.json"
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
        if name in CONFIGURATIONS:
            json.dump(CONFIGURATIONS[name](), file)
            file.flush()
            config = file.name
        return subprocess.run(
            [GATEWAY / "launch", "--time-limit", "600", "--program", program, "--tool", lanfab]
            + ["--config", config, "python3", "-B", GATEWAY / "tour"],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )


def matches(line, pattern):
    return fnmatch.fnmatchcase(line, pattern.replace("[", "[[]"))


def answers(lines, word):
    """Returns the answers that begin with yes or no."""
    start = f"    {word:<3}  "
    return [line.removeprefix(start) for line in lines if line.startswith(start)]


def errors(result, name):
    """Yields the differences from the expected result."""
    lines = result.stdout.splitlines()
    if result.returncode != STATUSES.get(name, 0):
        yield f"exit status {result.returncode}"
    for word, wanted in (("yes", ANSWERS[name]), ("no", NEGATIVE_ANSWERS.get(name, []))):
        found = answers(lines, word)
        if len(found) != len(wanted) or not all(map(matches, found, wanted)):
            yield f'answers "{word}":\n' + "\n".join(found)
            yield "expected:\n" + "\n".join(wanted)
    final_commands = ["$ lanfab status", "$ lanfab graph"] if result.returncode in (0, 1) else []
    for wanted in LINES.get(name, []) + final_commands:
        if not any(matches(line, wanted) for line in lines):
            yield f"missing line: {wanted}"
    if "Traceback" in result.stdout:
        yield "unexpected traceback"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=pathlib.Path, required=True, help="a cmd_lanfab for the gateway")
    parser.add_argument("--lanfab", type=pathlib.Path, required=True, help="a lanfab for it")
    parser.add_argument("name", choices=ANSWERS, help="an example, or another configuration of this test")
    options = parser.parse_args()
    result = take_tour(options.program, options.lanfab, options.name)
    failures = list(errors(result, options.name))
    if failures:
        print(result.stdout)
        print(*failures, sep="\n", file=sys.stderr)
    return 1 if failures else 0


sys.exit(main())
