#!/usr/bin/python3
"""scripts/install-packages installs the missing packages as root, and reports why it cannot."""

import unittest

from command import SCRIPTS, CommandTest

COMMAND = SCRIPTS / "install-packages"
SIZES = """The following NEW packages will be installed:
0 upgraded, 23 newly installed, 0 to remove and 4 not upgraded.
Need to get 12.3 MB/180 MB of archives.
After this operation, 720 MB of additional disk space will be used."""
UNREACHABLE = "E: Failed to fetch http://mirror/InRelease  Temporary failure resolving 'mirror'"
LOCKED = "E: Could not get lock /var/lib/apt/lists/lock. It is held by process 7 (apt-get)"


class InstallPackages(CommandTest):
    def setUp(self):
        super().setUp()
        self.calls = self.directory / "calls"
        self.temporary = self.directory / "temporary"
        self.temporary.mkdir()
        self.put("dpkg-query", 'case "$*" in *cmake*) exit 1 ;; esac; printf "install ok installed"')
        self.put_apt()
        # A stub of sudo that runs commands without becoming root.
        self.put("sudo", '[ "$1" != -n ] || shift; exec "$@"')

    def put_apt(self, update="", cost=f'echo "{SIZES}"; exit 1', install=""):
        """Creates a stub of apt-get from shell commands for its uses."""
        self.put("apt-get", f'echo "$*" >>{self.calls}\n'
                            f'case "$*" in\n'
                            f'  update*) {update or ":"} ;;\n'
                            f'  *assume-no*) {cost} ;;\n'
                            f'  *) {install or ":"} ;;\n'
                            'esac')

    def install(self, *arguments, **environment):
        """Runs the command, which must leave no temporary files."""
        done = self.run_command(COMMAND, *arguments, TMPDIR=str(self.temporary), **environment)
        self.assertEqual(list(self.temporary.iterdir()), [])
        return done

    def test_nothing_is_missing(self):
        self.put("dpkg-query", 'printf "install ok installed"')
        done = self.install("build", "test")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "")
        self.assertFalse(self.calls.exists())

    def test_what_is_missing_is_named_with_its_size(self):
        done = self.install("build")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "Missing packages: cmake\n"
                                      "Installing 23 packages, 12.3 MB to download, 720 MB on disk\n")
        self.assertRegex(self.calls.read_text(), "\ninstall -qq -y --no-install-recommends .* cmake\n$")

    def test_the_cost_alone(self):
        done = self.install("--cost", "build")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "23 packages, 12.3 MB to download, 720 MB on disk\n")
        self.assertNotIn(" -y ", self.calls.read_text())

    def test_nothing_missing_costs_nothing(self):
        self.put("dpkg-query", 'printf "install ok installed"')
        done = self.install("--cost", "build")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "")

    def test_the_cost_with_lists_of_its_own(self):
        # The machine's own package lists lack the package.
        self.put_apt(cost=f'case "$*" in *State::Lists={self.temporary}/*) echo "{SIZES}" ;; esac; exit 1')
        self.put("sudo", "echo sudo was run >&2; exit 1")
        done = self.install("--cost", "build")
        self.expect(done, 0)
        self.assertEqual(done.stdout, "23 packages, 12.3 MB to download, 720 MB on disk\n")

    def test_no_network(self):
        self.put_apt(update=f'echo "{UNREACHABLE}" >&2; exit 100',
                     cost='echo "E: Unable to locate package cmake" >&2; exit 100')
        for arguments in (["build"], ["--cost", "build"]):
            with self.subTest(arguments):
                done = self.install(*arguments)
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stderr,
                                 "Cannot download package lists: http://mirror/InRelease: "
                                 "Temporary failure resolving 'mirror'. Check the network connection.\n")
                self.assertNotIn(" -y ", self.calls.read_text())

    def test_no_network_for_the_packages(self):
        missing = "E: Failed to fetch http://mirror/cmake.deb  404  Not Found"
        self.put_apt(install=f'echo "{missing}" >&2; exit 100')
        done = self.install("build")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "Cannot download packages: http://mirror/cmake.deb: "
                                      "404  Not Found. Check the network connection.\n")

    def test_one_of_several_lists_cannot_be_downloaded(self):
        self.put_apt(update=f'echo "{UNREACHABLE}" >&2; exit 100')
        self.expect(self.install("build"), 0)

    def test_a_package_that_the_system_does_not_have(self):
        for error in ("Unable to locate package cmake", "Package 'cmake' has no installation candidate"):
            with self.subTest(error):
                self.put_apt(cost=f'echo "E: {error}" >&2; exit 100')
                self.expect(self.install("build"), 1, " does not have these packages: cmake\n")

    def test_a_failed_installation_fails(self):
        code = "E: Sub-process /usr/bin/dpkg returned an error code (1)"
        package = "dpkg: error processing package cmake (--configure):\n no space left"
        for error, cause in ((code, code[3:]), (f"{package}\n{code}", package[6:].replace("\n", ""))):
            with self.subTest(error):
                self.put_apt(install=f'echo "{error}" >&2; exit 100')
                done = self.install("build")
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stderr, f"Cannot install packages: {cause}\n")

    def test_waits_for_another_apt(self):
        first = self.directory / "first"
        self.put_apt(update=f'[ -e {first} ] || {{ touch {first}; echo "{LOCKED}" >&2; exit 100; }}')
        self.expect(self.install("build"), 0)
        self.assertEqual(self.calls.read_text().count("update "), 2)
        self.assertIn("DPkg::Lock::Timeout=", self.calls.read_text().splitlines()[-1])

    def test_sudo_needs_a_password_and_there_is_no_terminal(self):
        self.put("sudo", '[ "$1" = -n ] || echo "$*" >>' + str(self.calls) + "; exit 1")
        # With an unmapped user ID, even if root runs this test.
        done = self.run_command("setsid", "--wait", "unshare", "--user", COMMAND, "build")
        self.expect(done, 1, "Packages are missing. Install them as root:\n"
                             "  apt-get install --no-install-recommends cmake\n")
        self.assertFalse(self.calls.exists(), "sudo must not ask for a password")

    def test_the_gateway_can_be_chosen(self):
        self.put("dpkg-query", 'case "$*" in *-linux | *qemu*) exit 1 ;; esac; printf "install ok installed"')
        for kind, package in (("uml", "user-mode-linux"), ("qemu", "qemu-system-")):
            with self.subTest(kind):
                self.assertIn(f"Missing packages: {package}", self.install("gateway", GATEWAY=kind).stdout)
        done = self.install("gateway", GATEWAY="xen")
        self.expect(done, 1, "GATEWAY=xen is invalid: set it to uml or qemu\n")

    def test_without_apt_the_command_is_shown(self):
        # Only the tools that the script itself needs, and neither apt-get nor sudo.
        for name in ("bash", "sort", "sed", "paste", "env"):
            (self.programs / name).symlink_to(f"/usr/bin/{name}")
        for name in ("apt-get", "sudo"):
            (self.programs / name).unlink()
        done = self.install("build", PATH=str(self.programs))
        self.expect(done, 1, "apt-get install --no-install-recommends cmake\n")
        self.assertEqual(done.stdout, "")


if __name__ == "__main__":
    unittest.main()
