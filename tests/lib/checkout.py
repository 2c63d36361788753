"""Paths of the checkout, and running modules in the sandbox."""

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
    """A process in the sandbox failed; ends this process with its standard error."""


def sandboxed(module, *words, ports=True):
    """Returns the command line that runs a module in a new sandbox."""
    options = ["--ports"] if ports else []
    return [str(SANDBOX), *options, str(TESTS / "python"), "-m", module, *map(str, words)]


def in_sandbox(module, *words, ports=True, text=""):
    """Runs a module in a new sandbox with `text` as its standard input; returns its standard output."""
    done = subprocess.run(sandboxed(module, *words, ports=ports), input=text.encode(), capture_output=True,
                          check=False)
    if done.returncode != 0:
        raise SandboxFailure(done.stderr.decode(errors="backslashreplace"))
    return done.stdout.decode()


def in_sandboxes(module, cases, *words, ports=True):
    """Passes the cases to a module in as many sandboxes as there are processors; returns its results.

    The module calls `answer` with the function that turns a case into a result. The results are in the order
    of the cases.
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
    """Prints the result of the function for each case from `in_sandboxes`."""
    for line in sys.stdin:
        print(json.dumps(function(json.loads(line))))
