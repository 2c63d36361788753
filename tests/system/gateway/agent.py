"""Runs inside the gateway: names the network cards, then runs the gateway's command."""

import json
import os
import shutil
import subprocess
import sys


def present_names():
    """Returns the current names of the cards: {MAC address: name}."""
    links = subprocess.run(["ip", "-json", "link"], stdout=subprocess.PIPE, text=True, check=True).stdout
    return {link["address"]: link["ifname"] for link in json.loads(links) if "address" in link}


def network_commands(cards):
    """Yields the `ip` commands that set the name and namespace of each card."""
    names = present_names()
    # The new name of a card may still be in use by another card.
    for index, card in enumerate(cards):
        yield f"link set {names[card['mac_address']]} name card{index}"
    for index, card in enumerate(cards):
        yield f"link set card{index} name {card['name']}"
        if card["namespace"]:
            yield f"netns add {card['namespace']}"
            yield f"link set {card['name']} netns {card['namespace']}"


def plug_in(cards):
    run_ip(network_commands(cards))
    for card in cards:
        if card["namespace"]:
            addresses = [f"addr add {address} dev {card['name']}" for address in card["addresses"]]
            run_ip(["link set lo up", f"link set {card['name']} up", *addresses], card["namespace"])
    # systemd-networkd ignores a link until udev has seen it; the cards existed before udev.
    subprocess.run(["udevadm", "trigger", "--action=add", "--subsystem-match=net"], check=True)
    subprocess.run(["udevadm", "settle"], check=True)


def run_ip(lines, namespace=None):
    enter = ["-n", namespace] if namespace else []
    subprocess.run(["ip", *enter, "-batch", "-"], input="\n".join(lines) + "\n", text=True, check=True)


def install(files):
    for source, target in files.items():
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copy(source, target)


def main(shared):
    with open(os.path.join(shared, "task.json"), encoding="utf-8") as file:
        task = json.load(file)
    install(task["files"])
    plug_in(task["cards"])
    environment = {**os.environ, **task["environment"]}
    result = subprocess.run(task["command"], env=environment, cwd=task["directory"], check=False)
    with open(os.path.join(shared, "status"), "w", encoding="utf-8") as file:
        file.write(str(result.returncode))
        file.flush()
        os.fsync(file.fileno())


main(sys.argv[1])
