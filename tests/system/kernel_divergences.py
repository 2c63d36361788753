"""Changes in the kernel of a gateway, and the drift that lanfab status reports.

`table()` generates the table in docs/status.md.
"""

import dataclasses

import guest


@dataclasses.dataclass(frozen=True)
class Divergence:
    """A change in the kernel by a shell command, and the drift that it causes."""

    configuration: str
    words: str  # the description of the change in the document
    command: str
    subject: str
    finding: str
    fix: str
    cleanup: str = ""  # removes effects that are not drift
    is_sample: bool = False  # also runs without --exhaustive


def router():
    config = guest.example("router")
    # systemd-networkd takes seconds to check that no other host has the link-local address.
    del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
    return config


def not_a_router():
    config = router()
    config["firewall"]["general"]["router"] = 0
    return config


CONFIGURATIONS = {
    "router": router,
    "no router": not_a_router,
    "tunnels": lambda: guest.example("tunnels"),
    "bridge-wifi": lambda: guest.example("bridge-wifi"),
    "passthrough": lambda: guest.example("passthrough"),
    "passthrough-static": lambda: guest.example("passthrough-static"),
}

REMAKE_VLAN = "ip link delete dev eth0.100 && systemctl restart systemd-networkd"
REMAKE_TUNNEL = "ip link delete dev gre-tun1 && systemctl restart systemd-networkd"
# The socket would start it again.
STOP = "systemctl stop systemd-networkd.socket systemd-networkd"
RESTART = "systemctl restart systemd-networkd"
FOREIGN = "is not configured"
NEW_TUNNEL = "ip link delete gre-tun1; ip link add gre-tun1 type gre remote 198.51.100.1 local 203.0.113.10"


def _in(configuration, *rows):
    return [Divergence(configuration, *row[:5], **(row[5] if len(row) > 5 else {})) for row in rows]


SAMPLE = {"is_sample": True}

DIVERGENCES = [
    *_in(
        "router",
        # Addresses
        ("an address is removed", "ip address del 192.168.1.1/24 dev eth0", "eth0",
         "the address 192.168.1.1/24 is missing", "networkctl reconfigure eth0", SAMPLE),
        ("the address of a VLAN is removed", "ip address del 192.168.100.1/24 dev eth0.100", "eth0.100",
         "the address 192.168.100.1/24 is missing", "networkctl reconfigure eth0.100"),
        ("the address of the cellular link is removed", "ip address del 10.64.1.2/30 dev wwan0", "wwan0",
         "the address 10.64.1.2/30 is missing", "networkctl reconfigure wwan0"),
        ("an address is added", "ip address add 172.16.0.1/24 dev eth1", "eth1",
         f"the address 172.16.0.1/24 {FOREIGN}", "ip address delete 172.16.0.1/24 dev eth1"),
        ("an address is added to the cellular link", "ip address add 172.16.0.1/32 dev wwan0", "wwan0",
         f"the address 172.16.0.1/32 {FOREIGN}", "ip address delete 172.16.0.1/32 dev wwan0"),
        ("an address gets another prefix length",
         "ip address del 192.168.2.1/24 dev eth1; ip address add 192.168.2.1/25 dev eth1", "eth1",
         "the address 192.168.2.1/24 is missing", "networkctl reconfigure eth1"),
        # Links
        ("a port is switched off", "ip link set eth1 down", "eth1", "it is down", "ip link set dev eth1 up"),
        ("a VLAN is switched off", "ip link set eth0.100 down", "eth0.100", "it is down",
         "ip link set dev eth0.100 up"),
        ("a port gets an MTU that no unit sets", "ip link set eth1 mtu 1400", "eth1",
         "the MTU is 1400, which no unit sets", "ip link set dev eth1 mtu 1500"),
        ("the cellular link gets another MTU", "ip link set wwan0 mtu 1400", "wwan0",
         "the MTU is 1400, not 1430", "ip link set dev wwan0 mtu 1430"),
        ("a VLAN gets a MAC address of its own", "ip link set eth0.100 address 02:00:5e:00:00:98", "eth0.100",
         "the MAC address is 02:00:5e:00:00:98, not that of eth0, 02:00:5e:00:00:10",
         "ip link set dev eth0.100 address 02:00:5e:00:00:10"),
        ("a VLAN is remade with another ID",
         "ip link delete eth0.100; ip link add link eth0 name eth0.100 up type vlan id 101", "eth0.100",
         "the VLAN ID is 101, not 100", REMAKE_VLAN, SAMPLE),
        ("a VLAN is remade on another port",
         "ip link delete eth0.100; ip link add link eth1 name eth0.100 up type vlan id 100", "eth0.100",
         "it is linked to eth1, not to eth0", REMAKE_VLAN),
        ("a VLAN is replaced by another device",
         "ip link delete eth0.100; ip link add eth0.100 up type bridge", "eth0.100",
         "it is a device of the kind bridge, not vlan", REMAKE_VLAN),
        ("a VLAN is deleted", "ip link delete eth0.100", "eth0.100", "the interface is missing", RESTART),
        ("a VLAN is added", "ip link add link eth1 name eth1.7 type vlan id 7", "eth1.7",
         "it exists in the kernel, but is not configured", "ip link delete dev eth1.7"),
        ("a VLAN with a hostile name is added", "ip link add link eth1 name 'eth1.9;false' type vlan id 9",
         "eth1.9;false", "it exists in the kernel, but is not configured",
         "ip link delete dev 'eth1.9;false'", SAMPLE),
        ("a tunnel is added", "ip link add gre-tun3 type gre remote 192.0.2.9 local 192.168.2.1", "gre-tun3",
         "it exists in the kernel, but is not configured", "ip link delete dev gre-tun3"),
        ("a bridge is added", "ip link add br-lan type bridge", "br-lan",
         "it exists in the kernel, but is not configured", "ip link delete dev br-lan"),
        ("a port is put into a bridge", "ip link add br9 up type bridge; ip link set eth1 master br9", "eth1",
         "it is in the bridge br9", "ip link set dev eth1 nomaster", {"cleanup": "ip link delete br9"}),
        # Routes
        ("a static route is removed", "ip route del 10.20.0.0/16", "eth1",
         "the route to 10.20.0.0/16 via 192.168.2.2, metric 50, is missing",
         "ip route replace 10.20.0.0/16 via 192.168.2.2 dev eth1 proto static metric 50 onlink"),
        ("a static route gets another gateway",
         "ip route replace 10.20.0.0/16 via 192.168.2.9 dev eth1 metric 50 onlink", "eth1",
         "the route to 10.20.0.0/16 via 192.168.2.2, metric 50, is missing",
         "ip route replace 10.20.0.0/16 via 192.168.2.2 dev eth1 proto static metric 50 onlink"),
        ("a route with a better metric is added", "ip route add 10.20.0.0/16 via 192.168.1.9 metric 5",
         "eth1", "packets to 10.20.0.0/16 go through eth0 (gateway 192.168.1.9) instead of eth1 "
         "(gateway 192.168.2.2)",
         "ip route del 10.20.0.0/16 via 192.168.1.9 dev eth0 metric 5", SAMPLE),
        ("a more specific route is added", "ip route add 10.20.5.0/24 via 192.168.1.9", "eth0",
         f"the route to 10.20.5.0/24 via 192.168.1.9 {FOREIGN}",
         "ip route del 10.20.5.0/24 via 192.168.1.9 dev eth0"),
        ("a route to other networks is added", "ip route add 172.16.0.0/12 via 192.168.1.9 metric 7", "eth0",
         f"the route to 172.16.0.0/12 via 192.168.1.9, metric 7, {FOREIGN}",
         "ip route del 172.16.0.0/12 via 192.168.1.9 dev eth0 metric 7"),
        ("a second default route is added", "ip route add default via 192.168.1.9 metric 500", "eth0",
         f"the default route via 192.168.1.9, metric 500, {FOREIGN}",
         "ip route del default via 192.168.1.9 dev eth0 metric 500"),
        ("a route for half of the addresses beats the default route",
         "ip route add 0.0.0.0/1 via 192.168.1.9", "wwan0",
         "packets to other networks go through eth0 (gateway 192.168.1.9) instead of wwan0 "
         "(gateway 10.64.1.1)",
         "ip route del 0.0.0.0/1 via 192.168.1.9 dev eth0"),
        ("the default route is removed", "ip route del default", "wwan0",
         "the default route via 10.64.1.1 is missing",
         "ip route replace default via 10.64.1.1 dev wwan0 proto static onlink"),
        ("a blackhole is added", "ip route add blackhole 10.20.0.0/24", "eth1",
         "packets to 10.20.0.0/16 go nowhere instead of through eth1 (gateway 192.168.2.2)",
         "ip route del blackhole 10.20.0.0/24"),
        ("an unreachable route with a better metric is added",
         "ip route add unreachable 10.20.0.0/16 metric 1", "eth1",
         "packets to 10.20.0.0/16 go nowhere instead of through eth1 (gateway 192.168.2.2)",
         "ip route del unreachable 10.20.0.0/16 metric 1"),
        ("other networks are prohibited", "ip route add prohibit 172.16.0.0/12", "routes",
         f"the route to 172.16.0.0/12 {FOREIGN}", "ip route del prohibit 172.16.0.0/12"),
        ("the routes to a subnet are removed",
         "ip route del 192.168.2.0/24 dev eth1; ip route del 192.168.2.0/24 dev eth1", "eth1",
         "the route to 192.168.2.0/24 is missing", "ip route replace 192.168.2.0/24 dev eth1 proto static",
         # The kernel adds its own route only together with the address.
         {"cleanup": "ip route append 192.168.2.0/24 dev eth1 proto kernel scope link src 192.168.2.1"}),
        ("the kernel's route to a subnet is removed", "ip route del 10.64.1.0/30 dev wwan0", "wwan0",
         "packets to 10.64.1.0/30 go through wwan0 (gateway 10.64.1.1) instead of wwan0",
         "ip route add 10.64.1.0/30 dev wwan0 proto kernel scope link src 10.64.1.2"),
        # Policy rules
        ("a policy rule diverts a destination",
         "ip route add 10.20.0.0/16 via 192.168.1.9 table 77; ip rule add pref 50 to 10.20.0.0/16 table 77",
         "eth1",
         "packets to 10.20.0.0/16 go through eth0 (gateway 192.168.1.9) instead of eth1 "
         "(gateway 192.168.2.2)",
         "ip rule del pref 50", {"cleanup": "ip route flush table 77", **SAMPLE}),
        ("a policy rule diverts all packets",
         "ip route add default via 192.168.1.9 table 77; ip rule add pref 50 table 77", "wwan0",
         "packets to other networks go through eth0 (gateway 192.168.1.9) instead of wwan0 "
         "(gateway 10.64.1.1)",
         "ip rule del pref 50", {"cleanup": "ip route flush table 77"}),
        ("a policy rule drops a destination", "ip rule add pref 52 to 10.20.0.0/16 unreachable", "eth1",
         "packets to 10.20.0.0/16 go nowhere instead of through eth1 (gateway 192.168.2.2)",
         "ip rule del pref 52"),
        ("a policy rule for some hosts is added", "ip rule add pref 51 from 192.168.1.0/25 table 78",
         "policy rules", f"rule 51 for packets from 192.168.1.0/25, table 78, {FOREIGN}",
         "ip rule del pref 51"),
        ("a policy rule for a port is added", "ip rule add pref 53 iif eth0 table 79", "policy rules",
         f"rule 53 for packets iif eth0, table 79, {FOREIGN}", "ip rule del pref 53"),
        ("a policy rule for marked packets is added", "ip rule add pref 54 fwmark 5 table 80", "policy rules",
         f"rule 54 for packets fwmark 0x5, table 80, {FOREIGN}", "ip rule del pref 54"),
        ("the rule for the main table is removed", "ip rule del pref 32766", "policy rules",
         "the rule for the table main is missing", "ip rule add pref 32766 table main protocol kernel"),
        # Forwarding
        ("forwarding is switched off for a port", "echo 0 > /proc/sys/net/ipv4/conf/eth1/forwarding", "eth1",
         "forwarding is off, but the configuration enables it",
         "echo 1 > /proc/sys/net/ipv4/conf/eth1/forwarding", SAMPLE),
        ("forwarding is switched off for all", "echo 0 > /proc/sys/net/ipv4/ip_forward", "eth0",
         "forwarding is off, but the configuration enables it",
         "echo 1 > /proc/sys/net/ipv4/conf/eth0/forwarding"),
        ("proxy ARP is switched on", "echo 1 > /proc/sys/net/ipv4/conf/eth0/proxy_arp", "eth0",
         "proxy ARP is on, but the configuration does not enable it",
         "echo 0 > /proc/sys/net/ipv4/conf/eth0/proxy_arp"),
    ),
    *_in(
        "no router",
        ("forwarding is switched on for a port", "echo 1 > /proc/sys/net/ipv4/conf/eth0/forwarding", "eth0",
         "forwarding is on, but the configuration does not enable it",
         "echo 0 > /proc/sys/net/ipv4/conf/eth0/forwarding"),
        ("forwarding is switched on for all", "echo 1 > /proc/sys/net/ipv4/ip_forward", "eth1",
         "forwarding is on, but the configuration does not enable it",
         "echo 0 > /proc/sys/net/ipv4/conf/eth1/forwarding"),
    ),
    *_in(
        "tunnels",
        ("a tunnel gets another remote endpoint",
         "ip tunnel change gre-tun1 mode gre remote 198.51.100.9 local 203.0.113.10", "gre-tun1",
         "the remote address is 198.51.100.9, not 198.51.100.1", REMAKE_TUNNEL),
        ("a tunnel gets another local address",
         "ip tunnel change gre-tun1 mode gre remote 198.51.100.1 local 192.168.1.1", "gre-tun1",
         "the local address is 192.168.1.1, not 203.0.113.10", REMAKE_TUNNEL),
        ("a tunnel is remade with a key", f"{NEW_TUNNEL} key 7; ip link set gre-tun1 mtu 1400 up", "gre-tun1",
         "it has a key, but its unit has none", REMAKE_TUNNEL),
        ("a tunnel is remade with another TTL", f"{NEW_TUNNEL} ttl 2; ip link set gre-tun1 mtu 1400 up",
         "gre-tun1", "the TTL is 2, not 64", REMAKE_TUNNEL),
        ("a tunnel is bound to a port", f"{NEW_TUNNEL} dev eth1; ip link set gre-tun1 mtu 1400 up",
         "gre-tun1", "it is bound to eth1", REMAKE_TUNNEL),
        ("a tunnel gets another MTU", "ip link set gre-tun1 mtu 1300", "gre-tun1",
         "the MTU is 1300, not 1400", "ip link set dev gre-tun1 mtu 1400"),
        ("a tunnel is switched off", "ip link set gre-tun1 down", "gre-tun1", "it is down",
         "ip link set dev gre-tun1 up"),
        ("a tunnel is deleted", "ip link delete gre-tun2", "gre-tun2", "the interface is missing", RESTART),
        ("the address of a tunnel is removed", "ip address del 10.255.1.2/30 dev gre-tun1", "gre-tun1",
         "the address 10.255.1.2/30 is missing", "networkctl reconfigure gre-tun1"),
        ("the route through a tunnel is removed", "ip route del 10.10.0.0/16", "gre-tun1",
         "the route to 10.10.0.0/16 via 10.255.1.1 is missing",
         "ip route replace 10.10.0.0/16 via 10.255.1.1 dev gre-tun1 proto static onlink"),
        ("a more specific route through another tunnel is added", "ip route add 10.10.0.0/17 dev gre-tun2",
         "gre-tun1", "packets to 10.10.0.0/16 go through gre-tun2 instead of gre-tun1 (gateway 10.255.1.1)",
         "ip route del 10.10.0.0/17 dev gre-tun2"),
        ("a route to a remote endpoint is added", "ip route add 198.51.100.1 via 192.168.1.9", "gre-tun1",
         "packets to the remote endpoint 198.51.100.1 go through eth0 (gateway 192.168.1.9) instead of eth1 "
         "(gateway 203.0.113.1)", "ip route del 198.51.100.1/32 via 192.168.1.9 dev eth0"),
        ("the route to a remote endpoint is removed", "ip route del 198.51.100.2", "wwan0",
         "the route to 198.51.100.2/32 is missing",
         "ip route replace 198.51.100.2/32 dev wwan0 proto static"),
        ("the table for replies to a tunnel is flushed", "ip route flush table 309", "gre-tun2",
         "the routing table 309 for replies is empty", "/usr/bin/route_table_add 309 gre-tun2 10.255.2.1"),
        ("a default route with a better metric is added", "ip route add default via 192.168.1.9 metric 10",
         "eth1", "packets to other networks go through eth0 (gateway 192.168.1.9) instead of eth1 (gateway "
         "203.0.113.1)", "ip route del default via 192.168.1.9 dev eth0 metric 10"),
    ),
    *_in(
        "bridge-wifi",
        ("the spanning tree protocol is switched on", "ip link set br-lan type bridge stp_state 1", "br-lan",
         "the spanning tree protocol is 1, not 0", "ip link set dev br-lan type bridge stp_state 0"),
        ("a bridge gets another forward delay", "ip link set br-lan type bridge forward_delay 2000", "br-lan",
         "the forward delay is 2000, not 1500", "ip link set dev br-lan type bridge forward_delay 1500"),
        ("a bridge gets another hello time", "ip link set br-lan type bridge hello_time 300", "br-lan",
         "the hello time is 300, not 200", "ip link set dev br-lan type bridge hello_time 200"),
        ("a bridge gets another maximum age", "ip link set br-lan type bridge max_age 2500", "br-lan",
         "the maximum age is 2500, not 2000", "ip link set dev br-lan type bridge max_age 2000"),
        ("a bridge gets another aging time", "ip link set br-lan type bridge ageing_time 100", "br-lan",
         "the aging time is 100, not 30000", "ip link set dev br-lan type bridge ageing_time 30000"),
        ("a bridge gets another priority", "ip link set br-lan type bridge priority 4096", "br-lan",
         "the priority is 4096, not 32768", "ip link set dev br-lan type bridge priority 32768"),
        ("a bridge filters VLANs", "ip link set br-lan type bridge vlan_filtering 1", "br-lan",
         "the VLAN filter is 1, not 0", "ip link set dev br-lan type bridge vlan_filtering 0"),
        # While it runs, systemd-networkd 252 puts the port back into its bridge within a second.
        ("a port leaves its bridge", f"{STOP}; ip link set eth1 nomaster", "eth1",
         "it is not in the bridge br-lan", "ip link set dev eth1 master br-lan",
         {"cleanup": "systemctl start systemd-networkd"}),
        ("a port changes its bridge",
         f"{STOP}; ip link add br9 up type bridge; ip link set eth1 master br9", "eth1",
         "it is not in the bridge br-lan", "ip link set dev eth1 master br-lan",
         {"cleanup": "ip link delete br9; systemctl start systemd-networkd"}),
        ("the bridge is deleted", "ip link delete br-lan", "br-lan", "the interface is missing", RESTART),
        ("the address of the bridge is removed", "ip address del 192.168.1.1/24 dev br-lan", "br-lan",
         "the address 192.168.1.1/24 is missing", "networkctl reconfigure br-lan"),
        ("the address of an access point is removed", "ip address del 192.168.50.1/24 dev wlan1", "wlan1",
         "the address 192.168.50.1/24 is missing", "networkctl reconfigure wlan1"),
    ),
    *_in(
        "passthrough",
        ("proxy ARP is switched off for the port", "echo 0 > /proc/sys/net/ipv4/conf/eth1/proxy_arp", "eth1",
         "proxy ARP is off", "echo 1 > /proc/sys/net/ipv4/conf/eth1/proxy_arp"),
        ("proxy ARP is switched off for the cellular link",
         "echo 0 > /proc/sys/net/ipv4/conf/wwan0/proxy_arp", "wwan0", "proxy ARP is off",
         "echo 1 > /proc/sys/net/ipv4/conf/wwan0/proxy_arp"),
        ("the pass-through port gets another MTU", "ip link set eth1 mtu 1500", "eth1",
         "the MTU is 1500, not 1430", "ip link set dev eth1 mtu 1430"),
        ("the address of the pass-through port is removed", "ip address del 10.64.1.1/30 dev eth1", "eth1",
         "the address 10.64.1.1/30 is missing", "networkctl reconfigure eth1"),
        ("the default route of pass-through is removed", "ip route del default via 169.125.7.210", "wwan0",
         "the default route via 169.125.7.210 is missing",
         "ip route replace default via 169.125.7.210 dev wwan0 proto static onlink"),
    ),
    *_in(
        "passthrough-static",
        ("the route to the device in pass-through is removed", "ip route del 10.64.1.2 dev eth1", "eth1",
         "the route to 10.64.1.2/32 is missing", "ip route replace 10.64.1.2/32 dev eth1 proto static"),
    ),
]


def table():
    """Returns the rows of the table in the document."""
    lines = ["| what happened | found | fix |", "|---|---|---|"]
    for row in DIVERGENCES:
        lines.append(f"| {row.words}: `{row.command}` | `{row.subject}`: {row.finding} | `{row.fix}` |")
    return "\n".join(lines) + "\n"
