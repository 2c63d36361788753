"""The hosts in the gateway's networks: their leases, and the hosts and names that they reach."""

import guest
import program
import screen
from plan import BRIDGE, HOSTS, RADIOS

# Time limit for an answer, in seconds. Only a "no" takes this long.
PATIENCE = 20

gateway = guest.Gateway()


def show_lan(lan, names):
    for position, behind in enumerate(lan.behind):
        screen.title(f"A host {location(lan, behind)}")
        if connect(lan, position):
            show_host(lan, HOSTS[behind], names)
        screen.space()
    if lan.ifname == BRIDGE and len(lan.behind) > 1:
        screen.title("Between members of the bridge")
        show_way(lan, lan, lan.behind[-1])
        screen.space()


def location(lan, behind):
    if behind in RADIOS:
        return f"on the Wi-Fi of {behind}"
    return f"behind {behind}" if lan.vlan is None else f"behind {behind}, on VLAN {lan.vlan}"


def connect(lan, position):
    """Configures a host's address, by DHCP if the gateway serves it. Returns whether the host has one."""
    namespace = HOSTS[lan.behind[position]]
    if program.serves_dhcp(lan.ifname):
        return get_leases(lan, namespace, lan.static_lease if position == 0 else None)
    if lan.wants_dhcp:
        screen.note('"dhcp" is enabled, but cmd_lanfab did not configure a DHCP server')
    if position >= len(lan.free):
        screen.note(f"no free address for a host in {lan.address}")
        return False
    ifname = namespace if lan.vlan is None else gateway.add_vlan(namespace, namespace, lan.vlan)
    address = f"{lan.free[position]}/{lan.address.network.prefixlen}"
    gateway.set_host_address(namespace, address, lan.gateway, ifname)
    screen.note(f"has the static address {address}")
    return True


def get_leases(lan, namespace, static_lease):
    lease = gateway.dhcp_lease(namespace, vlan=lan.vlan, seconds=PATIENCE)
    show_lease(lease, "gets an address from DHCP", lease)
    if static_lease:
        mac_address, address = static_lease
        reserved = gateway.dhcp_lease(namespace, vlan=lan.vlan, hwaddr=mac_address, seconds=PATIENCE)
        text = f"gets the static lease {address} as {mac_address}"
        screen.answer(text, reserved and reserved["ip"] == address)
        lease = reserved or lease
    return lease is not None


def show_lease(lease, text, good):
    screen.answer(text, good)
    if lease:
        screen.note(f"{lease['ip']}/{lease['mask']} for {lease['lease']} s from {lease['serverid']},")
        screen.note(f"router {lease.get('router', '(none)')}, DNS server {lease.get('dns', '(none)')}")


def show_host(lan, namespace, names):
    reached = gateway.reaches(lan.gateway, namespace, PATIENCE)
    if not screen.answer(f"reaches the gateway at {lan.gateway}", reached):
        return
    for name in names:
        found = gateway.resolve(name, lan.gateway, namespace)
        screen.answer(f"resolves the name {name}: {', '.join(found) or 'no answer'}", found)


def addresses_in(lan, behind):
    """Returns the addresses in the LAN of the host behind an interface."""
    namespace = HOSTS[behind]
    ifname = namespace if lan.vlan is None else f"{namespace}.{lan.vlan}"
    return [address.split("/")[0] for address in gateway.addresses(ifname, namespace)]


def first_host(lan):
    """Returns the namespace of the LAN's first host, after setting its default route to the gateway.

    The default route may be another one by now, if the host has joined a VLAN of the same port.
    """
    namespace = HOSTS[lan.behind[0]]
    way = ("via", lan.gateway, "dev", namespace if lan.vlan is None else f"{namespace}.{lan.vlan}")
    gateway.run("ip", "route", "replace", "default", *way, namespace=namespace, check=False)
    return namespace


def show_way(here, there, behind_there):
    """Shows whether the first host of the LAN `here` reaches the host behind an interface in `there`."""
    namespace = first_host(here)
    for address in addresses_in(there, behind_there):
        reached = gateway.reaches(address, namespace, PATIENCE)
        target = f"{address} {location(there, behind_there)}"
        screen.answer(f"the host {location(here, here.behind[0])} reaches {target}", reached)


def show_way_between(plan):
    """Shows whether a host of the first LAN reaches a host of the second LAN."""
    untagged = [lan for lan in plan.lans if lan.vlan is None]
    if len(untagged) < 2:
        return
    screen.title("From one LAN to the other")
    if plan.forwards:
        here, there = untagged[:2]
        show_way(here, there, there.behind[0])
    else:
        screen.note('forwarding is disabled: "firewall.general.router" is not set')
    screen.space()
