#!/usr/bin/env python3
"""Tests the metrics of `lanfab status` and the alert rules, in the sandbox, with the real Prometheus and node
exporter. The program is the first argument."""

import fcntl
import json
import os
import pathlib
import re
import socket
import struct
import subprocess
import sys
import time
import unittest
import urllib.parse
import urllib.request

from lib import play
from lib.checkout import CHECKOUT
from lib.limits import HANG_SECONDS

LANFAB = os.path.abspath(sys.argv.pop(1))
MONITORING = CHECKOUT / "packaging/monitoring"
PAGE = CHECKOUT / "docs/status.md"
UNIT = pathlib.Path("/run/systemd/network/20-eth0.network")
# The directory from which the node exporter reads the metrics of other programs.
TEXTFILES = pathlib.Path("/run/textfile")
EXPORTER = "127.0.0.1:9100"
PROMETHEUS = "127.0.0.1:9090"
PROMETHEUS_CONFIGURATION = f"""
global: {{scrape_interval: 1s, evaluation_interval: 1s}}
rule_files: [{MONITORING}/alerts.yml]
scrape_configs:
  - job_name: gateways
    static_configs: [targets: ["{EXPORTER}"]]
"""


def raise_loopback():
    """Sets the loopback interface up, without `ip`, which is a stub in the sandbox."""
    set_flags, up, running = 0x8914, 0x1, 0x40
    with socket.socket() as any_socket:
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh14x", b"lo", up | running))


def write_metrics():
    """Sets up a gateway without eth0 and writes its metrics, as the service does; returns them."""
    play.lay_answers({})
    UNIT.write_text("[Match]\nName = eth0\n[Network]\nAddress = 192.168.1.1/24\n")
    pathlib.Path("/run/hosts").touch()
    TEXTFILES.mkdir(exist_ok=True)
    subprocess.run([LANFAB, "status", "--format", "prometheus", "-o", TEXTFILES / "lanfab.prom"], check=True,
                   timeout=HANG_SECONDS)
    return (TEXTFILES / "lanfab.prom").read_text(encoding="ascii")


def promtool(*arguments, **options):
    return subprocess.run(["promtool", *arguments], capture_output=True, text=True, check=False, **options)


def names_in(text):
    return set(re.findall(r"\blanfab_\w+", text))


def names_of_page():
    """Returns the names of the metrics in the table of docs/status.md.

    A row may name several: "`x_timestamp_seconds`, `_duration_seconds`" also names x_duration_seconds.
    """
    names = set()
    for row in re.findall(r"^\| (`lanfab_.*?) \|", PAGE.read_text(encoding="utf-8"), re.MULTILINE):
        first, *others = re.findall(r"`(\w+)", row)
        names.add(first)
        names |= {re.sub(r"_timestamp_seconds$", other, first) for other in others}
    return names


def expressions_of_dashboard():
    dashboard = json.loads((MONITORING / "dashboard.json").read_text(encoding="utf-8"))
    return [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]


def wait_for(look):
    """Waits until `look` returns a true value; returns it."""
    end = time.monotonic() + HANG_SECONDS
    while True:
        try:
            if found := look():
                return found
        except OSError:
            pass
        if time.monotonic() > end:
            raise TimeoutError(look)
        time.sleep(0.1)


def query(expression):
    """Returns the result of a query as (labels, value) for each sample."""
    url = f"http://{PROMETHEUS}/api/v1/query?" + urllib.parse.urlencode({"query": expression})
    with urllib.request.urlopen(url, timeout=HANG_SECONDS) as answer:
        return [(sample["metric"], float(sample["value"][1]))
                for sample in json.load(answer)["data"]["result"]]


class Rules(unittest.TestCase):
    def test_metrics_follow_the_conventions(self):
        result = promtool("check", "metrics", input=write_metrics())
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_alerts_are_raised_when_they_should_be(self):
        for check in ("check", "rules", "alerts.yml"), ("test", "rules", "alerts_test.yml"):
            result = promtool(*check, cwd=MONITORING)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_every_alert_has_a_test(self):
        alerts = set(re.findall(r"alert: (\w+)", (MONITORING / "alerts.yml").read_text(encoding="utf-8")))
        tests = (MONITORING / "alerts_test.yml").read_text(encoding="utf-8")
        self.assertEqual(alerts, set(re.findall(r'alertname(?:: |=")(\w+)', tests)))

    def test_alerts_and_dashboard_use_metrics_that_there_are(self):
        documented = names_of_page()
        self.assertLessEqual(names_in(write_metrics()), documented)
        for file in "alerts.yml", "alerts_test.yml":
            self.assertLessEqual(names_in((MONITORING / file).read_text(encoding="utf-8")), documented)
        self.assertLessEqual(names_in(" ".join(expressions_of_dashboard())), documented)


class Scrape(unittest.TestCase):
    def start(self, *command):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def test_from_the_gateway_to_the_dashboard_and_the_alert(self):
        write_metrics()
        raise_loopback()
        self.start("prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile",
                   f"--collector.textfile.directory={TEXTFILES}", f"--web.listen-address={EXPORTER}")
        configuration = pathlib.Path("/run/prometheus.yml")
        configuration.write_text(PROMETHEUS_CONFIGURATION, encoding="utf-8")
        self.start("prometheus", f"--config.file={configuration}", "--storage.tsdb.path=/run/prometheus",
                   f"--web.listen-address={PROMETHEUS}")
        drift = wait_for(lambda: query('lanfab_drift{state="present"}'))
        self.assertEqual(drift[0][0]["instance"], EXPORTER)
        self.assertGreater(drift[0][1], 0)
        self.assertEqual([value for _, value in query("lanfab_status_success")], [1])
        self.assertTrue(wait_for(lambda: query('ALERTS{alertname="LanfabDrift", alertstate="pending"}')))
        for expression in expressions_of_dashboard():
            # An expression that cannot be evaluated makes the request fail.
            query(expression.replace("$instance", ".*"))
        self.assertEqual([value for _, value in query('count(lanfab_drift{state="present"} > 0)')], [1])


if __name__ == "__main__":
    unittest.main()
