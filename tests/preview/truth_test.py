#!/usr/bin/env python3
"""Checks that previews are correct: for every run of a scenario whose initial state a preview can have,
the preview must have exactly the files, commands, messages and status that the scenario expects.
"""

import argparse
import os
import sys

from lib import case, expected, runner, sample
from lib.checkout import BUILD, SandboxFailure

# The scenarios with a run that cannot be previewed, and the reason.
NOT_GIVEN = {
    "action_in_any_case": "the command line is none that a preview plays",
    "configuration_broken": "the configuration cannot be parsed",
    "configuration_empty_file": "the configuration cannot be parsed",
    "configuration_missing": "there is no configuration",
    "configuration_not_an_object": "the configuration cannot be parsed",
    "forwarding_left_alone": "something happens while the program runs",
    "forwarding_off": "something happens while the program runs",
    "lock_waits": "something happens while the program runs",
    "no_action": "the command line is none that a preview plays",
    "unit_directory_missing": "something happens while the program runs",
    "unknown_action": "the command line is none that a preview plays",
}


def judge(path, programs):
    """Returns the errors in the previews of a scenario; "" if there are none."""
    parts = case.read(path)[1]
    usual = expected.Usual(path.parent / "usual.txt")
    wrong, left_out = "", []
    try:
        for number, row in enumerate(case.variants(parts)):
            described = case.build(case.in_variant(parts, row))
            outcomes = runner.outcomes_of(path, number, described, programs, "preview.play")
            wrong += runner.differences(described, usual, outcomes)
            left_out += [outcome if isinstance(outcome, str) else "" for outcome in outcomes]
    except SandboxFailure as error:
        return str(error)
    if set(left_out) != {NOT_GIVEN.get(path.stem, "")}:
        wrong += f"not previewed, of {len(left_out)} runs: {', '.join(sorted(filter(None, left_out)))}\n"
    return wrong


def sampled(paths):
    """Returns the first scenario of each topic, the first word of its name, and every tenth of the others."""
    return sample.stratified(paths, lambda path: path.stem.partition("_")[0])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=os.path.abspath, default=BUILD, help="default: %(default)s")
    parser.add_argument("--exhaustive", action="store_true", help="all scenarios")
    parser.add_argument("case", nargs="*", type=runner.paths_of,
                        help="such as scenarios/vlans (default: a sample, the same every time)")
    arguments = parser.parse_args()
    every = runner.paths_of("scenarios")
    paths = sum(arguments.case, []) or (every if arguments.exhaustive else sampled(every))
    return runner.report(paths, lambda path: judge(path, runner.programs_of(arguments.build)))


if __name__ == "__main__":
    sys.exit(main())
