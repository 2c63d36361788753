"""Shows what one run of cmd_lanfab does with the configuration. Runs inside a gateway, for scripts/demo."""

import ipaddress
import json
import os
import sys

import guest

HOSTS = {"eth0": "lan0", "eth1": "lan1"}
FILES = (
    guest.UNIT_DIRECTORY,
    "/var/run/dnsmasq.conf",
    "/var/run/hosts",
    "/var/run/resolv.conf",
    "/var/run/wwan0_static_routes",
    "/var/run/.delete_interfaces",
    "/var/run/.delete_static_routes",
)

gateway = guest.Gateway()


def style(code, text):
    return f"\033[{code}m{text}\033[0m" if os.environ.get("GATEWAY_COLOUR") else text


def heading(text):
    print(f"\n{style('1;34', f'== {text}')}\n", flush=True)


def indented(text):
    for line in text.splitlines():
        print(f"    {line}".rstrip())


def show_command(*command, namespace=None):
    print(style("1", f"$ {' '.join(command)}"))
    indented(gateway.run(*command, namespace=namespace, check=False).stdout)
    print(flush=True)


def show_run():
    heading("One run of the program: cmd_lanfab apply")
    result = gateway.lanfab("apply")
    for priority, message in gateway.syslog():
        print(f"    {priority:<7} {message.rstrip()}")
    print(f"\n    exit status {result.returncode}")
    if result.stderr:
        indented(result.stderr)
    return result.returncode


def files_written():
    for path in FILES:
        if path.endswith("/"):
            yield from (path + name for name in gateway.unit_files())
        elif gateway.exists(path):
            yield path


def show_files():
    heading("The files that it wrote")
    for path in files_written():
        print(style("1", path))
        indented(gateway.read(path))
        print(flush=True)


class Network:
    """One of the gateway's networks: a port, or a VLAN of the port, and the host behind it."""

    def __init__(self, name, settings, host, vlan=None):
        self.name = name
        self.host = host
        self.vlan = vlan
        self.address = ipaddress.ip_interface(f"{settings['ipv4']}/{settings.get('netmask', 32)}")
        self.gateway = str(self.address.ip)
        self.serves_addresses = settings.get("dhcp", {}).get("enable", False)


def configured_networks(config):
    """Yields the networks of the enabled router ports that have an address of their own."""
    for port, host in HOSTS.items():
        settings = config.get("wired", {}).get(port, {})
        network = settings.get("network", {})
        if not settings.get("enable") or network.get("mode") != "router":
            continue
        if "ipv4" in network:
            yield Network(port, network, host)
        vlans = network.get("advanced", {}).get("vlan", {})
        for entry in vlans.get("networks", []) if vlans.get("enable") else []:
            if entry.get("enable") and "ipv4" in entry.get("network", {}):
                yield Network(f"{port}.{entry['vid']}", entry["network"], host, entry["vid"])


def show_kernel(networks):
    heading("What the kernel has now")
    for network in networks:
        gateway.wait_for_address(network.name, str(network.address), timeout=10)
    show_command("ip", "-4", "-brief", "address")
    show_command("ip", "route")


def show_host(network, names):
    print(style("1", f"A host behind {network.name}"))
    connect(network)
    answer(
        f"reaches the gateway at {network.gateway}", gateway.reaches(network.gateway, network.host, timeout=5)
    )
    for name in names:
        found = gateway.resolve(name, network.gateway, network.host)
        answer(f"asks the gateway for the name {name}: {', '.join(found) or 'no answer'}", found)
    print(flush=True)


def connect(network):
    """Gives the host an address: by DHCP if the gateway serves it, otherwise the one after the gateway's."""
    if network.serves_addresses:
        lease = gateway.dhcp_lease(network.host, vlan=network.vlan)
        answer("asks for an address by DHCP", lease)
        if lease:
            print(f"         {lease['ip']}/{lease['mask']} for {lease['lease']} s from {lease['serverid']},")
            print(f"         router {lease.get('router', '(none)')}, DNS server {lease.get('dns', '(none)')}")
            return
    ifname = (
        network.host if network.vlan is None else gateway.add_vlan(network.host, network.host, network.vlan)
    )
    own = ipaddress.ip_interface(f"{network.address.ip + 1}/{network.address.network.prefixlen}")
    gateway.set_host_address(network.host, str(own), network.gateway, ifname)
    print(f"         has the static address {own}")


def answer(text, good):
    print(f"    {style('32', 'yes') if good else style('31', 'no '):<3}  {text}", flush=True)


def show_way_through(networks):
    """Shows whether the host behind the first port reaches the host behind the second."""
    ports = [network for network in networks if network.vlan is None]
    if len(ports) < 2:
        return
    here, there = ports
    print(style("1", "From one LAN to the other"))
    for address in gateway.addresses(there.host, there.host):
        target = address.split("/")[0]
        reached = gateway.reaches(target, here.host, timeout=5)
        answer(f"the host behind {here.name} reaches {target} behind {there.name}", reached)


def main():
    guest.fail_unless_inside()
    config = json.loads(gateway.read(guest.CONFIGURATION))
    names = [entry["name"] for entry in config.get("hostnames", []) if "name" in entry]
    status = show_run()
    show_files()
    networks = list(configured_networks(config))
    show_kernel(networks)
    heading("What the hosts around it can do")
    for network in networks:
        show_host(network, names)
    show_way_through(networks)
    return status


sys.exit(main())
