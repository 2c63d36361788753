#!/usr/bin/env python3
"""Tests the completion of `lanfab` in a bash with a terminal, as a user has it. The program is the first
argument.

What the program's help lists must be completed, and nothing else.
"""

import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import threading
import unittest

LANFAB = os.path.abspath(sys.argv.pop(1))
COMPLETION = pathlib.Path(__file__).resolve().parents[2] / "packaging/tools/lanfab.bash"
# Shows the words of a command line to the test.
SHOW = 'show() { printf "%s\\n" "$@" >words; }'
INSERT_COMPLETIONS = "\x1b*"
BEGINNING_OF_LINE = "\x01"


def lanfab(*arguments):
    return subprocess.run([LANFAB, *arguments], capture_output=True, text=True, check=True).stdout


def listed(title, *command):
    """The first words of the lines below a title of the help."""
    section = re.search(rf"^{title}:\n((?: .*\n)+)", lanfab(*command, "--help"), re.MULTILINE)
    return [line.split()[0] for line in section[1].splitlines() if re.match(r"  \S", line)]


def options_of(*command):
    """All names of the options of a command: a line of the help begins with "-h,--help"."""
    return {name for names in listed("Options", *command) for name in names.split(",")}


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.directory = pathlib.Path(directory.name)
        os.mkfifo(cls.directory / "words")
        for name in ("network.json", "my network.json"):
            (cls.directory / name).touch()
        (cls.directory / "link").mkdir()
        cls.start_bash()

    @classmethod
    def start_bash(cls):
        environment = os.environ | {
            "PATH": f"{os.path.dirname(LANFAB)}:{os.environ['PATH']}",
            "INPUTRC": "/dev/null",
            "TERM": "dumb",
            "HISTFILE": "",
        }
        child, cls.terminal = pty.fork()
        if child == 0:
            os.chdir(cls.directory)
            os.execvpe("bash", ["bash", "--norc", "--noprofile"], environment)
        # What it prints has to be read, or it stops.
        reader = threading.Thread(target=cls.read_all, daemon=True)
        reader.start()
        cls.addClassCleanup(os.waitpid, child, 0)
        cls.type(f"source '{COMPLETION}'\n{SHOW}\n")
        cls.addClassCleanup(cls.type, "\nexit\n")

    @classmethod
    def read_all(cls):
        try:
            while os.read(cls.terminal, 4096):
                pass
        except OSError:
            pass

    @classmethod
    def type(cls, keys):
        os.write(cls.terminal, keys.encode())

    def completions(self, line):
        """All words that can take the place of the last one of a command line, which may be empty."""
        self.type(f"{line}{INSERT_COMPLETIONS}{BEGINNING_OF_LINE}show \n")
        words = (self.directory / "words").read_text(encoding="utf-8").splitlines()
        return set(words[len(line.split(" ")) - 1 :])

    def test_commands(self):
        commands = set(listed("Subcommands"))
        self.assertGreaterEqual(commands, {"check", "explain", "preview"})
        self.assertEqual(self.completions("lanfab "), commands)
        self.assertEqual(self.completions("lanfab ch"), {"check"})

    def test_options(self):
        self.assertEqual(self.completions("lanfab -"), options_of())
        for command in listed("Subcommands"):
            with self.subTest(command):
                self.assertEqual(self.completions(f"lanfab {command} -"), options_of(command))

    def test_values_of_options(self):
        for command in listed("Subcommands"):
            usage = lanfab(command, "--help")
            for option, values in re.findall(r"^  (--\w+) TEXT:\{(.*)\}", usage, re.MULTILINE):
                with self.subTest(command=command, option=option):
                    found = self.completions(f"lanfab {command} {option} ")
                    self.assertEqual(found, set(values.split(",")))
        self.assertEqual(self.completions("lanfab check --format=j"), {"--format=json"})

    def test_rules(self):
        rules = {line.split()[0] for line in lanfab("explain").splitlines()}
        self.assertEqual(self.completions("lanfab explain "), rules)
        self.assertEqual(self.completions("lanfab explain lease-address-t"), {"lease-address-twice"})

    def test_files(self):
        for command in ("check", "check --strict", "graph", "preview", "preview --cell down", "diff", "try"):
            with self.subTest(command):
                self.assertEqual(self.completions(f"lanfab {command} n"), {"network.json"})
        self.assertEqual(self.completions("lanfab check m"), {"my network.json"})
        for command in ("schema", "try --timeout", "confirm", "revert", "status"):
            with self.subTest(command):
                self.assertEqual(self.completions(f"lanfab {command} n"), {"n"})

    def test_directories_of_a_link(self):
        self.assertEqual(self.completions("lanfab preview --cell "), {"up", "down", "here", "link"})


if __name__ == "__main__":
    unittest.main()
