#!/usr/bin/env python3
"""Tests the machine-readable reports of `lanfab check`: SARIF against its schema and against the JSON
report, and the commands of GitHub Actions. The program is the first argument.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

from lib import case, txtar
from lib.checkout import TESTS
from lib.runner import paths_of

LANFAB = os.path.abspath(sys.argv.pop(1))
SCHEMA = json.loads((TESTS / "check" / "sarif-2.1.0.schema.json").read_text(encoding="utf-8"))
COMMAND = re.compile(r"::(error|warning) file=([^,:]+),line=(\d+),endLine=(\d+)(?:,col=\d+,endColumn=\d+)?"
                     r",title=([a-z-]+)::[^\n]*")


def region_of(location):
    return {"startLine": location["line"], "startColumn": location["column"],
            "endLine": location["end_line"], "endColumn": location["end_column"]}


class Formats(unittest.TestCase):
    """Reports in all formats about the configurations of all cases, which together violate every rule."""

    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.directory = pathlib.Path(directory.name)
        texts = [text for path in paths_of("check") + paths_of("allow")
                 for text in case.configurations(path)]
        cls.names = [f"{number}.json" for number in range(len(texts))]
        for name, text in zip(cls.names, texts):
            (cls.directory / name).write_bytes(txtar.encode(text))
        cls.files = json.loads(cls.check("json", *cls.names))

    @classmethod
    def check(cls, output_format, *names):
        done = subprocess.run([LANFAB, "check", "--offline", "--format", output_format, *names],
                              cwd=cls.directory, capture_output=True, text=True, check=False)
        return done.stdout

    def sarif(self, *names):
        """Returns the only run of the SARIF report, after validating the report."""
        log = json.loads(self.check("sarif", *names))
        jsonschema.Draft4Validator(SCHEMA).validate(log)
        return log["runs"][0]

    def test_the_schema_refuses_another_report(self):
        log = json.loads(self.check("sarif", self.names[0]))
        log["runs"][0]["columnKind"] = "bytes"
        with self.assertRaises(jsonschema.ValidationError):
            jsonschema.Draft4Validator(SCHEMA).validate(log)

    def test_sarif_has_the_findings_of_the_json_report(self):
        run = self.sarif(*self.names)
        results = collections.defaultdict(list)
        for result in run["results"]:
            physical = result["locations"][0]["physicalLocation"]
            self.assertEqual(run["tool"]["driver"]["rules"][result["ruleIndex"]]["id"], result["ruleId"])
            results[physical["artifactLocation"]["uri"], bool(result["suppressions"])].append(
                (result["ruleId"], result["level"], physical["region"],
                 [location["physicalLocation"]["region"] for location in result.get("relatedLocations", [])]))
        for file in self.files:
            for key, is_allowed in ("findings", False), ("allowed", True):
                self.assertEqual(results[file["file"], is_allowed],
                                 [(entry["rule"], entry["severity"], region_of(entry),
                                   [region_of(location) for location in entry.get("related", [])])
                                  for entry in file.get(key, [])])

    def test_sarif_about_files_that_cannot_be_examined(self):
        (self.directory / "malformed {0} [a](b).json").write_text("{", encoding="utf-8")
        self.sarif("none.json", "malformed {0} [a](b).json")

    def test_the_commands_have_the_findings_of_the_json_report(self):
        lines = self.check("github", *self.names).splitlines()
        commands = [COMMAND.fullmatch(line) for line in lines[:-1]]
        self.assertTrue(all(commands), lines)
        self.assertEqual([command.groups() for command in commands],
                         [(entry["severity"], file["file"], str(entry["line"]), str(entry["end_line"]),
                           entry["rule"]) for file in self.files for entry in file["findings"]])
        self.assertRegex(lines[-1], rf"^\d+ errors and \d+ warnings in {len(self.files)} files")


if __name__ == "__main__":
    unittest.main()
