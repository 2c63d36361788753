"""Loads the files of runs into the real daemons, in the sandbox."""

import contextlib
import ctypes
import json
import os
import pathlib
import re
import subprocess
import sys
import time

from .checkout import in_sandbox
from .limits import HANG_SECONDS

UNITS = pathlib.Path("/run/systemd/network")
DNSMASQ_CONF = "/run/tested.conf"
NETWORKD = "/lib/systemd/systemd-networkd"
# Warnings about lines in each unit of a router or a DHCP client. Newer versions still apply the second line;
# packaging/systemd-networkd.service.conf replaces the first one.
DEPRECATED = re.compile(rb'IPForward= setting is deprecated|Deprecated value "_dhcp"')
PR_SET_CHILD_SUBREAPER = 36


# The result for a configuration with which dnsmasq runs a script.
RAN_SCRIPT = "it ran a script"


def show(units, configurations, starts_dnsmasq=False):
    """Returns the warnings of networkd about the units, and the error of dnsmasq about each configuration.

    A warning has the number of the unit, the number of the line, and the message. The error is "" if dnsmasq
    accepts the configuration. With `starts_dnsmasq`, dnsmasq is also started with each accepted configuration
    and with a lease, for which it runs its lease script if it has one.
    """
    shown = json.dumps({"units": units, "configurations": configurations, "starts": starts_dnsmasq})
    return json.loads(in_sandbox("lib.daemons", text=shown))


def prepare_system():
    """Creates the users of the daemons, without others, and prepares /sys for networkd."""
    accounts = {name: f"{name}:x:0:0::/:/bin/sh" for name in ("root", "systemd-network", "dnsmasq", "nobody")}
    # If the group existed, dnsmasq would switch to it.
    accounts["admin"] = "admin:x:0:4242::/:/bin/sh"
    for name, lines in (("passwd", accounts.values()), ("group", ())):
        path = pathlib.Path("/run", name)
        path.write_text("".join(f"{line}\n" for line in lines))
        subprocess.run(["mount", "--bind", path, f"/etc/{name}"], check=True)
    # A writable /sys implies udev, for which networkd would wait.
    subprocess.run(["mount", "-t", "sysfs", "-o", "ro", "sysfs", "/sys"], check=True)


def show_to_networkd(units):
    """Returns the warnings of networkd: the number of the unit, the number of the line, and the message."""
    for number, (kind, text) in enumerate(units):
        (UNITS / f"{number:05}.{kind}").write_bytes(text.encode("latin-1"))
    environment = {**os.environ, "SYSTEMD_LOG_LEVEL": "debug", "SYSTEMD_LOG_TARGET": "console"}
    networkd = subprocess.Popen([NETWORKD], env=environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    said = []
    for line in networkd.stderr:
        # networkd prints this after it has read all units.
        if b"Saved new link" in line:
            break
        match = re.search(rb"/(\d{5})\.(?:network|netdev):(\d+): (.*)", line)
        if match and not DEPRECATED.match(match[3]):
            said.append((int(match[1]), int(match[2]), match[3].decode("latin-1")))
    else:
        sys.exit("networkd has ended before it read the units")
    networkd.kill()
    networkd.communicate()
    return said


def refusal(configuration, dnsmasq="dnsmasq"):
    """Returns the error of dnsmasq about a configuration that it rejects; "" if it accepts it."""
    done = subprocess.run([dnsmasq, "--test", "--conf-file=-"], input=configuration, capture_output=True,
                          check=False)
    return done.stderr.decode(errors="replace").strip() if done.returncode else ""


def adopt_orphans():
    """Makes the process that runs dnsmasq's scripts a child of this one when dnsmasq exits."""
    if ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        sys.exit("orphans cannot be adopted")


def wait_for_adopted_children():
    with contextlib.suppress(ChildProcessError):
        while True:
            os.wait()


def run_dnsmasq(configuration):
    """Starts dnsmasq with a lease, for which it runs its script; returns an error, RAN_SCRIPT or ""."""
    expiry = int(time.time()) + 3600
    lease = f"{expiry} 02:00:5e:00:00:99 192.168.1.9 * *\n"
    pathlib.Path("/run/dnsmasq.leases").write_text(lease)
    pathlib.Path(DNSMASQ_CONF).write_bytes(configuration)
    pathlib.Path("/run/resolv.conf").touch()
    dnsmasq = subprocess.Popen(["dnsmasq", "-k", "--log-facility=-", "-C", DNSMASQ_CONF],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    # dnsmasq reads its hosts file in the same step.
    started = any(b" names" in line for line in iter(dnsmasq.stderr.readline, b""))
    dnsmasq.terminate()
    dnsmasq.communicate(timeout=HANG_SECONDS)
    wait_for_adopted_children()
    if os.path.exists("/run/pwned"):
        os.unlink("/run/pwned")
        return RAN_SCRIPT
    return "" if started else "it does not start"


def main():
    shown = json.load(sys.stdin)
    prepare_system()
    adopt_orphans()
    # A script that records that it ran.
    pathlib.Path("/run/script").write_text("#!/bin/sh\ntouch /run/pwned\n")
    os.chmod("/run/script", 0o755)
    configurations = [text.encode("latin-1") for text in shown["configurations"]]
    dnsmasq = [refusal(text) or (run_dnsmasq(text) if shown["starts"] else "") for text in configurations]
    json.dump([show_to_networkd(shown["units"]), dnsmasq], sys.stdout)


if __name__ == "__main__":
    main()
