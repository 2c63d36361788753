#!/usr/bin/env python3
"""Runs each command of `lanfab` with WireGuard keys in its input: no key may be printed.

Runs in the sandbox. The first argument is lanfab, the second one cmd_lanfab.
"""

import json
import os
import pathlib
import subprocess
import sys
import unittest

from lib.limits import HANG_SECONDS
from lib.terminal import shown_on_terminal

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
UNIT = pathlib.Path("/run/systemd/network/44-wireguard.netdev")
DIRECTORY = pathlib.Path("/run/keys")
PRIVATE, PRESHARED, OTHER = (letter * 43 + "=" for letter in "ABC")


def unit(private, preshared):
    return (f"[NetDev]\nName = wg0\nKind = wireguard\n\n[WireGuard]\nPrivateKey = {private}\n\n"
            f"[WireGuardPeer]\nPresharedKey={preshared}\n")


class Secrets(unittest.TestCase):
    def setUp(self):
        DIRECTORY.mkdir(exist_ok=True)
        self.write("network.json", "{}")
        # With this file, the machine is a gateway.
        pathlib.Path("/run/hosts").write_text("127.0.0.1 localhost\n", encoding="utf-8")
        UNIT.write_text(unit(PRIVATE, PRESHARED), encoding="utf-8")
        self.addCleanup(UNIT.unlink)

    def write(self, name, text):
        (DIRECTORY / name).write_text(text, encoding="utf-8")
        (DIRECTORY / name).chmod(0o755)

    def write_program(self, *units):
        """Creates a program for each unit, which writes, prints and logs that unit."""
        for number, text in enumerate(units):
            self.write(f"program{number}", f"""#!/bin/sh
cat >/var/run/systemd/network/44-wireguard.netdev <<END
{text}END
cp /var/run/systemd/network/44-wireguard.netdev /var/run/copy
mkdir -p /var/data/qel/.wg
echo {OTHER} >/var/data/qel/.wg/wg0-private.key
cat /var/run/copy
cat /var/run/copy >&2
networkctl "PrivateKey = {PRIVATE}"
""")

    def run_lanfab(self, *words, expected=0):
        """Returns a command's output, after checking its exit status and that it contains no key."""
        done = subprocess.run([LANFAB, *map(str, words)], cwd=DIRECTORY, capture_output=True, text=True,
                              timeout=HANG_SECONDS, check=False)
        output = done.stdout + done.stderr
        self.assertEqual(done.returncode, expected, output)
        self.assert_hidden(output)
        return output

    def assert_hidden(self, output):
        for key in (PRIVATE, PRESHARED, OTHER):
            self.assertNotIn(key, output)

    def test_diff_of_a_unit_that_is_removed(self):
        output = self.run_lanfab("diff", f"--program={PROGRAM}", "network.json", expected=1)
        self.assertIn("\n-PrivateKey = (hidden key 1)\n", output)
        self.assertIn("\n-PresharedKey=(hidden key 2)\n", output)

    def test_diff_of_a_key_that_changes(self):
        self.write_program(unit(OTHER, PRESHARED))
        output = self.run_lanfab("diff", f"--program={DIRECTORY}/program0", "network.json", expected=1)
        self.assertIn("\n-PrivateKey = (hidden key 1)\n+PrivateKey = (hidden key 3)\n", output)
        self.assertIn("\n PresharedKey=(hidden key 2)\n", output)

    def test_fixes(self):
        peer = {"public_key": 43 * "E" + "=", "preshared_key": f"{PRIVATE} ", "keep_alive": "25",
                "allowed_ips": "10.0.0.2"}
        interface = {"enable": True, "local_addrs": "10.0.0.1/24", "peers": [peer]}
        port = {"enable": True, "network": {"mode": "router", "ipv4": "192.168.1.1", "netmask": 24}}
        wireguard = {"wired": {"eth0": port}, "firewall": {"general": {"router": 1}},
                     "tunnels": {"wireguard": {"enable": True, "interfaces": [interface]}}}
        self.write("network.json", json.dumps(wireguard, indent=1))
        for words in ["--diff"], ["--format=json"]:
            self.run_lanfab("check", "--offline", *words, "network.json", expected=1)
        self.run_lanfab("check", "--offline", "--fix", "network.json")
        self.assertIn(f'"{PRIVATE}"', (DIRECTORY / "network.json").read_text(encoding="utf-8"))

    def test_preview(self):
        self.write_program(unit(PRIVATE, PRESHARED))
        program = f"--program={DIRECTORY}/program0"
        output = self.run_lanfab("preview", "-v", program, "network.json")
        self.assertIn("\nPrivateKey = (hidden key ", output)
        self.assertIn("==> /var/data/qel/.wg/wg0-private.key <==\n(hidden key ", output)
        self.assertIn("\nnetworkctl PrivateKey = (hidden key ", output)
        output = self.run_lanfab("preview", "--format=json", program, "network.json")
        contents = [file["content"] for file in json.loads(output)["files"]]
        self.assertTrue(any("PrivateKey = (hidden key " in content for content in contents), contents)

    def test_files_that_preview_writes_are_whole(self):
        self.write_program(unit(PRIVATE, PRESHARED))
        target = DIRECTORY / "files"
        self.run_lanfab("preview", "-o", target, f"--program={DIRECTORY}/program0", "network.json")
        self.assertEqual((target / "var/run/copy").read_text(encoding="utf-8"), unit(PRIVATE, PRESHARED))

    def test_configuration(self):
        """Keys in the configuration, with the correct and with wrong names, and with a wrong type."""
        peer = {"public_key": "x", "preshared_key": PRIVATE, "preshared-key": PRESHARED,
                "private_key": [PRESHARED, OTHER], "endpoint": "nowhere"}
        interface = {"enable": True, "local_addrs": "x", "PrivateKey": OTHER, "peers": [peer]}
        self.write("network.json", json.dumps({"tunnels": {"wireguard": {
            "enable": True, "interfaces": [interface]}}}))
        self.run_lanfab("check", "--offline", "network.json", expected=1)
        for output_format in ("json", "sarif", "github"):
            self.run_lanfab("check", "--offline", f"--format={output_format}", "network.json", expected=1)
        for output_format in ("text", "dot"):
            self.run_lanfab("graph", "network.json", f"--format={output_format}")
        output = shown_on_terminal([LANFAB, "check", "--offline", "network.json"], cwd=DIRECTORY)
        # The terminal is narrower than the line, so only a part of the hidden key is visible.
        self.assertIn(20 * "*", output)
        self.assert_hidden(output)


if __name__ == "__main__":
    unittest.main()
