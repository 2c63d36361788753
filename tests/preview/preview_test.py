#!/usr/bin/env python3
"""Runs `lanfab preview` and `lanfab diff` in the sandbox with unusable input, with a closed output, and with
signals: they must report the error, exit with the documented status, and leave no file or process behind. The
first argument is lanfab, the second one cmd_lanfab."""

import itertools
import json
import os
import pathlib
import select
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from lib.checkout import EXAMPLES
from lib.limits import HANG_SECONDS
from lib.processes import wait_for

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
EXAMPLE = EXAMPLES / "router" / "network.json"

# A configuration whose files do not fit into a pipe.
LARGE = json.dumps(
    {
        "firewall": {"general": {"router": 1}},
        "wired": {
            "eth0": {
                "enable": True,
                "network": {
                    "mode": "router",
                    "protocol": "static",
                    "ipv4": "192.168.1.1",
                    "netmask": 24,
                    "advanced": {
                        "vlan": {
                            "enable": True,
                            "networks": [
                                {
                                    "enable": True,
                                    "vid": vid,
                                    "network": {"protocol": "static", "ipv4": f"10.0.{vid}.1", "netmask": 24},
                                }
                                for vid in range(1, 250)
                            ],
                        }
                    },
                },
            }
        },
    }
)


def until(condition, complaint):
    """Waits until another process fulfills a condition; fails with the complaint after HANG_SECONDS."""
    deadline = time.monotonic() + HANG_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(complaint)
        os.sched_yield()


def processes():
    return {name for name in os.listdir("/proc") if name.isdigit()}


def children(pid):
    return pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()


def files():
    """Returns the path and modification time of every file that a run could write."""
    return {
        (path, os.lstat(path).st_mtime_ns)
        for top in ("/run", "/var/volatile", "/var/data", "/etc/lanfab")
        for parent, directories, names in os.walk(top)
        for path in (os.path.join(parent, name) for name in directories + names)
    }


def command(*words, name="preview", program=None):
    return [LANFAB, name, f"--program={program or PROGRAM}", *map(str, words)]


class PreviewTest(unittest.TestCase):
    """A temporary directory, and a check that a test leaves nothing behind."""

    def setUp(self):
        self.assertTrue(os.path.exists("/dev/sandbox"), "start it with tests/support/sandbox or ctest")
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.before = self.surroundings()

    def surroundings(self):
        return files(), pathlib.Path("/proc/self/mountinfo").read_text(), sorted(self.directory.rglob("*"))

    def write(self, name, text):
        path = self.directory / name
        path.write_text(text, encoding="utf-8")
        self.before = self.surroundings()
        return path

    def tearDown(self):
        mine = {str(os.getpid())}
        until(lambda: processes() - mine <= {"1"} | set(children(1)) - {""}, "a process is left behind")
        self.assertEqual(self.surroundings(), self.before, "something is left behind")

    def preview(self, *words, before=(), name="preview", program=None, **options):
        """Returns the exit status, standard output and standard error of the command `name`."""
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, **options}
        done = subprocess.run(
            [*before, *command(*words, name=name, program=program)],
            stderr=subprocess.PIPE,
            text=True,
            check=False,
            cwd=self.directory,
            timeout=HANG_SECONDS,
            **options,
        )
        return done.returncode, done.stdout, done.stderr


class Statuses(PreviewTest):
    """Messages and exit statuses."""

    def test_success(self):
        status, out, err = self.preview(EXAMPLE)
        self.assertEqual((status, err), (0, ""))
        self.assertIn("==> /var/run/systemd/network/30-eth0.100.netdev <==\n[NetDev]\nName = eth0.100\n", out)
        self.assertIn(
            "==> commands <==\nsystemctl is-active --quiet systemd-networkd\n"
            "systemctl start systemd-networkd\nsystemctl restart dnsmasq\n\nexit status 0\n",
            out,
        )
        self.assertIn("(the same as /var/run/dnsmasq.conf)", out)
        self.assertNotIn("messages", out)

    def test_messages(self):
        status, out, _ = self.preview("-v", EXAMPLE)
        self.assertEqual(status, 0)
        self.assertIn("==> messages <==\nnotice cmd_lanfab start\nnotice cmd_lanfab set lock\n", out)

    def test_standard_input(self):
        with EXAMPLE.open(encoding="utf-8") as configuration:
            status, out, err = self.preview("-", stdin=configuration)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, self.preview(EXAMPLE)[1])

    def test_what_the_program_prints(self):
        self.write("program", "#!/bin/sh\necho hello\n").chmod(0o755)
        status, out, err = self.preview(EXAMPLE, program="./program")
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.endswith("==> standard output <==\nhello\n\nexit status 0\n"), out)

    def test_empty_files_have_no_twin(self):
        self.write("program", "#!/bin/sh\n: >/run/one\n: >/run/two\n").chmod(0o755)
        status, out, err = self.preview(EXAMPLE, program="./program")
        self.assertEqual((status, err), (0, ""))
        self.assertNotIn("the same as", out)

    def test_program_that_is_killed_gives_nothing_to_compare(self):
        self.write("program", "#!/bin/sh\nkill -TERM $$\n").chmod(0o755)
        status, out, err = self.preview(EXAMPLE, name="diff", program="./program")
        self.assertEqual((status, out), (2, ""))
        self.assertIn(": the run is ended by a signal: Terminated; see `lanfab preview -v`\n", err)

    def test_errors_of_tools_that_the_sandbox_causes(self):
        port = {"enable": True, "network": {"mode": "router", "ipv4": "192.168.1.1", "netmask": 24}}
        configuration = self.write("network.json", json.dumps({"wired": {"eth0": port}}))
        status, _, err = self.preview("--cell=down", configuration)
        self.assertEqual((status, err), (0, ""))
        self.assertIn("/proc/sys/net/ipv6/ip_forward", self.preview("-v", "--cell=down", configuration)[2])

    def test_failing_run(self):
        configuration = self.write("network.json", "{}")
        status, out, err = self.preview("--cell=down", "--action=wwan_apply", configuration)
        self.assertEqual((status, err), (1, ""))
        self.assertTrue(out.endswith("exit status 255\n"), out)

    def test_run_that_is_ended_by_a_signal(self):
        vlan = {
            "enable": True,
            "vid": -2147483648,
            "network": {
                "ipv4": "10.0.0.1",
                "netmask": 24,
                "dhcp": {"enable": True, "start": "10.0.0.2", "end": "10.0.0.3"},
            },
        }
        configuration = self.write(
            "network.json",
            json.dumps(
                {
                    "wired": {
                        "eth0": {
                            "enable": True,
                            "network": {
                                "mode": "router",
                                "protocol": "static",
                                "dhcp": {"enable": True},
                                "advanced": {"vlan": {"enable": True, "networks": [vlan]}},
                            },
                        }
                    }
                }
            ),
        )
        status, out, _ = self.preview("--action=dnsmasq", configuration)
        self.assertEqual(status, 1)
        self.assertTrue(out.endswith("ended by signal 6 (Aborted)\n"), out)


class Trouble(PreviewTest):
    """Unusable input of both commands, and closed outputs."""

    COMMAND = "preview"
    # The exit status for a rejected configuration, and the text after the error message.
    REFUSED = 1
    AFTER_COMPLAINT = ""

    def run_command(self, *words, **options):
        return self.preview(*words, name=self.COMMAND, **options)

    def refused(self, text, complaint):
        self.write("mine.json", text)
        status, _, err = self.run_command("mine.json")
        self.assertEqual((status, err), (self.REFUSED, f"mine.json:{complaint}\n{self.AFTER_COMPLAINT}"))

    def test_refused_configuration(self):
        self.refused(
            '{\n  "hostnames": [{"name": "a\\nb"}]\n}\n', "2:26: hostnames[0].name: control character U+000A"
        )

    def unparsable(self, text):
        self.write("mine.json", text)
        status, out, err = self.run_command("mine.json")
        self.assertEqual((status, out), (2, ""))
        self.assertRegex(err, r"^mine\.json:[12]:\d+: error: ")

    def test_malformed_json(self):
        self.unparsable('{\n  "wired" {}}\n')

    def test_deep_nesting(self):
        self.unparsable('{"a": ' + "[" * 100_000 + "]" * 100_000 + "}")

    def test_file_of_50_megabytes(self):
        self.write("mine.json", '{"a": "' + "a" * 50_000_000 + '"}')
        status, out, err = self.run_command("mine.json")
        self.assertEqual((status, out, err), (2, "", "mine.json: the configuration is larger than 4 MB\n"))

    def test_no_argument(self):
        status, out, err = self.run_command()
        self.assertEqual((status, out, err), (2, "", "/etc/lanfab/network.json: No such file or directory\n"))

    def test_unknown_file(self):
        status, out, err = self.run_command("missing.json")
        self.assertEqual((status, out, err), (2, "", "missing.json: No such file or directory\n"))

    def test_directory(self):
        status, out, err = self.run_command(self.directory)
        self.assertEqual((status, out, err), (2, "", f"{self.directory}: Is a directory\n"))

    def test_no_permission(self):
        self.write("mine.json", "{}").chmod(0)
        status, out, err = self.run_command(
            "mine.json", before=["setpriv", "--bounding-set=-dac_override,-dac_read_search"]
        )
        self.assertEqual((status, out, err), (2, "", "mine.json: Permission denied\n"))

    def test_unknown_option(self):
        status, out, err = self.run_command("--colour", EXAMPLE)
        self.assertEqual((status, out), (2, ""))
        self.assertIn("--colour", err)

    def test_program_that_is_missing(self):
        status, out, err = self.run_command(EXAMPLE, program="missing")
        self.assertEqual((status, out, err), (2, "", "missing: No such file or directory\n"))

    def test_program_that_is_none(self):
        self.write("program", "").chmod(0o755)
        status, out, err = self.run_command(EXAMPLE, program="./program")
        self.assertEqual((status, out), (2, ""))
        self.assertRegex(err, "lanfab: run .*/program: Exec format error\n")

    def test_closed_pipe(self):
        reader, writer = os.pipe()
        os.close(reader)
        status, _, err = self.run_command(EXAMPLE, stdout=writer)
        os.close(writer)
        self.assertEqual((status, err), (2, "lanfab: error writing standard output: Broken pipe\n"))

    def test_full_disk(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            status, _, err = self.run_command(EXAMPLE, stdout=full)
        self.assertEqual(
            (status, err), (2, "lanfab: error writing standard output: No space left on device\n")
        )

    def test_help_fits_on_a_screen(self):
        status, out, _ = self.run_command("--help")
        self.assertEqual(status, 0)
        self.assertLess(out.count("\n"), 24)
        self.assertIn(f"Example: lanfab {self.COMMAND}", out)


class DiffTrouble(Trouble):
    """Unusable input of `lanfab diff`."""

    COMMAND = "diff"
    REFUSED = 2
    AFTER_COMPLAINT = "mine.json: the run fails with the exit status 255; see `lanfab preview -v`\n"

    def test_second_file(self):
        for other, complaint in (("missing.json", "No such file or directory"), ("/", "Is a directory")):
            status, out, err = self.run_command(EXAMPLE, other)
            self.assertEqual((status, out, err), (2, "", f"{other}: {complaint}\n"))


class Cell(PreviewTest):
    """States of the cellular link."""

    def unit(self, *words):
        """Returns the content of the cellular unit; None if there is no such unit."""
        configuration = self.write("network.json", '{"wireless": {"cell": {"enable": true}}}')
        _, out, err = self.preview("--format=json", *words, configuration)
        self.assertEqual(err, "")
        contents = {file["path"]: file["content"] for file in json.loads(out)["files"]}
        return contents.get("/var/run/systemd/network/10-wwan0.network")

    def lay(self, directory):
        for name, value in (("intf", "wwan0"), ("ipv4", "10.9.8.7"), ("cidr", "30"), ("gw", "10.9.8.6")):
            path = pathlib.Path(directory, f"wwan_{name}")
            path.write_text(f"{value}\n", encoding="utf-8")
            if directory == "/var/run":
                self.addCleanup(path.unlink)

    def test_on_a_desk(self):
        self.assertIn("Address = 10.64.1.2/30", self.unit())
        self.assertEqual(self.unit("--cell=up"), self.unit())
        self.assertIsNone(self.unit("--cell=down"))
        self.assertIsNone(self.unit("--cell=here"))

    def test_on_a_gateway(self):
        self.lay("/var/run")
        self.assertIn("Address = 10.9.8.7/30", self.unit())
        self.assertEqual(self.unit("--cell=here"), self.unit())
        self.assertIn("Address = 10.64.1.2/30", self.unit("--cell=up"))
        self.assertIsNone(self.unit("--cell=down"))

    def test_a_directory(self):
        self.lay(self.directory)
        self.assertIn("Address = 10.9.8.7/30", self.unit(f"--cell={self.directory}"))

    def test_whether_it_is_connected(self):
        """In pass-through, the device behind the port gets the cellular address while the link is up."""
        configuration = self.write(
            "network.json",
            json.dumps(
                {
                    "wireless": {"cell": {"enable": True}},
                    "wired": {
                        "eth0": {
                            "enable": True,
                            "network": {"mode": "pass-through-auto", "dhcp": {"enable": True}},
                        }
                    },
                }
            ),
        )
        self.lay(self.directory)
        for words, address in (
            (["--cell=up"], "10.64.1.2"),
            (["--cell=down"], "169.254.0.2"),
            ([f"--cell={self.directory}"], "10.9.8.7"),
        ):
            self.assertIn(f"dhcp-range=eth0,{address},", self.preview(configuration, *words)[1])
        self.write("CELL_CONNECTED", "0\n")
        self.assertIn(
            "dhcp-range=eth0,169.254.0.2,", self.preview(configuration, f"--cell={self.directory}")[1]
        )

    def test_what_is_no_directory_of_a_link(self):
        for cell, complaint in (
            ("missing", "No such file or directory"),
            (EXAMPLE, "Not a directory"),
            (self.directory, "contains no file wwan_*"),
        ):
            status, out, err = self.preview(f"--cell={cell}", EXAMPLE)
            self.assertEqual((status, out, err), (2, "", f"{cell}: {complaint}\n"))

    def test_a_locked_gateway(self):
        """A run that holds the lock does not block a preview."""
        self.lay("/var/run")
        lock = pathlib.Path("/var/run/LANFAB_LOCKED")
        lock.touch()
        self.addCleanup(lock.unlink)
        self.assertIn("Address = 10.9.8.7/30", self.unit())


class OutputDirectory(PreviewTest):
    """Files that a preview writes below a directory."""

    def saved(self, directory):
        return {path.relative_to(directory) for path in directory.rglob("*") if path.is_file()}

    def test_files(self):
        for name in ("new", "empty"):
            directory = self.directory / name
            if name == "empty":
                directory.mkdir()
            status, out, err = self.preview("-o", name, EXAMPLE)
            self.assertEqual((status, err), (0, ""))
            self.assertIn("==> written <==\n/var/run/.delete_interfaces\n", out)
            self.assertIn(pathlib.Path("var/run/systemd/network/20-eth0.network"), self.saved(directory))
            script = directory / "var/run/post_networkd_start_actions_script"
            self.assertEqual(script.read_text(encoding="utf-8"), "#!/bin/sh\necho OK\n")
            self.assertEqual(script.stat().st_mode & 0o777, 0o755)
        self.before = self.surroundings()

    def test_not_empty(self):
        status, out, err = self.preview("-o", self.write("file", "").parent, EXAMPLE)
        self.assertEqual((status, out, err), (2, "", f"{self.directory}: Directory not empty\n"))

    def test_no_directory(self):
        status, out, err = self.preview("-o", EXAMPLE, EXAMPLE)
        self.assertEqual((status, out, err), (2, "", f"{EXAMPLE}: Not a directory\n"))

    def test_full_disk(self):
        disk = self.directory / "disk"
        disk.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "disk", disk], check=True)
        self.addCleanup(subprocess.run, ["umount", disk], check=True)
        for directory in (disk, disk / "new"):
            status, out, err = self.preview("-o", directory, EXAMPLE)
            self.assertEqual((status, out, err), (2, "", f"{directory}: No space left on device\n"))
            self.assertEqual(list(disk.iterdir()), [])
        self.before = self.surroundings()

    def tearDown(self):
        self.doCleanups()  # unmounts the disk before super() checks that nothing is left
        if self.directory.exists():
            super().tearDown()


class EarlyEnd(PreviewTest):
    """A signal at any time ends the preview and all processes in its sandbox."""

    # Each signal, sent to the process group, like a signal from the keyboard, and to the process alone.
    ENDS = tuple(
        itertools.product(
            (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL), (os.killpg, os.kill)
        )
    )

    def start(self, *words, program=None, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, **options}
        process = subprocess.Popen(
            command(*words, program=program),
            cwd=self.directory,
            start_new_session=True,
            stderr=subprocess.DEVNULL,
            **options,
        )
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def end(self, process, number, send):
        sandboxes = [os.pidfd_open(int(pid)) for pid in children(process.pid)]
        send(process.pid, number)
        self.assertEqual(process.wait(HANG_SECONDS), -number)
        for sandbox in sandboxes:
            self.assertTrue(select.select([sandbox], [], [], HANG_SECONDS)[0], "the sandbox still exists")
            os.close(sandbox)

    def test_while_it_reads(self):
        for end in self.ENDS:
            process = self.start("-", stdin=subprocess.PIPE)
            # More than the capacity of the pipe: when this returns, lanfab has read some of it.
            process.stdin.write(b" " * 200_000)
            process.stdin.flush()
            self.end(process, *end)
            process.stdin.close()

    def test_while_it_creates_the_sandbox(self):
        for end in self.ENDS:
            process = self.start(EXAMPLE)
            until(lambda process=process: children(process.pid), "there is no sandbox")
            self.end(process, *end)

    def test_while_the_program_runs(self):
        program = self.write("program", "#!/bin/sh\nexec sleep infinity\n")
        program.chmod(0o755)
        for end in self.ENDS:
            process = self.start(EXAMPLE, program=program)
            wait_for("sleep", process.pid)
            self.end(process, *end)

    def test_while_it_prints(self):
        configuration = self.write("network.json", LARGE)
        for end in self.ENDS:
            process = self.start(configuration)
            self.assertEqual(os.read(process.stdout.fileno(), 1), b"=")
            self.end(process, *end)


class Namespaces(PreviewTest):
    """Previews without user namespaces."""

    LIMIT = [
        "unshare",
        "--user",
        "--map-root-user",
        "sh",
        "-c",
        'echo 0 >/proc/sys/user/max_user_namespaces && exec "$@"',
        "sh",
    ]

    def test_root_needs_none(self):
        status, out, err = self.preview(EXAMPLE, before=self.LIMIT)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, self.preview(EXAMPLE)[1])

    def test_another_user_is_told_how_to_go_on(self):
        status, out, err = self.preview(EXAMPLE, before=[*self.LIMIT, "setpriv", "--bounding-set=-sys_admin"])
        self.assertEqual((status, out), (2, ""))
        self.assertTrue(err.startswith("lanfab: clone: "), err)
        self.assertIn("Run it as root", err)
        self.assertIn("sysctl user.max_user_namespaces=", err)


if __name__ == "__main__":
    unittest.main()
