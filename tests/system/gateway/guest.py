"""The operations of system tests on a gateway and on the hosts around it. Runs inside the gateway.

A host is a network namespace: `lan0` behind eth0 and `lan1` behind eth1, each with a card of the same name.
`connect_cellular` adds the host `operator` behind wwan0, and `connect_wifi` one behind a Wi-Fi interface.
`namespace=None` is the gateway itself.
"""

import contextlib
import functools
import ipaddress
import json
import os
import pickle
import sqlite3
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
CONFIGURATION = "/etc/lanfab/network.json"
UNIT_DIRECTORY = "/run/systemd/network/"
SYSDB = "/var/run/sysdb.sqlite3"
# systemd 256 and newer print this for every unit of a router. packaging/systemd-networkd.service.conf has the
# setting that the message recommends.
FORWARDING_IS_IGNORED = "IPForward= setting is deprecated."
# A card cannot be deleted, but a cable that simulates a radio can.
IP_OF_A_DEVICE = """#!/bin/sh
case "$*" in "link delete dev wlan"*)
  echo "RTNETLINK answers: Operation not supported" >&2
  exit 2 ;;
esac
exec /usr/bin/ip "$@"
"""
PRIORITIES = ("emerg", "alert", "crit", "err", "warning", "notice", "info", "debug")
# Factor for time limits: an emulated processor is slower.
SLOWNESS = int(os.environ.get("GATEWAY_SLOWNESS", "1"))
LONGEST_COMMAND = 300 * SLOWNESS
# Without --exhaustive, a test may run a sample of its cases: CI has no time for all.
IS_EXHAUSTIVE = "--exhaustive" in sys.argv


class CommandFailed(AssertionError):
    """A required command failed; the message includes its output."""


def example(name):
    """Returns the configuration examples/<name>."""
    with open(os.path.join(HERE, "../../../examples", name, "network.json"), encoding="utf-8") as file:
        return json.load(file)


def terms(lease):
    """Returns (address/prefix length, router, DNS server, seconds) of a lease; None without a lease."""
    if not lease:
        return None
    address = f"{lease['ip']}/{lease['mask']}"
    return address, lease.get("router"), lease.get("dns"), int(lease["lease"])


def exhaustive(case):
    """Marks a test case that runs only with --exhaustive; CI relies on the other cases of its test."""
    return case if IS_EXHAUSTIVE else None


def wait_until(condition, timeout=60, interval=0.1, longest_interval=1):
    """Polls `condition()` until it is true or `timeout` seconds have passed; returns its last result.

    The pauses become longer, up to `longest_interval`, because each command in a gateway is expensive. The
    timeout is longer if the processor is emulated.
    """
    deadline = time.monotonic() + timeout * SLOWNESS
    while not (answer := condition()) and time.monotonic() < deadline:
        time.sleep(interval)
        interval = min(1.5 * interval, longest_interval)
    return answer


class Gateway:
    """The gateway that the test runs in."""

    def run(self, *command, namespace=None, check=True, stdin=""):
        """Runs a command on the gateway or on a host around it; returns its `subprocess.CompletedProcess`."""
        if namespace:
            command = ("nsenter", f"--net=/run/netns/{namespace}", *command)
        result = subprocess.run([str(word) for word in command], input=stdin, capture_output=True, text=True,
                                timeout=LONGEST_COMMAND, check=False)
        if check and result.returncode != 0:
            raise CommandFailed(
                f"{' '.join(result.args)}: status {result.returncode}\n{result.stdout}{result.stderr}"
            )
        return result

    # The program

    def lanfab(self, *arguments):
        """Runs cmd_lanfab and returns its result, even if it fails."""
        return self.run("cmd_lanfab", *arguments, check=False)

    def configure(self, config):
        """Installs `config` (the "network" object) as the device's configuration without applying it."""
        self.write(CONFIGURATION, json.dumps(config, indent=2))

    def apply(self, config=None, *switches):
        """Applies `config`, or the installed configuration; fails if the program does."""
        if config is not None:
            self.configure(config)
        return self.run("cmd_lanfab", "apply", *switches)

    def wwan_apply(self):
        return self.run("cmd_lanfab", "wwan_apply")

    def dnsmasq(self):
        return self.run("cmd_lanfab", "dnsmasq")

    # Files, accessed without a process, which is expensive in a gateway.

    def write(self, path, text):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def read(self, path):
        with open(path, encoding="utf-8") as file:
            return file.read()

    def exists(self, path):
        return os.path.exists(path)

    def unit_files(self):
        """Returns the sorted names of the unit files."""
        return sorted(os.listdir(UNIT_DIRECTORY))

    def sysdb(self):
        """Returns the system database as {(database, key): value}; the default database's name is ""."""
        with contextlib.closing(sqlite3.connect(SYSDB)) as connection:
            rows = connection.execute("select database, key, value from entries")
            return {(database, key): value for database, key, value in rows}

    def set_sysdb(self, key, value, database=""):
        """Writes one value, as another program of the device would."""
        with contextlib.closing(sqlite3.connect(SYSDB)) as connection, connection:
            connection.execute("create table if not exists entries"
                               "(database text, key text, value text, primary key(database, key))")
            connection.execute("insert or replace into entries values(?,?,?)", (database, key, value))

    def unpack(self, package):
        """Unpacks a package from the test's ARCHIVES next to the machine's programs.

        Its scripts do not run, and no service starts.
        """
        keep = ("--keep-directory-symlink", "--no-overwrite-dir")
        self.run("tar", "--extract", *keep, "--directory", "/", "--file", f"/root/{package}.tar")
        self.run("systemctl", "daemon-reload")

    # The kernel's view

    def _ip(self, *arguments, namespace=None):
        return json.loads(self.run("ip", "-json", *arguments, namespace=namespace).stdout or "[]")

    def links(self, namespace=None):
        """Returns {name: the object that `ip -json -details link` reports for it}."""
        return {link["ifname"]: link for link in self._ip("-details", "link", "show", namespace=namespace)}

    def link_names(self, namespace=None):
        return sorted(self.links(namespace))

    def addresses(self, ifname, namespace=None):
        """Returns an interface's IPv4 addresses, such as "192.168.1.1/24"; an empty list if it is missing."""
        return [
            f"{info['local']}/{info['prefixlen']}"
            for link in self._ip("-4", "address", namespace=namespace)
            if link.get("ifname") == ifname
            for info in link["addr_info"]
        ]

    def routes(self, namespace=None, table="main"):
        """Returns a table's IPv4 routes as `ip -json route` reports them ("dst", "dev", "gateway", ...)."""
        return self._ip("-4", "route", "show", "table", table, namespace=namespace)

    def route(self, destination, namespace=None, table="main"):
        """Returns the first route to `destination` ("default" or address/prefix), or None."""
        return next((route for route in self.routes(namespace, table) if route["dst"] == destination), None)

    def way_to(self, address):
        """Returns the route of packets to an address ("dev", "gateway", ...); {} without a route."""
        result = self.run("ip", "-json", "route", "get", address, check=False)
        return json.loads(result.stdout)[0] if result.returncode == 0 else {}

    def sysctl(self, name):
        return self.read(f"/proc/sys/{name}").strip()

    def set_sysctl(self, name, value):
        self.write(f"/proc/sys/{name}", f"{value}\n")

    # Services

    def service_active(self, service):
        return self.run("systemctl", "is-active", "--quiet", service, check=False).returncode == 0

    def wait_for_address(self, ifname, address, namespace=None, timeout=60):
        """Waits until the interface has the address; returns whether it does."""
        return wait_until(lambda: address in self.addresses(ifname, namespace), timeout)

    def _journal(self, *match, since=None):
        """Returns the matching entries; with the mark `since`, only those after the mark."""
        self.run("journalctl", "--sync")
        # --after-cursor would skip the first match if the marked entry itself does not match.
        mark = [f"--cursor={since}"] if since else []
        lines = self.run(
            "journalctl", "--output=json", "--all", "--no-pager", "--quiet", *mark, *match
        ).stdout.splitlines()
        entries = [entry for entry in map(json.loads, lines) if entry["__CURSOR"] != since]
        for entry in entries:
            # A message with an unprintable character is an array of its bytes.
            if isinstance(entry.get("MESSAGE"), list):
                entry["MESSAGE"] = bytes(entry["MESSAGE"]).decode(errors="replace")
        return entries

    def journal_position(self):
        """Returns a mark for `since` of `syslog`, `networkd_warnings` and `unit_file_warnings`."""
        entries = self._journal("--lines=1")
        return entries[0]["__CURSOR"] if entries else None

    def syslog(self, since=None, identifier="network"):
        """Returns the program's system log lines as (priority name, message), oldest first."""
        entries = self._journal(f"SYSLOG_IDENTIFIER={identifier}", since=since)
        return [(PRIORITIES[int(entry["PRIORITY"])], entry["MESSAGE"]) for entry in entries]

    def networkd_warnings(self, since=None):
        """Returns systemd-networkd's messages of priority warning or worse.

        The message that IPForward= is deprecated is left out.
        """
        entries = self._journal("_SYSTEMD_UNIT=systemd-networkd.service", "--priority=warning", since=since)
        messages = [entry["MESSAGE"] for entry in entries]
        return [message for message in messages if FORWARDING_IS_IGNORED not in message]

    def unit_file_warnings(self, since=None):
        """Returns systemd-networkd's warnings about the unit files."""
        return [message for message in self.networkd_warnings(since) if UNIT_DIRECTORY in message]

    def link_setup(self, ifname):
        """Returns the setup state of an interface: "configured", "configuring", "failed" or "unmanaged"."""
        links = json.loads(self.run("networkctl", "--json=short", "list").stdout)["Interfaces"]
        return next((link["AdministrativeState"] for link in links if link["Name"] == ifname), None)

    def wait_for_setup(self, *ifnames, timeout=60):
        """Waits until systemd-networkd, once restarted, has set up the interfaces; returns whether it did.

        An address alone may be an old one: a restarted systemd-networkd removes it and adds it again.
        """
        names = (f"--interface={ifname}:off" for ifname in ifnames)
        wait_online = ("/lib/systemd/systemd-networkd-wait-online", f"--timeout={timeout * SLOWNESS}", *names)

        def is_set_up():
            # This command waits efficiently, but may read a state from before the restart.
            self.run(*wait_online, check=False)
            return all(self.link_setup(ifname) == "configured" for ifname in ifnames)

        return wait_until(is_set_up, timeout)

    # The hosts around

    def reaches(self, address, namespace=None, timeout=60):
        """Sends echo requests to `address` until `timeout`; returns whether it answers."""
        ping = ("busybox", "ping", "-c", "1", "-W", "1", address)
        return wait_until(lambda: self.run(*ping, namespace=namespace, check=False).returncode == 0, timeout)

    def resolve(self, name, server, namespace=None, record="a"):
        """Returns the addresses of a name from the DNS server; an empty list if there are none."""
        answer = self.run(
            "busybox", "nslookup", f"-type={record}", name, server, namespace=namespace, check=False
        ).stdout
        _, _, records = answer.partition("\n\n")
        return [line.split()[-1] for line in records.splitlines() if line.startswith("Address")]

    def dhcp_lease(self, namespace, ifname=None, hwaddr=None, vlan=None, request=None, seconds=8):
        """Gets a lease with busybox's udhcpc, configures the host with it and returns it, or None.

        `hwaddr` is a MAC address to set first on the card (or the VLAN interface); `vlan` gets the lease on
        that VLAN of the card, creating its interface if needed; `request` is the address to request. The keys
        are udhcpc's: "ip", "mask" (a prefix length), "subnet", "router", "dns", "lease" (seconds),
        "serverid", "interface". dnsmasq checks for three seconds that an address is free before offering it.
        """
        ifname = ifname or namespace
        if vlan is not None:
            ifname = self.add_vlan(namespace, ifname, vlan)
        if hwaddr:
            self.run("ip", "link", "set", ifname, "down", namespace=namespace)
            self.run("ip", "link", "set", ifname, "address", hwaddr, "up", namespace=namespace)
        wanted = ("-r", request) if request else ()
        client = ("env", "-i", f"PATH={os.environ['PATH']}", "busybox", "udhcpc", "-s", f"{HERE}/lease")
        once = ("-f", "-q", "-n", "-t", seconds, "-T", "1")
        result = self.run(*client, *once, "-i", ifname, *wanted, namespace=namespace, check=False)
        if result.returncode != 0:
            return None
        return dict(line.split("=", 1) for line in result.stdout.splitlines() if "=" in line)

    def add_vlan(self, namespace, parent, vlan):
        """Adds a VLAN interface to a host's card, unless it has one; returns the interface's name."""
        name = f"{parent}.{vlan}"
        if name not in self.links(namespace):
            vlan_link = ("link", parent, "name", name, "type", "vlan", "id", vlan)
            self.run("ip", "link", "add", *vlan_link, namespace=namespace)
            self.run("ip", "link", "set", name, "up", namespace=namespace)
        return name

    def set_host_address(self, namespace, address, gateway=None, ifname=None):
        """Configures a host with only this static address and, with `gateway`, a default route."""
        ifname = ifname or namespace
        self.run("ip", "address", "flush", "dev", ifname, namespace=namespace)
        self.run("ip", "address", "add", address, "dev", ifname, namespace=namespace)
        if gateway:
            self.run("ip", "route", "replace", "default", "via", gateway, namespace=namespace)

    def add_namespace(self, name):
        self.run("ip", "netns", "add", name)
        self.run("ip", "link", "set", "lo", "up", namespace=name)

    def connect_wifi(self, radio, namespace):
        """Adds a Wi-Fi interface to the gateway, and a host behind it. A cable simulates the radio."""
        self._protect_radios()
        self.add_namespace(namespace)
        peer = ("peer", "name", namespace, "netns", namespace)
        self.run("ip", "link", "add", radio, "type", "veth", *peer)
        self.run("ip", "link", "set", namespace, "up", namespace=namespace)

    def _protect_radios(self):
        """Replaces /sbin/ip, which `cmd_lanfab` runs, with one that fails to delete a radio."""
        self.run("rm", "-f", "/sbin/ip")
        self.write("/sbin/ip", IP_OF_A_DEVICE)
        self.run("chmod", "+x", "/sbin/ip")

    def start_host_dnsmasq(self, namespace, *options):
        """Starts dnsmasq on a host with only these options; it runs until `stop_host_dnsmasq` is called."""
        own = f"/run/dnsmasq-{namespace}"
        alone = ("--conf-file=/dev/null", "--no-hosts", "--no-resolv", "--user=root")
        files = (f"--pid-file={own}.pid", f"--dhcp-leasefile={own}.leases")
        self.run("dnsmasq", *alone, *files, *options, namespace=namespace)

    def stop_host_dnsmasq(self, namespace):
        self.run("sh", "-c", 'kill "$(cat "$1")"', "sh", f"/run/dnsmasq-{namespace}.pid")

    def connect_cellular(
        self, ipv4="10.64.1.2", prefix=30, gateway="10.64.1.1", mtu="1430", dns=("10.64.1.1",), beyond=()
    ):
        """Brings up a cellular link to the namespace `operator`, as the device's link manager does.

        Creates `wwan0` if necessary and publishes its values, but does not write its unit. `beyond` are the
        addresses of hosts behind the operator, such as "203.0.113.9/32".
        """
        if "wwan0" not in self.links():
            self.add_namespace("operator")
            self.run(
                "ip", "link", "add", "wwan0", "type", "veth", "peer", "name", "wwan", "netns", "operator"
            )
            self.run("ip", "link", "set", "wwan", "up", namespace="operator")
        self.set_host_address("operator", f"{gateway}/{prefix}", ifname="wwan")
        for address in beyond:
            self.run("ip", "address", "replace", address, "dev", "lo", namespace="operator")
        netmask = ipaddress.ip_network(f"0.0.0.0/{prefix}").netmask
        values = {
            "intf": "wwan0",
            "ipv4": ipv4,
            "cidr": prefix,
            "netmask": netmask,
            "gw": gateway,
            "mtu": mtu,
        }
        values.update({f"dns{number}": server for number, server in enumerate(dns, start=1)})
        for name, value in values.items():
            self.write(f"/var/run/wwan_{name}", f"{value}\n")
        self.set_sysdb("CELL_CONNECTED", "1")

    def disconnect_cellular(self):
        """Removes the published cellular values; the interface stays, as it does on the device."""
        self.run(
            "sh",
            "-c",
            "rm -f /var/run/wwan_intf /var/run/wwan_ipv4 /var/run/wwan_cidr /var/run/wwan_netmask "
            "/var/run/wwan_gw /var/run/wwan_mtu /var/run/wwan_dns1 /var/run/wwan_dns2",
        )
        self.set_sysdb("CELL_CONNECTED", "0")


class OtherGateway:
    """The second gateway of a test with GATEWAYS = 2: has the operations of `Gateway` and runs them there."""

    def __init__(self):
        self.connection = None

    def __getattr__(self, operation):
        return functools.partial(self._do, operation)

    def _do(self, operation, *arguments, **options):
        if self.connection is None:
            self.connection = wait_until(self._connect)
        return self._ask(self.connection, operation, *arguments, **options)

    def _connect(self):
        """Returns a tested connection to the other gateway; None while that is booting."""
        link = subprocess.Popen(
            ["nsenter", "--net=/run/netns/control", "busybox", "nc", "198.18.0.2", "7000"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        with contextlib.suppress(OSError, EOFError):
            self._ask(link, "link_names")
            return link
        link.kill()
        link.communicate()
        return None

    @staticmethod
    def _ask(link, operation, *arguments, **options):
        pickle.dump((operation, arguments, options), link.stdin)
        link.stdin.flush()
        result, error = pickle.load(link.stdout)
        if error is not None:
            raise error
        return result

    def close(self):
        """Closes the connection; the next operation makes a new one."""
        if self.connection is not None:
            self.connection.communicate()
            self.connection = None


def fail_unless_inside():
    """Exits unless this process runs in a gateway: a test must not change the machine."""
    if os.uname().nodename != "gateway" or not os.path.isdir("/run/netns"):
        sys.exit("This runs inside a gateway: use tests/system/run.")
