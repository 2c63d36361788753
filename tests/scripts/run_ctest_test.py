#!/usr/bin/python3
"""run-ctest prints a line for each group of tests, failures in full, and the reason for each skipped test."""

import json
import unittest

from command import CHECKOUT, CommandTest

COMMAND = CHECKOUT / "tests/support/run-ctest"


class RunCtest(CommandTest):
    def ctest(self, tests, lines, status=0, output=None, **environment):
        """Runs run-ctest with a stub of ctest, which lists the tests with their costs, prints the lines when
        it runs them, and reports the output of some tests."""
        listed = [{"name": name, "properties": [{"name": "COST", "value": cost}]}
                  for name, cost in tests.items()]
        (self.directory / "list").write_text(json.dumps({"tests": listed}))
        (self.directory / "lines").write_text(lines)
        cases = "".join(f'<testcase name="{name}"><system-out>{text}</system-out></testcase>'
                        for name, text in (output or {}).items())
        (self.directory / "report").write_text(f"<testsuite>{cases}</testsuite>")
        self.put("ctest", f'case "$*" in *--show-only*) cat {self.directory}/list; exit ;; esac\n'
                          'for option; do\n'
                          f'  [ "$before" != --output-junit ] || cp {self.directory}/report "$option"\n'
                          '  before=$option\n'
                          'done\n'
                          f"cat {self.directory}/lines; exit {status}")
        return self.run_command(COMMAND, str(self.directory), "-j", "2", **{"CI": "", **environment})

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
                         "  system.router              started, takes about 25 s\n"
                         "  unit                                 2 passed      1.5 s\n"
                         "  system.router                        1 passed     19.2 s\n"
                         "3 passed, 0 failed, 0 skipped in 0 s\n")
        self.assertEqual(self.tally(), "3 0 0\n")

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
                         "1 passed, 1 failed, 0 skipped in 0 s\n"
                         "  failed: unit.a\n")
        self.assertEqual(self.tally(), "1 1 0\n")

    def skip_one(self, **environment):
        return self.ctest({"unit.a": 0, "graph.documents": 0}, """    Start 1: unit.a
1/2 Test #1: unit.a ............   Passed    0.50 sec
    Start 2: graph.documents
2/2 Test #2: graph.documents ...***Skipped   0.25 sec

100% tests passed, 0 tests failed out of 1

The following tests did not run:
	  2 - graph.documents (Skipped)
""", output={"unit.a": "fine", "graph.documents": "searching\nGraphviz is not installed\n"}, **environment)

    def test_a_skipped_test_with_its_reason(self):
        done = self.skip_one()
        self.expect(done, 0)
        self.assertEqual(done.stdout,
                         "  unit                                 1 passed      0.5 s\n"
                         "  graph                          1 of 1 skipped      0.2 s\n"
                         "1 passed, 0 failed, 1 skipped in 0 s\n"
                         "  skipped: graph.documents: Graphviz is not installed\n")
        self.assertEqual(self.tally(), "1 0 1\n")

    def test_skipped_tests_are_errors_in_ci(self):
        done = self.skip_one(CI="true")
        self.expect(done, 1, "Skipped tests are errors in CI (CI=true).\n")
        self.assertIn("  skipped: graph.documents: Graphviz is not installed\n", done.stdout)

    def test_a_test_that_skips_without_a_reason(self):
        lines = "1/1 Test #1: unit.a ...***Skipped   0.25 sec\n"
        done = self.ctest({"unit.a": 0}, lines, output={"unit.a": ""})
        self.expect(done, 0)
        self.assertIn("  skipped: unit.a: no reason given\n", done.stdout)

    def test_a_test_that_does_not_run_or_times_out_has_failed(self):
        for result in ("***Not Run   0.00", "***Timeout 9.00"):
            with self.subTest(result):
                done = self.ctest({"unit.a": 0}, f"1/1 Test #1: unit.a ...{result} sec\n")
                self.assertEqual(done.returncode, 1)
                self.assertIn("0 passed, 1 failed, 0 skipped", done.stdout)

    def test_a_ctest_that_ends_early_has_failed(self):
        done = self.ctest({"unit.a": 0, "unit.b": 0}, "1/2 Test #1: unit.a ...   Passed   0.50 sec\n")
        self.assertEqual(done.returncode, 1)
        self.assertIn("1 passed, 1 failed, 0 skipped", done.stdout)
        self.assertEqual(self.tally(), "1 1 0\n")


if __name__ == "__main__":
    unittest.main()
