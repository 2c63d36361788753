"""Changes of a gateway's files after a run, and the drift that `lanfab status` reports.

Each row of DIVERGENCES is injected by files_test.py; docs/status.md lists them for operators.
"""

import collections

UNITS = "/run/systemd/network"
CONFIGURATION = "/etc/lanfab/network.json"

# `example` is the configuration that was applied with the cellular link in the state `link`, a key of LINKS;
# `shell` is the change after that. `subject`, `what` and `fix` are those of the expected finding; `fix` is
# None if a person has to decide.
Divergence = collections.namedtuple("Divergence", "name example link shell subject what fix")

LINK = {"wwan_intf": "wwan0", "wwan_ipv4": "10.64.1.2", "wwan_cidr": "30",
        "wwan_netmask": "255.255.255.252", "wwan_gw": "10.64.1.1", "wwan_mtu": "1430",
        "wwan_dns1": "198.51.100.53", "wwan_dns2": "203.0.113.53"}
LINKS = {"down": {}, "up": LINK, "other": {**LINK, "wwan_ipv4": "10.64.9.9", "wwan_gw": "10.64.9.10"}}

APPLY, WWAN_APPLY, DNSMASQ = "cmd_lanfab apply", "cmd_lanfab wwan_apply", "cmd_lanfab dnsmasq"
DIFFERS = "it is not as configured"
MISSING = "it is missing"
SURPLUS = "it is not configured"
OLD_LINK = "it has old values of the cellular link"

DIVERGENCES = [
    Divergence("a port's unit is edited", "router", "up",
               f"echo '# mine' >>{UNITS}/20-eth0.network",
               "/var/run/systemd/network/20-eth0.network", DIFFERS, APPLY),
    Divergence("a port's unit is deleted", "router", "up",
               f"rm {UNITS}/20-eth0.network",
               "/var/run/systemd/network/20-eth0.network", MISSING, APPLY),
    Divergence("a port's unit is emptied", "shop", "up",
               f": >{UNITS}/20-eth0.network",
               "/var/run/systemd/network/20-eth0.network", DIFFERS, APPLY),
    Divergence("a unit is unreadable for systemd-networkd", "router", "up",
               f"chmod 600 {UNITS}/20-eth0.network",
               "/var/run/systemd/network/20-eth0.network", "its permissions were changed", APPLY),
    Divergence("a VLAN's device is edited", "shop", "up",
               f"sed -i 's/Id *= *20/Id = 21/' {UNITS}/*-eth0.20.netdev",
               "/var/run/systemd/network/30-eth0.20.netdev", DIFFERS, APPLY),
    Divergence("a unit that is not configured is added", "router", "up",
               f"echo '[Match]' >{UNITS}/99-foreign.network",
               "/var/run/systemd/network/99-foreign.network", SURPLUS, APPLY),
    Divergence("a tunnel's device is deleted", "tunnels", "up",
               f"rm {UNITS}/70-gre-tun1.netdev",
               "/var/run/systemd/network/70-gre-tun1.netdev", MISSING, WWAN_APPLY),
    Divergence("a tunnel's device is edited", "tunnels", "up",
               f"sed -i s/198.51.100/198.51.101/ {UNITS}/70-gre-tun1.netdev",
               "/var/run/systemd/network/70-gre-tun1.netdev", DIFFERS, WWAN_APPLY),
    Divergence("the bridge's device is deleted", "bridge-wifi", "up",
               f"rm {UNITS}/*br-lan.netdev",
               "/var/run/systemd/network/79-br-lan.netdev", MISSING, APPLY),
    Divergence("a bridge member's unit is edited", "bridge-wifi", "up",
               f"sed -i /Bridge/d {UNITS}/*-eth1.network",
               "/var/run/systemd/network/79-eth1.network", DIFFERS, APPLY),
    Divergence("the cellular unit is deleted", "cellular-router", "up",
               f"rm {UNITS}/10-wwan0.network",
               "/var/run/systemd/network/10-wwan0.network", MISSING, WWAN_APPLY),
    Divergence("the cellular unit is edited", "cellular-router", "up",
               f"sed -i s/Metric/Table/ {UNITS}/10-wwan0.network",
               "/var/run/systemd/network/10-wwan0.network", DIFFERS, WWAN_APPLY),
    Divergence("the cellular link has other values", "cellular-router", "up",
               "link other",
               "/var/run/systemd/network/10-wwan0.network", OLD_LINK, WWAN_APPLY),
    Divergence("the cellular link has come up", "router", "down",
               "link up",
               "/var/run/systemd/network/10-wwan0.network", MISSING, WWAN_APPLY),
    Divergence("the cellular interface has another name", "router", "up",
               "echo wwan1 >/run/wwan_intf",
               "/var/run/systemd/network/10-wwan0.network", SURPLUS, APPLY),
    Divergence("the pass-through port's unit is edited", "passthrough", "up",
               f"sed -i /IPv4ProxyARP/d {UNITS}/21-eth1.network",
               "/var/run/systemd/network/21-eth1.network", DIFFERS, WWAN_APPLY),
    Divergence("dnsmasq.conf is edited", "router", "up",
               "echo port=5353 >>/run/dnsmasq.conf",
               "/var/run/dnsmasq.conf", DIFFERS, DNSMASQ),
    Divergence("dnsmasq.conf is deleted", "router", "up",
               "rm /run/dnsmasq.conf",
               "/var/run/dnsmasq.conf", MISSING, DNSMASQ),
    Divergence("dnsmasq.conf is a symbolic link", "router", "up",
               "mv /run/dnsmasq.conf /run/other.conf; ln -s other.conf /run/dnsmasq.conf",
               "/var/run/dnsmasq.conf", "it is not a regular file",
               f"rm -r /var/run/dnsmasq.conf; {DNSMASQ}"),
    Divergence("the hosts file is deleted", "shop", "up",
               "rm /run/hosts",
               "/var/run/hosts", MISSING, DNSMASQ),
    Divergence("the hosts file is edited", "shop", "up",
               "echo 192.0.2.9 bank.example >>/run/hosts",
               "/var/run/hosts", DIFFERS, DNSMASQ),
    Divergence("resolv.conf is edited", "router", "up",
               "echo nameserver 192.0.2.66 >/run/resolv.conf",
               "/var/run/resolv.conf", DIFFERS, DNSMASQ),
    Divergence("the script for the next apply is deleted", "tunnels", "up",
               "rm /run/.delete_interfaces",
               "/var/run/.delete_interfaces", MISSING, APPLY),
    Divergence("the script for the next apply is edited", "shop", "up",
               "echo reboot >>/run/.delete_interfaces",
               "/var/run/.delete_interfaces", DIFFERS, APPLY),
    Divergence("the script that runs after systemd-networkd is edited", "passthrough-static", "up",
               "echo reboot >>/run/post_networkd_start_actions_script",
               "/var/run/post_networkd_start_actions_script", DIFFERS, WWAN_APPLY),
    Divergence("everything that the run left is deleted", "router", "up",
               f"rm -rf {UNITS}/* /run/hosts /run/dnsmasq.conf /run/resolv.conf",
               "/var/run/dnsmasq.conf", MISSING, APPLY),
    Divergence("the configuration has another address", "router", "up",
               f"sed -i s/192.168.1.1/192.168.7.1/ {CONFIGURATION}",
               "/var/run/systemd/network/20-eth0.network", DIFFERS, APPLY),
    Divergence("the configuration has another name for a host", "shop", "up",
               f"sed -i s/printer/plotter/ {CONFIGURATION}",
               "/var/run/hosts", DIFFERS, DNSMASQ),
    Divergence("the configuration is that of another gateway", "router", "up",
               "configure tunnels",
               "/var/run/systemd/network/70-gre-tun1.netdev", MISSING, APPLY),
    Divergence("the configuration is truncated", "router", "up",
               f"truncate -s 100 {CONFIGURATION}",
               CONFIGURATION, "it is not valid: ", None),
    Divergence("the configuration is empty", "router", "up",
               f": >{CONFIGURATION}",
               CONFIGURATION, "it is not valid: ", None),
    Divergence("the configuration is missing", "router", "up",
               f"rm {CONFIGURATION}",
               CONFIGURATION, MISSING, None),
    Divergence("the configuration is missing, but the previous one is there", "router", "up",
               f"mv {CONFIGURATION} {CONFIGURATION}.previous",
               CONFIGURATION, MISSING, f"cp -p {CONFIGURATION}.previous {CONFIGURATION}"),
]
