#!/usr/bin/python3
"""Packages are installed by root alone, and only those that are missing."""

import unittest

from command import SCRIPTS, CommandTest

COMMAND = SCRIPTS / "install-packages"
SIZES = """The following NEW packages will be installed:
0 upgraded, 23 newly installed, 0 to remove and 4 not upgraded.
Need to get 12.3 MB/180 MB of archives.
After this operation, 720 MB of additional disk space will be used."""


class InstallPackages(CommandTest):
    def setUp(self):
        super().setUp()
        self.calls = self.directory / "calls"
        self.put("dpkg-query", 'case "$*" in *cmake*) exit 1 ;; esac; printf "install ok installed"')
        self.put("apt-get", f'echo "$*" >>{self.calls}\n'
                            f'case "$*" in *assume-no*) echo "{SIZES}"; exit 1 ;; esac')
        # Root by name: the commands of root are run as they are.
        self.put("sudo", 'exec "$@"')

    def test_nothing_is_missing(self):
        self.put("dpkg-query", 'printf "install ok installed"')
        done = self.run_command(COMMAND, "build", "test")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "")
        self.assertFalse(self.calls.exists())

    def test_what_is_missing_is_named_with_its_size(self):
        done = self.run_command(COMMAND, "build")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "Missing: cmake\n"
                                      "Installing 23 packages, 180 MB to download, 720 MB on disk\n")
        self.assertIn("install -qq -y --no-install-recommends -o APT::Status-Fd=1 cmake\n",
                      self.calls.read_text())

    def test_a_failed_installation_fails(self):
        self.put("apt-get", "echo E: no network >&2; exit 100")
        self.expect(self.run_command(COMMAND, "build"), 100, "E: no network")

    def test_a_gateway_uses_qemu_where_user_mode_linux_does_not_exist(self):
        self.put("dpkg-query", 'case "$*" in *-linux | *qemu*) exit 1 ;; esac; printf "install ok installed"')
        for candidate, chosen in (("6.1um4", "user-mode-linux"), ("(none)", "qemu-system-")):
            with self.subTest(candidate):
                self.put("apt-cache", f'echo "  Candidate: {candidate}"')
                done = self.run_command(COMMAND, "gateway", GATEWAY="")
                self.expect(done, 0)
                self.assertIn(f"Missing: {chosen}", done.stdout)

    def test_a_bare_system_gets_the_indexes_before_the_gateway_is_chosen(self):
        self.put("dpkg-query", 'case "$*" in *-linux | *qemu*) exit 1 ;; esac; printf "install ok installed"')
        self.put("apt-cache", f'! grep -q update {self.calls} || echo "  Candidate: 6.1um4"')
        done = self.run_command(COMMAND, "gateway", GATEWAY="")
        self.expect(done, 0)
        self.assertIn("Missing: user-mode-linux", done.stdout)

    def test_the_gateway_can_be_chosen(self):
        self.put("dpkg-query", 'case "$*" in *-linux | *qemu*) exit 1 ;; esac; printf "install ok installed"')
        self.put("apt-cache", "echo '  Candidate: 6.1um4'")
        self.assertIn("qemu-system-", self.run_command(COMMAND, "gateway", GATEWAY="qemu").stdout)
        self.expect(self.run_command(COMMAND, "gateway", GATEWAY="xen"), 1, 'GATEWAY is "xen"')

    def test_without_apt_the_command_is_shown(self):
        # Only what the script needs, and neither apt-get nor sudo.
        for name in ("bash", "sort", "sed", "paste", "env"):
            (self.programs / name).symlink_to(f"/usr/bin/{name}")
        for name in ("apt-get", "sudo"):
            (self.programs / name).unlink()
        done = self.run_command(COMMAND, "build", PATH=str(self.programs))
        self.expect(done, 1, "apt-get install --no-install-recommends cmake\n")
        self.assertEqual(done.stdout, "")


if __name__ == "__main__":
    unittest.main()
