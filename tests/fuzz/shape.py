"""The shapes of configurations, derived from their schema: a shape has the kind of the value at each path.

`python3 shape.py` prints all shapes as JSON for generator.cpp, with values of each kind. "@dhcp" refers to
the shape of that name. Objects that the program reads with the same functions share a shape.
"""

import json
import pathlib

SCHEMA = json.loads(
    (pathlib.Path(__file__).resolve().parents[2] / "schema" / "network.schema.json").read_text("utf-8"))

# The named shapes of definitions in the schema. The program reads every "dhcp" with the same functions.
NAMES = {"port": "@port", "radio": "@radio", "port_network": "@interface", "network": "@interface",
         "port_dhcp": "@dhcp", "dhcp": "@dhcp", "gre": "@gre"}

# Kinds of values that the schema does not define by a format, by key.
KINDS = {
    **dict.fromkeys(("gateway", "local_ip", "relay_server1", "relay_server2", "local_addrs", "allowed_ips"),
                    "address"),
    **dict.fromkeys(("interface", "interfaces", "primary_interface"), "interface"),
    "mode": "mode", "protocol": "protocol", "source": "source", "dscp": "class", "vid": "vid",
}

# Valid and invalid values of each kind; a repeated value is chosen more often.
MOST, LEAST = 2**31 - 1, -(2**31)
VALUES = {
    "bool": [True, True, True, False],
    "int": [0, 1, -1, 7, 100, 1400, 1500, 65535, MOST, LEAST],
    "prefix": [0, 8, 24, 25, 30, 31, 32, 33, -1, MOST, LEAST],
    "vid": [1, 10, 100, 4094, 0, 65536, MOST, -1, LEAST],
    "address": ["192.168.1.1", "192.168.1.77", "10.20.30.41", "0.0.0.0", "255.255.255.255", "169.254.0.1",
                "1.1.1", "", "dynamic", "host.example", "fe80::1", "10.0.0.0/8, 192.168.0.0/16,,"],
    "interface": ["eth0", "eth1", "wlan0", "wlan1", "wwan0", "br-lan", "gre-tun1", "eth0.100", "veth0", ""],
    "mode": ["router", "router", "pass-through", "pass-through-auto", "Router", ""],
    "protocol": ["static", "static", "dhcp_client", ""],
    "source": ["isp", "static", ""],
    "text": ["a name", "3600", "2m", "02:00:5e:00:00:20", ""],
    "class": ["EF", "AF11", "af11", "CS0", ""],
}

# The object of a GRE TAP tunnel, which is not part of a configuration.
GRE_TAP = {"mtu_override": "bool", "mtu": "int", "peer_ipv4": "address", "local_ipv4": "address",
           "key": "int"}


def resolve(reference):
    """Returns the definition that a reference in the schema refers to."""
    found = SCHEMA
    for step in reference.removeprefix("#/").split("/"):
        found = found[step]
    return found


def kind_of(schema, key):
    """Returns the kind of a value that is neither an object nor an array."""
    if schema["type"] == "boolean":
        return "bool"
    if schema["type"] == "integer":
        return KINDS.get(key) or ("prefix" if schema.get("maximum") == 32 else "int")
    is_address = schema.get("format") == "ipv4" or "anyOf" in schema
    return "address" if is_address else KINDS.get(key, "text")


def shape_of(schema, key="", is_in_vlan=False):
    """Returns the shape of a value with this key."""
    if "$ref" in schema:
        name = schema["$ref"].removeprefix("#/definitions/")
        if is_in_vlan and name == "network":
            return "@vlan"
        return NAMES.get(name) or shape_of(resolve(schema["$ref"]), key, name == "vlan")
    if schema["type"] == "array":
        return [shape_of(schema["items"], key)]
    if schema["type"] == "object":
        return {name: shape_of(member, name, is_in_vlan) for name, member in schema["properties"].items()}
    return kind_of(schema, key)


def shapes():
    """Returns all shapes by their names."""
    definitions = SCHEMA["definitions"]
    named = {name: shape_of(definitions[definition]) for name, definition in (
        ("@port", "port"), ("@radio", "radio"), ("@interface", "port_network"), ("@vlan", "network"),
        ("@dhcp", "port_dhcp"), ("@gre", "gre"), ("@wireguard", "wireguard"))}
    whole = shape_of(SCHEMA)
    del whole["$schema"]
    # The program reads this object separately.
    del whole["tunnels"]["wireguard"]
    return {"@network": whole, **named, "@gre_tap": GRE_TAP}


if __name__ == "__main__":
    print(json.dumps({"shapes": shapes(), "values": VALUES}))
