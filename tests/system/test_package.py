"""The Debian package on a gateway: a boot with the package, and changes of the configuration.

The gateway's own boot stops before multi-user.target; `package.boot` completes it, any number of times.
"""

import re
import shlex
import sys
import unittest

import guest
import package

PACKAGE = "/root/lanfab.deb"
DNSMASQ_CONF = "/var/run/dnsmasq.conf"

gateway = guest.Gateway()


def dnsmasq_guard():
    """Returns the first command that the drop-in makes systemd run before dnsmasq."""
    drop_in = gateway.read("/lib/systemd/system/dnsmasq.service.d/lanfab.conf").replace("\\\n", " ")
    commands = re.findall("^ExecStartPre=(.+)$", drop_in, re.MULTILINE)
    return shlex.split(commands[0])


def runs():
    """Returns the number of runs of the program."""
    return [message for _, message in gateway.syslog()].count("cmd_lanfab start")


def setUpModule():
    package.install(gateway, PACKAGE)
    gateway.run("systemctl", "enable", "dnsmasq")


class Package(unittest.TestCase):
    def setUp(self):
        package.shut_down(gateway)
        self.runs_before = runs()

    def check_network(self, lan, names):
        """Checks the network from the gateway and from the host behind eth0, whose LAN begins with `lan`."""
        self.assertTrue(gateway.wait_for_address("eth0", f"{lan}.1/24"))
        self.assertTrue(gateway.wait_for_address("eth1", "192.168.2.1/24"))
        lease = guest.wait_until(lambda: gateway.dhcp_lease("lan0"))
        self.assertIn(lease["ip"], [f"{lan}.{number}" for number in range(100, 200)])
        self.assertEqual((lease["router"], lease["dns"]), (f"{lan}.1", f"{lan}.1"))
        for name, address in names.items():
            self.assertEqual(gateway.resolve(name, f"{lan}.1", "lan0"), [address])

    def test_boot_brings_the_network_up(self):
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        self.assertTrue(gateway.service_active("lanfab"))
        self.assertTrue(gateway.service_active("systemd-networkd"))
        self.assertTrue(gateway.service_active("dnsmasq"))
        self.assertEqual(runs(), self.runs_before + 1)
        self.assertFalse(gateway.exists("/var/run/LANFAB_LOCKED"))
        self.check_network("192.168.1", {"storage": "192.168.1.10"})

    @guest.exhaustive
    def test_boot_brings_the_network_up_when_networkd_is_enabled_too(self):
        gateway.run("systemctl", "enable", "systemd-networkd")
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        self.assertTrue(gateway.service_active("lanfab"))
        self.assertTrue(gateway.service_active("dnsmasq"))
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.1.1/24"))

    def test_changed_configuration_is_applied(self):
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.1.1/24"))
        gateway.apply(package.moved_network())
        self.check_network("192.168.77", {"storage": "192.168.77.10", "archive": "192.168.77.11"})
        self.assertNotIn("192.168.1.1/24", gateway.addresses("eth0"))

    @guest.exhaustive
    def test_service_applies_a_changed_configuration_when_reloaded_or_restarted(self):
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        for verb, network, address in (
            ("reload", package.moved_network(), "192.168.77.1/24"),
            ("restart", package.NETWORK, "192.168.1.1/24"),
        ):
            with self.subTest(verb):
                gateway.configure(network)
                gateway.run("systemctl", verb, "lanfab")
                self.assertTrue(gateway.wait_for_address("eth0", address))

    def test_boot_without_a_configuration_starts_nothing_and_fails_nothing(self):
        package.boot(gateway)
        self.assertEqual(runs(), self.runs_before)
        for service in ("lanfab", "dnsmasq"):
            self.assertEqual(gateway.run("systemctl", "is-failed", service, check=False).stdout, "inactive\n")

    @guest.exhaustive
    def test_directories_are_there_after_a_boot_without_them(self):
        gateway.run("rm", "-rf", "/var/volatile", "/var/data", "/run/systemd/network")
        gateway.run("systemd-tmpfiles", "--create", "--boot", "lanfab.conf")
        for directory, mode in (
            ("/var/volatile/qel", "755"),
            ("/var/volatile/qel/.wwan_unit_backup", "755"),
            ("/var/data/qel/.wg", "700"),
            ("/run/systemd/network", "755"),
        ):
            with self.subTest(directory):
                self.assertEqual(
                    gateway.run("stat", "--format=%a %U:%G %F", directory).stdout,
                    f"{mode} root:root directory\n",
                )

    def test_dnsmasq_refuses_a_file_without_its_last_line(self):
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        whole = gateway.read(DNSMASQ_CONF)
        last_line = whole.rstrip().rindex("\n") + 1
        reason = f"{DNSMASQ_CONF} is not whole, its last line is missing: dnsmasq does not start"
        for end in (0, last_line, len(whole.rstrip()) - 1):
            with self.subTest(f"the first {end} of {len(whole)} characters"):
                gateway.write(DNSMASQ_CONF, whole[:end])
                start = gateway.journal_position()
                restart = gateway.run("systemctl", "restart", "dnsmasq", check=False)
                self.assertNotEqual(restart.returncode, 0)
                self.assertEqual(gateway.run("systemctl", "is-failed", "dnsmasq").stdout, "failed\n")
                self.assertEqual([message for _, message in gateway.syslog(start, "sh")], [reason])
        gateway.write(DNSMASQ_CONF, whole)
        gateway.run("systemctl", "restart", "dnsmasq")
        self.assertTrue(gateway.service_active("dnsmasq"))

    def test_guard_of_dnsmasq_lets_only_a_whole_file_through(self):
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        whole = gateway.read(DNSMASQ_CONF)
        last_line = whole.rstrip().rindex("\n") + 1
        line_ends = [end for end in range(last_line) if whole[:end].endswith("\n")]
        ends = [0, *line_ends, *range(last_line, len(whole) + 1)]
        guard = dnsmasq_guard()
        for end in ends:
            gateway.write(DNSMASQ_CONF, whole[:end])
            passed = gateway.run(*guard, check=False).returncode == 0
            # The newlines after the last line are not required.
            expected = end >= len(whole.rstrip())
            self.assertEqual(passed, expected, f"the first {end} of {len(whole)} characters")


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
