"""Shows the effects of the gateway's configuration. Runs inside a gateway, for scripts/demo."""

import subprocess
import sys

import guest
import hosts
import plan
import program
import remote_endpoints
import screen
import settings
import uplink

gateway = guest.Gateway()


def show_first_run(tour):
    """Shows the run that applies the configuration; returns its status and the files."""
    for radio in tour.radios:
        gateway.connect_wifi(radio, plan.HOSTS[radio])
    screen.heading("Applying the configuration: cmd_lanfab apply")
    status = program.run("apply")
    screen.space()
    program.show_log()
    screen.heading("The files it created")
    return status, program.show_files({})


def show_lans(tour):
    screen.heading("The kernel's network configuration")
    program.show_kernel(tour.lans)
    program.show_warnings()
    screen.heading("Connectivity of the hosts around the gateway")
    if not tour.lans and not tour.passthrough:
        screen.note("No network for hosts is configured.")
    for number, lan in enumerate(tour.lans):
        hosts.show_lan(lan, tour.names if number == 0 else [])
    if tour.radios:
        screen.note("The gateway has no Wi-Fi radio: the demo uses a cable for each access point.")
        screen.space()
    hosts.show_way_between(tour)
    if tour.passthrough:
        uplink.show_device_before(tour.passthrough)


def bring_link_up(tour):
    screen.heading("The cellular link comes up")
    return uplink.come_up(tour)


def show_link(tour, files):
    program.show_files(files)
    uplink.show_kernel(tour)
    if tour.passthrough:
        uplink.show_device_after(tour.passthrough, tour.link)
    elif tour.link_for_lans:
        uplink.show_lan_hosts(tour)


def show_tunnels(tour):
    screen.heading("The tunnels")
    for number, tunnel in enumerate(tour.tunnels, start=1):
        remote_endpoints.show_tunnel(number, tunnel, tour)


def show_state():
    screen.heading("Status and diagram of the gateway: lanfab status, lanfab graph")
    program.show_command("lanfab", "status")
    program.show_command("lanfab", "graph")


def show_all(tour):
    status, files = show_first_run(tour)
    if status != 0:
        tour.remarks["the network: a failed run leaves the previous network unchanged"] = True
        return status
    attempt(tour, "the hosts", show_lans)
    if tour.link:
        status = attempt(tour, "the cellular link", bring_link_up) or 0
        attempt(tour, "the cellular link", show_link, files)
    if tour.tunnels:
        attempt(tour, "the tunnels", show_tunnels)
    show_state()
    return status


def attempt(tour, what, show, *arguments):
    """Shows a part of the tour; adds a remark if the demo cannot simulate its settings."""
    try:
        return show(tour, *arguments)
    except guest.CommandFailed as error:
        tour.remarks[f"the rest of {what}: {str(error).splitlines()[-1]}"] = True
        return None


def show_remarks(remarks):
    if remarks:
        screen.heading("What the demo does not show")
        screen.indented(list(remarks))
        screen.space()


def main():
    guest.fail_unless_inside()
    # The program's output may contain any characters, in strings of the configuration.
    sys.stdout.reconfigure(encoding="utf-8", errors="backslashreplace")
    tour = plan.make(settings.load(guest.CONFIGURATION))
    try:
        status = show_all(tour)
    except subprocess.TimeoutExpired as error:
        print(f"\nTimeout: {error.cmd[0]} did not finish; the gateway is too slow for this configuration.")
        return 1
    show_remarks(tour.remarks)
    return screen.exit_status(status)


sys.exit(main())
