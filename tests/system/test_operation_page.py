"""Runs every command of docs/operation.md on a gateway, copied with its indentation, and checks its
effect."""

import json
import pathlib
import re
import time
import unittest

import guest
import trial

TOOL = "cli/lanfab"
ARCHIVES = "ifupdown network-manager netplan.io systemd-resolved"

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs/operation.md"
# The address that another program sets on the port that it manages.
FOREIGN = "192.0.2.9/24"
LINK_FILE = "/etc/systemd/network/10-lanfab.link"

gateway = guest.Gateway()
trials = trial.Trials(gateway)


class Commands:
    """The page's paragraphs of commands, by their beginning."""

    KEEP_NAMES = r"printf '%s\n' '[Match]'"
    IFUPDOWN = "# ifupdown keeps"
    NETWORK_MANAGER = "# NetworkManager leaves"
    NETPLAN = "# netplan, and cloud-init"
    OTHER_SERVERS = "ss -lnptu"
    NAME_SERVERS = "ln -sf /var/run/resolv.conf"
    TRY = "cp /etc/lanfab/network.json /root/new.json"
    PROBE = "lanfab try new.json --probe"
    AT_NIGHT = "systemd-run --on-calendar="
    HISTORY = "lanfab confirm -m"
    SEE_BEFORE = "lanfab check network.json"
    CELLULAR = "ip link add wwan0"
    LOOK = "lanfab status"
    REPORT = "lanfab report"


ALL = {text for name, text in vars(Commands).items() if name.isupper()}


def paragraphs():
    """Returns the page's paragraphs of commands, with the indentation that a reader copies."""
    text = PAGE.read_text(encoding="utf-8")
    return re.findall(r"(?<=\n\n)(?: {4}.*\n)+", text)


def commands(beginning):
    """Returns the only paragraph with this beginning."""
    found = [text for text in paragraphs() if text.startswith(f"    {beginning}")]
    if len(found) != 1:
        raise AssertionError(f"{len(found)} paragraphs of {PAGE.name} begin with: {beginning}")
    return found[0]


def lines(text):
    """Returns the commands of a paragraph as a list; a backslash at the end of a line continues it."""
    joined = re.sub(r"\\\n", "", text)
    return [line for line in joined.splitlines() if not line.lstrip().startswith("#")]


def run(text, directory="/root", check=True):
    return gateway.run("bash", "-ec", f"cd {directory}\n{text}", check=check)


def run_page(beginning):
    return run(commands(beginning))


def stub(name, script):
    """Creates a stub of a program that the gateway may lack."""
    path = f"/usr/bin/{name}"
    gateway.run("rm", "-f", path)
    gateway.write(path, f"#!/bin/sh\n{script}\n")
    gateway.run("chmod", "755", path)


class Page(unittest.TestCase):
    def test_every_paragraph_of_commands_is_tested_here(self):
        unknown = [text for text in paragraphs()
                   if not any(text.startswith(f"    {beginning}") for beginning in ALL)]
        self.assertEqual(unknown, [])
        for beginning in ALL:
            commands(beginning)


def router():
    config = guest.example("router")
    # systemd-networkd takes seconds to check that no other host has the link-local address.
    del config["wired"]["eth0"]["network"]["advanced"]["enable_secondary_ip"]
    return config


def reload_dbus():
    """Makes D-Bus read the service files of a package that was just unpacked."""
    gateway.run("systemctl", "start", "dbus")
    gateway.run("systemctl", "reload", "dbus")


def udev_property(interface, name):
    shown = gateway.run("udevadm", "info", "--query=property", f"/sys/class/net/{interface}").stdout
    return next((line.split("=", 1)[1] for line in shown.splitlines() if line.startswith(f"{name}=")), None)


def differences():
    status = json.loads(gateway.run("lanfab", "status", "--format", "json", check=False).stdout)
    return {(one["subject"], one["what"], one["pending"]) for one in status["differences"]}


def clear_away_leftovers():
    """Removes the IPv4 addresses of another configuration, which would be drift.

    IPv6 addresses stay: systemd-networkd waits for the link-local one, which the kernel does not add again.
    """
    for port in "eth0", "eth1":
        gateway.run("ip", "-4", "address", "flush", "dev", port)


class NamesOfPorts(unittest.TestCase):
    def setUp(self):
        gateway.run("mkdir", "-p", "/etc/systemd/network")
        self.addCleanup(gateway.run, "rm", "-f", LINK_FILE)
        self.addCleanup(gateway.run, "sh", "-c", "ip link delete eth0.100 || :")

    def let_udev_name_the_ports(self):
        gateway.run("udevadm", "control", "--reload")
        gateway.run("udevadm", "trigger", "--action=add", "--subsystem-match=net")
        gateway.run("udevadm", "settle")

    def test_file_matches_the_ports_and_no_vlan(self):
        gateway.write("/usr/sbin/update-initramfs", '#!/bin/sh\necho "$*" >/run/update-initramfs\n')
        gateway.run("chmod", "755", "/usr/sbin/update-initramfs")
        run_page(Commands.KEEP_NAMES)
        self.assertEqual(gateway.read("/run/update-initramfs"), "-u\n")
        self.let_udev_name_the_ports()
        gateway.apply(router())
        self.assertTrue(gateway.wait_for_setup("eth0", "eth0.100", "eth1"))
        for port in "eth0", "eth1":
            self.assertEqual(udev_property(port, "ID_NET_LINK_FILE"), LINK_FILE)
            self.assertEqual(udev_property(port, "ID_NET_NAME"), port)
        self.assertNotEqual(udev_property("eth0.100", "ID_NET_LINK_FILE"), LINK_FILE)

    def put_file(self, *match):
        mac_address = gateway.links()["eth0"]["address"]
        gateway.write(LINK_FILE, "\n".join(("[Match]", f"MACAddress={mac_address}", *match,
                                            "[Link]", "Name=eth0", "")))
        self.let_udev_name_the_ports()

    @guest.exhaustive
    def test_without_its_type_a_mac_address_also_matches_vlans(self):
        self.put_file()
        gateway.apply(router())
        self.assertTrue(gateway.wait_for_setup("eth0", "eth1"))
        # At first, this difference is pending.
        self.assertIn(("eth0.100", "it is down", True), differences())
        expected = {("eth0.100", "it is down", False),
                    ("eth0.100", "udev has not announced it: journalctl --unit=systemd-udevd", False)}
        self.assertTrue(guest.wait_until(lambda: expected <= differences(), timeout=60, interval=2),
                        differences())
        self.assertRegex(gateway.run("journalctl", "--unit=systemd-udevd").stdout,
                         "Failed to rename network interface .* File exists")

        self.put_file("Type=ether")
        gateway.run("ip", "link", "delete", "eth0.100")
        gateway.apply()
        self.assertTrue(gateway.wait_for_setup("eth0", "eth0.100", "eth1"))
        self.assertEqual(udev_property("eth0", "ID_NET_LINK_FILE"), LINK_FILE)

    @guest.exhaustive
    def test_no_file_exchanges_two_names(self):
        links = gateway.links()
        self.addCleanup(gateway.run, "sh", "-c", "rm /etc/systemd/network/*.link")
        for port, name in ("eth0", "eth1"), ("eth1", "eth0"):
            gateway.write(f"/etc/systemd/network/10-{port}.link",
                          f"[Match]\nMACAddress={links[port]['address']}\nType=ether\n[Link]\nName={name}\n")
            gateway.run("ip", "link", "set", port, "down")
        self.let_udev_name_the_ports()
        self.assertEqual([gateway.links()[port]["address"] for port in ("eth0", "eth1")],
                         [links[port]["address"] for port in ("eth0", "eth1")])


class Manager:
    """Another network manager, which manages eth0."""

    package = ""

    def install(self):
        """Configures the program to manage eth0."""

    def start(self):
        """Starts the manager like a boot."""

    def stop(self):
        """Stops the manager like a reboot."""


class Ifupdown(Manager):
    package = "ifupdown"
    commands = Commands.IFUPDOWN

    def install(self):
        gateway.write("/etc/network/interfaces",
                      "auto lo\niface lo inet loopback\nauto eth0\niface eth0 inet static\n"
                      f"  address {FOREIGN}\n")

    def start(self):
        gateway.run("mkdir", "-p", "/run/network")
        gateway.run("ifup", "--all")

    def stop(self):
        gateway.run("rm", "-rf", "/run/network")


class NetworkManager(Manager):
    package = "network-manager"
    commands = Commands.NETWORK_MANAGER

    def install(self):
        path = "/etc/NetworkManager/system-connections/lan.nmconnection"
        gateway.write(path, "[connection]\nid=lan\ntype=ethernet\ninterface-name=eth0\n"
                            f"[ipv4]\nmethod=manual\naddress1={FOREIGN}\n[ipv6]\nmethod=disabled\n")
        gateway.run("chmod", "600", path)
        reload_dbus()

    def start(self):
        gateway.run("systemctl", "start", "NetworkManager")
        gateway.run("nm-online", "--wait-for-startup", "--quiet", "--timeout=60", check=False)

    def stop(self):
        gateway.run("systemctl", "stop", "NetworkManager")


class Netplan(Manager):
    package = "netplan.io"
    commands = Commands.NETPLAN

    def install(self):
        gateway.write("/etc/netplan/01-lan.yaml",
                      f"network: {{version: 2, ethernets: {{eth0: {{addresses: [{FOREIGN}]}}}}}}\n")
        gateway.run("mkdir", "-p", "/etc/cloud/cloud.cfg.d")

    def start(self):
        gateway.run("netplan", "generate")
        gateway.run("systemctl", "start", "systemd-networkd")

    def stop(self):
        gateway.run("sh", "-c", "rm -f /run/systemd/network/*netplan*")


class OtherManagers(unittest.TestCase):
    """Each manager is active until the page's commands have run and the machine has booted."""

    def boot(self, manager):
        """Prepares the first apply like a boot: the port is in the kernel's initial state."""
        gateway.run("systemctl", "stop", "systemd-networkd.socket", "systemd-networkd", "dnsmasq")
        gateway.run("sh", "-c", f"rm -rf {guest.UNIT_DIRECTORY}*")
        gateway.run("ip", "address", "flush", "dev", "eth0")
        gateway.run("ip", "link", "set", "eth0", "down")
        manager.start()

    def check(self, manager):
        gateway.unpack(manager.package)
        manager.install()
        self.boot(manager)
        self.assertTrue(gateway.wait_for_address("eth0", FOREIGN), "it does not manage the port")
        manager.stop()

        run_page(manager.commands)
        self.boot(manager)
        self.addCleanup(manager.stop)
        clear_away_leftovers()
        gateway.apply(trial.OLD)
        self.assertTrue(gateway.wait_for_setup("eth0"))
        self.assertTrue(guest.wait_until(lambda: not differences(), interval=1), differences())
        self.assertEqual(gateway.addresses("eth0"), [f"{trial.OLD_ADDRESS}/24"])

    def test_ifupdown(self):
        self.check(Ifupdown())
        self.assertIn("address 192.0.2.9/24", gateway.read("/root/interfaces"))

    @guest.exhaustive
    def test_network_manager(self):
        self.check(NetworkManager())
        states = gateway.run("nmcli", "--terse", "--fields=DEVICE,STATE", "device").stdout
        self.assertIn("eth0:unmanaged\n", states)

    @guest.exhaustive
    def test_netplan(self):
        self.check(Netplan())
        self.assertEqual(gateway.run("ls", "/root/netplan").stdout, "01-lan.yaml\n")
        self.assertEqual(gateway.read("/etc/cloud/cloud.cfg.d/99-lanfab.cfg"),
                         "network: {config: disabled}\n")


class Resolved(unittest.TestCase):
    """systemd-resolved stays active: it does not use the configured server behind eth1."""

    NAME = "server.example"
    ADDRESS = "203.0.113.7"

    @classmethod
    def setUpClass(cls):
        gateway.unpack("systemd-resolved")
        gateway.run("sh", "-c", "echo systemd-resolve:x:104:104::/:/usr/sbin/nologin >>/etc/passwd;"
                                "echo systemd-resolve:x:104: >>/etc/group")
        # The package of systemd-resolved creates this link.
        gateway.run("ln", "-sf", "../run/systemd/resolve/stub-resolv.conf", "/etc/resolv.conf")
        reload_dbus()
        gateway.run("systemctl", "start", "systemd-resolved")
        gateway.set_host_address("lan1", "192.168.2.9/24", gateway="192.168.2.1")
        gateway.start_host_dnsmasq("lan1", f"--address=/{cls.NAME}/{cls.ADDRESS}")

    @classmethod
    def tearDownClass(cls):
        gateway.stop_host_dnsmasq("lan1")

    def resolve(self):
        """Returns the addresses of a name as resolved on the gateway itself."""
        return gateway.run("getent", "ahostsv4", self.NAME, check=False).stdout.split()[:1]

    def test_machine_uses_the_name_servers_of_the_configuration(self):
        config = router()
        config["dns"] = {"source": "static", "static": ["192.168.2.9"]}
        gateway.apply(config)
        self.assertTrue(gateway.wait_for_setup("eth0", "eth1"))
        servers = run_page(Commands.OTHER_SERVERS).stdout
        self.assertRegex(servers, r"127\.0\.0\.53\S*:53 .*systemd-resolve")
        self.assertRegex(servers, r"192\.168\.1\.1\S*:53 .*dnsmasq")
        # Hosts behind a port can resolve the name, but the gateway itself cannot.
        gateway.set_host_address("lan0", "192.168.1.10/24")
        answer = guest.wait_until(lambda: gateway.resolve(self.NAME, "192.168.1.1", namespace="lan0"))
        self.assertEqual(answer, [self.ADDRESS])
        self.assertEqual(self.resolve(), [])
        run_page(Commands.NAME_SERVERS)
        self.assertEqual(self.resolve(), [self.ADDRESS])
        self.assertIn(self.ADDRESS, gateway.run("resolvectl", "query", self.NAME).stdout)
        gateway.run("systemctl", "stop", "systemd-resolved")
        self.assertEqual(self.resolve(), [self.ADDRESS])


class Trials(unittest.TestCase):
    """The commands of "Over SSH"; the probed hosts are addresses of the gateway itself."""

    @classmethod
    def setUpClass(cls):
        gateway.run("sh", "-c", "ip address add 10.20.0.1 dev lo; ip address add 192.0.2.5 dev lo")
        stub("ping", 'exec busybox ping "$@"')
        stub("nc", 'test "$*" = "-z -w 2 192.0.2.5 443"')
        stub("curl", 'test "$*" = "-sf https://controller.example/ping"')
        stub("editor", f'sed -i s/{trial.OLD_ADDRESS}/{trial.NEW_ADDRESS}/ "$1"')

    @classmethod
    def tearDownClass(cls):
        gateway.run("sh", "-c", "ip address del 10.20.0.1 dev lo; ip address del 192.0.2.5 dev lo")

    def setUp(self):
        trials.set_up()
        self.addCleanup(trials.lanfab, "revert")

    def assert_installed(self, config):
        self.assertEqual((trials.installed(), trials.is_under_way()), (config, False))

    def test_try(self):
        run_page(Commands.TRY)
        self.assertEqual((trials.active(), trials.installed()), (trial.CUT_OFF, trial.OLD))
        self.assertEqual(trials.lanfab("confirm").returncode, 0)
        self.assert_installed(trial.CUT_OFF)

    @guest.exhaustive
    def test_probes(self):
        with_hosts, with_confirmation = lines(commands(Commands.PROBE))
        run(with_hosts)
        self.assertEqual((trials.active(), trials.installed()), (trial.CUT_OFF, trial.OLD))
        trials.lanfab("revert")
        self.assert_installed(trial.OLD)
        run(with_confirmation)
        self.assert_installed(trial.CUT_OFF)

    @guest.exhaustive
    def test_at_night(self):
        soon = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(time.time() + 5))
        text = commands(Commands.AT_NIGHT)
        self.assertEqual(text.count("2026-12-01 03:00"), 1)
        # systemd may start the timer up to a minute late.
        run(text.replace("2026-12-01 03:00", soon))
        is_installed = guest.wait_until(lambda: trials.installed() == trial.CUT_OFF, timeout=150, interval=1)
        self.assertTrue(is_installed)
        self.assertTrue(trials.wait_for_end())
        self.assert_installed(trial.CUT_OFF)

    @guest.exhaustive
    def test_history(self):
        # A configuration that is already the latest entry gets no other one, and no comment.
        gateway.run("rm", "-rf", "/var/lib/lanfab/history")
        self.assertEqual(trials.try_new().returncode, 0)
        confirm, listing, show, diff, revert = lines(commands(Commands.HISTORY))
        run(confirm)
        shown = run(listing).stdout
        self.assertIn("second uplink", shown)
        entries = json.loads(run("lanfab history --format json").stdout)["entries"]
        number = str(max(entry["number"] for entry in entries))
        self.assertEqual(json.loads(run(show.replace("12", number)).stdout), trial.CUT_OFF)
        # Confirm another configuration, then go back to this entry.
        gateway.run("cp", f"{guest.CONFIGURATION}.previous", "/root/old.json")
        self.assertEqual(trials.lanfab("try", "/root/old.json", "--no-verify").returncode, 0)
        self.assertEqual(trials.lanfab("confirm").returncode, 0)
        self.assertIn(trial.NEW_ADDRESS, run(diff.replace("12", number), check=False).stdout)
        run(revert.replace("12", number))
        self.assertEqual((trials.active(), trials.installed()), (trial.CUT_OFF, trial.OLD))

    def test_what_an_apply_would_do_changes_nothing(self):
        gateway.run("cp", trial.NEW, "/root/network.json")
        check, diff, preview = lines(commands(Commands.SEE_BEFORE))
        self.assertIn("0 errors", run(check).stdout)
        self.assertIn(trial.NEW_ADDRESS, run(diff, check=False).stdout)
        self.assertIn(f"Address = {trial.NEW_ADDRESS}/24", run(preview).stdout)
        self.assert_installed(trial.OLD)


class Troubleshooting(unittest.TestCase):
    def setUp(self):
        clear_away_leftovers()
        gateway.apply(trial.OLD)
        self.assertTrue(gateway.wait_for_setup("eth0"))
        self.assertTrue(guest.wait_until(lambda: not differences(), interval=1), differences())

    def test_cellular_link_without_a_modem(self):
        self.addCleanup(gateway.run, "ip", "link", "delete", "wwan0")
        self.addCleanup(gateway.disconnect_cellular)
        run_page(Commands.CELLULAR)
        self.assertTrue(gateway.wait_for_address("wwan0", "10.64.1.2/30"))
        self.assertEqual(gateway.sysdb()["", "CELL_CONNECTED"], "1")
        self.assertIn("default", {route["dst"] for route in gateway.routes() if route["dev"] == "wwan0"})

    def test_where_to_look(self):
        status, messages, state, services = (run(line).stdout for line in lines(commands(Commands.LOOK)))
        self.assertTrue(status.endswith("No drift: the gateway matches its configuration.\n"), status)
        self.assertIn("lanfab APPLY", messages)
        self.assertIn("/run/systemd/network/20-eth0.network", state)
        self.assertIn("eth0", services)

    def test_report(self):
        run_page(Commands.REPORT)
        names = gateway.run("tar", "--list", "--file", "/root/report.tar.gz").stdout
        self.assertIn("network.json", names)


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2, argv=[__file__])
