#!/usr/bin/python3
"""scripts/check-words finds the words that the project avoids, where a text can be reworded."""

import shutil
import subprocess
import unittest

from command import CHECKOUT, SCRIPTS, CommandTest


class CheckWords(CommandTest):
    def check(self, path, text):
        """Returns what the command prints about a file with the text."""
        file = self.directory / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        done = subprocess.run([SCRIPTS / "check-words", path], cwd=self.directory, capture_output=True,
                              text=True, check=False)
        self.assertEqual(done.returncode, 1 if done.stderr else 0)
        return done.stderr

    def test_a_word_is_found_with_its_line_and_what_to_use_instead(self):
        self.assertEqual(self.check("page.md", "One.\nA Fixed lease.\n"),
                         'page.md:2: "Fixed lease": use static lease\n')

    def test_a_word_is_found_that_continues_on_the_next_line(self):
        self.assertEqual(self.check("code.h", "// Reads a fixed\n// lease.\nint read();\n"),
                         'code.h:1: "fixed lease": use static lease\n')

    def test_only_whole_words_are_found(self):
        self.assertEqual(self.check("page.md", "We recommend fixed leasehold.\n"), "")

    def test_the_fixed_strings_of_cmd_lanfab_are_exempt(self):
        self.assertEqual(self.check("src/log.cpp", 'syslog(LOG_ERR, "no fixed lease");\n'), "")
        self.assertIn("src/log.cpp:1", self.check("src/log.cpp", 'log("error");  // no fixed lease\n'))

    def test_of_a_case_only_the_description_is_checked(self):
        case = "-- $ cmd_lanfab apply --\n-- log --\nnotice fixed lease\n"
        self.assertEqual(self.check("a.txtar", f"A static lease.\n\n{case}"), "")
        self.assertIn("a.txtar:1", self.check("a.txtar", f"A fixed lease.\n\n{case}"))

    def test_of_the_changelog_only_the_latest_section_is_checked(self):
        changelog = "# Changelog\n\n## [2.0]\n\n- {}\n\n## [1.0]\n\n- A fixed lease.\n"
        self.assertEqual(self.check("CHANGELOG.md", changelog.format("New.")), "")
        self.assertIn("CHANGELOG.md:5", self.check("CHANGELOG.md", changelog.format("A fixed lease.")))

    def test_the_table_of_words_is_exempt(self):
        self.assertEqual(self.check("CONTRIBUTING.md", "| static lease | fixed lease |\n"), "")

    @unittest.skipUnless((CHECKOUT / ".git").exists() and shutil.which("git"), "it needs git")
    def test_the_repository_has_none(self):
        self.expect(self.run_command(SCRIPTS / "check-words"), 0)


if __name__ == "__main__":
    unittest.main()
