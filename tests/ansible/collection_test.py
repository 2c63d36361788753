#!/usr/bin/env python3
"""Tests the collection with Ansible's own tools, and its example. The arguments are lanfab and cmd_lanfab."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from fleet import skip_without_ansible
from lib.controller import COLLECTION, lay_collection

LANFAB = os.path.abspath(sys.argv.pop(1))
del sys.argv[1]
MODULES = sorted(path.stem for path in (COLLECTION / "plugins" / "modules").glob("*.py"))
SITES = ["berlin", "hamburg", "munich", "warehouse"]
# Prints the options that a module accepts.
PRINT_OPTIONS = """
import importlib, json, sys
module = importlib.import_module("ansible_collections.lanfab.gateway.plugins.modules." + sys.argv[1])
module.AnsibleModule = lambda argument_spec, **_: sys.exit(print(json.dumps(argument_spec)))
module.main()
"""
DOCUMENTED = ("type", "elements", "required", "default", "choices")


class Collection(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.environment = {
            **os.environ, "HOME": directory.name, "XDG_CACHE_HOME": directory.name, "LC_ALL": "C.UTF-8",
            "ANSIBLE_COLLECTIONS_PATH": lay_collection(self.directory), "ANSIBLE_NOCOLOR": "1",
            "ANSIBLE_CONFIG": str(COLLECTION / "examples" / "ansible.cfg"),
            "ANSIBLE_REMOTE_TMP": f"{directory.name}/tmp",
            "PYTHONPATH": str(self.directory / "collections"), "PYTHONDONTWRITEBYTECODE": "1",
            "PATH": f"{os.path.dirname(LANFAB)}:{os.environ['PATH']}"}

    def run_tool(self, *words):
        done = subprocess.run(words, env=self.environment, cwd=COLLECTION, check=False, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def documents(self):
        """Returns the documentation of each module by its name."""
        names = [f"lanfab.gateway.{name}" for name in MODULES]
        documents = json.loads(self.run_tool("ansible-doc", "--json", "-t", "module", *names))
        return {name: documents[f"lanfab.gateway.{name}"] for name in MODULES}

    def test_ansible_lint_finds_nothing(self):
        self.run_tool("ansible-lint", "--offline", "--nocolor", "--profile", "production")

    def test_ansible_doc_shows_every_module(self):
        for name, document in self.documents().items():
            with self.subTest(name):
                self.assertTrue(document["doc"]["short_description"])
                self.assertIn(f"lanfab.gateway.{name}:", document["examples"])
                self.assertTrue(document["return"] and document["doc"]["options"])

    def test_a_module_takes_the_options_that_it_documents(self):
        for name, document in self.documents().items():
            with self.subTest(name):
                documented = {option: {key: about[key] for key in DOCUMENTED if key in about}
                              for option, about in document["doc"]["options"].items()}
                accepted = json.loads(self.run_tool("/usr/bin/python3", "-c", PRINT_OPTIONS, name))
                for about in accepted.values():
                    about.pop("no_log", None)
                self.assertEqual(accepted, documented)

    def test_it_can_be_packed(self):
        self.run_tool("ansible-galaxy", "collection", "build", "--output-path", str(self.directory))
        self.assertTrue((self.directory / "lanfab-gateway-1.1.0.tar.gz").exists())

    def test_the_configurations_of_the_example_have_no_findings(self):
        rendered = self.directory / "rendered"
        self.run_tool("ansible-playbook", "-i", "examples/inventory.yml", "-e", f"lanfab_rendered={rendered}",
                      "playbooks/check.yml")
        files = [rendered / f"{site}.json" for site in SITES]
        self.assertEqual(self.run_tool(LANFAB, "check", "--offline", "--strict", *files),
                         "0 errors and 0 warnings in 4 files\n")
        self.assertIn('"ipv4": "10.2.3.1"', files[2].read_text())


if __name__ == "__main__":
    skip_without_ansible()
    unittest.main()
