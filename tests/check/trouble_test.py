#!/usr/bin/env python3
"""Tests usage errors, unreadable input and failed output of `lanfab check`, `explain` and `schema`. The
program is the first argument.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from lib.limits import processor_limit

LANFAB = os.path.abspath(sys.argv.pop(1))
# Runs a command as root without the capabilities to read all files.
WITHOUT_PRIVILEGES = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")


class Trouble(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def lay(self, text, name="network.json"):
        (self.directory / name).write_text(text, encoding="utf-8")

    def run_lanfab(self, *arguments, before=(), **options):
        return subprocess.run([*before, LANFAB, *arguments], cwd=self.directory, text=True, check=False,
                              **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})

    def assert_trouble(self, done, message):
        self.assertEqual((done.returncode, done.stderr), (2, message + "\n"))

    def test_no_command(self):
        done = self.run_lanfab()
        self.assertEqual(done.returncode, 2)
        self.assertIn("A subcommand is required", done.stderr)

    def test_unknown_command(self):
        self.assert_trouble(self.run_lanfab("chek"),
                            'lanfab: unknown command "chek": did you mean "check"?')
        self.assert_trouble(self.run_lanfab("lint", "network.json"),
                            'lanfab: unknown command "lint"; run \'lanfab --help\' for a list')

    def test_unknown_option(self):
        for arguments in (["--cheque"], ["check", "--stricter"], ["check", "--format", "xml"]):
            with self.subTest(arguments):
                done = self.run_lanfab(*arguments)
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertIn("--help", done.stderr)

    def test_help_and_version(self):
        for arguments in (["--help"], ["--version"], ["check", "--help"], ["explain", "--help"],
                          ["schema", "--help"], ["status", "--help"]):
            with self.subTest(arguments):
                done = self.run_lanfab(*arguments)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertLessEqual(len(done.stdout.splitlines()), 24)

    def test_files_that_cannot_be_read(self):
        self.assert_trouble(self.run_lanfab("check", "none.json"), "none.json: No such file or directory")
        self.assert_trouble(self.run_lanfab("check", "."), ".: Is a directory")

    def test_files_that_cannot_be_read_are_in_the_json(self):
        self.lay("{}")
        self.lay('{"a": "' + 5_000_000 * "x" + '"}', "large.json")
        done = self.run_lanfab("check", "--offline", "--format", "json", "none.json", "network.json", ".",
                               "large.json")
        reasons = ["none.json: No such file or directory", ".: Is a directory",
                   "large.json: the configuration is larger than 4 MB"]
        self.assert_trouble(done, "\n".join(reasons))
        files = json.loads(done.stdout)
        self.assertEqual([file["file"] for file in files], ["none.json", "network.json", ".", "large.json"])
        self.assertEqual([file.get("error") for file in files], [reasons[0], None, *reasons[1:]])
        self.assertEqual([file["findings"] for file in files if "error" in file], 3 * [[]])

    def test_a_file_that_may_not_be_read(self):
        self.lay("{}")
        (self.directory / "network.json").chmod(0)
        before = WITHOUT_PRIVILEGES if os.geteuid() == 0 else ()
        self.assert_trouble(self.run_lanfab("check", "network.json", before=before),
                            "network.json: Permission denied")

    def assert_syntax_error(self, message):
        done = self.run_lanfab("check", "network.json")
        self.assertEqual((done.returncode, done.stderr), (2, ""))
        lines = done.stdout.splitlines()
        self.assertEqual((lines[0], lines[-1]),
                         (f"network.json:{message} [syntax]", "1 error and 0 warnings in 1 file"))

    def test_malformed_json(self):
        self.lay('{\n  "wired": {"eth0" true}\n}\n')
        self.assert_syntax_error('2:13: error: a colon is missing after "eth0"')
        self.lay("[]")
        self.assert_syntax_error("1:1: error: the configuration is not an object in braces")

    def test_a_nul_character_ends_no_configuration(self):
        self.lay('{\n}\n\0{"anything": 1}')
        self.assert_syntax_error("3:1: error: contains U+0000 (NUL)")

    def test_much_json(self):
        self.lay('{"a": "' + 50_000_000 * "x" + '"}')
        self.assert_trouble(self.run_lanfab("check", "network.json"),
                            "network.json: the configuration is larger than 4 MB")

    def test_deep_json(self):
        for level in ("[", '{"a":'):
            with self.subTest(level):
                self.lay('{"a":' + 100_000 * level)
                column = 6 + 999 * len(level)
                self.assert_syntax_error(f"1:{column}: error: too deeply nested: 1000 brackets are open here")

    def test_the_other_files_are_still_checked(self):
        self.lay('{"wireless": {"cell": {"enable": true}}}')
        done = self.run_lanfab("check", "--offline", "none.json", "network.json")
        self.assert_trouble(done, "none.json: No such file or directory")
        self.assertEqual(done.stdout, "0 errors and 0 warnings in 1 file\n")

    def test_standard_input(self):
        done = self.run_lanfab("check", "--offline", "-", input='{"dns": {"static": ["x"]}}')
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        self.assertTrue(done.stdout.startswith("<stdin>:1:21: error: "))

    def test_a_byte_order_mark(self):
        self.lay('\ufeff{"wired": {"eth0": {"a\\"b": 1}}}')
        done = self.run_lanfab("check", "--offline", "network.json")
        self.assertEqual(done.stdout.splitlines()[0],
                         'network.json:1:21: error: "a"b": unknown key [unknown-key]')

    def test_a_finding_for_every_value(self):
        self.lay('{"hostnames": [' + ",\n".join(50_000 * ["1"]) + "]}")
        done = self.run_lanfab("check", "--offline", "network.json", before=processor_limit(20))
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stdout.startswith("network.json:1:16: error: "))
        self.assertEqual(done.stdout.splitlines()[-3].split()[0], "network.json:1000:1:")
        self.assertEqual(done.stdout.splitlines()[-2], "network.json: error: and 49000 more [wrong-type]")

    def test_the_schema(self):
        self.assertEqual(self.run_lanfab("schema", "all").returncode, 2)

    def test_strict(self):
        self.lay('{"dns": {"source": "static"}}')
        self.assertEqual(self.run_lanfab("check", "--offline", "network.json").returncode, 0)
        self.assertEqual(self.run_lanfab("check", "--offline", "--strict", "network.json").returncode, 1)
        self.lay('{"wireless": {"cell": {"enable": true}}}')
        self.assertEqual(self.run_lanfab("check", "--offline", "--strict", "network.json").returncode, 0)

    def test_json_for_machines(self):
        self.lay('{"dns": {"source": "ISP"}}')
        done = self.run_lanfab("check", "--offline", "--format", "json", "network.json")
        self.assertEqual(json.loads(done.stdout), [{"file": "network.json", "findings": [
            {"line": 1, "column": 20, "end_line": 1, "end_column": 25, "severity": "error",
             "rule": "unknown-word",
             "message": '"ISP" is read as "static"; the known words are "isp" and "static"; '
                        'did you mean "isp"?'}]}])

    def test_a_full_disk(self):
        self.lay("{}")
        with open("/dev/full", "w", encoding="utf-8") as full:
            for arguments in (["check", "--offline", "network.json"], ["explain"], ["schema"]):
                with self.subTest(arguments):
                    self.assert_trouble(self.run_lanfab(*arguments, stdout=full),
                                        "lanfab: error writing standard output: No space left on device")

    def test_a_reader_that_has_gone(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        with os.fdopen(write_end, "w") as closed:
            self.assert_trouble(self.run_lanfab("explain", stdout=closed),
                                "lanfab: error writing standard output: Broken pipe")

    def test_no_such_rule(self):
        self.assert_trouble(self.run_lanfab("explain", "lease"),
                            'lanfab: unknown rule "lease"; run \'lanfab explain\' for a list')
        self.assert_trouble(self.run_lanfab("explain", "lease-by-nome"),
                            'lanfab: unknown rule "lease-by-nome": did you mean "lease-by-name"?')

    def test_several_rules(self):
        one = self.run_lanfab("explain", "lease-by-name").stdout
        other = self.run_lanfab("explain", "syntax").stdout
        done = self.run_lanfab("explain", "lease-by-name", "syntax")
        self.assertEqual((done.returncode, done.stdout), (0, one + "\n" + other))
        done = self.run_lanfab("explain", "sintax", "syntax")
        self.assert_trouble(done, 'lanfab: unknown rule "sintax": did you mean "syntax"?')
        self.assertEqual(done.stdout, other)


if __name__ == "__main__":
    unittest.main()
