"""The gateway that the program runs on, inside the sandbox: its files, log, and recorded commands."""

import collections
import json
import os
import pathlib
import re
import sqlite3
import subprocess

from lib.checkout import TESTS
from lib.limits import HANG_SECONDS
from lib.play import Failure, Process
from lib.sandbox import (ACTIVE_SERVICES, RECORDED_COMMANDS, Syslog, read_system_database, snapshot,
                         write_system_database)

NETWORK = TESTS / "faults" / "network.json"
DATABASE = "/run/sysdb.sqlite3"
LOCK = "/run/LANFAB_LOCKED"
# Runs hold a lock on this file while they acquire LOCK.
GUARD = "/run/.LANFAB_LOCKED.guard"
HOSTS = "127.0.0.1 localhost\n10.1.1.1 relay.example\n"

# The values of the cellular link at the time of the old configuration, and the current ones.
OLD_LINK = {"intf": "wwan0", "ipv4": "10.63.1.2", "cidr": "29", "netmask": "255.255.255.248",
            "gw": "10.63.1.1", "mtu": "1420", "dns1": "10.63.0.53", "dns2": "10.63.0.54"}
LINK = {"intf": "wwan0", "ipv4": "10.64.1.2", "cidr": "30", "netmask": "255.255.255.252", "gw": "10.64.1.1",
        "mtu": "1430", "dns1": "10.64.0.53", "dns2": "10.64.0.54"}

# Outcome of a run: `status` is the exit status, a negated signal number, or None if the run did not end.
Outcome = collections.namedtuple("Outcome", "status files database log commands stderr report")


def configuration():
    """Returns network.json with so many routes and leases that a unit and dnsmasq.conf take more than one
    write."""
    network = json.loads(NETWORK.read_text())
    network["static_routes"] += [
        {"enable": True, "interface": "br-lan", "ipv4": f"192.168.{number}.0", "netmask": 24,
         "gateway": "192.168.1.2"}
        for number in range(150, 200)]
    network["wired"]["eth0"]["network"]["dhcp"]["mac_binding"]["devices"] = [
        {"enable": True, "mac": f"00:00:5e:00:53:{number:02x}", "ipv4": f"192.168.1.{number}"}
        for number in range(2, 90)]
    return json.dumps(network, indent=1)


def old_configuration():
    """Returns a configuration with other addresses and VLANs, so that every file of its run differs."""
    network = json.loads(NETWORK.read_text())
    text = json.dumps(network).replace("192.168.", "172.16.").replace("9.9.9.9", "8.8.8.8")
    return text.replace('"vid": 100', '"vid": 99').replace("relay.example", "10.1.1.3").replace("2m", "3m")


def canonical(path):
    return re.sub("/+", "/", path.replace("/var/run/", "/run/"))


class Gateway:
    """Runs the program on prepared states of the gateway."""

    def __init__(self, program):
        self.program = program
        self.additional_environment = {}
        self.tracer = os.path.join(os.path.dirname(program), "fault_tracer")
        self.scratch = pathlib.Path("/dev/shm/faults")
        self.scratch.mkdir()
        self.syslog = Syslog()
        self.databases = {}
        self.time_limit = HANG_SECONDS
        pathlib.Path("/etc/hosts").write_text(HOSTS)
        ACTIVE_SERVICES.write_text("systemd-networkd\n")
        for name, text in (("old", old_configuration()), ("new", configuration())):
            (self.scratch / name).mkdir()
            (self.scratch / name / "network.json").write_text(text)

    def prepare(self):
        """Returns the state after a run of the old configuration, with the link's new values."""
        self._lay_link(OLD_LINK)
        write_system_database(["CELL_CONNECTED = 1"])
        outcome = self.run("apply", configuration="old", stage="prepare")
        assert outcome.status == 0, outcome
        # An existing file keeps its mode. Without this file, the next run has to set its mode by a command.
        os.unlink("/run/post_networkd_start_actions_script")
        self._lay_link(LINK)
        return snapshot()

    def environment(self, configuration, stage):
        return {"PATH": os.environ["PATH"], "LC_ALL": "C", "LANFAB_FAULTS_STAGE": stage,
                "LANFAB_CONFIG_DIR": str(self.scratch / configuration), **self.additional_environment}

    def run(self, action, tracer_options=None, configuration="new", stage="reference", **caller):
        """Runs the program once on the current files; `caller` are more arguments of Popen for the run."""
        report = self.scratch / "report"
        report.write_text("")
        RECORDED_COMMANDS.write_text("")
        self.syslog.receive()
        command = [self.program, action]
        if tracer_options is not None:
            command = [self.tracer, "--report", str(report), *tracer_options, "--", *command]
        stderr = self.scratch / "stderr"
        usual = {"stdout": subprocess.DEVNULL, "stderr": stderr.open("wb"), "umask": 0o022}
        process = Process(command, self.syslog, self.time_limit, env=self.environment(configuration, stage),
                          **usual | caller)
        process.start()
        try:
            status = process.finish()
        except Failure:
            status = None
        os.close(process.ended)
        lines = report.read_text(errors="backslashreplace").splitlines()
        if tracer_options is not None and status is not None:
            status = status_in(lines)
        files = snapshot()
        commands = RECORDED_COMMANDS.read_text().splitlines()
        return Outcome(status, files, self.database_of(files), process.log, commands,
                       stderr.read_text(errors="backslashreplace"), lines)

    def database_of(self, files):
        """Returns the entries of the system database as the next process reads them."""
        raw = tuple(files[path].content if path in files else None
                    for path in (DATABASE, DATABASE + "-journal"))
        if raw not in self.databases:
            self.databases[raw] = self._read_database(raw)
        return self.databases[raw]

    def _read_database(self, raw):
        copy = self.scratch / "sysdb.sqlite3"
        for path, content in zip((copy, pathlib.Path(f"{copy}-journal")), raw):
            path.unlink(missing_ok=True)
            if content is not None:
                path.write_bytes(content)
        try:
            return read_system_database(copy)
        except sqlite3.Error as error:
            return [f"unreadable: {error}"]

    def _lay_link(self, values):
        for name, value in values.items():
            pathlib.Path(f"/run/wwan_{name}").write_text(f"{value}\n")


def trace(tracer, *words, **options):
    """Runs a command under the tracer.

    Returns its exit status (negative after a signal), its standard error, and the lines of the report.
    """
    report = pathlib.Path("/dev/shm/report")
    done = subprocess.run([tracer, "--report", report, "--calls", "program", *words], check=True,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, **options)
    lines = report.read_text().splitlines()
    return status_in(lines), done.stderr, lines


def status_in(report):
    """Returns the exit status of the traced program, its negated signal number, or None without an end."""
    for line in reversed(report):
        fields = line.split("\t")
        if fields[0] == "end":
            return int(fields[2]) if fields[1] == "exit" else -int(fields[2])
    return None
