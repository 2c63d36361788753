#!/usr/bin/env python3
"""Tests `lanfab check` of many files: the list of files, and parallel processes. The program is the first
argument.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

from lib.limits import HANG_SECONDS, processor_limit

LANFAB = os.path.abspath(sys.argv.pop(1))
# Runs a command as root without the capabilities to read all files.
WITHOUT_PRIVILEGES = ("setpriv", "--bounding-set=-dac_override,-dac_read_search") if os.geteuid() == 0 else ()
GOOD = '{"wireless": {"cell": {"enable": true}}}'
BAD = '{"dns": {"source": "ISP"}}'
ADVICE = '"ISP" is read as "static"; the known words are "isp" and "static"; did you mean "isp"?'
WARNING = GOOD[:-1] + ', "dns": {"source": "static"}}'
FIXABLE = '{"wires": {}}'
# A number of files that cannot be checked within the limit on processor time.
ENDLESS = 1_000_000


class Many(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def lay(self, **files):
        for name, text in files.items():
            (self.directory / f"{name}.json").write_text(text, encoding="utf-8")

    def check(self, *arguments, before=(), **options):
        return subprocess.run([*before, LANFAB, "check", "--offline", *arguments], cwd=self.directory,
                              text=True, check=False,
                              **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})

    def assert_said(self, done, status, output, errors=""):
        self.assertEqual((done.stdout, done.stderr, done.returncode), (output, errors, status))


class Processes(Many):
    def lay_all_kinds(self):
        """Creates files with every kind of result; returns their names, and names without a readable file."""
        self.lay(good=GOOD, bad=BAD, warning=WARNING, fixable=FIXABLE, malformed='{"wired": [}', empty="",
                 secret=GOOD, many='{"hostnames": [' + ",".join(1_010 * ["1"]) + "]}",
                 allowed="{\n// lanfab: allow unknown-word\n" + BAD[1:])
        (self.directory / "secret.json").chmod(0)
        names = [path.name for path in sorted(self.directory.iterdir())]
        return [*names, "none.json", ".", "\033[31m.json", *names[::-1]]

    def test_the_output_does_not_depend_on_their_number(self):
        names = self.lay_all_kinds()
        for words in (["--format=text"], ["--format=json"], ["--format=sarif"], ["--format=github"],
                      ["--diff"], ["--strict", "--allow=unknown-word"]):
            alone = self.check(*words, "-j1", *names, before=WITHOUT_PRIVILEGES)
            self.assertEqual(len(alone.stderr.splitlines()), 5)
            self.assertEqual(alone.returncode, 2)
            for number in 2, 7:
                with self.subTest(words, number=number):
                    done = self.check(*words, f"-j{number}", *names, before=WITHOUT_PRIVILEGES)
                    self.assert_said(done, 2, alone.stdout, alone.stderr)

    def test_text_is_in_the_order_of_the_files(self):
        self.lay(good=GOOD, bad=BAD, warning=WARNING)
        self.assert_said(
            self.check("-j2", "warning.json", "none.json", "bad.json", "good.json"), 2,
            "warning.json:1:49: warning: the source is \"static\", but \"static\" has no server "
            "[name-server-none]\n"
            f"bad.json:1:20: error: {ADVICE} [unknown-word]\n"
            "1 error and 1 warning in 3 files\n",
            "none.json: No such file or directory\n")

    def test_json_is_one_list(self):
        self.lay(good=GOOD, bad=BAD)
        done = self.check("-j2", "--format=json", "good.json", "none.json", "bad.json")
        self.assertEqual(json.loads(done.stdout), [
            {"file": "good.json", "findings": []},
            {"file": "none.json", "findings": [], "error": "none.json: No such file or directory"},
            {"file": "bad.json", "findings": [
                {"line": 1, "column": 20, "end_line": 1, "end_column": 25, "severity": "error",
                 "rule": "unknown-word", "message": ADVICE}]}])

    def test_the_status_is_that_of_one_process(self):
        self.lay(good=GOOD, bad=BAD, warning=WARNING)
        for words, status in ((["good.json", "good.json"], 0), (["warning.json", "good.json"], 0),
                              (["--strict", "warning.json", "good.json"], 1), (["bad.json", "good.json"], 1)):
            with self.subTest(words):
                self.assertEqual(self.check("-j2", *words).returncode, status)

    def test_standard_input_is_read_once(self):
        self.lay(bad=BAD)
        for number in 1, 3:
            with self.subTest(number=number):
                done = self.check(f"-j{number}", "bad.json", "-", "bad.json", "-", input=BAD)
                self.assertEqual([line.split(" ")[0] for line in done.stdout.splitlines()[:-1]],
                                 ["bad.json:1:20:", "<stdin>:1:20:", "bad.json:1:20:", "<stdin>:1:1:"])

    def test_numbers_that_make_no_sense(self):
        for words in (["-j0"], ["-j257"], ["-j", "two"], ["-j2", "--fix"]):
            with self.subTest(words):
                done = self.check(*words, "good.json")
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertIn("-j", done.stderr)


class Ends(Many):
    """All processes end if the first one ends, or if the output is closed."""

    def start(self, **options):
        self.lay(bad=BAD)
        process = subprocess.Popen(
            [*processor_limit(60), LANFAB, "check", "--offline", "-j2", "--files-from=-"],
            cwd=self.directory, stdin=subprocess.PIPE, stderr=subprocess.PIPE,
            **{"stdout": subprocess.PIPE, **options})
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        with process.stdin as names:
            names.write(ENDLESS * b"bad.json\n")
        process.stdin = None
        return process

    def test_after_a_signal(self):
        for number in signal.SIGINT, signal.SIGTERM, signal.SIGKILL:
            with self.subTest(number):
                process = self.start()
                process.stdout.readline()
                process.send_signal(number)
                # End of file on both streams: no process has them open any more.
                _, errors = process.communicate(timeout=HANG_SECONDS)
                self.assertEqual((process.returncode, errors), (-number, b""))

    def test_when_the_reader_has_gone(self):
        process = self.start()
        process.stdout.readline()
        process.stdout.close()
        process.stdout = None
        _, errors = process.communicate(timeout=HANG_SECONDS)
        self.assertEqual((process.returncode, errors),
                         (2, b"lanfab: error writing standard output: Broken pipe\n"))

    def test_on_a_full_disk(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = self.start(stdout=full)
        _, errors = process.communicate(timeout=HANG_SECONDS)
        self.assertEqual((process.returncode, errors),
                         (2, b"lanfab: error writing standard output: No space left on device\n"))


class List(Many):
    def setUp(self):
        super().setUp()
        self.lay(good=GOOD, bad=BAD)

    def list(self, text):
        (self.directory / "list").write_text(text, encoding="utf-8")
        return "--files-from=list"

    def test_names_of_files(self):
        self.assert_said(
            self.check(self.list("\ngood.json\n\nbad.json"), "none.json"), 2,
            f"bad.json:1:20: error: {ADVICE} [unknown-word]\n1 error and 0 warnings in 2 files\n",
            "none.json: No such file or directory\n")
        done = self.check("--files-from", "-", input="good.json\ngood.json\n")
        self.assert_said(done, 0, "0 errors and 0 warnings in 2 files\n")

    def test_a_name_may_have_spaces(self):
        self.lay(**{" a file": GOOD})
        self.assert_said(self.check(self.list(" a file.json\n")), 0, "0 errors and 0 warnings in 1 file\n")

    def test_an_empty_list_is_not_the_active_configuration(self):
        self.assert_said(self.check(self.list("\n")), 0, "")
        self.assert_said(self.check("--format=json", self.list("")), 0, "[]\n")
        self.assert_said(self.check("--fix", self.list("")), 0, "")

    def test_standard_input_as_one_of_them(self):
        self.assert_said(self.check(self.list("-\n"), input=GOOD), 0, "0 errors and 0 warnings in 1 file\n")
        self.assert_said(self.check("--files-from=-", input="-\n"), 2, "",
                         "lanfab: standard input is the list of files, and one of them\n")

    def test_files_are_fixed(self):
        self.lay(fixable=FIXABLE)
        done = self.check("--fix", self.list("fixable.json\n"))
        self.assertEqual(done.returncode, 0)
        self.assertEqual((self.directory / "fixable.json").read_text(encoding="utf-8"), '{"wired": {}}')

    def test_a_list_that_cannot_be_read(self):
        for name, reason in (("nowhere", "No such file or directory"), (".", "Is a directory")):
            with self.subTest(name):
                self.assert_said(self.check("--files-from", name), 2, "", f"{name}: {reason}\n")
        self.assert_said(self.check("--files-from=-", input="good.json\0bad.json\0"), 2, "",
                         "<stdin>: contains U+0000 (NUL): the names of the files must be lines\n")


if __name__ == "__main__":
    unittest.main()
