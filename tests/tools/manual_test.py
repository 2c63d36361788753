#!/usr/bin/env python3
"""Tests that the manual page of `lanfab` has each command and option of the program's help, and no other. The
program is the first argument."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

LANFAB = os.path.abspath(sys.argv.pop(1))
PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs/man/lanfab.1"
OPTION = re.compile(r"(?<![\w-])--?[a-z][a-z-]*")
HELP = {"-h", "--help"}


def usage(*command):
    return subprocess.run([LANFAB, *command, "--help"], capture_output=True, text=True, check=True).stdout


def commands():
    section = usage().partition("Subcommands:\n")[2]
    return set(re.findall(r"^  (\w+)", section, re.MULTILINE))


def options(*command):
    """The names of the options, which a line of the help begins with."""
    lines = re.findall(r"^  (-\S+)", usage(*command), re.MULTILINE)
    return {option for line in lines for option in OPTION.findall(line)}


def section(title):
    """A section of the page, one line for each of its own, without requests and escapes."""
    text = re.search(
        rf"^\.SH {title}\n(.*?)(?=^\.SH|\Z)", PAGE.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL
    )[1]
    return text.replace("\\-", "-")


def tags(text):
    """What the entries of a list begin with."""
    return [line.replace('"', "") for line in re.findall(r"^\.TP\n\.[BIR]+ (.*)\n", text, re.MULTILINE)]


class Manual(unittest.TestCase):
    def test_commands(self):
        self.assertEqual(set(tags(section("COMMANDS"))), commands())

    def test_options(self):
        every = options().union(*(options(command) for command in commands()))
        self.assertEqual(
            {option for tag in tags(section("OPTIONS")) for option in OPTION.findall(tag)}, every
        )

    def test_options_of_each_command(self):
        synopsis = {}
        for block in section("SYNOPSIS").split(".br\n"):
            name = re.search(r"lanfab (\w+)", block)[1]
            synopsis[name] = set(OPTION.findall(block))
        self.assertEqual(synopsis, {command: options(command) - HELP for command in commands()})


if __name__ == "__main__":
    unittest.main()
