"""The Debian package on a gateway. Runs inside the gateway, like guest.py."""

import json
import os


# Debian's unit of dnsmasq, but with commands that fail: the package's drop-in must replace them.
DNSMASQ_SERVICE = """[Unit]
Requires=network.target
Wants=nss-lookup.target
Before=nss-lookup.target
After=network.target

[Service]
Type=forking
PIDFile=/run/dnsmasq/dnsmasq.pid
ExecStartPre=/bin/false
ExecStart=/bin/false
ExecStartPost=/bin/false
ExecStop=/bin/false

[Install]
WantedBy=multi-user.target
"""

# The configuration in the tests of the package.
NETWORK = {
    "wired": {
        "eth0": {
            "enable": True,
            "network": {
                "mode": "router",
                "protocol": "static",
                "ipv4": "192.168.1.1",
                "netmask": 24,
                "dhcp": {
                    "enable": True,
                    "start": "192.168.1.100",
                    "end": "192.168.1.199",
                    "leasetime": "12h",
                },
            },
        },
        "eth1": {
            "enable": True,
            "network": {"mode": "router", "protocol": "static", "ipv4": "192.168.2.1", "netmask": 24},
        },
    },
    "hostnames": [{"name": "storage", "ipv4": "192.168.1.10"}],
}

# An entry of dpkg's status file: the gateway has the machine's programs, but not its status file.
INSTALLED = """Package: {name}
Status: install ok installed
Architecture: all
Multi-Arch: foreign
Version: 999
Maintainer: nobody
Description: on the machine
"""

# The previous release's package without the programs: its scripts, units and other files.
FORMER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../former_package")
FORMER_VERSION = "1.0.0"


def moved_network():
    """Returns NETWORK with another subnet on the first port and another host name."""
    network = json.loads(json.dumps(NETWORK).replace("192.168.1.", "192.168.77."))
    network["hostnames"].append({"name": "archive", "ipv4": "192.168.77.11"})
    return network


def boot(gateway):
    """Starts everything that a boot starts, in one transaction; fails if that does not complete."""
    gateway.run("systemctl", "daemon-reload")
    gateway.run("systemctl", "start", "multi-user.target")


def shut_down(gateway):
    """Restores the state before a boot: undoes the boot and the program's runs."""
    services = ("lanfab", "dnsmasq", "systemd-networkd.socket", "systemd-networkd")
    # Without the package there is no service "lanfab".
    gateway.run("systemctl", "stop", "multi-user.target", *services, check=False)
    gateway.run("systemctl", "disable", "systemd-networkd")
    gateway.run("sh", "-c", "rm -f /run/dnsmasq.* /run/.delete_*")
    gateway.run("sh", "-c", "rm -f /run/systemd/network/* /etc/lanfab/network.json")
    for port in ("eth0", "eth1"):
        # Keep the IPv6 address: systemd-networkd waits for it, but the kernel adds it only when a link comes
        # up.
        gateway.run("ip", "-4", "address", "flush", "dev", port)


def prepare(gateway, file):
    """Removes all traces of the package, but not its dependencies."""
    gateway.run("rm", "-rf", "/var/lib/dpkg", "/var/lib/systemd/deb-systemd-helper-enabled")
    gateway.run("rm", "-rf", "/var/volatile", "/var/data")
    directories = ("/var/lib/dpkg/info", "/var/lib/dpkg/updates", "/var/lib/dpkg/triggers", "/var/log")
    gateway.run("mkdir", "-p", *directories)
    dependencies = gateway.run("dpkg-deb", "--field", file, "Depends").stdout
    names = [entry.split()[0] for entry in dependencies.split(",")]
    gateway.write("/var/lib/dpkg/status", "\n".join(INSTALLED.format(name=name) for name in names))
    gateway.run("touch", *(f"/var/lib/dpkg/info/{name}.list" for name in names))
    # A machine that builds containers may keep maintainer scripts from stopping services.
    gateway.run("rm", "-f", "/usr/sbin/policy-rc.d")
    remove_account(gateway)
    # The gateway's copy of a file of the package would take precedence.
    gateway.run("rm", "-f", "/etc/systemd/system/systemd-networkd.service.d/lanfab.conf")
    gateway.write("/etc/systemd/system/dnsmasq.service", DNSMASQ_SERVICE)
    gateway.run("systemctl", "daemon-reload")


def remove_account(gateway):
    gateway.run("sh", "-c", "sed -i /^admin:/d /etc/passwd /etc/group; rm -f /etc/*shadow*")


def install(gateway, file):
    """Installs the package on a gateway that never had it."""
    prepare(gateway, file)
    gateway.run("dpkg", "--install", file)


def make_former(gateway, file, former):
    """Builds the previous release's package with the current program."""
    tree = "/tmp/former"
    gateway.run("rm", "-rf", tree)
    gateway.run("dpkg-deb", "--raw-extract", file, tree)
    gateway.run("find", tree, "-path", "*/DEBIAN/*", "!", "-name", "control", "-delete")
    gateway.run("rm", "-r", f"{tree}/usr/lib")
    gateway.run("cp", "-R", f"{FORMER}/.", tree)
    gateway.run("sed", "-i", f"s/^Version: .*/Version: {FORMER_VERSION}/", f"{tree}/DEBIAN/control")
    gateway.run("dpkg-deb", "--build", "-Znone", tree, former)


def set_up(gateway, service, *lines):
    """Sets the additional lines in the [Service] section of a service; without lines, removes them."""
    drop_in = f"/etc/systemd/system/{service}.service.d/test.conf"
    if lines:
        gateway.write(drop_in, "\n".join(("[Service]", *lines, "")))
    else:
        gateway.run("rm", "-f", drop_in)
    gateway.run("systemctl", "daemon-reload")
