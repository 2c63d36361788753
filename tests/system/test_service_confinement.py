"""The confinement of the service: operations that it denies, and those that must work in it."""

import unittest

import guest
import package

PACKAGE = "/root/lanfab.deb"
TOOL = "wireguard_units"

# The script makes systemd start the daemon: a daemon that the script itself started would be confined, too.
TELNET_INIT = '#!/bin/sh\nexec systemctl "$1" telnet.service\n'
TELNET_SERVICE = "[Service]\nExecStart=/bin/sleep infinity\n"
# Operations that root may do, but that no run needs.
REFUSED = (
    "touch /etc/refused",
    "touch /usr/refused",
    "touch /var/lib/refused",
    "touch /root/refused",
    "echo 4 >/proc/sys/kernel/printk",
    "mkdir /sys/fs/cgroup/refused",
    "mount -t tmpfs none /mnt",
    "unshare --net true",
    "chroot / true",
    "chown admin /run/hosts",
    "setpriv --reuid=1000 --clear-groups true",
    "date --set=now",
    "hostname gateway",
    "dmesg",
    "modprobe dummy",
    "renice -n -5 $$",
    "busybox ping -c 1 127.0.0.1",
)

gateway = guest.Gateway()


def setUpModule():
    package.install(gateway, PACKAGE)
    gateway.write("/usr/bin/telnet-init", TELNET_INIT)
    gateway.run("chmod", "+x", "/usr/bin/telnet-init")
    gateway.write("/etc/systemd/system/telnet.service", TELNET_SERVICE)


def show(service, name):
    """Returns a property of a service."""
    return gateway.run("systemctl", "show", f"--property={name}", "--value", service).stdout.strip()


def run_confined(command, config):
    """Runs a command instead of the program, with a configuration; returns the service's result."""
    gateway.configure(config)
    package.set_up(gateway, "lanfab", "ExecStartPre=", "ExecStart=", f"ExecStart={command}")
    gateway.run("systemctl", "restart", "lanfab", check=False)
    return show("lanfab", "Result")


def process_status(pid):
    """Returns the privileges of a process, as {name: value}."""
    lines = gateway.read(f"/proc/{pid}/status").splitlines()
    return {name: value.strip() for name, value in (line.split(":", 1) for line in lines)}


class Confinement(unittest.TestCase):
    def setUp(self):
        self.addCleanup(package.set_up, gateway, "lanfab")

    def test_refuses_what_no_run_does(self):
        attempts = "\n".join(f"{command} >/dev/null && echo '{command}'" for command in REFUSED)
        gateway.write("/run/attempts", f"{{\n{attempts}\n}} >/run/succeeded; exit 0\n")
        gateway.write("/run/hosts", "")
        self.assertEqual(run_confined("/bin/sh /run/attempts", {}), "success")
        self.assertEqual(gateway.read("/run/succeeded").splitlines(), [])
        gateway.run("sh", "/run/attempts")
        self.assertEqual(gateway.read("/run/succeeded").splitlines(), list(REFUSED))

    def test_private_key_is_for_networkd_alone(self):
        config = guest.example("router")
        tunnel = {"enable": True, "local_addrs": "10.99.0.1/24"}
        config["tunnels"] = {"wireguard": {"enable": True, "interfaces": [tunnel]}}
        gateway.write("/var/data/qel/.wg/wg0-private.key", "secret\n")
        self.assertEqual(run_confined("/usr/bin/wireguard_units", config), "success")
        unit = gateway.run("stat", "--format=%a %U:%G", "/run/systemd/network/44-wireguard.netdev").stdout
        self.assertEqual(unit, "640 root:systemd-network\n")

    def test_forwarding_is_switched_on_and_off(self):
        config = guest.example("router")
        for value in (1, 0):
            with self.subTest(value):
                config["firewall"]["general"]["router"] = value
                gateway.configure(config)
                gateway.set_sysctl("net/ipv4/ip_forward", 1 - value)
                gateway.run("systemctl", "restart", "lanfab")
                gateway.wait_for_setup("eth0", "eth1")
                self.assertEqual(gateway.sysctl("net/ipv4/ip_forward"), str(value))

    def test_name_servers_are_asked(self):
        local = ("--listen-address=127.0.0.1", "--bind-interfaces", "--address=/relay.example/192.0.2.7")
        gateway.run("systemctl", "stop", "dnsmasq")
        gateway.start_host_dnsmasq(None, *local)
        self.addCleanup(gateway.stop_host_dnsmasq, None)
        asked = run_confined("/bin/busybox nslookup -type=a relay.example 127.0.0.1", {})
        self.assertEqual(asked, "success")

    def test_daemon_that_a_script_has_systemd_start_is_not_confined_and_stays(self):
        config = guest.example("router")
        for enabled, verb in ((True, "restart"), (True, "reload"), (True, "stop"), (False, "start")):
            config["wired"]["eth0"]["network"]["advanced"]["telnet"] = {"enable": enabled}
            gateway.configure(config)
            gateway.run("systemctl", verb, "lanfab")
            self.assertEqual(gateway.service_active("telnet"), enabled)
            if enabled:
                daemon, first = process_status(show("telnet", "MainPID")), process_status(1)
                for right in ("CapBnd", "NoNewPrivs", "Seccomp"):
                    self.assertEqual(daemon[right], first[right])


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(verbosity=2)
