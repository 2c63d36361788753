#!/usr/bin/env python3
"""Checks that memory and time of `lanfab check` only grow with the size of the configuration, not with its
content. The program, built without sanitizers, is the first argument."""

import collections
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from lib.limits import processor_limit

LANFAB = os.path.abspath(sys.argv.pop(1))
# Memory limits above that of an empty configuration: per byte of the configuration, and constant.
BYTES_PER_BYTE = 30
BYTES_BESIDES = 64_000_000
# Limit on processor time. An idle machine takes less than 3 s for any of the configurations.
SECONDS = 30
TOO_MANY = "network.json: too many values, which would take too much memory\n"
# Runs a command and writes its memory and processor time to a file. The peak memory of a process includes
# that of its parent before exec, so the parent is this small process instead of the test.
METER = """import os, sys
file, *command = sys.argv[1:]
_, status, usage = os.wait4(os.spawnvp(os.P_NOWAIT, command[0], command), 0)
with open(file, "w") as output:
    print([1024 * usage.ru_maxrss, usage.ru_utime + usage.ru_stime], file=output)
sys.exit(os.waitstatus_to_exitcode(status))
"""
# Peak memory in bytes, and processor time in seconds.
Usage = collections.namedtuple("Usage", ("memory", "seconds"))


def address(number, network=10):
    return f"{network}.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}"


def listed(element, count):
    return ",".join([element] * count)


def names(text, count):
    servers = listed(json.dumps(text), count)
    return f'{{"dns": {{"source": "static", "static": [{servers}]}}}}'


def port(network):
    return f'{{"wired": {{"eth0": {{"enable": true, "network": {{"mode": "router", {network}}}}}}}}}'


def tunnels(count):
    uplink = {"mode": "router", "ipv4": "192.0.2.1", "netmask": 24, "gateway": "192.0.2.254"}
    return json.dumps({"wired": {"eth0": {"enable": True, "network": uplink}}, "tunnels": {"gre": [
        {"enable": True, "local_ip": "192.0.2.1", "remote_ip": address(number, 198),
         "tunnel_local_ip": address(4 * number + 1), "tunnel_remote_ip": address(4 * number + 2),
         "tunnel_netmask": 30} for number in range(count)]}})


def hosts(count):
    return json.dumps({"hostnames": [{"name": f"host{number}", "ipv4": address(number)}
                                     for number in range(count)]})


def routes(count):
    return json.dumps({
        "wired": {"eth0": {"enable": True, "network": {"mode": "router", "protocol": "static",
                                                       "ipv4": "192.0.2.1", "netmask": 24}}},
        "static_routes": [{"enable": True, "interface": "eth0", "ipv4": address(number), "netmask": 32,
                           "gateway": "192.0.2.2"} for number in range(count)]})


def leases(count):
    static = [{"mac": f"02:00:{number >> 24 & 255:02x}:{number >> 16 & 255:02x}:{number >> 8 & 255:02x}:"
                      f"{number & 255:02x}", "ip": address(number)} for number in range(count)]
    return port('"protocol": "static", "ipv4": "10.0.0.1", "netmask": 8, "dhcp": {"enable": true, "start": '
                f'"10.0.0.2", "end": "10.0.0.9", "leasetime": 3600, "static_leases": {json.dumps(static)}}}')


def vlans(count):
    return port(f'"advanced": {{"vlan": {{"enable": true, "networks": [{listed("{}", count)}]}}}}')


# Configurations with a finding at every value, or with many values that rules store.
KINDS = {
    "numbers": names(1, 1_000_000),
    "strings": names("", 900_000),
    "hosts that are numbers": f'{{"hostnames": [{listed("1", 1_000_000)}]}}',
    "empty routes": f'{{"static_routes": [{listed("{}", 300_000)}]}}',
    "empty tunnels": f'{{"tunnels": {{"gre": [{listed("{}", 300_000)}]}}}}',
    "empty VLANs": vlans(200_000),
    "unknown keys": "{" + ",".join(f'"k{number}":1' for number in range(200_000)) + "}",
    "unknown ports": '{"wired": {' + ",".join(f'"k{number}":1' for number in range(200_000)) + "}}",
    "control characters": names("x\x01", 300_000),
    "tunnels": tunnels(20_000),
    "hosts": hosts(60_000),
    "routes": routes(30_000),
    "leases": leases(40_000),
}


class Limits(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.configuration = pathlib.Path(directory.name, "network.json")

    def check(self, text, *words, before=(), files=1):
        """Returns the exit status, standard output, standard error, and the Usage: its memory is that of the
        largest process."""
        self.configuration.write_text(text, encoding="utf-8")
        usage = self.configuration.with_name("usage")
        command = [sys.executable, "-I", "-S", "-c", METER, usage, *before, LANFAB, "check", *words,
                   *files * ["network.json"]]
        done = subprocess.run(command, capture_output=True, text=True, check=False,
                              cwd=self.configuration.parent)
        took = Usage(*json.loads(usage.read_text(encoding="utf-8")))
        return done.returncode, done.stdout, done.stderr, took

    def baseline(self):
        return self.check("{}", "--offline")[3].memory

    def test_memory_and_time(self):
        baseline = self.baseline()
        for kind, text in KINDS.items():
            for words in ([], ["--format=json"]) if kind == "numbers" else ([],):
                with self.subTest(kind, words=words):
                    _, _, err, usage = self.check(text, "--offline", *words)
                    self.assertEqual(err, "")
                    self.assertLess(usage.memory - baseline,
                                    BYTES_PER_BYTE * len(text) + BYTES_BESIDES)
                    self.assertLess(usage.seconds, SECONDS)

    def test_memory_of_many_files(self):
        """Printed findings, at least 80 kB for each of these files, are not kept in memory."""
        text = f'{{"hostnames": [{listed("1", 1_000)}]}}'
        for words in (["--format=json"], ["-j2"], ["-j2", "--format=json"]):
            with self.subTest(words):
                few, many = (self.check(text, "--offline", *words, files=files) for files in (20, 120))
                self.assertGreater(len(many[1]) - len(few[1]), 100 * 80_000)
                self.assertLess(many[3].memory - few[3].memory, 5_000_000)

    def test_too_many_values(self):
        """A configuration with too many values is rejected before its tree is built."""
        baseline = self.baseline()
        for kind, text in (("numbers", f'{{"a": [{listed("1", 1_900_000)}]}}'),
                           ("objects", f'{{"a": [{listed("{}", 1_300_000)}]}}'),
                           ("nested lists", '{"a": ' + "[" * 3_000_000)):
            with self.subTest(kind):
                status, out, err, usage = self.check(text, "--offline")
                self.assertEqual((status, out, err), (2, "", TOO_MANY))
                self.assertLess(usage.memory - baseline, BYTES_PER_BYTE * len(text))

    def test_time(self):
        """Processor time is about proportional to the size of the configuration, not quadratic."""
        for make, count in ((tunnels, 8_000), (hosts, 20_000), (routes, 8_000), (leases, 15_000),
                            (vlans, 60_000)):
            with self.subTest(make.__name__):
                once, twice = (min(self.check(make(number), "--offline")[3].seconds for _ in range(3))
                               for number in (count, 2 * count))
                self.assertLess(twice, 3 * once + 0.05)

    @unittest.skipUnless(shutil.which("dnsmasq"), "needs dnsmasq")
    def test_time_with_dnsmasq(self):
        """Only the action dnsmasq is run: a dry run of an apply would start a dozen tools for each tunnel,
        which takes more than a minute."""
        text = tunnels(8_000)
        status, out, err, usage = self.check(text, before=processor_limit(60))
        self.assertEqual((status, out, err), (0, "0 errors and 0 warnings in 1 file\n", ""))
        self.assertLess(usage.seconds, 10)

    def test_findings_that_are_not_listed(self):
        text = f'{{"hostnames": [{listed("1", 1_234)}], "dns": {{"source": "cellular"}}}}'
        status, out, _, _ = self.check(text, "--offline")
        self.assertEqual(status, 1)
        lines = out.splitlines()
        self.assertEqual(len(lines), 1_000 + 1 + 1 + 1)
        self.assertEqual(lines[-2:], ["network.json: error: and 234 more [wrong-type]",
                                      "1235 errors and 0 warnings in 1 file"])
        [report] = json.loads(self.check(text, "--offline", "--format=json")[1])
        self.assertEqual(len(report["findings"]), 1_001)
        self.assertEqual(report["unlisted"], {"wrong-type": 234})


if __name__ == "__main__":
    unittest.main()
