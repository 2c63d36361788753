"""Rollouts with the real Ansible over SSH: the first gateway is the controller for the second one and for
itself."""

import json
import pathlib
import shutil
import sys
import unittest

import guest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from lib.controller import Controller, find_missing  # pylint: disable=wrong-import-position

GATEWAYS = 2
TOOL = "cli/lanfab"

ADDRESSES = {"there": "10.1.0.2", "here": "10.1.0.1"}
STATE, OUTCOME = "/run/lanfab/trial.json", "/run/lanfab/outcome.json"
SSHD = """HostKey {0}/host_key
AuthorizedKeysFile {0}/user_key.pub
StrictModes no
UsePAM no
PermitRootLogin prohibit-password
PidFile none
"""

here = guest.Gateway()
there = guest.OtherGateway()
gateways = {"there": there, "here": here}


def site(address, server="9.9.9.9"):
    """Returns a configuration whose eth1 has the address."""
    network = {"mode": "router", "protocol": "static", "ipv4": address, "netmask": 24}
    return {"wired": {"eth1": {"enable": True, "network": network}},
            "dns": {"source": "static", "static": [server]}}


def installed(name):
    return json.loads(gateways[name].read(guest.CONFIGURATION))


def outcome(name):
    gateway = gateways[name]
    return json.loads(gateway.read(OUTCOME))["ending"] if gateway.exists(OUTCOME) else None


@unittest.skipIf(find_missing(), "scripts/install-packages ansible")
class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.controller = Controller(shutil.which("lanfab"))
        cls.controller.hosts = ADDRESSES
        # The user is root already, and the machine may have no sudo.
        cls.controller.variables = {"ansible_become": False}
        cls.controller.trust(*ADDRESSES.values())
        for name, gateway in gateways.items():
            gateway.apply(site(ADDRESSES[name]))
            gateway.wait_for_address("eth1", f"{ADDRESSES[name]}/24")
            cls.start_server(gateway)

    @classmethod
    def start_server(cls, gateway):
        """Starts an SSH server with the keys of the controller."""
        directory = "/run/ssh-test"
        for key in "host_key", "host_key.pub", "user_key.pub":
            gateway.write(f"{directory}/{key}", (cls.controller.directory / key).read_text())
        gateway.run("chmod", "600", f"{directory}/host_key")
        gateway.run("mkdir", "-p", "/run/sshd")
        gateway.run("sh", "-c", "grep -q ^sshd: /etc/passwd || "
                                "echo sshd:x:103:65534::/run/sshd:/usr/sbin/nologin >>/etc/passwd")
        gateway.write(f"{directory}/config", SSHD.format(directory))
        gateway.run("systemd-run", "--quiet", "--unit=ssh-test", "/usr/sbin/sshd", "-D", "-f",
                    f"{directory}/config")

    def want(self, there_config, here_config):
        self.controller.want("there", json.dumps(there_config))
        self.controller.want("here", json.dumps(here_config))

    def play(self, *options, status=0, **variables):
        done, printed = self.controller.play("rollout.yml", *options, **variables)
        self.assertEqual(done, status, printed)
        return printed

    def assert_goes_back(self, before):
        """Checks that the other gateway rolls back, and that this one is unchanged."""
        guest.wait_until(lambda: outcome("there") == "rolled back" and not there.exists(STATE), timeout=120)
        self.assertEqual({name: installed(name) for name in gateways}, before)
        there.wait_for_address("eth1", f"{ADDRESSES['there']}/24")

    def check_that_check_mode_changes_nothing(self):
        self.want(site(ADDRESSES["there"], "8.8.8.1"), site(ADDRESSES["here"], "8.8.8.1"))
        self.assertIn("+nameserver 8.8.8.1", self.play("--check", "--diff"))
        self.assertEqual([outcome(name) for name in gateways], [None, None])

    def check_one_that_cuts_the_gateway_off(self):
        before = {name: installed(name) for name in gateways}
        self.want(site("10.9.0.2"), site(ADDRESSES["here"], "8.8.8.1"))
        self.assertNotIn("changed: [", self.play(status=2, lanfab_timeout=60))
        self.assert_goes_back(before)

    def check_one_whose_controller_is_killed(self):
        before = {name: installed(name) for name in gateways}
        self.want(site(ADDRESSES["there"], "8.8.8.2"), site(ADDRESSES["here"], "8.8.8.2"))
        process = self.controller.start("rollout.yml", lanfab_timeout=60, lanfab_probes=["test -e /run/go"])
        guest.wait_until(lambda: there.exists("/run/lanfab/network.json"), timeout=120)
        self.controller.kill(process)
        self.assert_goes_back(before)

    def check_a_good_one_and_a_second_run(self):
        self.want(site(ADDRESSES["there"], "8.8.8.2"), site(ADDRESSES["here"], "8.8.8.2"))
        self.assertEqual(self.play(lanfab_timeout=120).count("changed: ["), 2)
        self.assertEqual([outcome(name) for name in gateways], ["confirmed", "confirmed"])
        self.assertEqual(installed("there"), site(ADDRESSES["there"], "8.8.8.2"))
        self.assertEqual(self.play().count("changed: ["), 0)

    def check_one_that_changes_the_address(self):
        self.want(site("10.1.0.3", "8.8.8.3"), site(ADDRESSES["here"], "8.8.8.3"))
        self.assertEqual(self.play(lanfab_timeout=120).count("changed: ["), 2)
        self.assertEqual(installed("there"), site("10.1.0.3", "8.8.8.3"))
        self.assertEqual([outcome(name) for name in gateways], ["confirmed", "confirmed"])

    def test_roll_outs(self):
        """Consecutive rollouts: each begins with the result of the previous one."""
        if guest.IS_EXHAUSTIVE:
            self.check_that_check_mode_changes_nothing()
            self.check_one_that_cuts_the_gateway_off()
            self.check_one_whose_controller_is_killed()
            self.check_a_good_one_and_a_second_run()
        self.check_one_that_changes_the_address()


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1])
