#!/usr/bin/env python3
"""Tests the collection with `ansible-test sanity`. Sanity tests that would install Python packages from the
Internet run directly, with Debian's packages."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from fleet import skip_without_ansible
from lib.controller import COLLECTION

PYTHON = "/usr/bin/python3"
SANITY = pathlib.Path("/usr/lib/python3/dist-packages/ansible_test/_util/controller/sanity")
# The sanity tests to run, if this version of Ansible has them.
TESTS = """
    action-plugin-docs changelog compile empty-init line-endings no-assert no-get-exception
    no-illegal-filenames no-main-display no-smart-quotes replace-urlopen shebang symlinks
    use-argspec-type-path use-compat-six""".split()
# The collection has no license.
ALLOWED = "Emissing-gplv3-license"


def can_validate_modules():
    return subprocess.run([PYTHON, "-c", "import validate_modules.main"], capture_output=True, check=False,
                          env={"PYTHONPATH": str(SANITY / "validate-modules")}).returncode == 0


class Sanity(unittest.TestCase):
    def setUp(self):
        parent = tempfile.TemporaryDirectory()
        self.addCleanup(parent.cleanup)
        # ansible-test expects the collection below this name, and writes its results into it.
        self.collection = pathlib.Path(parent.name) / "ansible_collections/lanfab/gateway"
        shutil.copytree(COLLECTION, self.collection)
        self.environment = {
            **os.environ, "HOME": parent.name, "LC_ALL": "C.UTF-8", "ANSIBLE_COLLECTIONS_PATH": parent.name,
            "PYTHONPATH": f"{parent.name}:{SANITY / 'validate-modules'}"}

    def run_tool(self, *words, given=""):
        """Returns the exit status and the output of a program; `given` is its standard input."""
        done = subprocess.run(words, env=self.environment, cwd=self.collection, check=False, text=True,
                              input=given, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode, done.stdout

    def modules(self):
        return sorted(str(path.relative_to(self.collection))
                      for path in self.collection.glob("plugins/modules/*.py"))

    def check_with_ansible_test(self):
        _, available = self.run_tool("ansible-test", "sanity", "--list-tests")
        options = [word for test in TESTS if test in available.split() for word in ("--test", test)]
        version = f"{sys.version_info.major}.{sys.version_info.minor}"
        return self.run_tool("ansible-test", "sanity", "--python", version, *options)

    def test_finds_nothing(self):
        status, output = self.check_with_ansible_test()
        self.assertEqual(status, 0, output)

    def test_finds_a_planted_mistake(self):
        with open(self.collection / self.modules()[0], "a", encoding="utf-8") as module:
            module.write("\n\nassert module\n")
        status, output = self.check_with_ansible_test()
        self.assertNotEqual(status, 0)
        self.assertIn("no-assert", output)

    @unittest.skipUnless(can_validate_modules(), "a Python package is missing that Debian 13 does not have")
    def test_modules_are_valid(self):
        _, output = self.run_tool(
            PYTHON, SANITY / "validate-modules/validate.py", "--format", "plain", "--arg-spec",
            "--collection", "ansible_collections/lanfab/gateway", "--collection-version", "1.1.0",
            *self.modules())
        findings = [line for line in output.splitlines() if line and ALLOWED not in line]
        self.assertEqual(findings, [])
        self.assertEqual(output.count(ALLOWED), len(self.modules()))

    def test_code_has_the_style_of_ansible(self):
        lines = (SANITY / "pep8/current-ignore.txt").read_text(encoding="utf-8").splitlines()
        ignored = ",".join(line.split("#")[0].strip() for line in lines)
        status, output = self.run_tool(PYTHON, "-m", "pycodestyle", "--max-line-length", "160", "--config",
                                       "/dev/null", "--ignore", ignored, "plugins")
        self.assertEqual((status, output), (0, ""))

    def test_metadata_is_valid(self):
        status, output = self.run_tool(PYTHON, SANITY / "code-smell/runtime-metadata.py",
                                       given="meta/runtime.yml\n")
        self.assertEqual((status, output), (0, ""))


if __name__ == "__main__":
    skip_without_ansible()
    unittest.main()
