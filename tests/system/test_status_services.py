"""lanfab status reports services whose state differs from their files, and faults that only packets show."""

import json
import os
import subprocess
import sys
import unittest

import guest
from service_divergences import BY_PACKETS, OF_FILES

TOOL = "cli/lanfab"

gateway = guest.Gateway()

# Answers DNS queries with the response code in /run/server.code.
SERVER = """
import pathlib, socket
server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
server.bind(("192.168.2.2", 53))
while True:
    query, client = server.recvfrom(512)
    code = int(pathlib.Path("/run/server.code").read_text())
    server.sendto(query[:2] + bytes([0x81, code]) + query[4:], client)
"""


def shell(script):
    gateway.run("sh", "-ec", script)


def differences(*options):
    seen = json.loads(gateway.run("lanfab", "status", "--format", "json", *options, check=False).stdout)
    return seen["differences"]


def matching(divergence, *options):
    """Returns the differences caused by the divergence."""
    return [one for one in differences(*options)
            if one["subject"] == divergence.subject and divergence.what in one["what"]]


def sampled(divergences):
    return [one for one in divergences if one.is_sample or guest.IS_EXHAUSTIVE]


def router():
    config = guest.example("router")
    # systemd-networkd takes seconds to check that no other host has the link-local address.
    del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
    return config


class OfFiles(unittest.TestCase):
    """Each printed fix ends its difference."""

    @classmethod
    def setUpClass(cls):
        gateway.apply(router())
        assert gateway.wait_for_setup("eth0", "eth0.100", "eth1")

    def test_each_is_found_and_fixed(self):
        self.assertTrue(guest.wait_until(lambda: not differences(), interval=1), differences())
        for divergence in sampled(OF_FILES):
            with self.subTest(divergence.name):
                shell(divergence.inject)
                found = guest.wait_until(lambda one=divergence: matching(one), timeout=20)
                self.assertEqual([one["fix"] for one in found], [divergence.fix])
                self.assertNotIn("", [one["why"] for one in found])
                shell(divergence.fix)
                self.assertTrue(guest.wait_until(lambda one=divergence: not matching(one)), differences())
            shell(divergence.undo)
            # Remove the remaining files, such as a drop-in that a fix has disabled.
            shell("rm -rf /etc/systemd/network")
            self.assertTrue(guest.wait_until(lambda: not differences(), interval=1), differences())


class ByPackets(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gateway.set_host_address("lan1", "192.168.2.2/24")
        gateway.write("/run/server.code", "0\n")
        cls.server = subprocess.Popen(
            ["nsenter", "--net=/run/netns/lan1", sys.executable, "-c", SERVER])  # nsenter becomes it
        gateway.write("/run/server.pid", f"{cls.server.pid}\n")
        config = router()
        config["dns"]["static"] = ["192.168.2.2"]
        config["tunnels"] = {"gre": [{
            "enable": True, "remote_ip": "192.168.2.2", "local_ip": "192.168.2.1",
            "tunnel_local_ip": "10.255.1.2", "tunnel_netmask": 30, "tunnel_remote_ip": "10.255.1.1",
            "tunnel_networks": []}]}
        gateway.apply(config)
        assert gateway.wait_for_setup("eth0", "eth0.100", "eth1")

    @classmethod
    def tearDownClass(cls):
        cls.server.kill()
        cls.server.wait()
        # Another configuration would leave the tunnel in the kernel, which would be drift.
        gateway.run("ip", "link", "delete", "gre-tun1")

    def test_each_is_found(self):
        self.assertTrue(guest.wait_until(lambda: not differences("--probe")), differences("--probe"))
        for divergence in sampled(BY_PACKETS):
            with self.subTest(divergence.name):
                shell(divergence.inject)
                self.assertEqual(matching(divergence), [], "without --probe")
                self.assertTrue(guest.wait_until(lambda one=divergence: matching(one, "--probe"), timeout=20))
            shell(divergence.undo)
            self.assertTrue(guest.wait_until(lambda: not differences("--probe")), differences("--probe"))

    def test_only_root_can(self):
        result = subprocess.run(["lanfab", "status", "--probe"], user="nobody", group="nogroup",
                                extra_groups=[], capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stderr),
                         (2, "lanfab: --probe sends packets, which requires root\n"))


class Runs(unittest.TestCase):
    def test_one_that_failed_before_an_apply_that_was_done(self):
        gateway.connect_cellular()
        gateway.apply(router())
        os.rename("/var/run/wwan_ipv4", "/run/saved")
        self.assertNotEqual(gateway.lanfab("wwan_apply").returncode, 0)
        os.rename("/run/saved", "/var/run/wwan_ipv4")
        failed = ("WWAN_APPLY", "the last run failed")
        gateway.run("journalctl", "--sync")
        self.assertIn(failed, [(one["subject"], one["what"]) for one in differences()])
        gateway.apply()
        gateway.run("journalctl", "--sync")
        self.assertNotIn(failed, [(one["subject"], one["what"]) for one in differences()])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
