"""The compared programs: how each gets its network, and how it is started."""

import os
import pathlib
import subprocess

import network
import sandbox

UNIT_DIR = pathlib.Path("/run/systemd/network")


class Program:
    """A generator of units for systemd-networkd."""

    name = ""
    writes_units = True

    def install(self, size):
        """Writes a network of this size as the program's input."""

    def command(self):
        """Returns the program's command line."""
        raise NotImplementedError

    def environment(self):
        """Returns a minimal environment, since each variable costs some instructions at the start."""
        return {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}

    def check(self, size):
        """Fails unless the last run wrote a unit for every interface."""
        units = [path.suffix for path in UNIT_DIR.iterdir()]
        expected = (size.vlans + len(network.PORTS), size.vlans)
        found = (units.count(".network"), units.count(".netdev"))
        if self.writes_units and found != expected:
            raise RuntimeError(f"{self.name} wrote {found} units of {expected}")


class Lanfab(Program):
    name = "lanfab"

    def __init__(self, program):
        self.program = os.path.abspath(program)

    def install(self, size):
        (sandbox.INPUT_DIR / "network.json").write_text(network.as_lanfab(size), encoding="utf-8")

    def command(self):
        return [self.program, "apply"]

    def environment(self):
        return super().environment() | {"LANFAB_CONFIG_DIR": str(sandbox.INPUT_DIR)}


class Netplan(Program):
    name = "netplan"
    CONFIG_DIR = pathlib.Path("/etc/netplan")

    def __init__(self):
        # Hides the machine's own configuration.
        subprocess.run(["mount", "-t", "tmpfs", "netplan", self.CONFIG_DIR], check=True)

    def install(self, size):
        file = self.CONFIG_DIR / "network.yaml"
        file.write_text(network.as_netplan(size), encoding="utf-8")
        file.chmod(0o600)

    def command(self):
        # As systemd runs it at boot: it then does not start the tools that it starts for an administrator.
        return ["/lib/systemd/system-generators/netplan", *sandbox.GENERATOR_DIRS]


class NetworkGenerator(Program):
    name = "systemd-network-generator"

    def __init__(self):
        self.words = []

    def install(self, size):
        self.words = network.as_kernel_options(size).split()

    def command(self):
        return ["/lib/systemd/systemd-network-generator", "--", *self.words]


class Floor(Program):
    name = "floor"
    writes_units = False

    def command(self):
        return [str(sandbox.CHECKOUT / "benchmarks/floor")]
