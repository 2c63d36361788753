#!/usr/bin/env python3
"""Edits a configuration in Neovim with `lanfab lsp`, set up according to docs/editors.md.

The program is the first argument.
"""

import os
import pathlib
import re
import sys
import tempfile
import unittest

from lib.checkout import CHECKOUT
from lib.terminal import Terminal

LANFAB = pathlib.Path(sys.argv.pop(1)).resolve()
OMNI_COMPLETION = b"\x18\x0f"
ESCAPE = b"\x1b"


def setup_of_the_page():
    page = (CHECKOUT / "docs" / "editors.md").read_text(encoding="utf-8")
    return re.search(r"```lua\n(.*?)```", page, re.DOTALL)[1]


class Screen(Terminal):
    @staticmethod
    def printed(words):
        # If there is already a space on the screen, Neovim only moves the cursor.
        return re.compile(re.escape(words).replace(r"\ ", r"( |\x1b\[C)"))


class Neovim(unittest.TestCase):
    def edit(self, text):
        """Opens a file with the text in Neovim."""
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = pathlib.Path(directory.name)
        self.file = self.top / "network.json"
        self.file.write_text(text, encoding="utf-8")
        (self.top / "setup.lua").write_text(setup_of_the_page(), encoding="utf-8")
        environment = os.environ | {"HOME": str(self.top), "TERM": "xterm", "LC_ALL": "C.UTF-8",
                                    "PATH": f"{LANFAB.parent}:{os.environ['PATH']}"}
        self.editor = Screen("nvim", "--clean", "-n", "--cmd", f"luafile {self.top}/setup.lua",
                             str(self.file), env=environment)

    def command(self, command):
        self.editor.type(f":{command}\r".encode())

    def save_and_quit(self):
        """Returns the content of the saved file."""
        self.command("wq")
        self.assertEqual(self.editor.status(), 0)
        self.editor.hang_up()
        return self.file.read_text(encoding="utf-8")

    def test_a_mistake_is_shown_while_typing_and_a_quick_fix_corrects_it(self):
        self.edit('{"wireless": {"cell": {\n"enabel": true\n}}}\n')
        self.editor.wait_for('"enabel": did you mean "enable"?')
        self.command("2")
        self.command("lua vim.lsp.buf.code_action()")
        self.editor.wait_for("Replace with")
        self.editor.type(b"1\r")
        self.assertEqual(self.save_and_quit(), '{"wireless": {"cell": {\n"enable": true\n}}}\n')

    def test_a_key_is_completed(self):
        self.edit('{"wired": {"eth0": {\n"mode": 0\n}}}\n')
        self.editor.wait_for('"mode" is read in')
        self.command("2")
        self.editor.type(b'cc"en' + OMNI_COMPLETION)
        self.editor.wait_for("enable")
        self.editor.type(b"false" + ESCAPE)
        self.assertEqual(self.save_and_quit(), '{"wired": {"eth0": {\n\t"enable": false\n}}}\n')

    def test_the_schema_is_shown_for_the_key_at_the_cursor(self):
        self.edit('{"hostnames": 0}\n')
        # This diagnostic shows that the server has read the file.
        self.editor.wait_for("expected an array")
        self.command("call cursor(1, 4)")
        self.command("lua vim.lsp.buf.hover()")
        self.editor.wait_for("Host names that dnsmasq resolves.")
        self.assertEqual(self.save_and_quit(), '{"hostnames": 0}\n')


if __name__ == "__main__":
    unittest.main()
