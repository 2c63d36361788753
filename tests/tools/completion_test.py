#!/usr/bin/env python3
"""Tests the completions of `lanfab` and `cmd_lanfab` in an interactive shell.

Usage: completion_test.py bash|zsh|fish LANFAB
"""

import os
import pathlib
import pty
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

SHELL = sys.argv.pop(1)
LANFAB = os.path.abspath(sys.argv.pop(1))
COMPLETIONS = pathlib.Path(__file__).resolve().parents[2] / "packaging/tools"


class Terminal:
    """A shell on a terminal, which inserts all completions of a word with one key."""

    INSERT_COMPLETIONS = "\x1b*"
    BEGINNING_OF_LINE = "\x01"
    # Shows the words of a command line to the test.
    SHOW = 'show() { printf "%s\\n" "$@" >words; }'

    def __init__(self, command, setup, directory, environment):
        self.words = directory / "words"
        os.mkfifo(self.words)
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.chdir(directory)
            os.execvpe(command[0], command, environment)
        # The shell blocks if its output is not read.
        threading.Thread(target=self.read_all, daemon=True).start()
        self.type(f"{setup}\n{self.SHOW}\n")

    def read_all(self):
        try:
            while os.read(self.terminal, 4096):
                pass
        except OSError:
            pass

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def completions(self, line):
        self.type(f"{line}{self.INSERT_COMPLETIONS}{self.BEGINNING_OF_LINE}show \n")
        words = self.words.read_text(encoding="utf-8").splitlines()
        return words[len(line.split(" ")) - 1 :]

    def close(self):
        self.type("\nexit\n")
        os.waitpid(self.child, 0)


class Bash(Terminal):
    def __init__(self, directory, environment):
        setup = f"source '{COMPLETIONS}/lanfab.bash'; source '{COMPLETIONS}/cmd_lanfab.bash'"
        command = ["bash", "--norc", "--noprofile"]
        super().__init__(command, setup, directory, environment | {"INPUTRC": "/dev/null", "HISTFILE": ""})


class Zsh(Terminal):
    # fpath is the list of directories in which zsh searches for completions.
    SETUP = r"""fpath=('%s' $fpath); autoload -Uz compinit; compinit -D -u; bindkey -e
zle -C all-matches complete-word _generic; bindkey '\e*' all-matches
zstyle ':completion:all-matches::::' completer _all_matches _complete
zstyle ':completion:all-matches:*' insert true"""

    def __init__(self, directory, environment):
        super().__init__(["zsh", "-f"], self.SETUP % COMPLETIONS, directory, environment)


class Fish:
    def __init__(self, directory, environment):
        self.directory = directory
        self.environment = environment

    def completions(self, line):
        """Returns the completions, of which fish prints one per line, with its description after a tab."""
        sources = f"source '{COMPLETIONS}/lanfab.fish'; source '{COMPLETIONS}/cmd_lanfab.fish'"
        command = f"{sources}; complete --do-complete '{line}'"
        done = subprocess.run(["fish", "--no-config", "--command", command], cwd=self.directory,
                              env=self.environment, stdout=subprocess.PIPE, text=True, check=True)
        return [line.partition("\t")[0] for line in done.stdout.splitlines()]

    def close(self):
        pass


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        directory = pathlib.Path(scratch.name)
        for name in ("network.json", "my network.json"):
            (directory / name).touch()
        (directory / "link").mkdir()
        environment = os.environ | {
            "PATH": f"{os.path.dirname(LANFAB)}:{os.environ['PATH']}",
            "HOME": str(directory),
            "TERM": "dumb",
        }
        cls.shell = {"bash": Bash, "zsh": Zsh, "fish": Fish}[SHELL](directory, environment)
        cls.addClassCleanup(cls.shell.close)

    def check(self, line, expected):
        """Checks the completions of the last word of a line; a shell may append "/" or "=" to them."""
        found = {word.rstrip("/=") for word in self.shell.completions(line)}
        # The shells on a terminal leave a word that they cannot complete.
        self.assertEqual(found - {line.split(" ")[-1]}, set(expected.split()) - {""}, line)

    def test_commands(self):
        self.check("lanfab ", "check explain graph history lsp preview diff report schema try confirm revert "
                   "status")
        self.check("lanfab ch", "check")
        self.check("lanfab -", "-h --help --version")

    def test_options(self):
        self.check("lanfab preview -", "--action --cell --program -o --format -v -h --help")
        self.check("lanfab status --w", "--watch")
        self.check("lanfab schema -", "-h --help")
        self.check("lanfab revert -", "--yes -h --help")

    def test_values_of_options(self):
        self.check("lanfab graph --format ", "text dot svg html")
        self.check("lanfab check --format ", "text json sarif github")
        self.check("lanfab check --format=j", "--format=json")
        self.check("lanfab diff --action w", "wwan_apply")
        self.check("lanfab try --timeout n", "")

    def test_files(self):
        for command in ("check", "check --strict", "graph", "preview --cell down", "diff network.json", "try",
                        "graph -o", "diff --program"):
            self.check(f"lanfab {command} n", "network.json")
        self.assertEqual(list(self.shell.completions("lanfab check m")), ["my network.json"])

    def test_no_files(self):
        for command in ("schema", "confirm", "revert", "status"):
            self.check(f"lanfab {command} n", "")

    def test_directories(self):
        self.check("lanfab preview --cell ", "up down here link")
        self.check("lanfab preview -o ", "link")

    def test_cmd_lanfab(self):
        self.check("cmd_lanfab ", "apply wwan_apply dnsmasq")
        self.check("cmd_lanfab w", "wwan_apply")
        self.check("cmd_lanfab --v", "--version")
        self.check("cmd_lanfab apply --p", "--pulse-ethernet")
        self.check("cmd_lanfab apply d", "")

    def test_rules(self):
        self.check("lanfab explain lease-address-t", "lease-address-twice")
        listed = subprocess.run([LANFAB, "explain"], stdout=subprocess.PIPE, text=True, check=True).stdout
        self.check("lanfab explain ", " ".join(line.split()[0] for line in listed.splitlines()))


if __name__ == "__main__":
    if shutil.which(SHELL) is None:
        sys.exit(f"{SHELL} is not installed: scripts/install-packages check")
    unittest.main()
