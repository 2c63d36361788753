#!/usr/bin/python3
"""scripts/test runs what the machine can do, and says what it cannot; here nothing is really built."""

import json
import shutil
import unittest

from command import CHECKOUT, SCRIPTS, CommandTest


class TestCommand(CommandTest):
    def setUp(self):
        super().setUp()
        self.checkout = self.directory / "checkout"
        shutil.copytree(SCRIPTS, self.checkout / "scripts")
        shutil.copytree(CHECKOUT / "tests/support", self.checkout / "tests/support")
        self.put("dpkg-query", 'printf "install ok installed"')
        self.put("df", "echo Avail; echo 100000")
        self.put("findmnt", "echo rw")
        self.put("uname", "echo x86_64")
        self.put("linux.uml", "echo 'Checking PROT_EXEC mmap in /dev/shm...OK'")
        self.put("unshare", "exit 0")
        self.put("cmake", 'echo "cmake $*" >>calls; mkdir -p build/debug')
        listed = json.dumps({"tests": [{"name": "unit.a"}]})
        self.put("ctest", f"case \"$*\" in *--show-only*) echo '{listed}'; exit ;; esac\n"
                          'echo "ctest $*" >>calls; cat lines')
        self.let_test("Passed")

    def let_test(self, result):
        """Has the only test end so."""
        (self.checkout / "lines").write_text("Start 1: unit.a\n"
                                             f"1/1 Test #1: unit.a ...   {result}    0.50 sec\n")

    def run_test(self, *options):
        return self.run_command(self.checkout / "scripts/test", *options)

    def calls(self):
        path = self.checkout / "calls"
        return path.read_text() if path.exists() else ""

    def test_counts_the_tests(self):
        done = self.run_test()
        self.expect(done, 0)
        self.assertIn("\n1 tests passed, 0 did not, in 0 min", done.stdout)
        self.assertIn("-LE thorough", self.calls())

    def test_fails_when_a_test_fails(self):
        self.let_test("***Failed")
        done = self.run_test()
        self.assertEqual(done.returncode, 1)
        self.assertIn("\n0 tests passed, 1 did not, in 0 min", done.stdout)
        self.assertIn("Failed: debug\n", done.stdout)

    def test_fails_when_the_build_fails(self):
        self.put("cmake", "exit 1")
        done = self.run_test()
        self.assertEqual(done.returncode, 1)
        self.assertIn("Failed: debug\n", done.stdout)
        self.assertEqual(self.calls(), "")

    def test_begins_nothing_that_the_machine_cannot_do(self):
        self.put("unshare", "exit 1")
        self.expect(self.run_test(), 1, "Nothing was built. To run the tests that are possible here: "
                                        "scripts/test --possible\n")
        self.assertEqual(self.calls(), "")

    def test_leaves_out_what_is_not_possible_when_asked(self):
        self.put("unshare", "exit 1")
        done = self.run_test("--possible")
        self.expect(done, 0, "makes no user namespaces")
        self.assertIn("-R ^(system|scripts|docs|check|tools)\\. ", self.calls())
        self.assertIn("Left out, since this machine cannot run them: all but system, ", done.stdout)

    def test_leaves_out_the_gateway_when_asked(self):
        self.put("findmnt", "echo noexec")
        done = self.run_test("--possible")
        self.expect(done, 0, "where programs may run")
        self.assertIn("-E ^system\\. ", self.calls())
        self.assertIn("Left out, since this machine cannot run them: system\n", done.stdout)


if __name__ == "__main__":
    unittest.main()
