"""A controller with the real Ansible and the collection in ansible/: keys, inventory, templates."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

from .limits import HANG_SECONDS

COLLECTION = pathlib.Path(__file__).resolve().parents[2] / "ansible"


def find_missing():
    """Returns the name of a program that these tests need and that is not installed, or None."""
    for name in "ansible-playbook", "ansible-test", "sshd":
        if not shutil.which(name, path=f"{os.environ['PATH']}:/usr/sbin"):
            return name
    return None


def lay_collection(parent):
    """Installs the collection into a directory. Returns the value of ANSIBLE_COLLECTIONS_PATH."""
    directory = parent / "collections" / "ansible_collections" / "lanfab"
    directory.mkdir(parents=True)
    (directory / "gateway").symlink_to(COLLECTION)
    return str(parent / "collections")


def descendants(process):
    """Returns the PIDs of the children of a process, and of their descendants."""
    children = pathlib.Path(f"/proc/{process}/task/{process}/children").read_text(encoding="ascii").split()
    return [pid for child in children for pid in (int(child), *descendants(child))]


class Controller:
    """The directory of a controller. The gateways accept its user key and have its host key."""

    def __init__(self, lanfab):
        self.programs = os.path.dirname(os.path.abspath(lanfab))
        self.directory = pathlib.Path(tempfile.mkdtemp())
        for key in "host_key", "user_key":
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.directory / key],
                           check=True)
        self.collections = lay_collection(self.directory)
        self.templates = self.directory / "templates"
        self.templates.mkdir()
        # The addresses of the gateways by name, in the order of the connections.
        self.hosts = {}
        # Inventory variables in addition to those of the started playbook.
        self.variables = {}

    def trust(self, *addresses):
        """Sets the addresses for which the controller knows the host key."""
        key = " ".join((self.directory / "host_key.pub").read_text().split()[:2])
        lines = "".join(f"{address} {key}\n" for address in addresses)
        (self.directory / "known_hosts").write_text(lines)

    def want(self, name, text):
        """Sets the template of a gateway."""
        (self.templates / name).write_text(text)

    def _write_inventory(self, moved, variables):
        hosts = {name: {"ansible_host": address} for name, address in {**self.hosts, **moved}.items()}
        common = {
            "ansible_user": "root",
            "ansible_become": True,
            "ansible_python_interpreter": "/usr/bin/python3",
            "ansible_ssh_private_key_file": str(self.directory / "user_key"),
            "ansible_ssh_common_args": f"-F none -o UserKnownHostsFile={self.directory}/known_hosts",
            "lanfab_template": f"{self.templates}/{{{{ inventory_hostname }}}}",
            "lanfab_rendered": str(self.directory / "rendered"),
            "lanfab_timeout": 60,
            **self.variables,
            **variables}
        path = self.directory / "inventory.json"
        path.write_text(json.dumps({"gateways": {"hosts": hosts, "vars": common}}))
        return path

    def environment(self):
        return {
            **os.environ, "PATH": f"{self.programs}:{os.environ['PATH']}", "HOME": str(self.directory),
            "LC_ALL": "C.UTF-8", "LLVM_PROFILE_FILE": "/dev/null",
            "ANSIBLE_CONFIG": str(COLLECTION / "examples" / "ansible.cfg"), "ANSIBLE_NOCOLOR": "1",
            "ANSIBLE_COLLECTIONS_PATH": self.collections,
            # Ansible uses the home directory of the user, who may be root only in the namespace.
            "ANSIBLE_REMOTE_TMP": str(self.directory / "tmp"),
            # Without the connections that the previous playbook left open.
            "ANSIBLE_SSH_CONTROL_PATH_DIR": tempfile.mkdtemp(dir=self.directory),
            # The only user of a simulated gateway is root, who can run sudo.
            "ANSIBLE_BECOME_ALLOW_SAME_USER": "1"}

    def start(self, playbook, *options, moved=None, **variables):
        """Starts a playbook of the collection; `moved` has the new addresses of gateways that have moved."""
        inventory = self._write_inventory(moved or {}, variables)
        return subprocess.Popen(
            ["ansible-playbook", "-i", inventory, *options, COLLECTION / "playbooks" / playbook],
            env=self.environment(), cwd=self.directory, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, start_new_session=True)

    def play(self, playbook, *options, **variables):
        """Runs a playbook. Returns its exit status and output."""
        process = self.start(playbook, *options, **variables)
        printed, _ = process.communicate(timeout=HANG_SECONDS * 10)
        return process.returncode, printed

    @staticmethod
    def kill(process):
        """Kills a playbook with its workers, as a power failure of the controller would."""
        for one in [process.pid, *descendants(process.pid)]:
            with contextlib.suppress(ProcessLookupError):
                os.kill(one, signal.SIGKILL)
        process.communicate()

    def end(self):
        shutil.rmtree(self.directory, ignore_errors=True)
