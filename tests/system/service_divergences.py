"""States of a service that differ from its files, and the drift that `lanfab status` reports: the rows of
docs/status.md under "From the files to the services" and "By packets"."""

import dataclasses

UNITS = "/run/systemd/network"
OWN_UNITS = "/etc/systemd/network"
NETWORKD = "$(systemctl show --property=MainPID --value systemd-networkd)"
DNSMASQ = "$(systemctl show --property=MainPID --value dnsmasq)"
LAN0 = "nsenter --net=/run/netns/lan0"
LAN1 = "nsenter --net=/run/netns/lan1"
NOT_READ = "systemd-networkd has not read {} since it was changed"
DISABLE = "mv {0} {0}.disabled && "


@dataclasses.dataclass
class Divergence:
    """A fault, the drift that is reported, and the fix."""

    name: str
    # A shell script that causes the fault.
    inject: str
    subject: str
    what: str
    # The command that `lanfab status` prints as the fix, if any.
    fix: str = ""
    # A shell script that ends the fault if there is no fix, and undoes its other effects.
    undo: str = "true"
    # Also runs without --exhaustive.
    is_sample: bool = False


def unit(path, text):
    return f"mkdir -p $(dirname {path}) && printf '{text}' >{path}"


def drop_in(path):
    return unit(path, "[Network]\\nLLMNR=no\\n")


# Faults on a router with the configuration of examples/router.
OF_FILES = [
    Divergence("another .network file for a link",
               unit(f"{OWN_UNITS}/10-mine.network", "[Match]\\nName=eth1\\n") + " && networkctl reload",
               "eth1",
               f"systemd-networkd uses {OWN_UNITS}/10-mine.network for it, not {UNITS}/21-eth1.network",
               DISABLE.format(f"{OWN_UNITS}/10-mine.network") + "networkctl reload"),
    Divergence("a .network file of the same name in /etc",
               f"mkdir -p {OWN_UNITS} && cp {UNITS}/21-eth1.network {OWN_UNITS} && networkctl reload",
               "eth1",
               f"systemd-networkd uses {OWN_UNITS}/21-eth1.network for it, not {UNITS}/21-eth1.network",
               DISABLE.format(f"{OWN_UNITS}/21-eth1.network") + "networkctl reload"),
    Divergence("such a file that is not read yet",
               f"mkdir -p {OWN_UNITS} && cp {UNITS}/21-eth1.network {OWN_UNITS}",
               "eth1",
               f"{OWN_UNITS}/21-eth1.network replaces its unit",
               DISABLE.format(f"{OWN_UNITS}/21-eth1.network") + "networkctl reload"),
    Divergence("a drop-in for a unit",
               drop_in(f"{OWN_UNITS}/21-eth1.network.d/mine.conf") + " && networkctl reload",
               "eth1",
               f"{OWN_UNITS}/21-eth1.network.d/mine.conf changes its unit",
               DISABLE.format(f"{OWN_UNITS}/21-eth1.network.d/mine.conf") + "networkctl reload",
               is_sample=True),
    Divergence("a drop-in that is not read yet",
               drop_in(f"{UNITS}/21-eth1.network.d/mine.conf"),
               "eth1",
               NOT_READ.format(f"{UNITS}/21-eth1.network.d/mine.conf"),
               "networkctl reload",
               undo=f"rm -r {UNITS}/21-eth1.network.d && networkctl reload"),
    Divergence("a .netdev file of the same name in /etc",
               f"mkdir -p {OWN_UNITS} && cp {UNITS}/30-eth0.100.netdev {OWN_UNITS}",
               "eth0.100",
               f"{OWN_UNITS}/30-eth0.100.netdev replaces its unit",
               DISABLE.format(f"{OWN_UNITS}/30-eth0.100.netdev") + "cmd_lanfab apply"),
    Divergence("a .network file that was changed after systemd-networkd has read it",
               f"touch {UNITS}/21-eth1.network",
               "eth1",
               NOT_READ.format(f"{UNITS}/21-eth1.network"),
               "networkctl reload"),
    Divergence("a .netdev file that was changed after systemd-networkd has read it",
               f"touch {UNITS}/30-eth0.100.netdev",
               "eth0.100",
               NOT_READ.format(f"{UNITS}/30-eth0.100.netdev"),
               "cmd_lanfab apply"),
    Divergence("systemd-networkd hangs",
               f"kill -STOP {NETWORKD}",
               "systemd-networkd",
               "it does not answer (networkctl: no answer within the time limit)",
               "systemctl restart systemd-networkd"),
    Divergence("systemd-networkd is stopped",
               "systemctl stop systemd-networkd.socket systemd-networkd",
               "systemd-networkd",
               "it is not active",
               "systemctl restart systemd-networkd"),
    Divergence("the configuration of dnsmasq was changed after its start",
               "touch /var/run/dnsmasq.conf",
               "dnsmasq",
               "it runs with older files than those of the last run",
               "systemctl restart dnsmasq"),
    Divergence("the host names were changed after its start",
               "touch /var/run/hosts",
               "dnsmasq",
               "it runs with older files than those of the last run",
               "systemctl restart dnsmasq"),
    Divergence("dnsmasq was started with another configuration",
               unit("/run/systemd/system/dnsmasq.service.d/mine.conf",
                    "[Service]\\nExecStart=\\nExecStart=/usr/sbin/dnsmasq -C /run/mine.conf"
                    " --pid-file=/run/dnsmasq.pid\\n")
               + " && printf 'no-resolv\\nuser=root\\n' >/run/mine.conf"
                 " && systemctl daemon-reload && systemctl restart dnsmasq"
                 " && rm /run/systemd/system/dnsmasq.service.d/mine.conf",
               "dnsmasq",
               "it was started with /run/mine.conf, not with /var/run/dnsmasq.conf",
               "systemctl daemon-reload && systemctl restart dnsmasq"),
    Divergence("dnsmasq hangs",
               f"kill -STOP {DNSMASQ}",
               "dnsmasq",
               "it does not answer DNS queries within 2 s at 127.0.0.1, ",
               "systemctl restart dnsmasq",
               is_sample=True),
    Divergence("dnsmasq does not serve an interface",
               "cp -p /var/run/dnsmasq.conf /run/saved"
               " && echo except-interface=eth0.100 >>/var/run/dnsmasq.conf"
               " && systemctl restart dnsmasq && mv /run/saved /var/run/dnsmasq.conf",
               "dnsmasq",
               "it does not answer DNS queries within 2 s at 192.168.100.1",
               "systemctl restart dnsmasq"),
    Divergence("dnsmasq serves no DHCP",
               "cp -p /var/run/dnsmasq.conf /run/saved && sed -i /^dhcp-range/d /var/run/dnsmasq.conf"
               " && systemctl restart dnsmasq && mv /run/saved /var/run/dnsmasq.conf",
               "dnsmasq",
               "it does not listen for DHCP clients",
               "systemctl restart dnsmasq"),
    Divergence("dnsmasq is stopped",
               "systemctl stop dnsmasq",
               "dnsmasq",
               "it is not active",
               "systemctl restart dnsmasq"),
]

# Faults that only --probe finds. lan1 has 192.168.2.2, the gateway of a route, and runs a DNS server.
BY_PACKETS = [
    Divergence("another host has an address of the gateway",
               f"{LAN0} ip address add 192.168.1.1/24 dev lan0",
               "eth0",
               " has the address 192.168.1.1, too",
               undo=f"{LAN0} ip address del 192.168.1.1/24 dev lan0",
               is_sample=True),
    Divergence("there is another DHCP server",
               f"{LAN0} ip address add 192.168.1.77/24 dev lan0"
               f" && {LAN0} dnsmasq --conf-file=/dev/null --port=0 --user=root"
               " --pid-file=/run/other.pid --dhcp-leasefile=/run/other.leases"
               " --dhcp-range=192.168.1.50,192.168.1.60 --no-ping",
               "eth0",
               "there is another DHCP server, 192.168.1.77",
               undo=f"kill $(cat /run/other.pid); {LAN0} ip address del 192.168.1.77/24 dev lan0"),
    Divergence("the gateway of a route does not answer",
               f"{LAN1} ip link set lan1 arp off",
               "eth1",
               "the gateway 192.168.2.2 does not answer",
               undo=f"{LAN1} ip link set lan1 arp on"),
    Divergence("a DNS server does not answer",
               "kill -STOP $(cat /run/server.pid)",
               "dnsmasq",
               "the DNS server 192.168.2.2 does not answer",
               undo="kill -CONT $(cat /run/server.pid)"),
    Divergence("a DNS server answers with an error",
               "echo 2 >/run/server.code",
               "dnsmasq",
               "the DNS server 192.168.2.2 answers with the error 2",
               undo="echo 0 >/run/server.code"),
    Divergence("the remote endpoint of a tunnel does not answer",
               f"{LAN1} sh -c 'echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all'",
               "gre-tun1",
               "the remote endpoint 192.168.2.2 does not answer an echo request",
               undo=f"{LAN1} sh -c 'echo 0 >/proc/sys/net/ipv4/icmp_echo_ignore_all'"),
]
