"""Mutates decisions in src/, one at a time, and checks that the output of lanfab changes accordingly.

Each case edits src/ at one location, and nothing in cli/. In that build, the output of `lanfab check`,
`lanfab graph` and `lanfab diff` about the case's configuration must change as expected. A rule, a diagram
or a change summary with its own copy of the decision would not change.
"""

import argparse
import dataclasses
import os
import pathlib
import subprocess
import sys
import tempfile

from lib import mutation
from lib.checkout import CHECKOUT


@dataclasses.dataclass
class Decision:
    """An edit of src/, a configuration, and a string that each command prints only before or after the
    edit."""

    name: str
    file: str
    old: str
    new: str
    configuration: str
    before: dict
    after: dict


PORT = '{"wired": {"eth0": {"enable": true, "network": {"mode": "router", "protocol": "static", %s}}}}'

DECISIONS = [
    Decision(
        "a GRE tunnel is complete only with a remote endpoint",
        "src/tunnels/gre.cpp",
        'if (!prefix) tunnel.missing_key = "tunnel_netmask";',
        'if (!prefix) tunnel.missing_key = "tunnel_netmask";\n'
        '  if (!tunnel.remote_ip) tunnel.missing_key = "remote_ip";',
        '{"tunnels": {"gre": [{"enable": true, "local_ip": "192.0.2.1", "tunnel_local_ip": "10.9.0.1",'
        ' "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}]}}',
        {"graph": "inner address 10.9.0.1/30", "diff": "Address = 10.9.0.1/30"},
        {"check": '"remote_ip": it gets no address', "graph": "GRE tunnel, ignored"},
    ),
    Decision(
        "a DHCP section is complete only with a lease time",
        "src/dnsmasq/dhcp_server.cpp",
        'if (!section.end) section.missing_keys.push_back({&dhcp, "end"});',
        'if (!section.end) section.missing_keys.push_back({&dhcp, "end"});\n'
        '  if (!section.lease_time) section.missing_keys.push_back({&dhcp, "leasetime"});',
        PORT % '"ipv4": "192.168.1.1", "netmask": 24,'
        ' "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.199"}',
        {"graph": "DHCP 192.168.1.100 to", "diff": "dhcp-range=eth0"},
        {"check": '"leasetime" is missing', "graph": "DHCP enabled, but not served"},
    ),
    Decision(
        "a pass-through port serves a range only with both ends",
        "src/dnsmasq/passthrough.cpp",
        "if (!is_set(range.start) && !is_set(range.end)) return std::nullopt;",
        "if (!is_set(range.start) || !is_set(range.end)) return std::nullopt;",
        '{"wireless": {"cell": {"enable": true}}, "wired": {"eth0": {"enable": true, "network": {'
        '"mode": "pass-through", "ipv4": "192.168.1.1", "netmask": 24,'
        ' "advanced": {"enable_secondary_ip": true},'
        ' "dhcp": {"enable": true, "start": "192.168.1.100"}}}}}',
        {"check": '"end" is missing', "graph": "DHCP 192.168.1.100 to", "diff": "192.168.1.100"},
        {"graph": "the device behind it gets the cellular address", "diff": "Scope = host"},
    ),
    Decision(
        "a relay's server has nine characters",
        "src/dnsmasq/dhcp_relay.cpp",
        "constexpr std::size_t kShortest = 3;",
        "constexpr std::size_t kShortest = 9;",
        PORT % '"ipv4": "192.168.1.1", "netmask": 24,'
        ' "dhcp": {"dhcp_relay": {"enable": true, "relay_server1": "10.9.9.9"}}',
        {"graph": "DHCP requests go to 10.9.9.9", "diff": "dhcp-relay=192.168.1.1,10.9.9.9"},
        {"check": '"10.9.9.9" is neither', "graph": "DHCP requests go to no server"},
    ),
    Decision(
        "VLANs are served on a port that does not serve DHCP",
        "src/dnsmasq/lan_interface.cpp",
        "return {serves, serves, true};",
        "return {serves, true, true};",
        PORT % '"ipv4": "192.168.1.1", "netmask": 24, "advanced": {"vlan": {"enable": true, "networks": ['
        '{"enable": true, "vid": 20, "network": {"ipv4": "10.20.0.1", "netmask": 24,'
        ' "dhcp": {"enable": true, "start": "10.20.0.100", "end": "10.20.0.199"}}}]}}',
        {"check": "eth0.20 does not serve DHCP", "graph": "DHCP enabled, but not served"},
        {"graph": "DHCP 10.20.0.100 to", "diff": "dhcp-range=eth0.20"},
    ),
    Decision(
        "a static pass-through port has the address of the link",
        "src/networkd/wwan.cpp",
        "if (!ctx->passthrough_auto) port.address",
        "if (false) port.address",
        '{"wireless": {"cell": {"enable": true}}, "wired": {"eth0": {"enable": true, "network": {'
        '"mode": "pass-through", "ipv4": "192.168.1.300", "netmask": 24}}}}',
        {"check": '"192.168.1.300" is not an IPv4 address', "graph": "192.168.1.300",
         "diff": "Address = 192.168.1.300/24"},
        {"graph": "port in pass-through, no address"},
    ),
    Decision(
        "the MTU of the cellular link needs no override",
        "src/networkd/wwan.cpp",
        'if (is_true(*cell, "mtu_override")) settings.mtu',
        "settings.mtu",
        '{"wireless": {"cell": {"enable": true, "mtu": 40}}}',
        {},
        {"check": "MTU 40 is outside", "graph": "MTU 40", "diff": "MTUBytes = 40"},
    ),
    Decision(
        "the MTU of a port needs no override",
        "src/networkd/network_unit.cpp",
        'if (is_true(node, "advanced.mtu_override")) unit.mtu',
        "unit.mtu",
        PORT % '"ipv4": "192.168.1.1", "netmask": 24, "advanced": {"mtu": 40}',
        {},
        {"check": "MTU 40 is outside", "graph": "MTU 40", "diff": "MTUBytes = 40"},
    ),
]


def outputs(lanfab, program, configuration):
    """Returns the output of each command for the configuration; `diff` compares it with an empty one."""
    with tempfile.TemporaryDirectory() as directory:
        for name, text in (("network.json", configuration), ("empty.json", "{}")):
            pathlib.Path(directory, name).write_text(text, encoding="utf-8")
        arguments = {
            "check": ["check", "--offline", "network.json"],
            "graph": ["graph", "network.json"],
            "diff": ["diff", "--program", program, "--cell", "up", "empty.json", "network.json"],
        }
        return {
            command: subprocess.run(
                [lanfab, *words],
                cwd=directory,
                env=dict(os.environ, LC_ALL="C.UTF-8"),
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                encoding="utf-8",
                check=False,
            ).stdout
            for command, words in arguments.items()
        }


def errors(decision, before, after):
    """Yields the expected strings that are missing before or after, or in both, and unchanged outputs."""
    for texts, has, lacks in ((decision.before, before, after), (decision.after, after, before)):
        for command, text in texts.items():
            if text not in has[command] or text in lacks[command]:
                yield f"{command}: {text!r} must be in exactly one of the two outputs"
    for command in before:
        if before[command] == after[command]:
            yield f"{command}: the output did not change"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=CHECKOUT / "build" / "release")
    options = parser.parse_args()
    build = options.build.resolve()
    failed = False
    for decision in DECISIONS:
        before = outputs(build / "cli" / "lanfab", build / "cmd_lanfab", decision.configuration)
        with tempfile.TemporaryDirectory() as directory:
            programs = mutation.build_with(decision.file, decision.old, decision.new, build,
                                           ["lanfab", "cmd_lanfab"], pathlib.Path(directory))
            after = outputs(*programs, decision.configuration)
        for error in errors(decision, before, after):
            print(f"{decision.name}: {error}", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
