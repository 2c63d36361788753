"""Prints a configuration in which the first DHCP server is switched off; exit status 1 if it has none."""

import json
import sys


def switch_off(value):
    """Switches off the first enabled "dhcp" of the value; returns whether there was one."""
    if isinstance(value, dict):
        dhcp = value.get("dhcp")
        if isinstance(dhcp, dict) and dhcp.get("enable") is True:
            dhcp["enable"] = False
            return True
    inner = value.values() if isinstance(value, dict) else value if isinstance(value, list) else ()
    return any(map(switch_off, inner))


def main(path):
    with open(path, encoding="utf-8-sig") as file:
        config = json.load(file)
    if not switch_off(config):
        return 1
    json.dump(config, sys.stdout)
    return 0


sys.exit(main(sys.argv[1]))
