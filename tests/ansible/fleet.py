"""Simulated gateways in their own namespaces, each connected by a cable to the controller. The controller is
this process: it needs private user, network, mount and PID namespaces."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

from lib.controller import Controller, find_missing
from lib.limits import HANG_SECONDS

TESTS = pathlib.Path(__file__).resolve().parent.parent
SANDBOX = TESTS / "support" / "sandbox"


def run(*words):
    subprocess.run([str(word) for word in words], check=True)


def wait_until(condition, seconds=HANG_SECONDS):
    """Returns when the condition holds; fails if it does not in time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(condition)
        time.sleep(0.05)


def configuration(address, server="9.9.9.9"):
    """Returns a configuration with this address on eth0."""
    network = {"mode": "router", "protocol": "static", "ipv4": address, "netmask": 24}
    wanted = {"wired": {"eth0": {"enable": True, "network": network}},
              "dns": {"source": "static", "static": [server]}}
    return json.dumps(wanted, indent=1) + "\n"


class Gateway:
    """Gateway NUMBER has the address 10.1.NUMBER.1, and may have 10.2.NUMBER.1; the controller is .2."""

    def __init__(self, fleet, number):
        self.name, self.number = f"g{number}", number
        self.address, self.other_address = f"10.1.{number}.1", f"10.2.{number}.1"
        file = fleet.directory / f"{self.name}.first"
        file.write_text(configuration(self.address))
        self.log = fleet.directory / f"{self.name}.log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [SANDBOX, TESTS / "python", TESTS / "ansible" / "gateway.py", fleet.lanfab, fleet.program,
                 fleet.directory, file], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log)
        self.root = pathlib.Path(f"/proc/{self.process.pid}/root")

    def connect(self):
        """Waits for the namespaces of the gateway and connects its eth0 to the controller."""
        if not self.process.stdout.readline():
            raise OSError(self.log.read_text())
        run("ip", "link", "add", self.name, "type", "veth", "peer", "name", "eth0", "netns", self.process.pid)
        for network in 1, 2:
            run("ip", "address", "add", f"10.{network}.{self.number}.2/24", "dev", self.name)
        run("ip", "link", "set", self.name, "up")
        self.process.stdin.write(b"\n")
        self.process.stdin.flush()

    def await_server(self):
        wait_until(lambda: b"Server listening" in self.log.read_bytes() or self.process.poll() is not None)

    def path(self, name):
        return self.root / name.lstrip("/")

    def installed(self):
        return self.path("/etc/lanfab/network.json").read_text()

    def is_on_trial(self):
        return self.path("/run/lanfab/network.json").exists()

    def is_at_rest(self):
        """Whether no trial is active, and no service or timer of the last one is left."""
        return not self.is_on_trial() and not list(self.path("/run/units").iterdir())

    def outcome(self):
        """Returns how the last trial ended: "confirmed" or "rolled back"; nothing if there was none."""
        path = self.path("/run/lanfab/outcome.json")
        return json.loads(path.read_text())["ending"] if path.exists() else None

    def end(self):
        self.process.kill()
        self.process.communicate()


class Fleet(Controller):
    """A controller and its simulated gateways."""

    def __init__(self, lanfab, program, number_of_gateways):
        super().__init__(lanfab)
        self.lanfab, self.program = os.path.abspath(lanfab), os.path.abspath(program)
        # By default, no trial ends by itself during a case.
        self.variables["lanfab_timeout"] = HANG_SECONDS
        shutil.copy(shutil.which("ip"), self.directory / "ip")
        begin = time.monotonic()
        self.gateways = [Gateway(self, number) for number in range(1, number_of_gateways + 1)]
        for gateway in self.gateways:
            gateway.connect()
        for gateway in self.gateways:
            gateway.await_server()
            self.hosts[gateway.name] = gateway.address
        # The shortest timeout, in seconds, with which a trial becomes active before it ends, even on a busy
        # machine: ten times as long as the gateways took to start.
        self.short_trial = min(max(10, round(10 * (time.monotonic() - begin))), HANG_SECONDS // 2)
        self.trust(*self.hosts.values())

    def end(self):
        for gateway in self.gateways:
            gateway.end()
        super().end()


def skip_without_ansible():
    """Skips the test if a required package is missing."""
    missing = find_missing()
    if missing:
        print(f"skipped: {missing} is missing: scripts/install-packages ansible")
        sys.exit(77)
