#!/usr/bin/env python3
"""Injects escape sequences, invisible and bidirectional characters into all strings that `lanfab` reads, and
runs every command on a pipe and on a terminal: it must not print such a character, or an injected line.

Runs in the sandbox. The first argument is lanfab, the second one cmd_lanfab.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unicodedata
import unittest

from hostile.texts import changed, configurations, paths, put, value_at
from lib import fake_systemd, play
from lib.limits import HANG_SECONDS
from lib.sandbox import put_first
from lib.terminal import shown_on_terminal

LANFAB, PROGRAM = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
DIRECTORY = pathlib.Path("/run/strings")
FORGED = "network.json:1:1: error: forged [forged]"
# Examples of each kind: escape sequence, bell, DEL, C1 control as a byte and as a character, bidirectional
# control, zero width, line separator, format character, invalid UTF-8.
CHARACTERS = ("\x1b[2J", "\x07", "\x7f", "\udc9b2J", "\x9b2J", "\u202e", "\u2066", "\u061c", "\u200b",
              "\u200d", "\ufeff", "\u00ad", "\u2028", "\u2029", "\u0600", "\U000e0041", "\udcff", "\r")
VALUE = "a" + "b".join(CHARACTERS)
# A file name that contains newlines.
NAME = f"{VALUE}\n{FORGED}\n"
# An interface name of valid length that does not match several interfaces.
INTERFACE = "e\x1b2\u202e\x9b"
# Control characters that the output of a command may contain.
LAYOUT = "\n\t"
COLOUR = re.compile(r"\x1b\[[\d;]*m")


def unprintable(text, layout=LAYOUT):
    """Returns the characters of an output that must not reach a terminal."""
    return [character for character in text
            if unicodedata.category(character) in ("Cc", "Cf", "Cs", "Zl", "Zp") and character not in layout]


def encoded(text):
    return text.encode(errors="surrogateescape")


class Strings(unittest.TestCase):
    """A temporary directory for each test."""

    def setUp(self):
        shutil.rmtree(DIRECTORY, ignore_errors=True)
        DIRECTORY.mkdir()

    def write(self, text, name="network.json", mode=0o644):
        path = os.path.join(DIRECTORY, name)
        with open(path, "wb") as file:
            file.write(encoded(text))
        os.chmod(path, mode)

    def write_json(self, value, name="network.json"):
        """Writes a value as JSON, with as few escapes as possible."""
        self.write(json.dumps(value, ensure_ascii=False), name)

    def run_lanfab(self, *words, statuses=(0, 1, 2), environment=None):
        """Returns a command's output on a pipe, decoded, after checking its exit status."""
        done = subprocess.run([LANFAB, *words], cwd=DIRECTORY, stdin=subprocess.DEVNULL, capture_output=True,
                              env={**os.environ, **(environment or {})}, timeout=HANG_SECONDS, check=False)
        output = (done.stdout + done.stderr).decode(errors="surrogateescape")
        self.assertIn(done.returncode, statuses, output)
        return output

    def shown(self, *words, environment=None):
        """Returns a command's output on a terminal, without color sequences."""
        text = shown_on_terminal([LANFAB, *words], cwd=DIRECTORY, env={**os.environ, **(environment or {})})
        return COLOUR.sub("", text.replace("\r\n", "\n"))

    def assert_clean(self, output, layout=LAYOUT):
        self.assertEqual(unprintable(output, layout), [], output)
        self.assertNotIn(FORGED, [line.strip() for line in output.splitlines()])
        self.assertFalse(any(line.startswith(FORGED) for line in output.splitlines()), output)

    def assert_all_clean(self, *words, **options):
        """Checks that a command's output is clean on a pipe and on a terminal; returns the former."""
        output = self.run_lanfab(*words, **options)
        self.assertTrue(output)
        self.assert_clean(output)
        self.assert_clean(self.shown(*words, **options))
        return output


class OwnStrings(unittest.TestCase):
    def test_each_is_noticed(self):
        for text in CHARACTERS:
            self.assertTrue(unprintable(text), repr(text))


class FileNames(Strings):
    def test_of_a_configuration_with_findings(self):
        self.write('{"wires": {}, "dns": {"static": ["x"]}}', NAME)
        self.assert_all_clean("check", "--offline", NAME)
        self.assert_all_clean("check", "--offline", "--format=github", NAME)
        for output_format in "text", "dot":
            self.assert_all_clean("graph", NAME, "--format", output_format)
        json.loads(self.run_lanfab("check", "--offline", "--format=json", NAME))

    def test_of_one_that_is_missing_or_cannot_be_read(self):
        self.write("{", "malformed" + NAME)
        self.write("[]", "array" + NAME)
        self.write('{"hostnames": [{"name": "a\\nb"}]}', "refused" + NAME)
        (DIRECTORY / "directory").mkdir()
        for name in ("missing" + NAME, "malformed" + NAME, "array" + NAME, "directory/" + NAME):
            for command in ("check", "graph", "preview", "diff", "try"):
                self.assert_all_clean(command, name)
        for command in ("preview", "diff"):
            self.assert_all_clean(command, f"--program={PROGRAM}", "refused" + NAME)
            self.assert_all_clean(command, f"--program={PROGRAM}", "-" + NAME)

    def test_of_output_programs_and_values_of_the_cellular_link(self):
        self.write("{}")
        self.write("", "file" + NAME)
        (DIRECTORY / ("empty" + NAME)).mkdir()
        self.assert_all_clean("graph", "network.json", "-o", f"missing/{NAME}")
        self.assert_all_clean("graph", "network.json", "-o", f"file{NAME}/x")
        for options in (["-o", f"file{NAME}"], ["-o", f"missing{NAME}/x"], [f"--program={NAME}"],
                        [f"--program=file{NAME}"], [f"--cell={NAME}"], [f"--cell=file{NAME}"],
                        [f"--cell=empty{NAME}"]):
            self.assert_all_clean("preview", "network.json", *options)

    def test_in_the_command_line(self):
        for words in ([NAME], [f"--{NAME}"], ["check", f"--{NAME}"], ["check", "--format", NAME],
                      ["explain", NAME], ["explain", "x", NAME], ["preview", "--action", NAME],
                      ["try", "x", "--timeout", NAME]):
            self.assert_all_clean(*words)


class Configurations(Strings):
    def assert_configuration(self):
        output = self.assert_all_clean("check", "--offline", "network.json")
        self.assert_all_clean("graph", "network.json")
        self.assert_all_clean("graph", "network.json", "--format=dot")
        self.assert_all_clean("check", "--offline", "--format=github", "network.json")
        parsed = self.run_lanfab("check", "--offline", "--format=json", "network.json")
        self.assertEqual(unprintable(parsed, LAYOUT + "\x7f"), [])
        json.loads(parsed)
        return output

    def test_values(self):
        for name, configuration in configurations().items():
            texts = [path for path in paths(configuration) if isinstance(value_at(configuration, path), str)]
            for path in texts:
                configuration = put(configuration, path, f"{NAME}{path}")
            with self.subTest(name):
                self.write_json(configuration)
                self.assertIn("[text-refused]", self.assert_configuration())

    def test_values_that_are_judged_themselves(self):
        for path in ("wired.eth0.network.mode", "wired.eth0.network.ipv4", "wired.eth0.network.protocol",
                     "dns.source"):
            self.write_json(changed(configurations()["router"], {path: NAME}))
            self.assert_configuration()

    def test_keys(self):
        configuration = configurations()["router"]
        for parent in ([], ["wired"], ["wired", "eth0"], ["wired", "eth0", "network"]):
            value_at(configuration, parent)[NAME] = {NAME: NAME}
        self.write_json(configuration)
        self.assertIn("[unknown-key]", self.assert_configuration())

    def test_keys_that_stand_twice(self):
        key = json.dumps(NAME, ensure_ascii=False)
        self.write(f"{{{key}: 1, {key}: 2}}")
        for command in ("check", "graph", "preview", "diff"):
            self.assert_all_clean(command, "network.json")


class DryRuns(Strings):
    """Dry runs of a program that writes, logs and prints such strings."""

    def setUp(self):
        super().setUp()
        self.write("{}")
        quoted = NAME.replace("'", "")
        self.write(f"""#!/bin/sh
cd /var/run
echo '{quoted}' >plain
mkdir -p '{quoted}'
echo nested >'{quoted}/{quoted}'
printf x >copy'{quoted}'
printf x >mode'{quoted}'
chmod 700 mode'{quoted}'
echo '[Match]
Name = {VALUE}
[Network]
Address = {VALUE}
[Route]
Destination = {VALUE}' >systemd/network/20-x.network
echo '127.0.0.1 {VALUE}' >hosts
echo 'nameserver {VALUE}' >resolv.conf
ip '{quoted}' '{quoted}'
systemctl '{quoted}'
logger -t network '{quoted}'
echo '{quoted}'
echo '{quoted}' >&2
exit 0
""", "program", 0o755)
        self.write((DIRECTORY / "program").read_bytes().decode(errors="surrogateescape").replace(
            "exit 0", "exit 3"), "failing", 0o755)
        self.write("#!/bin/sh\necho 1 >/var/run/plain\n", "other", 0o755)

    def test_preview(self):
        for program in "program", "failing":
            output = self.run_lanfab("preview", "-v", f"--program=./{program}", "network.json")
            # The output of the program and the content of its files may contain this line.
            output = output.replace(f"\n{FORGED}\n", "\n")
            self.assert_clean(output)
            self.assertIn("==> /var/run/plain <==\n", output)
            shown = self.shown("preview", "-v", f"--program=./{program}", "network.json")
            self.assertEqual(unprintable(shown), [], shown)
        names = [line for line in output.splitlines() if line.startswith("==>")]
        self.assertTrue(any("copy" in name and "forged" in name for name in names), names)
        parsed = self.run_lanfab("preview", "--format=json", "--program=./program", "network.json")
        self.assertEqual(unprintable(parsed, LAYOUT + "\x7f"), [])
        json.loads(parsed)

    def test_names_of_files_that_preview_writes(self):
        self.write(f"#!/bin/sh\necho new >'/var/run/x{NAME}'\n", "program", 0o755)
        output = self.run_lanfab("preview", "-o", "files", "--program=./program", "network.json")
        self.assert_clean(output)
        self.assertIn("forged", output)
        self.assertEqual(os.listdir(encoded(f"{DIRECTORY}/files/var/run")), [encoded(f"x{NAME}")])

    def test_diff_on_a_terminal(self):
        for program in "program", "failing":
            shown = self.shown("diff", f"--program=./{program}", "network.json")
            self.assertEqual(unprintable(shown), [], shown)

    def test_diff_that_is_a_patch(self):
        text = self.run_lanfab("diff", "--program=./program", "network.json", statuses=[1])
        hunk = re.compile(r"^[-+@ ]", re.MULTILINE)
        others = [line for line in text.split("\n")
                  if not hunk.match(line) or line.startswith(("---", "+++", "@@"))]
        # The last of these lines is standard error of the program.
        self.assert_clean("\n".join(others))
        begin = text.index("--- /dev/null\n+++ /var/run/plain\n")
        (DIRECTORY / "var/run").mkdir(parents=True)
        end = re.compile("^--- ", re.MULTILINE).search(text, begin + 1).start()
        done = subprocess.run(["patch", "--strip=1"], input=encoded(text[begin:end]), cwd=DIRECTORY,
                              stdout=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual((DIRECTORY / "var/run/plain").read_bytes(), encoded(f"{NAME}\n"))

    def test_name_in_a_patch(self):
        """patch(1) can apply a difference to a file whose name contains a newline."""
        name = f'x"\\ {NAME}'
        self.write(f"#!/bin/sh\necho new >'/var/run/{name}'\n", "program", 0o755)
        text = self.run_lanfab("diff", "--program=./program", "network.json", statuses=[1])
        begin = re.search(r'^--- /dev/null\n\+\+\+ "', text, re.MULTILINE).start()
        done = subprocess.run(["patch", "--strip=1"], input=encoded(text[begin:]), cwd=DIRECTORY,
                              stdout=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual(os.listdir(encoded(f"{DIRECTORY}/var/run")), [encoded(name)])


class Status(Strings):
    """A gateway whose tools print such strings."""

    def setUp(self):
        super().setUp()
        pathlib.Path("/run/hosts").write_text("127.0.0.1 localhost\n")
        unit = pathlib.Path("/run/systemd/network/20-eth0.network")
        unit.write_bytes(encoded(f"[Match]\nName = {INTERFACE}\n\n[Network]\n"
                                 f"Address = {VALUE}\n\n[Route]\nDestination = {VALUE}\nGateway = {VALUE}\n"))
        self.addCleanup(unit.unlink)
        leases = pathlib.Path("/run/dnsmasq.leases")
        leases.write_bytes(encoded(f"1795292324 {VALUE} 192.168.1.10 {VALUE} *\n"))
        self.addCleanup(leases.unlink)
        for name in ("intf", "ipv4", "gw", "mtu"):
            path = pathlib.Path(f"/run/wwan_{name}")
            path.write_bytes(encoded("\x9b2\u202e\n"))
            self.addCleanup(path.unlink)
        self.answers = DIRECTORY / "answers"
        self.answers.mkdir()
        link = {"ifname": NAME, "flags": ["UP"], "mtu": 1500, "master": NAME,
                "addr_info": [{"family": "inet", "local": NAME, "prefixlen": NAME}]}
        entry = {"__CURSOR": "a", "__REALTIME_TIMESTAMP": "1", "_PID": "1", "_UID": "0", "PRIORITY": "5",
                 "_EXE": "/usr/sbin/cmd_lanfab"}
        self.answer("address", json.dumps([link, {**link, "ifname": "gre-tun" + NAME},
                                           {**link, "ifname": INTERFACE}]))
        self.answer("route", json.dumps([{"dst": NAME, "gateway": NAME, "dev": NAME}]))
        self.answer("netconf", json.dumps([{"interface": NAME, "forwarding": True}]))
        self.answer("list", json.dumps({"Interfaces": [{"Name": INTERFACE,
                                                        "AdministrativeState": NAME}]}))
        for service in "systemd-networkd", "dnsmasq":
            self.answer(service, f"ActiveState=active\nSubState={VALUE}\nResult={VALUE}\n")
        self.answer("APPLY", json.dumps({**entry, "MESSAGE": "lanfab APPLY"}) + "\n")
        self.answer("--cursor=a", "".join(json.dumps({**entry, "MESSAGE": message}) + "\n"
                                          for message in ("lanfab APPLY", NAME, list(encoded(NAME)))))
        script = play.TOOL.replace(str(play.ANSWERS), str(self.answers)).replace("$tool $word", "$word")
        tools = ("ip", "networkctl", "systemctl", "journalctl")
        for tool in tools:
            self.write(script, tool, 0o755)
        put_first(DIRECTORY, tools)
        self.addCleanup(subprocess.run, ["umount", "/usr/sbin"], check=True)

    def answer(self, word, text):
        (self.answers / word).write_bytes(encoded(text))

    def assert_status(self, *words):
        output = self.assert_all_clean("status", *words)
        parsed = self.run_lanfab("status", "--format=json")
        self.assertEqual(unprintable(parsed, LAYOUT + "\x7f"), [])
        return output

    def test_answers(self):
        output = self.assert_status("-v")
        self.assertIn("forged", output)
        self.assertIn("APPLY", output)

    def test_tools_that_fail(self):
        for word in ("systemd-networkd", "address", "APPLY"):
            self.answer(f"{word} fails", NAME)
            self.assert_status()

    def test_trial(self):
        state = pathlib.Path("/run/lanfab/trial.json")
        state.parent.mkdir(exist_ok=True)
        self.addCleanup(shutil.rmtree, state.parent)
        state.write_bytes(encoded(json.dumps({"who": NAME, "file": NAME, "began": 0, "ends": 2 ** 40})))
        self.assertIn("forged", self.assert_status())


class Trial(Strings):
    def test_try(self):
        fake_systemd.lay_out()
        self.addCleanup(subprocess.run, ["umount", "/etc"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/usr/sbin"], check=True)
        fake_systemd.INSTALLED.write_text("{}")
        fake_systemd.pretend_apply()
        self.write('{"dns": {"source": "static", "static": ["8.8.8.8"]}}', NAME)
        environment = {"SUDO_USER": NAME, "SSH_CONNECTION": f"{NAME} 1"}
        for expected in "Applying ", "a trial is in progress: ":
            output = self.run_lanfab("try", NAME, environment=environment)
            self.assertIn(expected, output)
            self.assert_clean(output)
        for command in ("confirm",), ("revert",), ("record", "outcome"):
            self.assert_clean(self.run_lanfab(*command, environment=environment))


if __name__ == "__main__":
    unittest.main()
