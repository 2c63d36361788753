"""Prints a configuration with its first DHCP server disabled; exits with 1 if it has no DHCP server."""

import json
import sys


def disable_dhcp(value):
    """Disables the first enabled "dhcp" in the value; returns whether there was one."""
    if isinstance(value, dict):
        dhcp = value.get("dhcp")
        if isinstance(dhcp, dict) and dhcp.get("enable") is True:
            dhcp["enable"] = False
            return True
    inner = value.values() if isinstance(value, dict) else value if isinstance(value, list) else ()
    return any(map(disable_dhcp, inner))


def main(path):
    with open(path, encoding="utf-8-sig") as file:
        config = json.load(file)
    if not disable_dhcp(config):
        return 1
    json.dump(config, sys.stdout)
    return 0


sys.exit(main(sys.argv[1]))
