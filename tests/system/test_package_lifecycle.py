"""The Debian package on a gateway whose services run: installed, upgraded, removed, purged.

None of these operations may change the network. Each test begins on a gateway that never had the package.
"""

import json
import sys
import unittest

import guest
import package

PACKAGE = "/root/lanfab.deb"
TOOL = "cli/lanfab"
FORMER_PACKAGE = "/root/former.deb"
ALLOWED = "/etc/lanfab/allow-existing-admin"
PROGRAM = "/usr/bin/lanfab"
STATE = "/run/lanfab/trial.json"
# The copy of the program with which a rollback applies the configuration.
COPY = "/run/lanfab/programs/cmd_lanfab"
KEYS = "/var/data/qel/.wg"
OUR_ACCOUNT = "admin:x:999:999:DHCP and DNS of lanfab:/:/usr/sbin/nologin"
ACCOUNTS_OF_OTHERS = {
    "a person's": "admin:x:1000:1000:Anna:/home/admin:/bin/bash",
    "a person's who cannot log in": "admin:x:1000:1000::/nonexistent:/usr/sbin/nologin",
    "a service's with a shell": "admin:x:500:500::/var/lib/admin:",
    "root's": "admin:x:0:0::/root:/usr/sbin/nologin",
}

gateway = guest.Gateway()


def setUpModule():
    package.make_former(gateway, PACKAGE, FORMER_PACKAGE)


def main_pid(service):
    """Returns the PID of a service; "0" if it has none."""
    return gateway.run("systemctl", "show", "--property=MainPID", "--value", service).stdout.strip()


def account():
    """Returns the entry of the user admin; "" if there is none."""
    return gateway.run("getent", "passwd", "admin", check=False).stdout.strip()


def add_account(entry):
    user_id = entry.split(":")[2]
    gateway.run("sh", "-c", 'echo "$1" >>/etc/passwd; echo "admin:x:$2:" >>/etc/group', "sh", entry, user_id)


def reports(result):
    """Returns the standard error of a dpkg run, without the usual lines about packages with a service."""
    usual = ("dpkg: warning: while removing lanfab, directory", "Created symlink")
    return [line for line in result.stderr.splitlines() if not line.startswith(usual)]


def installed_version():
    """Returns the version of the package, "" unless it is installed."""
    query = ("dpkg-query", "--show", "--showformat=${db:Status-Status} ${Version}", "lanfab")
    status, _, version = gateway.run(*query, check=False).stdout.partition(" ")
    return version if status == "installed" else ""


class Lifecycle(unittest.TestCase):
    def setUp(self):
        package.shut_down(gateway)
        gateway.run("dpkg", "--purge", "lanfab", check=False)
        gateway.run("rm", "-rf", "/etc/lanfab")
        package.prepare(gateway, PACKAGE)
        gateway.run("systemctl", "enable", "dnsmasq")

    def install(self, file=PACKAGE):
        return gateway.run("dpkg", "--install", file)

    def purge(self):
        return gateway.run("dpkg", "--purge", "lanfab")

    def run_network(self, file=PACKAGE):
        """Installs the package, boots with a configuration, and checks the services for the LAN."""
        self.install(file)
        gateway.configure(package.NETWORK)
        package.boot(gateway)
        self.assertTrue(gateway.wait_for_setup("eth0"))
        self.processes = self.network_processes()
        self.check_network()

    def network_processes(self):
        return main_pid("systemd-networkd"), main_pid("dnsmasq")

    def check_network(self):
        """Checks that the network is up, and the same processes have run since `run_network`."""
        self.assertEqual(self.network_processes(), self.processes)
        self.assertNotIn("0", self.processes)
        self.assertEqual(gateway.addresses("eth0"), ["192.168.1.1/24"])
        self.assertEqual(gateway.dhcp_lease("lan0")["router"], "192.168.1.1")
        self.assertEqual(gateway.resolve("storage", "192.168.1.1", "lan0"), ["192.168.1.10"])

    def check_uninstalled(self):
        """Checks that nothing of the package is left but the user's configuration."""
        self.assertEqual(installed_version(), "")
        left = gateway.run("find", "/usr", "/etc", "/var/lib", "-name", "*lanfab*").stdout
        self.assertEqual(set(left.split()), {"/etc/lanfab", PROGRAM})
        self.assertEqual(json.loads(gateway.read(guest.CONFIGURATION)), package.NETWORK)
        self.assertEqual(gateway.run("systemctl", "is-enabled", "lanfab", check=False).stdout.strip(), "")

    def check_used_and_kept(self, entry):
        add_account(entry)
        installation = self.install()
        self.assertEqual(
            reports(installation),
            [
                "lanfab: the account admin exists already; dnsmasq will run as this user. "
                "Purging lanfab keeps the account."
            ],
        )
        purge = self.purge()
        self.assertEqual(reports(purge), [])
        self.assertEqual(account(), entry)

    def test_installation_leaves_a_running_network_alone(self):
        gateway.run("ip", "address", "add", "192.0.2.1/24", "dev", "eth0")
        self.install()
        self.assertEqual(gateway.addresses("eth0"), ["192.0.2.1/24"])
        self.assertEqual(gateway.run("systemctl", "is-enabled", "lanfab").stdout, "enabled\n")
        self.assertFalse(gateway.service_active("lanfab"))
        self.assertEqual(account().split(":")[4:], OUR_ACCOUNT.split(":")[4:])

    def test_upgrade_keeps_the_network_and_the_service_enabled(self):
        self.run_network(FORMER_PACKAGE)
        self.assertEqual(installed_version(), package.FORMER_VERSION)
        upgrade = self.install()
        self.assertEqual(reports(upgrade), [])
        self.assertNotEqual(installed_version(), package.FORMER_VERSION)
        self.check_network()
        self.assertTrue(gateway.service_active("lanfab"))
        self.assertEqual(gateway.run("systemctl", "is-enabled", "lanfab").stdout, "enabled\n")
        for service in ("lanfab", "dnsmasq"):
            reload = gateway.run("systemctl", "show", "--property=NeedDaemonReload", "--value", service)
            self.assertEqual(reload.stdout, "no\n", service)
        gateway.configure(package.moved_network())
        gateway.run("systemctl", "reload", "lanfab")
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.77.1/24"))
        self.assertEqual(gateway.addresses("eth0"), ["192.168.77.1/24"])

    def try_moved_network(self):
        gateway.write("/root/new.json", json.dumps(package.moved_network()))
        gateway.run("lanfab", "try", "/root/new.json", "--no-verify", "--timeout", "600")
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.77.1/24"))

    def check_rolled_back(self, result):
        self.assertIn("lanfab: a configuration is on trial; rolling back first", result.stderr)
        self.assertFalse(gateway.exists(STATE))
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.1.1/24"))

    def test_upgrade_and_removal_roll_back_a_trial_first(self):
        # The previous release has no trials, but the new package's scripts run before it is replaced.
        self.run_network(FORMER_PACKAGE)
        self.try_moved_network()
        self.check_rolled_back(self.install())
        self.try_moved_network()
        self.check_rolled_back(gateway.run("dpkg", "--remove", "lanfab"))

    @guest.exhaustive
    def test_trial_that_cannot_be_ended_holds_back_an_upgrade(self):
        self.run_network()
        self.try_moved_network()
        gateway.run("mv", COPY, f"{COPY}.real")
        gateway.run("ln", "-s", "/bin/false", COPY)
        refused = gateway.run("dpkg", "--remove", "lanfab", check=False)
        self.assertNotEqual(refused.returncode, 0)
        self.assertIn("the trial could not be ended, so the package stays as it is", refused.stderr)
        self.assertNotEqual(installed_version(), "")
        gateway.run("mv", f"{COPY}.real", COPY)
        # The rollback is still retried.
        self.assertTrue(gateway.wait_for_address("eth0", "192.168.1.1/24"))
        self.assertTrue(guest.wait_until(lambda: not gateway.exists(STATE)))
        gateway.run("dpkg", "--remove", "lanfab")

    def test_upgrade_keeps_a_disabled_service_disabled(self):
        self.install(FORMER_PACKAGE)
        gateway.run("systemctl", "disable", "lanfab")
        self.install()
        is_enabled = gateway.run("systemctl", "is-enabled", "lanfab", check=False)
        self.assertEqual(is_enabled.stdout, "disabled\n")

    def test_removed_then_purged_package_keeps_the_network(self):
        self.run_network()
        removal = gateway.run("dpkg", "--remove", "lanfab")
        self.assertEqual(reports(removal), [])
        self.check_network()
        self.assertFalse(gateway.exists("/usr/bin/cmd_lanfab"))
        self.assertNotEqual(account(), "")
        self.purge()
        self.check_network()
        self.check_uninstalled()

    @guest.exhaustive
    def test_purge_keeps_the_account_until_dnsmasq_has_stopped(self):
        self.run_network()
        admin = account()
        purge = self.purge()
        self.assertEqual(
            reports(purge),
            ["lanfab: the account admin stays: dnsmasq runs as it. Once it has stopped: userdel admin"],
        )
        self.check_network()
        self.check_uninstalled()
        owner = gateway.run("stat", "--format=%U", f"/proc/{main_pid('dnsmasq')}").stdout
        self.assertEqual(owner, "admin\n")
        # The next installation recognizes the account as its own.
        self.assertEqual(reports(self.install()), [])
        self.assertEqual(account(), admin)
        self.check_network()
        gateway.run("systemctl", "start", "lanfab")
        self.assertTrue(gateway.service_active("lanfab"))
        gateway.run("systemctl", "stop", "dnsmasq")
        self.assertEqual(reports(self.purge()), [])
        self.assertEqual(account(), "")
        self.check_uninstalled()
        for directory in ("/var/volatile", "/var/data"):
            self.assertFalse(gateway.exists(directory), directory)

    def test_purge_keeps_tunnel_keys_and_reports_that(self):
        self.install()
        gateway.write(f"{KEYS}/wg1-private.key", "secret\n")
        purge = self.purge()
        self.assertEqual(reports(purge), [f"lanfab: {KEYS} stays: it is not empty"])
        self.assertEqual(gateway.read(f"{KEYS}/wg1-private.key"), "secret\n")

    def test_account_that_is_not_for_a_service_is_refused(self):
        for whose, entry in ACCOUNTS_OF_OTHERS.items():
            with self.subTest(whose):
                package.remove_account(gateway)
                add_account(entry)
                refused = gateway.run("dpkg", "--install", PACKAGE, check=False)
                self.assertNotEqual(refused.returncode, 0)
                self.assertIn("not installed: dnsmasq would run as the existing account", refused.stderr)
                self.assertIn(f"allow this with: mkdir -p /etc/lanfab && touch {ALLOWED}", refused.stderr)
                self.assertFalse(gateway.exists("/usr/bin/cmd_lanfab"))
                self.assertEqual(installed_version(), "")
                self.assertEqual(account(), entry)

    def test_allowed_account_is_used_reported_and_kept(self):
        gateway.write(ALLOWED, "")
        self.check_used_and_kept(ACCOUNTS_OF_OTHERS["a person's"])

    def test_service_account_of_the_system_is_used_reported_and_kept(self):
        self.check_used_and_kept(OUR_ACCOUNT.replace("DHCP and DNS of lanfab", "Management"))

    @guest.exhaustive
    def test_upgrade_warns_of_an_account_that_is_not_for_a_service(self):
        persons = ACCOUNTS_OF_OTHERS["a person's"]
        add_account(persons)
        self.install(FORMER_PACKAGE)
        upgrade = self.install()
        self.assertNotEqual(installed_version(), package.FORMER_VERSION)
        self.assertIn("warning: dnsmasq runs as admin, which is not a service account", upgrade.stderr)
        self.purge()
        self.assertEqual(account(), persons)

    def test_purge_keeps_our_account_once_somebody_can_log_in_with_it(self):
        self.install()
        gateway.run("usermod", "--shell", "/bin/bash", "admin")
        purge = self.purge()
        self.assertEqual(reports(purge), [])
        self.assertTrue(account().endswith(":/bin/bash"))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
