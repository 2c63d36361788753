"""Where things are, and how a test gets into the sandbox."""

import pathlib
import subprocess
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]
CHECKOUT = TESTS.parent
EXAMPLES = CHECKOUT / "examples"
BUILD = CHECKOUT / "build" / "debug"
SANDBOX = TESTS / "support" / "sandbox"


class SandboxFailure(Exception):
    """What ran in the sandbox failed; the text is what it wrote to standard error."""


def sandboxed(module, *words, ports=True):
    """Returns the command line that runs a module in a sandbox of its own; its directory must be TESTS."""
    options = ["--ports"] if ports else []
    return [str(SANDBOX), *options, sys.executable, "-m", module, *map(str, words)]


def in_sandbox(module, *words, ports=True, text=""):
    """Runs a module in a sandbox of its own, with this text as its input; returns what it prints."""
    done = subprocess.run(sandboxed(module, *words, ports=ports), cwd=TESTS, input=text.encode(),
                          capture_output=True, check=False)
    if done.returncode != 0:
        raise SandboxFailure(done.stderr.decode(errors="backslashreplace"))
    return done.stdout.decode()
