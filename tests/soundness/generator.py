"""Random configurations that lean towards valid ones: sound sites, some of them spoilt in a few places."""

import copy
import random

from fuzz.shape import VALUES

KNOWN_VALUES = [value for values in VALUES.values() for value in values]
MODES = ("router", "router", "router", "pass-through", "pass-through-auto")
# What stands in the place of a value that is spoilt, by its type.
ODD_TEXTS = (
    *(value for value in KNOWN_VALUES if isinstance(value, str)),
    " ",
    "192.168.1.256",
    "10.0.0.1/24",
    "300",
    "my host",
    "-",
    "#",
    "a#b",
    "1,2",
    "a,b",
    "a=b",
    "infinite",
    "12h",
    "1m",
    "90s",
    "3x",
    "-5",
    "00:00:5E:00:53:10",
    "00-00-5e-00-53-10",
    "5e:00:53",
    "*:*:*:*:*:*",
    "set:x",
    "tag:x",
    "ignore",
    "id:*",
    "%",
    "[x]",
    "\u00e4",
    "x" * 64,
)
ODD_NUMBERS = (*(value for value in KNOWN_VALUES if type(value) is int), 67, 68, 1280, 4095)
ODD_VALUES = (None, [], {}, True, False, 1.5)


class Site:
    """Builds one configuration; each network has a subnet of its own."""

    def __init__(self, rng):
        self.rng = rng
        self.octet = rng.sample(range(1, 250), 200)
        self.config = {}

    def chance(self, probability):
        return self.rng.random() < probability

    def some(self, **optional):
        """Returns those members that a throw of the coin keeps."""
        return {key: value for key, value in optional.items() if self.chance(0.5)}

    def network(self, mac_bindings=True):
        """Returns a "network" object with an address, and the first three parts of that."""
        base = f"10.{self.octet.pop()}.{self.rng.randrange(256)}"
        network = {"protocol": "static", "ipv4": f"{base}.1", "netmask": 24}
        if self.chance(0.7):
            network["dhcp"] = self.dhcp(base, mac_bindings)
        if self.chance(0.1):
            network = {"protocol": "dhcp_client"}
        if self.chance(0.15):
            network["metric"] = self.rng.randrange(1, 2000)
        if self.chance(0.1):
            network["advanced"] = {"mtu_override": True, "mtu": self.rng.choice((1280, 1400, 1492, 9000))}
        return network, base

    def dhcp(self, base, mac_bindings):
        if self.chance(0.15):
            return {"enable": False, "dhcp_relay": {"enable": True, "relay_server1": "10.250.0.1"}}
        dhcp = {"enable": True, "start": f"{base}.100", "end": f"{base}.199"}
        dhcp.update(self.some(leasetime=self.rng.choice(("12h", "3600", "45m", "1d", "infinite"))))
        if mac_bindings and self.chance(0.5):
            dhcp["mac_binding"] = {
                "enable": True,
                "devices": [
                    {
                        "enable": self.chance(0.9),
                        "mac": f"02:00:5e:{self.rng.randrange(256):02x}:"
                        f"{self.rng.randrange(256):02x}:{number:02x}",
                        "ipv4": f"{base}.{10 + number}",
                    }
                    for number in range(self.rng.randrange(4))
                ],
            }
        return dhcp

    def vlans(self):
        vids = self.rng.sample(range(1, 4095), self.rng.randrange(1, 4))
        return {
            "enable": True,
            "networks": [
                {"enable": self.chance(0.9), "vid": vid, "network": self.network()[0]} for vid in vids
            ],
        }

    def port(self, mode):
        network, base = self.network()
        network["mode"] = mode
        if mode == "pass-through":
            network.update(protocol="static", ipv4="10.64.1.100", netmask=24)
        if mode != "router":
            network.pop("dhcp", None)
            network.setdefault("advanced", {})["enable_secondary_ip"] = True
            if self.chance(0.6):
                network["dhcp"] = {"enable": True, "leasetime": "5m"}
        elif self.chance(0.35):
            network.setdefault("advanced", {})["vlan"] = self.vlans()
        return {"enable": True, "network": network}, base

    def build(self):
        rng = self.rng
        config = self.config
        mode = rng.choice(MODES)
        config["wired"] = {}
        config["wired"]["eth0"], base = self.port("router" if self.chance(0.7) else mode)
        if self.chance(0.7):
            is_free = config["wired"]["eth0"]["network"]["mode"] == "router"
            config["wired"]["eth1"], _ = self.port(mode if is_free else "router")
        ports = [name for name, port in config["wired"].items() if port["network"]["mode"] == "router"]
        config["wireless"] = {"cell": {"enable": True, **self.some(metric=rng.randrange(0, 500))}}
        if self.chance(0.4):
            config["wireless"]["wifi"] = {"wlan0": {"ap": {"enable": True, "network": self.network()[0]}}}
            if self.chance(0.5):
                config["wireless"]["wifi"]["wlan1"] = {
                    "client": {"enable": True, "network": {"protocol": "dhcp_client"}}
                }
        if ports and self.chance(0.3):
            members = ports + (["wlan0"] if "wifi" in config["wireless"] and self.chance(0.5) else [])
            config["wired"]["bridge"] = {
                "enable": True,
                "interfaces": members,
                "primary_interface": members[0],
            }
        if ports and self.chance(0.4):
            interface = "br-lan" if "bridge" in config["wired"] else ports[0]
            config["static_routes"] = [
                {
                    "enable": True,
                    "interface": rng.choice((interface, "wwan0")),
                    "ipv4": f"172.{16 + number}.0.0",
                    "netmask": 16,
                    "gateway": f"{base}.2",
                    **self.some(metric=number + 1),
                }
                for number in range(rng.randrange(1, 4))
            ]
        if self.chance(0.3):
            config["tunnels"] = {"gre": [self.tunnel(number) for number in range(rng.randrange(1, 3))]}
        if self.chance(0.5):
            config["dns"] = {
                "source": rng.choice(("isp", "static")),
                "static": ["9.9.9.9", "149.112.112.112"],
            }
        if self.chance(0.5):
            config["hostnames"] = [
                {"name": f"host{number}", "ipv4": f"{base}.{20 + number}"}
                for number in range(rng.randrange(4))
            ]
        if self.chance(0.7):
            config["firewall"] = {"general": {"router": rng.randrange(2)}}
        return config

    def tunnel(self, number):
        return {
            "enable": True,
            "name": f"tunnel {number}",
            "remote_ip": f"198.51.100.{number + 1}",
            "local_ip": self.rng.choice(("dynamic", "203.0.113.9")),
            "tunnel_local_ip": f"10.255.{number}.1",
            "tunnel_netmask": 30,
            "tunnel_remote_ip": f"10.255.{number}.2",
            **self.some(
                set_mtu=True,
                mtu_size=1400,
                copy_dscp=True,
                tunnel_networks=[{"dest_ip": f"172.{24 + number}.0.0", "dest_netmask": 16}],
            ),
            **(
                {"route_incoming": True, "incoming_gre_gateway": f"10.255.{number}.2"}
                if self.chance(0.3)
                else {}
            ),
        }


def leaves(value, path=()):
    """Yields the path of every member and element, the deepest first."""
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, inner in items:
        yield from leaves(inner, (*path, key))
        yield (*path, key)


def spoil(config, rng):
    """Changes one place of the configuration, at random."""
    *parents, key = rng.choice(list(leaves(config)))
    holder = config
    for parent in parents:
        holder = holder[parent]
    value = holder[key]
    what = rng.random()
    if what < 0.12:
        del holder[key]
    elif what < 0.2 and isinstance(holder, list):
        holder.append(copy.deepcopy(value))
    elif isinstance(value, bool):
        holder[key] = not value
    elif isinstance(value, int):
        holder[key] = rng.choice(ODD_NUMBERS)
    elif isinstance(value, str):
        holder[key] = rng.choice(ODD_TEXTS)
    elif what > 0.9:
        holder[key] = rng.choice(ODD_VALUES + ODD_TEXTS + ODD_NUMBERS)


def configurations(count, seed):
    """Yields `count` configurations; half of them are spoilt in up to three places."""
    for number in range(count):
        rng = random.Random(f"{seed}-{number}")
        config = Site(rng).build()
        for _ in range(rng.choice((0, 0, 0, 1, 1, 2, 3))):
            if config:
                spoil(config, rng)
        yield config
