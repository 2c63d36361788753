#!/usr/bin/env python3
"""Tests how `lanfab check` runs dnsmasq. The program is the first argument; cmd_lanfab is in its directory.

The rules find everything that the real dnsmasq rejects, so most of these tests use a stub.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from lib.tools import with_first

LANFAB = os.path.abspath(sys.argv.pop(1))
EXAMPLES = sorted(pathlib.Path(__file__).resolve().parents[2].glob("examples/*/network.json"))
CONFIGURATION = """{
  "wired": {
    "eth0": {"enable": true, "network": {"mode": "router", "protocol": "static", "ipv4": "192.168.1.1",
      "netmask": 24, "dhcp": {"enable": true, "start": "192.168.1.10", "end": "192.168.1.99",
        "mac_binding": {"enable": true, "devices": [
          {"enable": true, "mac": "02:00:5e:00:53:01", "ipv4": "192.168.1.20"},
          {"enable": true, "mac": "02:00:5e:00:53:02", "ipv4": "192.168.1.21"}
        ]}}}}
  }
}
"""
# A stub that rejects the line of the second device, with a message of dnsmasq.
REFUSE = """
[ "$*" = "--test --conf-file=-" ] || exit 4
number=$(grep -n 53:02 | cut -d : -f 1)
printf '\\ndnsmasq: bad dhcp-host at line %s of stdin\\n' "$number" >&2
exit 1
"""
# Runs a command as root of a user namespace, without capabilities; no nested one can be created.
WITHOUT_NAMESPACES = (
    "unshare", "--user", "--map-root-user", "sh", "-c",
    'echo 0 >/proc/sys/user/max_user_namespaces && exec setpriv --bounding-set=-all "$@"', "sh")


class AskDnsmasq(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.tools = self.directory / "tools"
        self.tools.mkdir()
        self.lay("network.json", CONFIGURATION)

    def lay(self, name, text, mode=0o644):
        (self.directory / name).write_text(text, encoding="utf-8")
        (self.directory / name).chmod(mode)

    def lay_dnsmasq(self, script):
        """Creates a stub of dnsmasq that creates the file "asked" and runs the script."""
        self.lay("tools/dnsmasq", f"#!/bin/sh\n>'{self.directory}/asked'\n{script}", 0o755)

    def was_asked(self):
        return (self.directory / "asked").exists()

    def check(self, *arguments, lanfab=LANFAB, before=(), stdin=""):
        return subprocess.run([*with_first(self.tools), *before, lanfab, "check", *arguments], input=stdin,
                              cwd=self.directory, text=True, capture_output=True, check=False)

    def assert_said(self, done, status, output, errors=""):
        self.assertEqual((done.stdout, done.stderr, done.returncode), (output, errors, status))

    def test_the_real_one_accepts_the_examples(self):
        done = self.check(*EXAMPLES)
        self.assert_said(done, 0, f"0 errors and 0 warnings in {len(EXAMPLES)} files\n")

    def test_refusal_is_at_the_values_of_the_line(self):
        self.lay_dnsmasq(REFUSE)
        self.assert_said(
            self.check("network.json"), 1,
            "network.json:7:35: error: dnsmasq rejects \"dhcp-host=02:00:5e:00:53:02,192.168.1.21\": "
            "bad dhcp-host [dnsmasq-refuses]\n1 error and 0 warnings in 1 file\n")

    def test_refusal_without_a_line(self):
        self.lay_dnsmasq("cat >/dev/null; echo 'dnsmasq: out of patience' >&2; exit 1")
        self.assert_said(self.check("network.json"), 1,
                         "network.json:1:1: error: dnsmasq: out of patience [dnsmasq-refuses]\n"
                         "1 error and 0 warnings in 1 file\n")

    def test_findings_stay_in_the_order_of_the_text(self):
        self.lay_dnsmasq(REFUSE)
        routes = '"static_routes": [{"interface": "eth0"}]'
        text = CONFIGURATION.replace('{\n  "wired"', "{\n  " + routes + ',\n  "wired"')
        hosts = '"hostnames": [{"name": "my printer", "ipv4": "192.168.1.20"}]'
        self.lay("network.json", text.replace("\n  }\n}", "\n  },\n  " + hosts + "\n}"))
        places = [line.split(" ")[0] for line in self.check("network.json").stdout.splitlines()[:-1]]
        self.assertEqual(places, ["network.json:2:21:", "network.json:8:35:", "network.json:11:26:"])

    def test_is_not_asked_offline(self):
        self.lay_dnsmasq("exit 1")
        self.assert_said(self.check("--offline", "network.json"), 0, "0 errors and 0 warnings in 1 file\n")
        self.assertFalse(self.was_asked())

    def test_is_not_asked_after_an_error(self):
        self.lay_dnsmasq("exit 1")
        self.lay("network.json", CONFIGURATION.replace("1.20", "1.21"))
        self.assertIn("[lease-address-twice]", self.check("network.json").stdout)
        self.assertFalse(self.was_asked())

    def test_an_error_of_dnsmasq_itself_is_noted_once(self):
        self.lay_dnsmasq("exit 3")
        self.assert_said(self.check("network.json", "network.json"), 0,
                         "0 errors and 0 warnings in 2 files\n",
                         "lanfab: /usr/sbin/dnsmasq ended with status 3; skipping the dnsmasq check\n")

    def test_an_error_is_noted_once_by_several_processes(self):
        self.lay_dnsmasq("exit 3")
        self.assert_said(self.check("-j3", *5 * ["network.json"]), 0, "0 errors and 0 warnings in 5 files\n",
                         "lanfab: /usr/sbin/dnsmasq ended with status 3; skipping the dnsmasq check\n")

    def test_its_output_after_an_error_does_not_count(self):
        """dnsmasq rejects the second file before it fails on the first one; that is not reported."""
        self.lay("first.json", CONFIGURATION.replace("53:02", "53:03"))
        self.lay_dnsmasq(f"""
            if grep -q 53:03; then
              until [ -e '{self.directory}/refused' ]; do sleep 0.01; done
              exit 3
            fi
            touch '{self.directory}/refused'
            echo 'dnsmasq: out of patience' >&2
            exit 1""")
        self.assert_said(self.check("-j2", "first.json", "network.json"), 0,
                         "0 errors and 0 warnings in 2 files\n",
                         "lanfab: /usr/sbin/dnsmasq ended with status 3; skipping the dnsmasq check\n")

    def test_refusals_come_in_the_order_of_the_files(self):
        self.lay_dnsmasq(REFUSE)
        done = self.check("-j2", "network.json", "-", "network.json", stdin=CONFIGURATION)
        self.assertEqual([line.split(" ")[0] for line in done.stdout.splitlines()[:-1]],
                         ["network.json:7:35:", "<stdin>:7:35:", "network.json:7:35:"])

    def test_a_process_that_dies_is_an_error_of_its_file(self):
        self.lay_dnsmasq("if grep -q 53:03; then kill -KILL $PPID; fi")
        self.lay("second.json", CONFIGURATION.replace("53:02", "53:03"))
        message = "second.json: the process checking it died: Killed"
        files = ("network.json", "second.json", "network.json")
        self.assert_said(self.check("-j2", *files), 2, "0 errors and 0 warnings in 2 files\n", message + "\n")
        done = self.check("-j2", "--format=json", *files)
        self.assertEqual([file.get("error") for file in json.loads(done.stdout)], [None, message, None])

    def test_is_not_asked_about_many_files(self):
        self.lay_dnsmasq("exit 3")
        for number, reason in ((100, "/usr/sbin/dnsmasq ended with status 3"), (101, "more than 100 files")):
            with self.subTest(number):
                self.assert_said(self.check(*number * ["network.json"]), 0,
                                 f"0 errors and 0 warnings in {number} files\n",
                                 f"lanfab: {reason}; skipping the dnsmasq check\n")
        done = self.check("--offline", *101 * ["network.json"])
        self.assert_said(done, 0, "0 errors and 0 warnings in 101 files\n")

    def test_one_that_is_killed(self):
        self.lay_dnsmasq("kill -KILL $$")
        self.assert_said(self.check("network.json"), 0, "0 errors and 0 warnings in 1 file\n",
                         "lanfab: /usr/sbin/dnsmasq: Killed; skipping the dnsmasq check\n")

    def test_no_program_to_run(self):
        self.lay_dnsmasq("exit 1")
        alone = shutil.copy(LANFAB, self.directory / "lanfab")
        done = self.check("network.json", lanfab=alone)
        reason = "cmd_lanfab is neither beside this program nor in PATH"
        self.assert_said(done, 0, "0 errors and 0 warnings in 1 file\n",
                         f"lanfab: {reason}; skipping the dnsmasq check\n")

    def test_no_namespaces(self):
        self.lay_dnsmasq("exit 1")
        done = self.check("network.json", before=WITHOUT_NAMESPACES)
        self.assert_said(done, 0, "0 errors and 0 warnings in 1 file\n",
                         "lanfab: clone: Operation not permitted; skipping the dnsmasq check\n")
        self.assertFalse(self.was_asked())


if __name__ == "__main__":
    unittest.main()
