#!/usr/bin/env python3
"""Confirms trials where /etc/lanfab or the configuration is mounted or linked from elsewhere. The program is
the first argument.
"""

import os
import pathlib
import subprocess
import sys
import unittest

from lib import fake_systemd as systemd
from lib.fake_systemd import INSTALLED, STATE

LANFAB = os.path.abspath(sys.argv.pop(1))
CONFIGURATIONS = [f'{{"dns": {{"source": "static", "static": ["8.8.8.{number}"]}}}}\n' for number in range(3)]
NEW = pathlib.Path("/run/new.json")
# A data partition with the configuration, and a second mount point.
DATA = pathlib.Path("/run/data 1")
ELSEWHERE = pathlib.Path("/run/elsewhere")
ON_DATA = DATA / "lanfab/network.json"
ON_DATA_ELSEWHERE = ELSEWHERE / "lanfab/network.json"


def shell(line):
    subprocess.run(["sh", "-ec", line], check=True)


def read_only(directory):
    return f"mount --bind {directory} {directory}; mount -o remount,bind,ro {directory}"


class Layout(unittest.TestCase):
    def setUp(self):
        for directory in "/etc", DATA, ELSEWHERE:
            os.makedirs(directory, exist_ok=True)
            shell(f"mount -t tmpfs tmpfs '{directory}'")
            self.addCleanup(self.unmount_all, directory)
        systemd.end_trial()
        for path in INSTALLED, ON_DATA:
            path.parent.mkdir(exist_ok=True)
            path.write_text(CONFIGURATIONS[0])
            path.chmod(0o640)

    @staticmethod
    def unmount_all(directory):
        while subprocess.run(["umount", "--recursive", directory], stderr=subprocess.DEVNULL,
                             check=False).returncode == 0:
            pass

    def lanfab(self, *arguments, status=0, before=()):
        done = subprocess.run([*before, LANFAB, *arguments], env=systemd.ENVIRONMENT, text=True, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout)
        return done.stdout

    def try_new(self, text, **expected):
        NEW.write_text(text)
        systemd.pretend_apply()
        return self.lanfab("try", NEW, **expected)

    def assert_files(self, file, installed, previous):
        """Checks both configurations; `file` is the real path of the installed one."""
        self.assertEqual((INSTALLED.read_text(), file.read_text()), (installed, installed))
        self.assertEqual(INSTALLED.stat().st_mode & 0o7777, 0o640)
        self.assertEqual(sorted(os.listdir(file.parent)), ["network.json", "network.json.previous"])
        self.assertEqual(file.with_name("network.json.previous").read_text(), previous)

    def assert_trials_work(self, file, before=()):
        """Confirms and rolls back a trial each; `file` is the real path of the installed configuration."""
        first, second, third = CONFIGURATIONS
        self.try_new(second)
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (second, first))
        said = self.lanfab("confirm", before=before)
        self.assertIn(f"{file}.previous", said)
        self.assert_files(file, second, first)
        self.try_new(third)
        self.lanfab("revert")
        self.assert_files(file, second, first)
        # Replaces the previous configuration, too.
        self.lanfab("revert", "--yes")
        self.assert_files(file, first, second)
        self.assertEqual(systemd.leftovers(), [])

    def assert_refused(self, *said):
        """Checks that a trial that could not be confirmed does not begin, and the error message."""
        text = self.try_new(CONFIGURATIONS[1], status=2)
        for words in said:
            self.assertIn(words, text)
        self.assertEqual(os.listdir(STATE.parent), [])
        self.assertEqual(INSTALLED.read_text(), CONFIGURATIONS[0])


class Works(Layout):
    def test_plain(self):
        self.assert_trials_work(INSTALLED)

    def test_directory_mounted(self):
        shell(f"mount --bind '{ON_DATA.parent}' {INSTALLED.parent}")
        self.assert_trials_work(INSTALLED)
        self.assertEqual(ON_DATA.read_text(), INSTALLED.read_text())

    def test_link_to_the_directory(self):
        shell(f"rm -r {INSTALLED.parent}; ln -s '{ON_DATA.parent}' {INSTALLED.parent}; {read_only('/etc')}")
        self.assert_trials_work(ON_DATA)

    def test_link_to_the_file(self):
        shell(f"ln -sf '{ON_DATA}' {INSTALLED}; {read_only('/etc')}")
        self.assert_trials_work(ON_DATA)
        self.assertTrue(INSTALLED.is_symlink())

    def test_overlay(self):
        lower, upper, work = (ELSEWHERE / name for name in ("lower", "upper", "work"))
        shell(f"mkdir {upper} {work}; cp -a '{ON_DATA.parent}' {lower};"
              f"mount -t overlay o -o lowerdir={lower},upperdir={upper},workdir={work} {INSTALLED.parent}")
        self.assert_trials_work(INSTALLED)
        self.assertEqual((lower / "network.json").read_text(), CONFIGURATIONS[0])
        self.assertEqual((upper / "network.json.previous").read_text(), CONFIGURATIONS[1])


class FileMounted(Layout):
    def setUp(self):
        super().setUp()
        shell(f"mount --bind '{ON_DATA}' {INSTALLED}")

    def test_is_replaced_in_its_directory_and_mounted_again(self):
        self.assert_trials_work(ON_DATA)

    def test_on_a_read_only_root(self):
        shell("mount -o remount,bind,ro /etc")
        self.assert_trials_work(ON_DATA)

    def test_by_a_session_with_a_mount_namespace_of_its_own(self):
        self.assert_trials_work(ON_DATA, before=("unshare", "--mount", "--propagation", "private"))

    def test_it_keeps_the_options_of_its_mount(self):
        shell(f"mount -o remount,bind,ro,nosuid,nodev,noexec {INSTALLED}")
        self.assert_trials_work(ON_DATA)
        options = subprocess.run(["findmnt", "-no", "OPTIONS", INSTALLED], capture_output=True, text=True,
                                 check=True).stdout.splitlines()[-1]
        self.assertTrue({"ro", "nosuid", "nodev", "noexec"} <= set(options.split(",")), options)

    def test_after_a_trial_whose_files_were_removed(self):
        for line in f"rm {systemd.TRIAL}", f"rm -r {STATE.parent}":
            self.try_new(CONFIGURATIONS[1])
            shell(line)
            self.assertEqual(systemd.active(), CONFIGURATIONS[0])
            if STATE.exists():
                self.lanfab("revert")
            self.try_new(CONFIGURATIONS[2])
            self.assertEqual(systemd.active(), CONFIGURATIONS[2])
            self.assertEqual(INSTALLED.read_text(), CONFIGURATIONS[0])
            self.lanfab("revert")
        self.assert_trials_work(ON_DATA)

    def kill_confirmation(self, line):
        """Begins a trial, and leaves the files of a confirmation that was killed before it mounted the new
        file. Then runs a shell line.
        """
        self.try_new(CONFIGURATIONS[1])
        ON_DATA.rename(ON_DATA.with_name("network.json.previous"))
        shell(f"install -m 640 {NEW} '{ON_DATA}'; {line}")
        self.assertEqual(INSTALLED.read_text(), CONFIGURATIONS[0])

    def test_by_a_confirmation_that_follows_one_that_was_killed(self):
        for line in "true", f"umount {INSTALLED}":
            self.kill_confirmation(line)
            self.lanfab("confirm")
            self.assert_files(ON_DATA, CONFIGURATIONS[1], CONFIGURATIONS[0])
            self.doCleanups()
            self.setUp()

    def test_what_was_confirmed_stays_active(self):
        for line in "true", f"umount {INSTALLED}":
            self.kill_confirmation(line)
            said = self.lanfab("revert", "--timer")
            self.assertIn(f"mount {ON_DATA} there and remove {systemd.TRIAL}", said)
            self.assertEqual(systemd.active(), CONFIGURATIONS[1])
            self.assertFalse(systemd.TIMER.exists() or STATE.exists())
            self.doCleanups()
            self.setUp()

    def test_of_a_replaced_file_is_mounted_again_by_the_next_trial(self):
        shell(f"install -m 640 '{ON_DATA}' '{DATA}/copy'; mv '{DATA}/copy' '{ON_DATA}'")
        self.assertFalse(INSTALLED.samefile(ON_DATA))
        self.assert_trials_work(ON_DATA)

    def test_the_writable_one_of_several_mounts_is_used(self):
        shell(f"mount --bind '{DATA}' {ELSEWHERE}; mount -o remount,bind,ro {ELSEWHERE}")
        self.assert_trials_work(ON_DATA)
        shell(f"mount -o remount,bind,rw {ELSEWHERE}; mount -o remount,bind,ro '{DATA}'")
        ON_DATA_ELSEWHERE.with_name("network.json.previous").unlink()
        ON_DATA_ELSEWHERE.write_text(CONFIGURATIONS[0])
        self.assert_trials_work(ON_DATA_ELSEWHERE)

    def test_a_directory_that_is_covered_is_not_used(self):
        shell(f"mount --bind '{DATA}' {ELSEWHERE}; mount -t tmpfs cover '{DATA}/lanfab'")
        self.assert_trials_work(ON_DATA_ELSEWHERE)


class Refused(Layout):
    def test_read_only_directory(self):
        shell(read_only("/etc"))
        self.assert_refused("/etc/lanfab/: Read-only file system", "a symbolic link")

    def test_mounted_file_whose_directory_is_read_only(self):
        shell(f"mount --bind '{ON_DATA}' {INSTALLED}; mount -o remount,bind,ro '{DATA}'")
        self.assert_refused(f"{ON_DATA.parent}/: Read-only file system")

    def test_mounted_file_whose_directory_is_not_mounted(self):
        shell(f"mount --bind '{ON_DATA}' {INSTALLED}; umount '{DATA}'")
        self.assert_refused(f"{INSTALLED}: a mounted file", "mount the directory", "a symbolic link")

    def test_file_mounted_on_itself(self):
        shell(read_only(INSTALLED))
        self.assert_refused(f"{INSTALLED}: a mounted file")

    def test_what_becomes_read_only_during_the_trial(self):
        self.try_new(CONFIGURATIONS[1])
        shell("mount -o remount,bind,ro /etc")
        said = self.lanfab("confirm", status=2)
        self.assertIn("Read-only file system; the trial continues", said)
        self.assertEqual((systemd.active(), INSTALLED.read_text()), (CONFIGURATIONS[1], CONFIGURATIONS[0]))
        shell("mount -o remount,bind,rw /etc")
        self.lanfab("confirm")
        self.assert_files(INSTALLED, CONFIGURATIONS[1], CONFIGURATIONS[0])


if __name__ == "__main__":
    systemd.lay_out()
    unittest.main()
