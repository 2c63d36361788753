"""Disturbs runs of the program and prints violated invariants; README.md explains the output."""

import argparse
import collections
import os
import subprocess
import sys

from faults import callers, exemptions, self_test, simultaneous, trial, worker
from lib.checkout import CHECKOUT, answer, in_sandboxes, sandboxed

PROGRAM = str(CHECKOUT / "build/release/cmd_lanfab")

# Kinds whose runs are shared by a worker for each processor, and kinds with a function that yields errors.
SHARED = ("faults", "signals", "disk")
OTHERS = {"simultaneous": simultaneous.play, "callers": callers.play, "self-test": self_test.play,
          "confirm": trial.play, "try": trial.play}


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split(";", maxsplit=1)[0])
    parser.add_argument("--program", type=os.path.abspath, default=PROGRAM,
                        help="the cmd_lanfab to run, with fault_tracer and cli/lanfab in its directory "
                             "(default: %(default)s)")
    parser.add_argument("--kind", default="faults", help="kind of disturbance",
                        choices=[*SHARED, *OTHERS])
    parser.add_argument("--action", nargs="+", default=worker.ACTIONS, choices=worker.ACTIONS)
    parser.add_argument("--syscall", nargs="+", default=[], help="only at these system calls")
    parser.add_argument("--at", metavar="PROCESS:CALL", help="only at this call")
    parser.add_argument("--disturb", metavar="HOW", help="only this disturbance, such as error:EIO")
    parser.add_argument("--loader", action="store_true",
                        help="PROCESS:CALL counts the calls of the loader too")
    parser.add_argument("--exhaustive", action="store_true",
                        help="all calls, signals or rounds (default: a fixed sample)")
    parser.add_argument("--verbose", action="store_true", help="show each run")
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    return parser.parse_args()


def disturb(arguments):
    """Distributes the runs to workers; returns the exit status."""
    count = os.cpu_count()
    shares = [f"{number}/{count}" for number in range(count)]
    results = sum(in_sandboxes("faults", shares, "--inside", *sys.argv[1:]), [])
    bad_runs, violations, exempted = 0, collections.Counter(), collections.Counter()
    for result in results:
        exempted.update({text for invariant, text in result["found"] if invariant == "exempt"})
        found = [(invariant, text) for invariant, text in result["found"] if invariant != "exempt"]
        violations.update({f"{invariant} after {result['fault']}" for invariant, _ in found})
        bad_runs += bool(found)
        if found:
            print(result["run"], *(f"{invariant}: {text}" for invariant, text in found), sep="\n    ")
    for name, number in sorted(violations.items()):
        print(f"{number:6} {name}")
    for name, number in sorted(exempted.items()):
        print(f"{number:6} exempt: {name}")
    print(f"{len(results)} runs, {bad_runs} with violations")
    unused = unused_exemptions(arguments, exempted)
    for name in unused:
        print(f"unused exemption: {name}")
    return 0 if results and bad_runs == 0 and not unused else 1


def unused_exemptions(arguments, used):
    """Returns the exemptions that no run needed, if all runs were made."""
    if arguments.syscall or arguments.at or arguments.disturb or len(arguments.action) < len(worker.ACTIONS):
        return []
    # An exemption that permits a full disk may not be needed for any other fault.
    names = {exemption.name for exemption in exemptions.EXEMPTIONS if not exemption.needs_space}
    names |= {silence.name for silence in exemptions.SILENCES}
    return sorted(names - used.keys()) if arguments.kind == "faults" else []


def inside(arguments):
    """Does the work inside a sandbox; returns the exit status."""
    os.umask(0o022)
    if arguments.verbose and arguments.kind in SHARED:
        return 0 if list(worker.play(arguments)) else 1
    if arguments.kind in SHARED:
        answer(lambda share: list(worker.play(arguments, share)))
        return 0
    wrong = list(OTHERS[arguments.kind](arguments))
    print("".join(f"{text}\n" for text in wrong) + f"{len(wrong)} wrong")
    return 1 if wrong else 0


def main():
    arguments = parse_arguments()
    if arguments.inside:
        return inside(arguments)
    if arguments.kind in SHARED and not arguments.verbose:
        return disturb(arguments)
    return subprocess.run(sandboxed("faults", "--inside", *sys.argv[1:]), check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
