"""Injected strings, and the configurations and runtime files that contain them."""

import copy
import itertools

from fuzz.shape import shapes

SHAPES = shapes()

# The file that injected commands create. Those in short strings create P in the current directory.
MARKER = "/run/pwned"

# Strings that must be rejected everywhere.
REFUSED = {
    "line end and a directive": f"1.1.1.1\ndhcp-script={MARKER}",
    "line end and a section": "1.1.1.1\n[Match]\nName=*",
    "carriage return": "1.1.1.1\rDHCP=yes",
    "NUL": "1.1.1.1\0; reboot",
    "escape": "1.1.1.1\x1b[2J",
    "delete": "1.1.1.1\x7f",
    # The surrogate is written as a byte that does not begin a character.
    "invalid UTF-8": "1.1.1.1\udcff",
}

# Unusual strings, which are only rejected if they reach a shell and have a character that is special to it.
ACCEPTED = {
    "semicolon": f"1.1.1.1; touch {MARKER}",
    "substitution": f"1.1.1.1$(touch {MARKER})",
    "backticks": f"1.1.1.1`touch {MARKER}`",
    "pipe": f"1.1.1.1|touch {MARKER}",
    "background": f"1.1.1.1&touch {MARKER}&",
    "redirection": f"1.1.1.1>{MARKER}",
    "single quote": f"1.1.1.1';touch {MARKER};'",
    "double quote": f'1.1.1.1";touch {MARKER};"',
    "comment": "1.1.1.1 # ",
    "format": "1.1.1.1%n%s%s%s",
    "traversal": "../../../../etc/pwned",
    "traversal of a unit": "x/../../../../../run/pwned",
    "absolute path": MARKER,
    "leading dash": "--version",
    "section": "[Match]",
    "directive": f"dhcp-script={MARKER}",
    "directive after a comma": f"1.1.1.1,dhcp-script={MARKER}",
    "escaped line end": f"1.1.1.1\\ndhcp-script={MARKER}",
    "trailing backslash": "1.1.1.1\\",
    "very long": "1" * 5000,
}

# Characters that are allowed in a string that reaches a shell.
HARMLESS_TO_SHELL = set("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-:/,@+")

RUNTIME_FILES = {"wwan_intf": "wwan0", "wwan_ipv4": "10.20.30.40", "wwan_cidr": "30",
                 "wwan_netmask": "255.255.255.252", "wwan_gw": "10.20.30.41", "wwan_mtu": "1430",
                 "wwan_dns1": "10.0.0.1", "wwan_dns2": "10.0.0.2"}

# Most of these strings fit into a runtime value, which may have 15, 7 or 3 characters.
RUNTIME_TEXTS = [
    ";>P", "|>P", "&>P", "`>P`", "$(>P)", "'>P", "..", "/", "-h", "%n", "[x]", "\rA=", "\r[L", "\0;P", "\xff",
    "1;>P;", "$(>/P)", "../../P", "../P", "\r[Link]", "\rDNS=1", "%s%s%n", "1\n2",
    "1.1.1.1;>P", "1.1.1.1\rDHCP=y", "1.1.1.1,1.1.1.1", "1.1.1.1 2.2.2.2", "1.1.1.1\nDHCP=y", "1.1.1.1\\",
    f"`>{MARKER}`", "9" * 20, "9" * 5000,
]

BENIGN = {"bool": True, "int": 7, "prefix": 24, "vid": 100, "class": "EF",
          "interface": "eth0", "mode": "router", "protocol": "static", "source": "isp"}
# Valid values of the keys for which dnsmasq rejects other strings, by key.
BENIGN_AT = {"leasetime": "1h", "secondary_leasetime": "2m", "start": "192.168.1.10", "end": "192.168.1.99"}


def value_of(shape, numbers=None):
    """Returns a valid value of a shape: everything is enabled, each array has one element, and all addresses
    are different. `numbers` yields the number of the next address."""
    numbers = numbers or itertools.count(1)
    if isinstance(shape, list):
        return [value_of(shape[0], numbers)]
    if isinstance(shape, dict):
        return {key: BENIGN_AT.get(key) or value_of(inner, numbers) for key, inner in shape.items()}
    if shape.startswith("@"):
        return value_of(SHAPES[shape], numbers)
    number = next(numbers)
    if shape == "address":
        return f"192.168.{1 + number // 250}.{1 + number % 250}"
    return f"02:00:5e:00:{number // 256:02x}:{number % 256:02x}" if shape == "text" else BENIGN[shape]


def put(configuration, path, value):
    """Returns a copy of a configuration with another value at a path."""
    changed = copy.deepcopy(configuration)
    place = changed
    for key in path[:-1]:
        place = place[key]
    place[path[-1]] = value
    return changed


def changed(configuration, changes):
    for path, value in changes.items():
        configuration = put(configuration, tuple(path.split(".")), value)
    return configuration


def configurations():
    """Returns valid configurations by name; together they have every path at which a string is used."""
    router = value_of("@network")
    router = changed(router, {"wired.bridge.interfaces": ["wlan1"], "wired.bridge.primary_interface": "wlan1",
                              "wired.eth1.network.protocol": "dhcp_client"})
    router["static_routes"].append({**router["static_routes"][0], "interface": "wwan0"})
    bridge = changed(router, {"wired.bridge.interfaces": ["eth0", "wlan0"],
                              "wired.bridge.primary_interface": "eth0", "dns.source": "static"})
    static = changed(router, {"wired.eth0.network.mode": "pass-through"})
    automatic = changed(router, {"wired.eth1.network.mode": "pass-through-auto"})
    return {"router": router, "bridge": bridge, "pass-through": static, "automatic": automatic}


def more_valid_configurations():
    """Returns further valid configurations by name. Their outputs also occur with the others, but only if
    strings are injected."""
    off = value_of("@network")
    for path in paths(off):
        if value_at(off, path) is True:
            off = put(off, path, False)
    dhcp = "wired.eth0.network.dhcp"
    no_range = changed(configurations()["pass-through"], {f"{dhcp}.start": "", f"{dhcp}.end": ""})
    return {"off": off, "pass-through without a range": no_range}


def paths(value, so_far=()):
    """Yields the path of every value that is neither an object nor an array."""
    if not isinstance(value, (dict, list)):
        yield so_far
        return
    for key, inner in value.items() if isinstance(value, dict) else enumerate(value):
        yield from paths(inner, so_far + (key,))


def is_shell_path(path):
    pattern = tuple("[]" if isinstance(key, int) else key for key in path)
    return pattern in (("static_routes", "[]", "interface"), ("static_routes", "[]", "gateway"),
                       ("tunnels", "gre", "[]", "incoming_gre_gateway"))


def is_refused(path, text):
    """Whether the host platform must reject the string at this path."""
    return text in REFUSED.values() or is_shell_path(path) and not set(text) <= HARMLESS_TO_SHELL


def value_at(configuration, path):
    for key in path:
        configuration = configuration[key]
    return configuration
