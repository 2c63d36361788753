"""Shows units to systemd-networkd and configurations to dnsmasq, and prints their complaints as JSON."""

import json
import pathlib
import subprocess
import sys

from hostile import daemons


def dnsmasq_complaint(text):
    """Returns why dnsmasq refuses a configuration, or None."""
    pathlib.Path(daemons.DNSMASQ_CONF).write_bytes(text.encode("latin-1"))
    done = subprocess.run(
        ["dnsmasq", "--test", "-C", daemons.DNSMASQ_CONF], capture_output=True, text=True, check=False
    )
    return None if done.returncode == 0 else done.stderr.strip()


def main():
    shown = json.load(sys.stdin)
    daemons.prepare_system()
    json.dump(
        {
            "dnsmasq": [dnsmasq_complaint(text) for text in shown["configurations"]],
            "networkd": daemons.show_to_networkd(shown["units"]),
        },
        sys.stdout,
    )


if __name__ == "__main__":
    main()
