#!/usr/bin/python3
"""Each command prints its usage on --help, and does nothing but that if it is called incorrectly."""

import unittest

from command import SCRIPTS, CommandTest

# Invalid arguments of each command.
WRONG = {
    "benchmark": ["--no-such-option"],
    "build": ["--no-such-option"],
    "build-arm": ["--no-such-option"],
    "build-package": ["mips"],
    "check-machine": ["no-such-need"],
    "check-package": ["--no-such-option"],
    "check-release": ["--no-such-option"],
    "check-words": ["--no-such-option"],
    "coverage": ["extra"],
    "draw-session": ["build", "extra"],
    "install-packages": ["no-such-group"],
    "lint": ["extra"],
    "make-sbom": ["build"],
    "release": ["--built", "build"],
    "test": ["--all", "extra"],
    "test-fresh": ["bookworm", "buster"],
}
WITHOUT_ARGUMENTS = ("build", "check-machine", "check-package", "check-release", "install-packages",
                     "make-sbom")


class Usage(CommandTest):
    def setUp(self):
        super().setUp()
        # Stubs that fail, so that a command that starts to work fails.
        for name in ("apt-get", "cmake", "clang-format", "git", "mmdebstrap", "sudo", "unshare"):
            self.put(name, f"echo {name} was run >&2; exit 9")

    def test_is_shown_when_asked_for(self):
        for name in WRONG:
            for option in ("--help", "-h"):
                with self.subTest(f"{name} {option}"):
                    done = self.run_command(SCRIPTS / name, option)
                    self.expect(done, 0)
                    self.assertIn(f"Usage: scripts/{name}", done.stdout)
                    self.assertNotIn("set -", done.stdout, "the usage includes the script's first command")

    def test_is_shown_when_an_argument_is_wrong(self):
        for name, arguments in WRONG.items():
            with self.subTest(name):
                done = self.run_command(SCRIPTS / name, *arguments)
                self.expect(done, 2, f"Usage: scripts/{name}")
                self.assertEqual(done.stdout, "")

    def test_is_shown_when_an_argument_is_missing(self):
        for name in WITHOUT_ARGUMENTS:
            with self.subTest(name):
                self.expect(self.run_command(SCRIPTS / name), 2, f"Usage: scripts/{name}")


if __name__ == "__main__":
    unittest.main()
