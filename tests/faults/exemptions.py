"""The permitted differences after a run with exit status 0, each with its name and reason.

A run with status 0 leaves the same files as a run without a fault, except for these differences, each of
which one kind of fault may cause. Any other difference is a violation; so is an unused exemption.
"""

import collections
import re

from faults.gateway import GUARD, canonical
from faults.points import COPY

RESOLVER = r"/etc/(hosts|host\.conf|nsswitch\.conf|resolv\.conf)"
UNITS = "/run/systemd/network/"
KEPT_UNITS = r"/var/volatile/qel/\.wwan_unit_backup/"
SCRIPTS = r"/run/\.delete_"
MARKS = "/run/(ROUTER_MODE|LANFAB_LOCKED)"
GUARD_FILE = re.escape(GUARD)
POST_START = "/run/post_networkd_start_actions_script"
WWAN_ROUTES = "/run/wwan0_static_routes"
CONF = r"/run/dnsmasq\.conf"
STAGING = r"/var/volatile/qel/\.dnsmasq_conf"

COPY_OF_CONF = "cp of dnsmasq.conf"

# `about` is "command" if a command of the program fails or cannot be started, "call" if one of the program's
# own calls fails. `where` matches the command line or the path of the call, `calls` the name of the call.
# `needs_space` is true if a full disk is such a fault. `spoils` matches the things that may then differ: a
# path, "database", or "command: " with a command that was not run. If `is_said`, the log must name the path.
# `reason` explains why the difference is harmless, or how it is reported.
Exemption = collections.namedtuple("Exemption", "name about where calls needs_space spoils is_said reason")


def unexamined_command(name, where, spoils, reason, needs_space=False):
    return Exemption(name, "command", where, ".*", needs_space, spoils, False, reason)


def unexamined_call(name, where, calls, spoils, reason, needs_space=False):
    return Exemption(name, "call", where, calls, needs_space, spoils, False, reason)


def logged_file(name, where, spoils, reason):
    return Exemption(name, "call", where, "openat|write|close|lseek", True, [where, *spoils], True, reason)


EXEMPTIONS = [
    # The results of these commands are ignored.
    unexamined_command("touch ROUTER_MODE", "/bin/touch /var/run/ROUTER_MODE", ["/run/ROUTER_MODE"],
                       "no address or route depends on the file, and touch reports its failure",
                       needs_space=True),
    unexamined_command("chmod +x", r"/bin/chmod \+x", [POST_START],
                       "sh runs a script of any mode, and chmod reports its failure"),
    unexamined_command("rm of the old units", "/bin/rm -f /var/run/systemd/network//", [UNITS],
                       "those of the same name are replaced; rm reports that others stay"),
    unexamined_command("cp of the cellular units", r"/bin/cp \S*wwan\.", [KEPT_UNITS, UNITS + r"\d+-wwan"],
                       "they are written again when the link has its values", needs_space=True),
    unexamined_command("cp of /etc/hosts", r"/bin/cp -f\s+/etc/hosts", ["/run/hosts"],
                       "the configured names are added; cp reports that the others are missing",
                       needs_space=True),
    unexamined_command(COPY_OF_CONF, f"/bin/cp -f {STAGING}", [CONF],
                       "dnsmasq keeps its configuration: its service rejects a truncated file",
                       needs_space=True),
    unexamined_command("undo scripts", f"/bin/sh /var{SCRIPTS}", ["command: /sbin/ip (link|route) del"],
                       "an interface that stays is configured by its new unit; ip reports its failure"),
    unexamined_command("routes of the cellular link", f"/bin/sh /var{WWAN_ROUTES}",
                       ["command: /sbin/ip route add"], "systemd-networkd adds them from the unit"),
    unexamined_command("tunnels", "/sbin/ip tunnel del", ["command: /sbin/ip tunnel del"],
                       "systemd-networkd reconfigures an existing tunnel; ip reports its failure"),
    unexamined_command("route tables of tunnels", "/usr/bin/route_table_", ["command: /usr/bin/route_table_"],
                       "a script of the device with its own log"),
    unexamined_command("telnet", "/usr/bin/telnet-init", ["command: /usr/bin/telnet-init"],
                       "a script of the device with its own log"),
    unexamined_command("systemctl", "systemctl", ["command: systemctl"],
                       "systemd has its own log; a service that cannot be queried counts as inactive"),
    # The results of these calls are ignored.
    unexamined_call("system database", r"/run/sysdb\.sqlite3|/(var/)?run$|/var$|/dev/urandom", ".*",
                    ["database", CONF, STAGING],
                    "an entry keeps its old value, a link with an unreadable state is down; this is logged",
                    needs_space=True),
    unexamined_call("MAC address", "socket|^$", "socket|ioctl|close", ["database", CONF, STAGING],
                    "a port with an unreadable address has an empty one; this is logged"),
    unexamined_call("relay's name", f"{RESOLVER}|socket|pipe|^$|{COPY}", "(?!sendto|mmap).*", [CONF, STAGING],
                    "a relay whose name cannot be resolved is left out; other leases are served"),
    unexamined_call("value of the link", "/run/wwan_", "openat|read|close|lseek",
                    [UNITS + r"(\d+-wwan|21-eth1|70-gre)", r"/run/resolv\.conf", CONF, STAGING, POST_START],
                    "an unreadable value counts as missing; this is logged"),
    unexamined_call("existence of a file", f"{SCRIPTS}|{WWAN_ROUTES}", "access|faccessat2",
                    [SCRIPTS, "command: /sbin/ip"], "a file that cannot be found is missing; this is logged"),
    unexamined_call("deletion of a file", f"{SCRIPTS}|{WWAN_ROUTES}|{MARKS}", "unlink", [SCRIPTS, MARKS],
                    "the next run deletes the file. A remaining lock blocks later runs: this is logged, "
                    "lanfab status reports it, and a rollback removes it"),
    unexamined_call("the guard of the lock", GUARD_FILE, "unlink", [GUARD_FILE],
                    "the next run uses and removes it; no process has locked it"),
    # Files whose failures do not fail the run; the log reports the incomplete ones.
    logged_file("undo scripts that are written", SCRIPTS, [],
                "the next run undoes what is recorded; a unit replaces the rest"),
    logged_file("post-start script", POST_START, [], "no address or route depends on it"),
    logged_file("script of the cellular routes", WWAN_ROUTES, ["command: /sbin/ip route add"],
                "systemd-networkd adds them from the unit"),
    logged_file("hosts", "/run/hosts", [], "a missing name does not affect a service"),
    logged_file("resolver file", r"/run/resolv\.conf", [], "dnsmasq runs without servers"),
    logged_file("staging file", STAGING, [CONF, "/run/hosts", r"/run/resolv\.conf"],
                "dnsmasq keeps its old file"),
    logged_file("VLAN units", UNITS + "30-", [], "the port works without its VLAN"),
    logged_file("tunnel units", UNITS + "70-gre", [SCRIPTS, "command: /usr/bin/route_table_"],
                "the network works without the tunnel"),
    logged_file("cellular units", UNITS + "(10-wwan|21-eth1)", [UNITS + "70-gre", SCRIPTS, POST_START],
                "the network works without the link"),
    logged_file("unit of a Wi-Fi client", UNITS + "84-wlan", [], "the access points work without it"),
]


# Failures that neither the log nor a tool reports: `where` matches "NAME(OBJECT) of COMMANDS", as a report
# shows the call.
Silence = collections.namedtuple("Silence", "name where reason")

SILENCES = [
    Silence("a script that sh cannot read", r"^read\(/run/\S+\) of .*-> /bin/sh /var/run/",
            "sh treats it as the end of the script. The scripts are in /run, a tmpfs"),
    Silence("a directory that sh cannot read", r"^(openat|getdents64)\(/\S+/network/*\) of sh -c /bin/rm ",
            "sh treats it as empty. It is in /run, and sh has three files open"),
    Silence("a script's own silence", r" of .*(\.delete_static_routes|2>/dev/null)",
            "what the script or the line sends to /dev/null: a route that cannot be deleted has gone, and "
            "telnet-init logs for itself"),
    Silence("a file that the resolver cannot read", rf"{RESOLVER}\) of {COPY}",
            "the C library treats it as missing; the name then has no address"),
    Silence("the guard's file", rf"^unlink\({GUARD_FILE}\)",
            "an empty file without a lock; the next run uses and removes it"),
]


def find_silence(point):
    """Returns the silence that the call may cause, or None."""
    text = f"{point.name}({canonical(point.object)}) of {point.command}"
    return next((silence for silence in SILENCES if re.search(silence.where, text)), None)


def what_failed(point):
    """Returns "command" and its command line, or "call" and its path."""
    if point.is_own and (not point.spawns or point.object == COPY):
        return "call", canonical(point.object)
    return "command", point.object if point.is_own else point.command


def applies(exemption, job):
    if job.point is None:
        return exemption.needs_space
    about, where = what_failed(job.point)
    return (about == exemption.about and re.search(exemption.where, where) is not None
            and (about == "command" or re.fullmatch(exemption.calls, job.point.name) is not None))


def find_all(job, thing):
    """Returns the exemptions that permit `thing` to differ after the job."""
    return [exemption for exemption in EXEMPTIONS
            if applies(exemption, job) and any(re.match(spoiled, thing) for spoiled in exemption.spoils)]


def find(job, thing):
    """Returns the first of these exemptions, or None."""
    return next(iter(find_all(job, thing)), None)
