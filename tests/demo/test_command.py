#!/usr/bin/python3
"""Arguments of scripts/demo: the file that it uses, its output and its exit status.

Nothing is built, installed or booted: the demo runs in a scratch checkout in which the other scripts and the
launcher are stubs that record their arguments.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
STUB = """#!/bin/sh
echo "${0##*/}" "$@" >>"$CALLS"
[ "${0##*/}" != launch ] || exit 7
"""
# The second check of the machine boots a kernel, which needs the packages.
BEFORE_THE_BUILD = ["check-machine build gateway", "install-packages build gateway", "check-machine gateway"]
BUILD = ["build release cmd_lanfab lanfab"]
COST_OF_GATEWAY = "The demo in the gateway takes about half a minute.\n"
COST = f"""\
Building the programs takes about half a minute on two processors.
Installing missing packages first may take a few minutes more.
{COST_OF_GATEWAY}"""

RULE = re.compile(r"\[([a-z-]+)\]$", re.MULTILINE)

program = lanfab = None


def write(path, content):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)
    return path


class DemoCase(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="lanfab-demo-"))
        self.addCleanup(shutil.rmtree, self.directory)
        self.checkout = self.directory / "checkout"
        for name in (
            "scripts/check-machine",
            "scripts/install-packages",
            "scripts/build",
            "tests/system/gateway/launch",
            "build/release/cli/lanfab",
        ):
            write(self.checkout / name, STUB.encode()).chmod(0o755)
        for name in ("scripts/demo", "examples", "tests/support", "tests/system/gateway/tour"):
            (self.checkout / name).symlink_to(CHECKOUT / name)

    def file(self, content):
        return write(self.directory / "site.json", content)

    def link_program(self, path):
        """Uses a program as the result of the last build."""
        target = self.checkout / "build/release/cmd_lanfab"
        target.symlink_to(path)

    def demo(self, *arguments, wrapper=()):
        """Runs the demo; returns its result, with the calls of stubs as `calls`."""
        calls = write(self.directory / "calls", b"")
        result = subprocess.run(
            [*wrapper, self.checkout / "scripts/demo", *arguments],
            env={**os.environ, "CALLS": str(calls)},
            capture_output=True,
            text=True,
            check=False,
        )
        result.calls = calls.read_text(encoding="utf-8").splitlines()
        return result

    def assert_refused(self, result, error, stdout="", calls=()):
        self.assertEqual(result.stderr.splitlines(), [error])
        self.assertEqual((result.returncode, result.stdout), (2, stdout))
        self.assertEqual(result.calls, list(calls))


class Usage(DemoCase):
    def test_help(self):
        result = self.demo("--help")
        self.assertEqual((result.returncode, result.stderr, result.calls), (0, "", []))
        self.assertTrue(result.stdout.startswith("Usage: scripts/demo [CONFIG]\n"))

    def test_the_error_comes_before_the_usage(self):
        cases = (
            (["--all"], "scripts/demo: unknown option: --all"),
            (["-h"], "scripts/demo: unknown option: -h"),
            (["a.json", "b.json"], "scripts/demo: more than one CONFIG"),
            (["--help", "a.json"], "scripts/demo: more than one CONFIG"),
        )
        for arguments, error in cases:
            with self.subTest(arguments):
                result = self.demo(*arguments)
                first, second = result.stderr.splitlines()[:2]
                self.assertEqual((first, second), (error, "Usage: scripts/demo [CONFIG]"))
                self.assertEqual((result.returncode, result.stdout, result.calls), (2, "", []))


class FileThatCannotBeRead(DemoCase):
    """An unreadable file is an error before anything is called."""

    def test_missing(self):
        path = self.directory / "missing.json"
        self.assert_refused(self.demo(path), f"{path}: no such file")

    def test_no_name(self):
        self.assert_refused(self.demo(""), ": no such file")

    def test_directory(self):
        self.assert_refused(self.demo(self.directory), f"{self.directory}: is a directory")

    def test_device(self):
        self.assert_refused(self.demo("/dev/null"), "/dev/null: not a regular file")

    def test_unreadable(self):
        path = self.file(b"{}")
        path.chmod(0)
        self.link_program("/bin/false")
        # In a user namespace without a mapping, root has no more rights than the owner.
        self.assert_refused(self.demo(path, wrapper=["unshare", "--user"]), f"{path}: not readable")

    def test_empty(self):
        path = self.file(b"")
        self.assert_refused(self.demo(path), f"{path}: empty file")


class FileWithoutAConfiguration(DemoCase):
    """Invalid content is an error before the build. Checking it may need packages, such as python3."""

    def test_error(self):
        cases = (
            (b'{\n  "a": 1 "b": 2\n}', ":2:10: not valid JSON: Expecting ',' delimiter"),
            (b" \n", ":2:1: not valid JSON: Expecting value"),
            (b"{} {}", ":1:4: not valid JSON: Extra data"),
            (b'{"a": "\xff"}', ": not valid UTF-8"),
            (b"[" * 100_000, ": nested too deeply"),
            (b"[1, 2]", ": the configuration must be an object, not an array"),
            (b'"text"', ": the configuration must be an object, not a string"),
            (b"12", ": the configuration must be an object, not a number"),
            (b"true", ": the configuration must be an object, not a boolean"),
            (b"null", ": the configuration must be an object, not null"),
        )
        for content, error in cases:
            with self.subTest(content[:20]):
                path = self.file(content)
                self.assert_refused(self.demo(path), f"{path}{error}", COST, BEFORE_THE_BUILD)

    def test_program_that_was_built_reports_its_error(self):
        if program is None:
            self.skipTest("needs --program")
        self.link_program(program)
        path = self.file(b'{\n  "a": 1 "b": 2\n}')
        result = self.demo(path)
        self.assertEqual(
            result.stderr.splitlines(),
            [
                f"{path}:2:10: not valid JSON: Expecting ',' delimiter",
                "cmd_lanfab apply prints:",
                "  network.json:2:10: Missing ',' or '}' in object declaration",
                "  exit status 255",
            ],
        )
        self.assertEqual((result.returncode, result.calls), (2, BEFORE_THE_BUILD))


class FileWithAConfiguration(DemoCase):
    """Any JSON object is shown in a gateway."""

    def assert_booted(self, result, config, serves_dhcp=False):
        *before, launch = result.calls
        check = [f"lanfab check --offline {config}"]
        if serves_dhcp:
            diff = before.pop()
            self.assertIn(f" {config} ", diff)
            self.assertTrue(diff.startswith("lanfab diff "), diff)
        self.assertEqual(before, BEFORE_THE_BUILD + BUILD + check)
        self.assertIn(f"--config {config} ", launch)
        self.assertTrue(result.stdout.startswith(COST), result.stdout)
        self.assertEqual(result.returncode, 7, "the status of the launcher")
        self.assertEqual(result.stderr, "")

    def test_default(self):
        self.assert_booted(self.demo(), CHECKOUT / "examples/router/network.json", serves_dhcp=True)

    def test_object_with_anything_in_it(self):
        for content in (b"{}", b'{"wired": {"eth0": [1, 2, 3]}}', b'\xef\xbb\xbf{"wired": null}'):
            with self.subTest(content):
                path = self.file(content)
                self.assert_booted(self.demo(path), path)

    def test_name_is_relative_to_the_callers_directory(self):
        path = self.file(b"{}")
        self.assert_booted(self.demo(os.path.relpath(path)), path)


class Cost(DemoCase):
    """The demo first prints how long it takes."""

    def test_with_a_program_that_was_built(self):
        self.link_program("/bin/true")
        result = self.demo()
        self.assertTrue(result.stdout.startswith(COST_OF_GATEWAY), result.stdout)

    def test_before_the_machine_is_checked(self):
        write(self.checkout / "scripts/check-machine", b"#!/bin/sh\necho too small >&2; exit 1\n")
        result = self.demo()
        self.assertEqual((result.returncode, result.stdout, result.stderr), (1, COST, "too small\n"))
        self.assertEqual(result.calls, [])


class MachineThatCannotBoot(DemoCase):
    def test_nothing_is_built(self):
        stub = '#!/bin/sh\necho "${0##*/}" "$@" >>"$CALLS"\n[ "$*" != gateway ]\n'
        write(self.checkout / "scripts/check-machine", stub.encode())
        result = self.demo()
        self.assertEqual((result.returncode, result.calls), (1, BEFORE_THE_BUILD))


class Mistakes(DemoCase):
    def test_each_is_found_and_nothing_is_booted(self):
        if lanfab is None:
            self.skipTest("needs --lanfab")
        built = self.checkout / "build/release/cli/lanfab"
        built.unlink()
        built.symlink_to(lanfab)
        result = self.demo("--break")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        _, *mistakes = result.stdout.split("\n== ")[1:]
        found = [(mistake.splitlines()[0], set(RULE.findall(mistake))) for mistake in mistakes]
        self.assertEqual(
            found,
            [
                ("A key is misspelled", {"unknown-key"}),
                ("A mode begins with a capital letter", {"unknown-word"}),
                ("Two devices have the same static lease", {"lease-address-twice"}),
                ("A range ends in another network", {"range-outside-subnet"}),
                ("Two ports have the same network", {"subnet-twice", "route-gateway-outside"}),
            ],
        )
        self.assertFalse([call for call in result.calls if call.startswith("launch")])


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=lambda text: pathlib.Path(text).resolve(), help="a cmd_lanfab")
    parser.add_argument("--lanfab", type=lambda text: pathlib.Path(text).resolve(), help="a lanfab")
    options, rest = parser.parse_known_args()
    program, lanfab = options.program, options.lanfab
    unittest.main(argv=[sys.argv[0], *rest])
