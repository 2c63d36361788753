"""Where things are, and how a test gets into the sandbox."""

import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]
CHECKOUT = TESTS.parent
EXAMPLES = CHECKOUT / "examples"
BUILD = CHECKOUT / "build" / "debug"
SANDBOX = TESTS / "support" / "sandbox"


class SandboxFailure(SystemExit):
    """What ran in the sandbox failed, and so does this process. The text is what it said."""


def sandboxed(module, *words, ports=True):
    """Returns the command line that runs a module in a sandbox of its own."""
    options = ["--ports"] if ports else []
    return [str(SANDBOX), *options, str(TESTS / "python"), "-m", module, *map(str, words)]


def in_sandbox(module, *words, ports=True, text=""):
    """Runs a module in a sandbox of its own, with this text as its input; returns what it prints."""
    done = subprocess.run(sandboxed(module, *words, ports=ports), input=text.encode(), capture_output=True,
                          check=False)
    if done.returncode != 0:
        raise SandboxFailure(done.stderr.decode(errors="backslashreplace"))
    return done.stdout.decode()


def in_sandboxes(module, cases, *words, ports=True):
    """Has a module turn each case into a result, in as many sandboxes as there are processors.

    The module passes the function that does so to `answer`. The results are in the order of the cases.
    """
    results, count = list(cases), os.cpu_count()

    def play(number):
        text = "".join(json.dumps(case) + "\n" for case in results[number::count])
        printed = in_sandbox(module, *words, ports=ports, text=text)
        results[number::count] = map(json.loads, printed.splitlines())

    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        list(pool.map(play, range(count)))
    return results


def answer(function):
    """Prints what the function returns for each case that `in_sandboxes` sends."""
    for line in sys.stdin:
        print(json.dumps(function(json.loads(line))))
