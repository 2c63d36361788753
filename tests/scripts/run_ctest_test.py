#!/usr/bin/python3
"""What ctest says becomes a line for each group of tests, and failures in full."""

import json
import unittest

from command import CHECKOUT, CommandTest

COMMAND = CHECKOUT / "tests/support/run-ctest"


class RunCtest(CommandTest):
    def ctest(self, tests, lines, status=0):
        """Has a ctest that lists the tests, each with its cost, and says the lines when it runs them."""
        listed = [{"name": name, "properties": [{"name": "COST", "value": cost}]}
                  for name, cost in tests.items()]
        (self.directory / "list").write_text(json.dumps({"tests": listed}))
        (self.directory / "lines").write_text(lines)
        self.put("ctest", f'case "$*" in *--show-only*) cat {self.directory}/list; exit ;; esac\n'
                          f"cat {self.directory}/lines; exit {status}")
        return self.run_command(COMMAND, str(self.directory), "-j", "2")

    def tally(self):
        return (self.directory / "tally").read_text()

    def test_a_line_for_each_group(self):
        done = self.ctest({"unit.a": 0, "unit.b": 0, "system.router": 25}, """Test project /build
    Start 1: unit.a
1/3 Test #1: unit.a ...........   Passed    0.50 sec
      Start 3: system.router
      Start 2: unit.b
2/3 Test #2: unit.b ...........   Passed    1.00 sec
3/3 Test #3: system.router ....   Passed   19.25 sec

100% tests passed, 0 tests failed out of 3
""")
        self.expect(done, 0)
        self.assertEqual(done.stdout.replace(str(self.directory), "BUILD"),
                         "  system.router              begins and takes about 25 s\n"
                         "  unit                                 2 passed      1.5 s\n"
                         "  system.router                        1 passed     19.2 s\n"
                         "3 of 3 tests passed in 0 s\n")
        self.assertEqual(self.tally(), "3 0\n")

    def test_a_failure_in_full(self):
        done = self.ctest({"unit.a": 0, "unit.b": 0}, """    Start 1: unit.a
1/2 Test #1: unit.a ...........***Failed    0.50 sec
expected 1
got 2

    Start 2: unit.b
2/2 Test #2: unit.b ...........   Passed    0.50 sec

50% tests passed, 1 tests failed out of 2

The following tests FAILED:
""", 8)
        self.expect(done, 1)
        self.assertEqual(done.stdout.replace(str(self.directory), "BUILD"),
                         "\nunit.a: Failed. To run it alone:\n"
                         "  ctest --test-dir BUILD --output-on-failure -R '^unit\\.a$'\n"
                         "expected 1\ngot 2\n\n"
                         "  unit                            1 of 2 failed      1.0 s\n"
                         "1 of 2 tests passed in 0 s\n"
                         "  failed: unit.a\n")
        self.assertEqual(self.tally(), "1 1\n")

    def test_what_is_skipped_or_does_not_run_has_not_passed(self):
        for result in ("***Skipped   0.00", "***Not Run   0.00", "***Timeout 9.00"):
            with self.subTest(result):
                done = self.ctest({"unit.a": 0}, f"1/1 Test #1: unit.a ...{result} sec\n")
                self.assertEqual(done.returncode, 1)
                self.assertIn("0 of 1 tests passed", done.stdout)

    def test_a_ctest_that_ends_early_has_failed(self):
        done = self.ctest({"unit.a": 0, "unit.b": 0}, "1/2 Test #1: unit.a ...   Passed   0.50 sec\n")
        self.assertEqual(done.returncode, 1)
        self.assertIn("1 of 2 tests passed", done.stdout)
        self.assertEqual(self.tally(), "1 1\n")


if __name__ == "__main__":
    unittest.main()
