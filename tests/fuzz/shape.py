"""The shape of a configuration, derived from its schema: each path with the type of its value.

`python3 shape.py` prints it as JSON for generator.cpp, with values of each kind. "@dhcp" is the shape of that
name: what the program reads with the same functions has the same name.
"""

import json
import pathlib

SCHEMA = json.loads(
    (pathlib.Path(__file__).resolve().parents[2] / "schema" / "network.schema.json").read_text("utf-8"))

# The definitions that are shapes of a name. The program reads every "dhcp" in one way.
NAMES = {"port": "@port", "radio": "@radio", "port_network": "@interface", "network": "@interface",
         "port_dhcp": "@dhcp", "dhcp": "@dhcp", "gre": "@gre"}

# The kinds of strings that the schema has no format for, by their keys.
KINDS = {
    **dict.fromkeys(("gateway", "local_ip", "relay_server1", "relay_server2", "local_addrs", "allowed_ips"),
                    "address"),
    **dict.fromkeys(("interface", "interfaces", "primary_interface"), "interface"),
    "mode": "mode", "protocol": "protocol", "source": "source", "dscp": "class", "vid": "vid",
}

# Values of each kind, right ones and wrong ones; what stands there twice is chosen more often.
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

# The program gets the object for a GRE tap from its caller.
GRE_TAP = {"mtu_override": "bool", "mtu": "int", "peer_ipv4": "address", "local_ipv4": "address",
           "key": "int"}


def resolve(reference):
    """Returns what a reference of the schema refers to."""
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
    """Returns the shape of the value of a key."""
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
    # The program asks for this object by a name of its own.
    del whole["tunnels"]["wireguard"]
    return {"@network": whole, **named, "@gre_tap": GRE_TAP}


if __name__ == "__main__":
    print(json.dumps({"shapes": shapes(), "values": VALUES}))
