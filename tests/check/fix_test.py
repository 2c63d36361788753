#!/usr/bin/env python3
"""Tests how `lanfab check --fix` writes files, and how `--diff` shows the changes. The program is the first
argument."""

import json
import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import unittest

from lib.comments import takes_comments

LANFAB = os.path.abspath(sys.argv.pop(1))
# Run a command as root without the capabilities that would bypass file permissions, or change owners.
WITHOUT_ACCESS = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")
WITHOUT_CHOWN = ("setpriv", "--bounding-set=-chown")
MISTAKE = """{
  "wired": {
    "eth0": {"enable": true, "network": {
      "mode": "Router", "protocol": "static",
      "ipv4": "192.168.1.1/24",
      "dhcp": {"enabel": false}
    }}
  },
  "hostnames": [{"name": "printer", "ipv4": "192.168.1"}]
}
"""
FIXED = MISTAKE.replace("Router", "router").replace("enabel", "enable").replace(
    '1.1/24",', '1.1",\n      "netmask": 24,')
HOST = 'network.json:10:45: error: "192.168.1" is not an IP address [host-address-malformed]\n'


class Fix(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.file = self.directory / "network.json"
        self.file.write_text(MISTAKE, encoding="utf-8")

    def check(self, *words, before=(), **options):
        return subprocess.run([*before, LANFAB, "check", "--offline", *words], cwd=self.directory, text=True,
                              capture_output=True, check=False, **options)

    def text(self):
        return self.file.read_bytes().decode()

    def assert_only_the_file(self):
        self.assertEqual([path.name for path in self.directory.iterdir()], ["network.json"])

    def assert_untouched(self, done, message):
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", message))
        self.assertEqual(self.text(), MISTAKE)
        self.assert_only_the_file()

    def test_what_is_fixed_and_what_remains(self):
        done = self.check("--fix", "network.json")
        self.assertEqual(self.text(), FIXED)
        lines = done.stdout.splitlines()
        self.assertEqual({line.split(": ")[1] for line in lines[:-2]}, {"fixed"}, done.stdout)
        self.assertIn('network.json:6:16: fixed: "enabel" is now "enable" [unknown-key]', lines)
        self.assertEqual(lines[-2] + "\n", HOST)
        self.assertEqual(lines[-1], f"1 error and 0 warnings in 1 file, {len(lines) - 2} fixed")
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        self.assert_only_the_file()

    def test_nothing_to_fix(self):
        self.file.write_text(FIXED, encoding="utf-8")
        before = self.file.stat()
        done = self.check("--fix", "network.json")
        self.assertEqual((done.returncode, done.stdout), (1, HOST + "1 error and 0 warnings in 1 file\n"))
        # The file was not written.
        after = self.file.stat()
        self.assertEqual((after.st_ino, after.st_ctime_ns), (before.st_ino, before.st_ctime_ns))
        self.assertEqual(self.check("--diff", "network.json").stdout, "")

    def test_the_status_is_that_of_what_remains(self):
        sound = MISTAKE.replace("192.168.1\"", "192.168.1.9\"")
        self.file.write_text(sound, encoding="utf-8")
        self.assertEqual(self.check("--diff", "network.json").returncode, 1)
        self.assertEqual(self.check("--fix", "network.json").returncode, 0)

    def test_several_files(self):
        other = self.directory / "other.json"
        other.write_text(MISTAKE, encoding="utf-8")
        done = self.check("--fix", "network.json", "none.json", "other.json")
        self.assertEqual((done.returncode, done.stderr), (2, "none.json: No such file or directory\n"))
        self.assertEqual((self.text(), other.read_text(encoding="utf-8")), (FIXED, FIXED))

    def test_the_report_for_programs_is_of_what_remains(self):
        [report] = json.loads(self.check("--fix", "--format", "json", "network.json").stdout)
        self.assertEqual([finding["rule"] for finding in report["findings"]], ["host-address-malformed"])
        self.assertEqual(self.text(), FIXED)

    def test_line_ends_and_byte_order_mark_stay(self):
        for layout in (lambda text: text.replace("\n", "\r\n"), lambda text: "\ufeff" + text,
                       lambda text: text.replace("  ", "\t"), lambda text: text.rstrip("\n")):
            with self.subTest(layout("{ }\n")):
                self.file.write_bytes(layout(MISTAKE).encode())
                self.check("--fix", "network.json")
                self.assertEqual(self.text(), layout(FIXED))

    def test_mode_and_link_stay(self):
        self.file.chmod(0o640)
        link = self.directory / "link.json"
        link.symlink_to("network.json")
        self.check("--fix", "link.json")
        self.assertEqual(self.text(), FIXED)
        self.assertTrue(link.is_symlink())
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o640)

    def test_readers_see_the_old_text_or_the_new_one(self):
        with open(self.file, encoding="utf-8") as reader:
            self.check("--fix", "network.json")
            self.assertEqual(reader.read(), MISTAKE)

    @unittest.skipIf(os.geteuid(), "only root can give files away")
    def test_the_owner_stays(self):
        os.chown(self.file, 1234, 4321)
        self.check("--fix", "network.json")
        self.assertEqual(self.text(), FIXED)
        self.assertEqual((self.file.stat().st_uid, self.file.stat().st_gid), (1234, 4321))

    @unittest.skipIf(os.geteuid(), "only root can give files away")
    def test_a_file_whose_owner_cannot_stay(self):
        os.chown(self.file, 1234, 4321)
        self.assert_untouched(self.check("--fix", "network.json", before=WITHOUT_CHOWN),
                              "network.json: Operation not permitted\n")

    def test_a_directory_that_cannot_be_written(self):
        self.directory.chmod(0o555)
        done = self.check("--fix", "network.json", before=() if os.geteuid() else WITHOUT_ACCESS)
        self.directory.chmod(0o755)
        self.assert_untouched(done, "network.json: Permission denied\n")

    def test_a_link_that_anybody_may_have_made(self):
        shared = self.directory / "shared"
        shared.mkdir()
        shared.chmod(0o1777)
        (shared / "link.json").symlink_to("../network.json")
        done = self.check("--fix", "shared/link.json")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(self.text(), MISTAKE)

    def test_only_named_files_are_written(self):
        self.assert_untouched(self.check("--fix"), "lanfab: --fix requires FILE\n")
        self.assert_untouched(self.check("--fix", "network.json", "-", input=MISTAKE),
                              "lanfab: --fix cannot write standard input; use --diff\n")

    def test_the_difference_is_a_patch(self):
        done = self.check("--diff", "network.json")
        self.assertEqual((done.returncode, done.stderr, self.text()), (1, "", MISTAKE))
        subprocess.run(["patch", "--quiet", "-p0"], cwd=self.directory, input=done.stdout, text=True,
                       check=True)
        self.assertEqual(self.text(), FIXED)

    def test_the_difference_of_standard_input(self):
        done = self.check("--diff", "-", input=MISTAKE)
        self.assertTrue(done.stdout.startswith("--- <stdin>\n+++ <stdin>\n@@ "), done.stdout)

    def test_what_is_allowed_stays(self):
        allowed = MISTAKE.replace('      "dhcp"', '      // lanfab: allow unknown-key\n      "dhcp"')
        self.file.write_text(allowed, encoding="utf-8")
        self.check("--fix", "--allow", "address-malformed", "network.json")
        # If the parser rejects the comment, the file is not changed.
        fixed = allowed.replace("Router", "router") if takes_comments(LANFAB) else allowed
        self.assertEqual(self.text(), fixed)

    def test_both_only_show(self):
        self.assertEqual(self.check("--fix", "--diff", "network.json").stdout,
                         self.check("--diff", "network.json").stdout)
        self.assertEqual(self.text(), MISTAKE)


if __name__ == "__main__":
    unittest.main()
