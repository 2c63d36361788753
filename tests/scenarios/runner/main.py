"""Plays scenarios, each in a sandbox of its own, and shows where the program did not do what they expect."""

import argparse
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

from . import expected, scenario, txtar, update

HERE = pathlib.Path(__file__).resolve().parent.parent
CHECKOUT = HERE.parent.parent
SANDBOX = CHECKOUT / "tests/support/sandbox"
SAMPLE_STEP = 10


class NotPlayed(Exception):
    """A scenario that could not be played to its end."""


def scenario_paths():
    """The files of all scenarios."""
    return sorted(HERE.glob("*.txtar"))


def path_of(name):
    """The file of a scenario. One that lies elsewhere is named by its path; its usual.txt lies beside it."""
    return pathlib.Path(name).resolve() if name.endswith(".txtar") else HERE / f"{name}.txtar"


def play(path, variant, ports, arguments):
    """Returns the outcome of each run."""
    command = [SANDBOX, "--ports"] if ports else [SANDBOX]
    command += [sys.executable, "-m", "runner.play", f"--program={arguments.launcher} {arguments.program}"]
    command += [f"--variant={variant}", path]
    done = subprocess.run(command, cwd=HERE, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    if done.returncode != 0:
        raise NotPlayed(done.stderr.decode(errors="backslashreplace"))
    return [{name: expected.Output(*output) for name, output in outcome.items()}
            for outcome in json.loads(done.stdout)]


def differences(described, usual, outcomes):
    """Returns what the runs of one variant did that was not expected of them."""
    text, previous = "", {}
    for number, (run, outcome) in enumerate(zip(described.runs, outcomes), 1):
        previous = expected.expect(run, usual, expected.before(run, previous))
        found = expected.describe_differences(previous, outcome)
        text += f"run {number}, {run.command}:\n{found}" if found else ""
    return text


def check(path, arguments):
    """Plays all variants of a scenario; returns what is wrong with them, "" when nothing is."""
    text = txtar.read(path)
    comment, parts = txtar.parse(text)
    if not arguments.update:
        scenario.refuse_unused_variables(parts)
    usual = expected.Usual(path.parent / "usual.txt")
    rows = scenario.variants(parts)
    described = [scenario.build(scenario.in_variant(parts, row)) for row in rows]
    outcomes = [play(path, number, variant.ports, arguments) for number, variant in enumerate(described)]
    if arguments.update:
        updated = update.update(comment, parts, usual, outcomes)
        if updated != text:
            txtar.write(path, updated)
        return ""
    wrong = ""
    for row, variant, outcome in zip(rows, described, outcomes):
        found = differences(variant, usual, outcome)
        heading = f"with {' '.join(f'{name}={value}' for name, value in row.items())}:\n" if row else ""
        wrong += heading + found if found else ""
    return wrong


def judge(name, arguments):
    """Returns what is wrong with a scenario, "" when nothing is."""
    try:
        return check(path_of(name), arguments)
    except (NotPlayed, txtar.BadScenario, OSError) as error:
        return f"{error}\n"


def parse_arguments(words):
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--program", type=os.path.abspath, default=str(CHECKOUT / "build/debug/cmd_lanfab"),
                        help="the cmd_lanfab to run (default: build/debug/cmd_lanfab)")
    parser.add_argument("--launcher", default="", help="a command that runs the program, such as an emulator")
    parser.add_argument("--update", action="store_true", help="rewrite what the scenarios expect")
    parser.add_argument("--sampled", action="store_true", help="only every tenth scenario")
    parser.add_argument("--exhaustive", dest="sampled", action="store_false", help="all, after --sampled")
    parser.add_argument("name", nargs="*", help="the scenarios to play (default: all)")
    return parser.parse_args(words)


def main(words=None):
    """Plays the scenarios that the command line asks for; returns the exit status."""
    arguments = parse_arguments(words)
    names = arguments.name or [path.stem for path in scenario_paths()]
    if arguments.sampled:
        names = names[::SAMPLE_STEP]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, wrong in zip(names, pool.map(lambda name: judge(name, arguments), names)):
            print(f"{'FAILED' if wrong else 'ok    '} {name}\n{wrong}", end="", flush=True)
            failed += bool(wrong)
    print(f"{len(names) - failed} of {len(names)} scenarios passed")
    return 1 if failed or not names else 0
