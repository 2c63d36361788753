"""Derives the plan of the tour from a configuration. Settings that the tour cannot show become remarks."""

import dataclasses
import ipaddress
import itertools
from ipaddress import IPv4Address, IPv4Interface, IPv4Network

PORTS = ("eth0", "eth1")
RADIOS = ("wlan0", "wlan1")
BRIDGE = "br-lan"
CELLULAR = "wwan0"

# The namespace of the host behind each interface. The host's network card has the name of the namespace.
HOSTS = {"eth0": "lan0", "eth1": "lan1", "wlan0": "wifi0", "wlan1": "wifi1", CELLULAR: "operator"}

# The link-local addresses of each pass-through port and of the device behind it.
FALLBACKS = {
    "eth0": (IPv4Interface("169.254.0.1/25"), "169.254.0.2"),
    "eth1": (IPv4Interface("169.254.0.129/25"), "169.254.0.130"),
}

# Networks and hosts around the gateway: the demo uses the first one that the configuration does not use.
OPERATOR_NETWORKS = [IPv4Network(f"{start}/30") for start in ("10.64.1.0", "100.64.1.0", "172.31.254.0")]
HOSTS_BEYOND = [IPv4Network(address) for address in ("203.0.113.9", "198.51.100.9", "192.0.2.9")]

MOST_NETWORKS = 5
MOST_TUNNELS = 4
MOST_NAMES = 4


@dataclasses.dataclass
class Lan:
    """A network of the gateway: its interface and address, and the hosts in it."""

    ifname: str
    address: IPv4Interface
    behind: list[str]  # the interfaces that have a host behind them
    vlan: int | None
    wants_dhcp: bool
    static_lease: tuple[str, str] | None  # MAC address and IP address
    free: list[IPv4Address]  # for hosts without DHCP, in the order of `behind`; fewer if the network is full

    @property
    def gateway(self):
        return str(self.address.ip)


@dataclasses.dataclass
class PassThrough:
    """The port whose single device gets the cellular address."""

    port: str
    automatic: bool
    address: IPv4Interface | None  # of a static port; None if automatic
    has_pool: bool  # the device gets an address of the pool instead of the cellular one
    has_fallback: bool


@dataclasses.dataclass
class CellularLink:
    """The simulated link."""

    address: IPv4Interface
    gateway: IPv4Address
    beyond: IPv4Address  # a host behind the operator
    routed: list[IPv4Address]  # hosts that static routes lead to
    brings_names: bool


@dataclasses.dataclass
class Tunnel:
    ifname: str
    label: str
    remote: IPv4Address
    remote_endpoint: IPv4Interface  # its inner address
    remote_networks: list[IPv4Network]


@dataclasses.dataclass
class Plan:
    lans: list[Lan]
    radios: list[str]
    passthrough: PassThrough | None
    link: CellularLink | None
    link_for_lans: bool
    tunnels: list[Tunnel]
    forwards: bool
    names: list[str]
    remarks: dict[str, bool]


def make(config):
    """Returns the plan for the configuration `config`, a `Settings`."""
    passthrough_port = find_passthrough_port(config)
    members = bridge_members(config, passthrough_port)
    # Show ports before VLANs, of which there may be many.
    lans = sorted(find_lans(config, members), key=lambda lan: lan.vlan is not None)
    tunnels = list(find_tunnels(config))
    passthrough = read_passthrough(config, passthrough_port)
    taken = [lan.address.network for lan in lans] + configured_destinations(config)
    taken += [network for tunnel in tunnels for network in networks_of(tunnel)]
    remark_unsupported_settings(config)
    return Plan(
        lans=first(config, lans, MOST_NETWORKS, "networks", lambda lan: lan.ifname),
        radios=[radio for radio in RADIOS if has_access_point(config, radio)],
        passthrough=passthrough,
        link=find_link(config, passthrough, taken),
        link_for_lans=passthrough_port is None,
        tunnels=first(config, tunnels, MOST_TUNNELS, "tunnels", lambda tunnel: tunnel.ifname),
        forwards=config.at("firewall.general").integer("router") not in (None, 0),
        names=first(config, host_names(config), MOST_NAMES, "host names", str),
        remarks=config.remarks,
    )


def first(config, items, most, what, name):
    """Returns the first `most` items; adds a remark with the number of the others."""
    left_out = items[most:]
    if left_out:
        names = " to ".join(dict.fromkeys((name(left_out[0]), name(left_out[-1]))))
        config.remark(f"{len(left_out)} more {what}: {names}")
    return items[:most]


def host_names(config):
    """Returns the names that the gateway resolves; the program ignores names without an address."""
    entries = [(entry.host_name("name"), entry.address("ipv4")) for entry in config.objects("hostnames")]
    return [name for name, address in entries if name and address]


# The gateway's own networks


def port_network(config, port):
    return config.at(f"wired.{port}.network")


def access_point(config, radio):
    return config.at(f"wireless.wifi.{radio}.ap")


def has_access_point(config, radio):
    return access_point(config, radio).flag("enable")


def bridge_members(config, passthrough_port):
    """Returns the members of the bridge that have a host behind them."""
    bridge = config.at("wired.bridge")
    if not bridge.flag("enable"):
        return []
    members = []
    for name in dict.fromkeys(bridge.strings("interfaces")):
        if name == passthrough_port:
            config.remark(f"{name} does not join the bridge because it is the pass-through port")
        elif name in PORTS or (name in RADIOS and has_access_point(config, name)):
            members.append(name)
    if not members:
        config.remark("the bridge has no member with hosts")
    return members


def find_lans(config, members):
    """Yields the networks of the bridge, the ports, the VLANs and the access points that have an address."""
    if members:
        yield from bridge_lan(config, members)
    for port in PORTS:
        network = port_network(config, port)
        if not config.at(f"wired.{port}").flag("enable") or network.text("mode") != "router":
            continue
        if port not in members:
            yield from read_lan(config, port, network, [port])
        vlans = network.at("advanced.vlan")
        for entry in vlans.objects("networks") if vlans.flag("enable") else []:
            yield from vlan_lan(config, port, entry)
    for radio in RADIOS:
        if has_access_point(config, radio) and radio not in members:
            yield from read_lan(config, radio, access_point(config, radio).object("network"), [radio])


def bridge_lan(config, members):
    primary = config.at("wired.bridge").text("primary_interface") or ""
    if primary in RADIOS:
        network = access_point(config, primary).object("network")
    else:
        network = port_network(config, primary if primary in PORTS else "")
    yield from read_lan(config, BRIDGE, network, members)


def vlan_lan(config, port, entry):
    if not entry.flag("enable"):
        return
    vid = entry.integer("vid", 1, 4094)
    if vid is not None:
        yield from read_lan(config, f"{port}.{vid}", entry.object("network"), [port], vid)


def read_lan(config, ifname, network, behind, vlan=None):
    """Yields the network if it has a configured address."""
    if network.text("protocol") == "dhcp_client":
        config.remark(f"{ifname} is a DHCP client: the demo does not provide a server")
        return
    address = network.interface("ipv4", "netmask")
    if address is None:
        config.remark(f"{ifname} has no address")
        return
    dhcp = network.object("dhcp")
    yield Lan(
        ifname=ifname,
        address=address,
        behind=behind,
        vlan=vlan,
        wants_dhcp=dhcp.flag("enable"),
        static_lease=static_lease(dhcp.object("mac_binding")),
        free=free_addresses(address, routers_next_to(config, ifname, network), len(behind)),
    )


def static_lease(binding):
    """Returns the first static lease as (MAC address, IP address), or None."""
    for device in binding.objects("devices") if binding.flag("enable") else []:
        if device.flag("enable"):
            mac, address = device.mac_address("mac"), device.address("ipv4")
            if mac and address:
                return mac, str(address)
    return None


def routers_next_to(config, ifname, network):
    """Returns the addresses of the routers in an interface's network, which the demo's hosts simulate."""
    routers = [network.address("gateway")]
    routers += [route.address("gateway") for route in static_routes(config, ifname)]
    return [router for router in routers if router is not None]


def free_addresses(address, preferred, count):
    """Returns up to `count` other addresses in the network of an interface, the preferred ones first."""
    # Hosts cannot use the first and the last address.
    lowest, highest = int(address.network.network_address) + 1, int(address.network.broadcast_address) - 1
    own = int(address.ip)
    candidates = itertools.chain(
        (int(router) for router in preferred), range(own + 1, highest + 1), range(own - 1, lowest - 1, -1)
    )
    found = {}
    for candidate in candidates:
        if len(found) == count:
            break
        if lowest <= candidate <= highest and candidate != own:
            found[IPv4Address(candidate)] = True
    return list(found)


def static_routes(config, ifname):
    routes = config.objects("static_routes")
    return [route for route in routes if route.flag("enable") and route.text("interface") == ifname]


# The cellular link and the device behind the pass-through port


def find_passthrough_port(config):
    """Returns the first port with a mode other than "router", even if it is disabled; None without one."""
    for port in PORTS:
        if port_network(config, port).text("mode") not in (None, "router"):
            return port
    return None


def read_passthrough(config, port):
    if port is None:
        return None
    if not config.at(f"wired.{port}").flag("enable"):
        config.remark(f"{port} is the pass-through port, but disabled: the demo does not connect a device")
        return None
    network = port_network(config, port)
    dhcp = network.object("dhcp")
    automatic = network.text("mode") == "pass-through-auto"
    address = None if automatic else network.interface("ipv4", "netmask")
    if not automatic and (address is None or not free_addresses(address, [], 1)):
        config.remark(f"{port} has no network for static pass-through")
        return None
    return PassThrough(
        port=port,
        automatic=automatic,
        address=address,
        has_pool=not automatic and any(dhcp.text(end) for end in ("start", "end")),
        has_fallback=network.object("advanced").flag("enable_secondary_ip"),
    )


def find_link(config, passthrough, taken):
    if not config.at("wireless.cell").flag("enable"):
        if passthrough:
            config.remark("the cellular link for the pass-through device is disabled")
        return None
    if passthrough and passthrough.address:
        port = passthrough.address
        network = port.network
        # The smallest network has room for two: the operator uses the port's address, as in automatic mode.
        address, gateway = [*free_addresses(port, [], 2), port.ip][:2]
    else:
        network = unused(OPERATOR_NETWORKS, taken)
        gateway, address = network.hosts()
    routes = [destination(route) for route in static_routes(config, CELLULAR)]
    # The remote endpoint of a tunnel is not in the operator's namespace.
    remote_endpoints = [entry.address("remote_ip") for entry in config.at("tunnels").objects("gre")]
    targets = [host_in(route) for route in routes if route]
    return CellularLink(
        address=IPv4Interface((address, network.prefixlen)),
        gateway=gateway,
        beyond=unused(HOSTS_BEYOND, [*taken, network]).network_address,
        routed=[] if passthrough else [target for target in targets if target not in remote_endpoints],
        brings_names=config.object("dns").text("source") == "isp",
    )


def unused(candidates, taken):
    """Returns the first candidate that overlaps no taken network, else the last one."""
    # A default route does not occupy any addresses.
    taken = [network for network in taken if network.prefixlen > 0]
    for candidate in candidates:
        if not any(candidate.overlaps(network) for network in taken):
            return candidate
    return candidates[-1]


def destination(route, address_key="ipv4", prefix_key="netmask"):
    """Returns the network that a route leads to, or None."""
    address, prefix = route.address(address_key), route.integer(prefix_key, 0, 32)
    if address is None or prefix is None:
        return None
    return ipaddress.ip_network((address, prefix), strict=False)


def configured_destinations(config):
    routes = (destination(route) for route in config.objects("static_routes") if route.flag("enable"))
    return [network for network in routes if network]


def host_in(network):
    """Returns an address of the network that a host may have."""
    return network.network_address + (1 if network.prefixlen < 31 else 0)


# Tunnels


def find_tunnels(config):
    """Yields the enabled tunnels; the program ignores all tunnels after one without inner addresses."""
    for number, entry in enumerate(config.at("tunnels").objects("gre"), start=1):
        ifname = f"gre-tun{number}"
        if not entry.flag("enable"):
            continue
        local, remote = entry.text("tunnel_local_ip"), entry.text("tunnel_remote_ip")
        prefix = entry.integer("tunnel_netmask")
        if None in (local, remote, prefix):
            config.remark(f"{ifname} has no inner addresses: it and the tunnels after it are ignored")
            return
        tunnel = read_tunnel(ifname, entry)
        if tunnel is None:
            config.remark(f"the demo cannot simulate the remote endpoint of {ifname}")
        else:
            yield tunnel


def read_tunnel(ifname, entry):
    remote = entry.address("remote_ip")
    remote_endpoint = entry.interface("tunnel_remote_ip", "tunnel_netmask")
    if remote is None or remote_endpoint is None or entry.address("tunnel_local_ip") is None:
        return None
    networks = (
        destination(network, "dest_ip", "dest_netmask") for network in entry.objects("tunnel_networks")
    )
    label = entry.text("name") or "no name"
    # A network that contains the remote endpoint would route the tunnel through itself.
    reachable = [net for net in networks if net and remote not in net]
    return Tunnel(ifname, label, remote, remote_endpoint, reachable)


def networks_of(tunnel):
    return [IPv4Network(tunnel.remote), tunnel.remote_endpoint.network, *tunnel.remote_networks]


def remark_unsupported_settings(config):
    """Adds remarks on settings that no action of the program reads or that the demo cannot show."""
    if config.at("tunnels.wireguard").flag("enable"):
        config.remark("WireGuard: no action of cmd_lanfab configures it")
    if config.object("qos").flag("enable"):
        config.remark("quality of service: no action of cmd_lanfab configures it")
    for radio in RADIOS:
        if config.at(f"wireless.wifi.{radio}.client").flag("enable"):
            config.remark(f"{radio} is a Wi-Fi client: the demo does not provide an access point")
    if any(entry.flag("route_incoming") for entry in config.at("tunnels").objects("gre")):
        config.remark('"route_incoming": two scripts of the device create its routes')
