"""The remote endpoints of the tunnels. Each is a namespace behind the namespace to which its route leads."""

import ipaddress

import guest
import hosts
import program
import screen
from plan import BRIDGE, HOSTS, host_in
from settings import quoted

FORWARDING = "/proc/sys/net/ipv4/ip_forward"

gateway = guest.Gateway()


def show_tunnel(number, tunnel, plan):
    screen.title(f"{tunnel.ifname}, {quoted(tunnel.label)}")
    local = guest.wait_until(lambda: local_address(tunnel), timeout=program.PATIENCE)
    way = gateway.way_to(str(tunnel.remote))
    provider = namespace_behind(way.get("dev"), plan)
    if local is None:
        screen.answer("exists in the kernel, with a local address", False)
    elif provider is None:
        screen.note(f"no route to its remote endpoint {tunnel.remote}")
    else:
        screen.note(f"the route to its remote endpoint {tunnel.remote} uses {way['dev']}")
        lan = lan_behind(plan, local)
        build_remote_endpoint(number, tunnel, local, provider, lan)
        show_reach(tunnel, lan)
    screen.space()


def local_address(tunnel):
    """Returns the gateway's outer address of a tunnel; None if the tunnel or the address is missing."""
    link = gateway.links().get(tunnel.ifname)
    local = link and link["linkinfo"]["info_data"].get("local")
    return None if local in (None, "any") else local


def lan_behind(plan, local):
    """Returns the first LAN that does not contain the tunnel's local address; None if there is none."""
    lans = plan.lans if plan.forwards else []
    return next((lan for lan in lans if ipaddress.IPv4Address(local) not in lan.address.network), None)


def namespace_behind(ifname, plan):
    """Returns the namespace of the host behind an interface, or None."""
    if ifname == BRIDGE:
        return next((HOSTS[lan.behind[0]] for lan in plan.lans if lan.ifname == BRIDGE), None)
    namespace = HOSTS.get((ifname or "").split(".")[0])
    return namespace if namespace and gateway.exists(f"/run/netns/{namespace}") else None


def build_remote_endpoint(number, tunnel, local, provider, lan):
    """Builds the remote endpoint in a namespace `far<number>` that the provider routes to."""
    far, cable = f"far{number}", f"to-far{number}"
    provider_address, far_address = f"198.18.{number}.1", f"198.18.{number}.2"
    gateway.add_namespace(far)
    peer = ("peer", "name", "wan", "netns", far)
    gateway.run("ip", "link", "add", cable, "type", "veth", *peer, namespace=provider)
    gateway.run("ip", "link", "set", cable, "up", namespace=provider)
    gateway.run("ip", "link", "set", "wan", "up", namespace=far)
    gateway.run("ip", "address", "add", f"{provider_address}/30", "dev", cable, namespace=provider)
    gateway.run("ip", "route", "replace", tunnel.remote, "via", far_address, namespace=provider)
    gateway.run("sh", "-c", f"echo 1 >{FORWARDING}", namespace=provider)
    gateway.set_host_address(far, f"{far_address}/30", provider_address, ifname="wan")
    gateway.run("ip", "address", "replace", f"{tunnel.remote}/32", "dev", "lo", namespace=far)
    ends = ("local", tunnel.remote, "remote", local)
    gateway.run("ip", "tunnel", "add", "tunnel", "mode", "gre", *ends, namespace=far)
    gateway.run("ip", "link", "set", "tunnel", "up", namespace=far)
    gateway.run("ip", "address", "replace", tunnel.remote_endpoint, "dev", "tunnel", namespace=far)
    for network in tunnel.remote_networks:
        gateway.run("ip", "address", "replace", f"{host_in(network)}/32", "dev", "lo", namespace=far)
    if lan:
        gateway.run("ip", "route", "replace", lan.address.network, "dev", "tunnel", namespace=far)


def show_reach(tunnel, lan):
    reached = gateway.reaches(str(tunnel.remote_endpoint.ip), None, hosts.PATIENCE)
    address = tunnel.remote_endpoint.ip
    screen.answer(f"the gateway reaches {address}, the remote endpoint's address in the tunnel", reached)
    namespace = hosts.first_host(lan) if lan else None
    who = f"the host {hosts.location(lan, lan.behind[0])}" if lan else "the gateway"
    for network in tunnel.remote_networks:
        target = host_in(network)
        before = packets_received(tunnel)
        reached = gateway.reaches(str(target), namespace, hosts.PATIENCE)
        # The reply must come through the tunnel, not by another route.
        through = reached and packets_received(tunnel) > before
        screen.answer(f"{who} reaches {target} in {network} through the tunnel", through)


def packets_received(tunnel):
    return int(gateway.read(f"/sys/class/net/{tunnel.ifname}/statistics/rx_packets"))
