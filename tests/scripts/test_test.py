#!/usr/bin/python3
"""scripts/test runs the tests that the machine can run, and lists the others. Stubs replace all builds."""

import shutil
import unittest

from command import SCRIPTS, CommandTest


class TestCommand(CommandTest):
    def setUp(self):
        super().setUp()
        self.checkout = self.directory / "checkout"
        for build in ("release", "clang", "arm"):
            (self.checkout / "build" / build).mkdir(parents=True)
        self.put_script("scripts/check-machine", 'for need; do [ ! -e "lacks-$need" ] || exit 1; done')
        self.put_script("scripts/install-packages", "exit 0")
        self.put_script("scripts/build", 'echo "build $*" >>calls')
        self.put_run_ctest("2 0 0")
        for name in ("build-arm", "build-package", "coverage", "lint", "release"):
            self.put_script(f"scripts/{name}", f'echo {name} "$@" >>calls')
        for name in ("instructions", "check-instructions"):
            self.put_script(f"benchmarks/{name}", f"echo {name} >>calls")
        shutil.copy(SCRIPTS / "test", self.checkout / "scripts/test")

    def put_script(self, name, text):
        """Creates a stub of a script that scripts/test calls."""
        path = self.checkout / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def put_run_ctest(self, tally, status=0):
        """Creates a stub of run-ctest that counts these numbers of passed, failed and skipped tests."""
        self.put_script("tests/support/run-ctest",
                        f'echo "run-ctest $*" >>calls; echo {tally} >>"$1/tally"; exit {status}')

    def run_test(self, *options):
        return self.run_command(self.checkout / "scripts/test", *options)

    def calls(self):
        path = self.checkout / "calls"
        return path.read_text() if path.exists() else ""

    def test_builds_once(self):
        done = self.run_test()
        self.expect(done, 0)
        self.assertTrue(done.stdout.endswith("\n2 passed, 0 failed, 0 skipped\n"), done.stdout)
        self.assertRegex(self.calls(), r"^build release -DBUILD_TESTING=ON all system_programs\n"
                                       r"run-ctest build/release -j \d+ -LE thorough\|exhaustive\n$")

    def test_all_takes_every_step(self):
        done = self.run_test("--all")
        self.expect(done, 0)
        self.assertTrue(done.stdout.endswith("\n8 passed, 0 failed, 0 skipped\n"), done.stdout)
        for step in ("build release", "instructions", "check-instructions", "build-package",
                     "release --dry-run --built build", "build-arm", "coverage --all", "lint --sampled"):
            self.assertIn(f"{step}\n", self.calls())

    def test_all_adds_the_thorough_tests(self):
        self.run_test("--all")
        for part in (r"build/release -j \d+ -LE thorough\|exhaustive",
                     r"build/release -j \d+ -L thorough\|exhaustive -LE system\|exhaustive -E \S+",
                     r"build/release -j \d+ -L system -L thorough\|exhaustive -LE exhaustive",
                     r"build/arm -j \d+ -LE exhaustive"):
            self.assertRegex(self.calls(), f"(?m)^run-ctest {part}$")

    def test_exhaustive_leaves_out_the_samples(self):
        self.run_test("--exhaustive")
        self.assertRegex(self.calls(), r"(?m)^run-ctest build/arm -j \d+ -LE sample$")
        self.assertIn("coverage --exhaustive\n", self.calls())

    def test_counts_skipped_tests(self):
        self.put_run_ctest("1 0 1")
        done = self.run_test()
        self.expect(done, 0)
        self.assertTrue(done.stdout.endswith("\n1 passed, 0 failed, 1 skipped\n"), done.stdout)

    def test_fails_when_a_test_fails(self):
        self.put_run_ctest("1 1 0", status=1)
        done = self.run_test()
        self.expect(done, 1)
        self.assertIn("\nFailed: everyday\n1 passed, 1 failed, 0 skipped\n", done.stdout)

    def test_fails_when_a_build_fails(self):
        self.put_script("scripts/build", '[ "$1" != release ]')
        done = self.run_test("--all")
        self.expect(done, 1)
        self.assertIn("\nFailed: everyday budgets\n6 passed, 0 failed, 0 skipped\n", done.stdout)

    def test_shows_the_output_of_the_background_step(self):
        self.put_script("tests/support/run-ctest", 'echo "Tests: $*"')
        self.assertRegex(self.run_test("--all").stdout, r"\n== system\nTests: build/release .* -L system ")

    def test_starts_nothing_if_the_machine_lacks_a_requirement(self):
        (self.checkout / "lacks-sandbox").touch()
        done = self.run_test()
        self.expect(done, 1, "Nothing was built. To run the tests that work on this machine: "
                             "scripts/test --possible\n")
        self.assertEqual(self.calls(), "")

    def test_possible_leaves_out_tests_in_the_sandbox(self):
        (self.checkout / "lacks-sandbox").touch()
        done = self.run_test("--possible")
        self.expect(done, 0)
        self.assertIn("run-ctest build/release -R ^(docs|scripts|system|check|tools)\\. ", self.calls())
        self.assertIn("Left out because this machine cannot run them: all but docs, ", done.stdout)

    def test_possible_leaves_out_the_gateway(self):
        (self.checkout / "lacks-gateway").touch()
        done = self.run_test("--possible")
        self.expect(done, 0)
        self.assertIn(" -LE thorough|exhaustive|system\n", self.calls())
        self.assertIn("Left out because this machine cannot run them: system\n", done.stdout)


if __name__ == "__main__":
    unittest.main()
