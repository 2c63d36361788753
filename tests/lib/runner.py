"""Plays cases, and prints differences from the expected outcomes."""

import argparse
import concurrent.futures
import json
import os
import pathlib
import shlex

from . import case, expected, play, sample, txtar, update
from .checkout import BUILD, TESTS, SandboxFailure, in_sandbox


def paths_of(name):
    """Returns the cases for an argument such as "check" or "check/vlan-id-twice"."""
    for path in pathlib.Path(name).resolve(), TESTS / name, TESTS / f"{name}.txtar":
        paths = sorted(path.glob("*.txtar")) if path.is_dir() else [path] * path.is_file()
        if paths:
            return paths
    raise argparse.ArgumentTypeError(f"no such case: {name}")


def name_of(path):
    """Returns the name of a case in tests/, or the path of another one."""
    return str(path.relative_to(TESTS).with_suffix("") if path.is_relative_to(TESTS) else path)


def programs_of(build, launcher=""):
    """Returns the command that runs each program of a build."""
    return {"cmd_lanfab": [*shlex.split(launcher), f"{build}/cmd_lanfab"], "lanfab": [f"{build}/cli/lanfab"]}


def outcomes_of(path, variant, described, programs, module="lib.play"):
    """Returns the outcome of each run, or an error if a run could not be played."""
    if described.needs_sandbox():
        words = [f"--programs={json.dumps(programs)}", f"--variant={variant}", path]
        played = json.loads(in_sandbox(module, *words, ports=described.ports))
    else:
        played = play.play_reader(described.runs, programs)
    return [outcome if isinstance(outcome, str) else
            {name: expected.Output(*output) for name, output in outcome.items()} for outcome in played]


def differences(described, usual, outcomes):
    """Returns the differences between the expected and the actual outcomes of a variant's runs."""
    text, previous = "", {}
    for number, (run, outcome) in enumerate(zip(described.runs, outcomes), 1):
        previous = expected.expect(run, usual, expected.before(run, previous))
        found = "" if isinstance(outcome, str) else expected.describe_differences(previous, outcome)
        text += f"run {number}, {run.command}:\n{found}" if found else ""
    return text


def check(path, arguments):
    """Plays all variants of a case; returns the differences, "" if there are none."""
    comment, parts = case.read(path)
    if not arguments.update:
        case.refuse_unused_variables(parts)
    usual = expected.Usual(path.parent / "usual.txt")
    rows = case.variants(parts)
    described = [case.build(case.in_variant(parts, row)) for row in rows]
    outcomes = [outcomes_of(path, number, variant, arguments.programs)
                for number, variant in enumerate(described)]
    if arguments.update:
        updated = update.update(parts, usual, outcomes)
        if updated != parts:
            case.write(path, comment, updated)
        return ""
    wrong = ""
    for row, variant, outcome in zip(rows, described, outcomes):
        found = differences(variant, usual, outcome)
        heading = f"with {' '.join(f'{name}={value}' for name, value in row.items())}:\n" if row else ""
        wrong += heading + found if found else ""
    return wrong


def judge(path, arguments):
    """Returns the differences or the error of a case, "" if it passes."""
    try:
        return check(path, arguments)
    except (SandboxFailure, txtar.BadCase, OSError) as error:
        return f"{error}\n"


def parse_arguments(words):
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=os.path.abspath, default=BUILD,
                        help="directory of the programs (default: build/debug)")
    parser.add_argument("--launcher", default="", help="a command that runs cmd_lanfab, such as an emulator")
    parser.add_argument("--update", action="store_true",
                        help="rewrite the expected outcomes; review the diff")
    parser.add_argument("--sampled", action="store_true", help="only every tenth case")
    parser.add_argument("--exhaustive", dest="sampled", action="store_false", help="all, after --sampled")
    parser.add_argument("case", nargs="*", type=paths_of,
                        help="a directory such as check, or a case such as check/mtu-raised (default: all)")
    arguments = parser.parse_args(words)
    arguments.programs = programs_of(arguments.build, arguments.launcher)
    return arguments


def report(paths, judge_case):
    """Calls `judge_case` with each path, prints the results, and returns the exit status."""
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for path, wrong in zip(paths, pool.map(judge_case, paths)):
            print(f"{'FAILED' if wrong else 'ok    '} {name_of(path)}\n{wrong}", end="", flush=True)
            failed += bool(wrong)
    print(f"{len(paths) - failed} of {len(paths)} cases passed")
    return 1 if failed or not paths else 0


def main(words=None):
    """Plays the cases on the command line; returns the exit status."""
    arguments = parse_arguments(words)
    paths = sum(arguments.case, []) or sorted(TESTS.glob("*/*.txtar"))
    if arguments.sampled:
        paths = paths[::sample.STEP]
    return report(paths, lambda path: judge(path, arguments))
