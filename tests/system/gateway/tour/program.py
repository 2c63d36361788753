"""Runs of the program in the gateway, the files that it writes, and the resulting kernel configuration."""

import pathlib

import guest
import screen

DNSMASQ_CONFIGURATION = pathlib.Path("/var/run/dnsmasq.conf")
FILES = (
    pathlib.Path(guest.UNIT_DIRECTORY),
    DNSMASQ_CONFIGURATION,
    pathlib.Path("/var/run/hosts"),
    pathlib.Path("/var/run/resolv.conf"),
    pathlib.Path("/var/run/wwan0_static_routes"),
    pathlib.Path("/var/run/.delete_interfaces"),
    pathlib.Path("/var/run/.delete_static_routes"),
)
MOST_FILES = 16
# Time limit for systemd-networkd to set an address, in seconds: enough for 100 VLANs on a busy machine.
PATIENCE = 60
MOST_LINES = 40

gateway = guest.Gateway()


def run(action):
    """Runs an action and shows its exit status and standard error.

    Returns the status; after a signal, 128 plus its number.
    """
    result = gateway.lanfab(action)
    status = result.returncode if result.returncode >= 0 else 128 - result.returncode
    screen.indented([f"exit status {status}"])
    if result.stderr:
        harmless = " (usually harmless: see DIAGNOSTICS in cmd_lanfab(8))" if status == 0 else ""
        lines = [f"  {line}" for line in result.stderr.splitlines()]
        screen.indented([f"standard error{harmless}:", *lines])
    return status


def show_log():
    lines = [f"{priority:<7} {message.rstrip()}" for priority, message in gateway.syslog()]
    screen.indented(lines)
    screen.space()


def show_warnings():
    """Shows systemd-networkd's warnings about the unit files, if there are any."""
    warnings = gateway.unit_file_warnings()
    if warnings:
        screen.title("Warnings from systemd-networkd about the unit files")
        screen.indented(warnings)
        screen.space()


def read_files():
    """Returns {path: content} of the files that the program writes."""
    files = {}
    for path in FILES:
        found = sorted(path.iterdir()) if path.is_dir() else [path]
        files.update((file, file.read_text()) for file in found if file.is_file())
    return files


def show_files(before):
    """Shows the files that are new or modified since `before`; returns the current content of all files."""
    now = read_files()
    written = [path for path in now if now[path] != before.get(path)]
    if not written:
        screen.note("none")
    for path in written[:MOST_FILES]:
        screen.title(path)
        screen.indented(now[path].splitlines())
        screen.space()
    if len(written) > MOST_FILES:
        screen.note(f"... and {len(written) - MOST_FILES} more files")
        screen.space()
    return now


def show_command(*command):
    screen.title(f"$ {' '.join(command)}")
    screen.indented(gateway.run(*command, check=False).stdout.splitlines(), MOST_LINES)
    screen.space()


def show_kernel(lans):
    for lan in lans:
        gateway.wait_for_address(lan.ifname, str(lan.address), timeout=PATIENCE)
    show_command("ip", "-4", "-brief", "address")
    show_command("ip", "route")


def has_ip(ifname, ip):
    """Returns whether the interface has the address, with any prefix length."""
    return any(address.split("/")[0] == str(ip) for address in gateway.addresses(ifname))


def wait_for_ip(ifname, ip):
    return guest.wait_until(lambda: has_ip(ifname, ip), timeout=PATIENCE)


def serves_dhcp(ifname):
    """Returns whether dnsmasq serves addresses on the interface."""
    lines = DNSMASQ_CONFIGURATION.read_text().splitlines()
    return any(line.startswith(f"dhcp-range={ifname},") for line in lines)
