"""Simulated gateways in namespaces of their own, each at the end of a cable, and a controller, which is this
process: it needs network namespace, user namespace and mounts of its own (tests/ansible/controller).
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

TESTS = pathlib.Path(__file__).resolve().parent.parent
COLLECTION = TESTS.parent / "ansible"
SANDBOX = TESTS / "support" / "sandbox"
HANG_SECONDS = 120


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
    """The text of a configuration that gives eth0 this address."""
    network = {"mode": "router", "protocol": "static", "ipv4": address, "netmask": 24}
    wanted = {"wired": {"eth0": {"enable": True, "network": network}},
              "dns": {"source": "static", "static": [server]}}
    return json.dumps(wanted, indent=1) + "\n"


class Gateway:
    """Gateway NUMBER has the address 10.1.NUMBER.1, and may have 10.2.NUMBER.1; the controller is .2."""

    def __init__(self, fleet, number):
        self.name, self.number = f"g{number}", number
        self.address, self.other_address = f"10.1.{number}.1", f"10.2.{number}.1"
        self.first = configuration(self.address)
        file = fleet.directory / f"{self.name}.first"
        file.write_text(self.first)
        self.log = fleet.directory / f"{self.name}.log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [SANDBOX, TESTS / "python", TESTS / "ansible" / "gateway.py", fleet.lanfab, fleet.program,
                 fleet.directory, file], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log)
        self.root = pathlib.Path(f"/proc/{self.process.pid}/root")

    def connect(self):
        """Plugs the cable in."""
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

    def applied(self):
        """Returns the SHA-256 of what was applied last."""
        return self.path("/run/lanfab/applied").read_text()

    def is_on_trial(self):
        return self.path("/run/lanfab/network.json").exists()

    def outcome(self):
        """Returns how the last trial ended: "kept" or "rolled back"; nothing if there was none."""
        path = self.path("/run/lanfab/outcome.json")
        return json.loads(path.read_text())["ending"] if path.exists() else None

    def end(self):
        self.process.kill()
        self.process.communicate()


class Fleet:
    """The controller's directory: keys, inventory and configurations, and the gateways."""

    def __init__(self, lanfab, program, number_of_gateways):
        self.lanfab, self.program = os.path.abspath(lanfab), os.path.abspath(program)
        self.directory = pathlib.Path(tempfile.mkdtemp())
        shutil.copy(shutil.which("ip"), self.directory / "ip")
        for key in "host_key", "user_key":
            run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.directory / key)
        collections = self.directory / "collections" / "ansible_collections" / "lanfab"
        collections.mkdir(parents=True)
        (collections / "gateway").symlink_to(COLLECTION)
        self.gateways = [Gateway(self, number) for number in range(1, number_of_gateways + 1)]
        for gateway in self.gateways:
            gateway.connect()
        for gateway in self.gateways:
            gateway.await_server()
        self.trust(*(gateway.address for gateway in self.gateways))
        self.templates = self.directory / "templates"
        self.templates.mkdir()
        self.variables = {}

    def trust(self, *addresses):
        key = " ".join((self.directory / "host_key.pub").read_text().split()[:2])
        lines = "".join(f"{address} {key}\n" for address in addresses)
        (self.directory / "known_hosts").write_text(lines)

    def want(self, gateway, text):
        """Has the template of this gateway be this text."""
        (self.templates / gateway.name).write_text(text)

    def _write_inventory(self, variables):
        hosts = {gateway.name: {"ansible_host": gateway.address} for gateway in self.gateways}
        common = {
            "ansible_user": "root",
            "ansible_become": True,
            "ansible_python_interpreter": "/usr/bin/python3",
            "ansible_ssh_private_key_file": str(self.directory / "user_key"),
            "ansible_ssh_common_args": f"-F none -o UserKnownHostsFile={self.directory}/known_hosts",
            "lanfab_template": f"{self.templates}/{{{{ inventory_hostname }}}}",
            "lanfab_rendered": str(self.directory / "rendered"),
            "lanfab_timeout": 60,
            **variables}
        for name, more in variables.pop("hosts", {}).items():
            hosts[name].update(more)
        path = self.directory / "inventory.json"
        path.write_text(json.dumps({"gateways": {"hosts": hosts, "vars": common}}))
        return path

    def start(self, playbook, *options, **variables):
        """Starts ansible-playbook with a playbook of the collection."""
        inventory = self._write_inventory(variables)
        path = f"{os.path.dirname(self.lanfab)}:{os.environ['PATH']}"
        environment = {
            **os.environ, "PATH": path, "HOME": str(self.directory), "LC_ALL": "C.UTF-8",
            "ANSIBLE_COLLECTIONS_PATH": str(self.directory / "collections"),
            "ANSIBLE_CONFIG": str(COLLECTION / "examples" / "ansible.cfg"), "ANSIBLE_NOCOLOR": "1",
            "ANSIBLE_HOST_KEY_CHECKING": "1", "ANSIBLE_RETRY_FILES_ENABLED": "0",
            # The only user of a simulated gateway is root, whom sudo makes root.
            "ANSIBLE_BECOME_ALLOW_SAME_USER": "1", "LLVM_PROFILE_FILE": "/dev/null"}
        return subprocess.Popen(
            ["ansible-playbook", "-i", inventory, *options, COLLECTION / "playbooks" / playbook],
            env=environment, cwd=self.directory, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, start_new_session=True)

    def play(self, playbook, *options, **variables):
        """Runs ansible-playbook. Returns its exit status and what it printed."""
        process = self.start(playbook, *options, **variables)
        printed, _ = process.communicate(timeout=HANG_SECONDS * 10)
        return process.returncode, printed

    @staticmethod
    def kill(process):
        """Ends the controller as a loss of its power would."""
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()

    def end(self):
        for gateway in self.gateways:
            gateway.end()
        shutil.rmtree(self.directory, ignore_errors=True)


def skip_without_ansible():
    """Ends the test as skipped where the packages are missing."""
    for name in "ansible-playbook", "sshd":
        if not shutil.which(name, path=f"{os.environ['PATH']}:/usr/sbin"):
            print(f"skipped: {name} is missing: scripts/install-packages ansible")
            sys.exit(77)
