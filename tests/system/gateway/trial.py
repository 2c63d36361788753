"""Trials of `lanfab try` on a gateway with a host behind eth0. Runs inside the gateway, like guest.py."""

import json

import guest

STATE = "/run/lanfab/trial.json"
FILE = "/run/lanfab/network.json"
PREVIOUS = f"{guest.CONFIGURATION}.previous"
NEW = "/root/new.json"
PROGRAM = "/usr/bin/cmd_lanfab"
# The program keeps its name, so that its process still counts as a run.
HELD_PROGRAM = "/usr/local/lib/held/cmd_lanfab"
HOLD = "/run/hold_apply"
# Replaces the program: waits until the trial has ended or the test releases it, then executes the program.
HOLDING = f"""#!/bin/sh
while [ -e {FILE} ] && [ -e {HOLD} ]; do sleep 0.1; done
exec {HELD_PROGRAM} "$@"
"""
OLD_ADDRESS = "192.168.1.1"
NEW_ADDRESS = "192.168.7.1"


def one_port(ipv4):
    """Returns a configuration with only eth0, which has the address."""
    network = {"mode": "router", "protocol": "static", "ipv4": ipv4, "netmask": 24}
    return {"wired": {"eth0": {"enable": True, "network": network}}, "firewall": {"general": {"router": 1}}}


OLD = one_port(OLD_ADDRESS)
# The new configuration locks out the host behind eth0.
CUT_OFF = one_port(NEW_ADDRESS)

# Directories of stubs, which precede the system's tools while they exist, and of links to them. The links
# are mounted over /usr/sbin, because root's lanfab ignores PATH. The stubs are not in /root, which lanfab's
# services cannot access.
TOOLS = "/usr/local/lib/tools"
LINKS = "/usr/local/lib/links"


class Tools:
    """Stubs of the named tools, which can be added and removed."""

    def __init__(self, gateway, *names):
        self.gateway = gateway
        gateway.run("mkdir", "-p", TOOLS, LINKS)
        for name in names:
            gateway.run("ln", "-s", f"{TOOLS}/{name}", LINKS)
        gateway.run("mount", "-t", "overlay", "-o", f"lowerdir={LINKS}:/usr/sbin", "tools", "/usr/sbin")

    def put(self, name, script):
        self.gateway.write(f"{TOOLS}/{name}", f"#!/bin/sh\n{script}\n")
        self.gateway.run("chmod", "+x", f"{TOOLS}/{name}")

    def remove(self, name):
        self.gateway.run("rm", f"{TOOLS}/{name}")


class Trials:
    def __init__(self, gateway):
        self.gateway = gateway

    def set_up(self):
        """Applies the old configuration, waits until the host is reachable, and writes the new one."""
        gateway = self.gateway
        if gateway.exists(PREVIOUS) or not gateway.exists(guest.CONFIGURATION) or self.installed() != OLD:
            gateway.run("rm", "-f", guest.CONFIGURATION, PREVIOUS)
            gateway.apply(OLD)
        gateway.write(NEW, json.dumps(CUT_OFF))
        gateway.set_host_address("lan0", "192.168.1.10/24")

    def lanfab(self, *arguments):
        """Runs lanfab and returns its result, even if it fails."""
        return self.gateway.run("lanfab", *arguments, check=False)

    def try_new(self, *options):
        """Begins a trial without verifying the gateway, which might take longer than a short trial on a slow
        machine."""
        return self.lanfab("try", NEW, "--no-verify", *options)

    def installed(self):
        return json.loads(self.gateway.read(guest.CONFIGURATION))

    def active(self):
        """Returns the active configuration, which a run would read."""
        return json.loads(self.gateway.read(FILE)) if self.gateway.exists(FILE) else self.installed()

    def is_under_way(self):
        if self.gateway.exists(STATE):
            return True
        listing = ("systemctl", "list-units", "--all", "--plain", "--no-legend", "lanfab-*")
        return bool(self.gateway.run(*listing).stdout)

    def wait_for_end(self, timeout=80):
        """Waits until nothing is left of a trial; returns whether that is so."""
        return guest.wait_until(lambda: not self.is_under_way(), timeout, interval=0.5)

    def is_old_network_back(self):
        """Waits for the end of the trial; returns whether it is rolled back and the gateway is reachable."""
        return (
            self.wait_for_end()
            and self.active() == OLD
            and not self.gateway.exists(PREVIOUS)
            and self.gateway.reaches(OLD_ADDRESS, namespace="lan0")
        )

    def wait_for_apply(self):
        """Waits until the apply of the trial is running; returns whether it is."""
        show = ("systemctl", "show", "--property=ActiveState", "--value", "lanfab-apply")
        return guest.wait_until(lambda: self.gateway.run(*show).stdout == "activating\n")

    def hold_apply(self):
        """Makes the apply of a trial wait while the trial is active; returns a function to end the wait."""
        gateway = self.gateway
        gateway.write(HOLD, "")
        if not gateway.exists(HELD_PROGRAM):
            gateway.run("mkdir", "-p", HELD_PROGRAM.rpartition("/")[0])
            gateway.run("mv", PROGRAM, HELD_PROGRAM)
            gateway.write(PROGRAM, HOLDING)
            gateway.run("chmod", "+x", PROGRAM)
        return lambda: gateway.run("rm", "-f", HOLD)

    def has_new_address(self):
        return self.gateway.wait_for_address("eth0", f"{NEW_ADDRESS}/24")
