"""Disturbs runs of the program and shows what does not hold afterwards; README.md says how to read it."""

import argparse
import collections
import json
import os
import subprocess
import sys
import threading

from faults import exemptions
from lib.checkout import CHECKOUT, TESTS, sandboxed

PROGRAM = str(CHECKOUT / "build/quick/cmd_lanfab")


ACTIONS = ("apply", "wwan_apply", "dnsmasq")
# The kinds that are a module of their own.
MODULES = {kind: f"faults.{kind.replace('-', '_')}" for kind in ("simultaneous", "callers", "self-test")}


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split(";", maxsplit=1)[0])
    parser.add_argument("--program", type=os.path.abspath, default=PROGRAM,
                        help="the cmd_lanfab to run, with fault_tracer beside it "
                             "(default: %(default)s)")
    parser.add_argument("--kind", default="faults", help="what disturbs them",
                        choices=["faults", "signals", "disk", *MODULES])
    parser.add_argument("--action", nargs="+", default=ACTIONS, choices=ACTIONS)
    parser.add_argument("--syscall", nargs="+", default=[], help="only at calls of these names")
    parser.add_argument("--at", metavar="PROCESS:CALL", help="only at this call")
    parser.add_argument("--disturb", metavar="HOW", help="only in this way, such as error:EIO")
    parser.add_argument("--loader", action="store_true",
                        help="PROCESS:CALL counts the calls of the loader too")
    parser.add_argument("--exhaustive", action="store_true",
                        help="all calls and signals, or rounds; otherwise a sample, the same every time")
    parser.add_argument("--verbose", action="store_true", help="show each run")
    parser.add_argument("--workers", type=int, default=os.cpu_count())
    return parser.parse_args()


def worker_arguments(arguments):
    options = ["--program", arguments.program, "--action", *arguments.action, "--kind", arguments.kind]
    options += ["--syscall", *arguments.syscall] if arguments.syscall else []
    options += ["--at", arguments.at] if arguments.at else []
    options += ["--disturb", arguments.disturb] if arguments.disturb else []
    options += ["--loader"] if arguments.loader else []
    options += ["--exhaustive"] if arguments.exhaustive else []
    return options


class Results:
    """Counts what the workers report, and prints what does not hold."""

    def __init__(self):
        self.runs = 0
        self.bad_runs = 0
        self.violations = collections.Counter()
        self.exemptions = collections.Counter()
        self.lock = threading.Lock()

    def add(self, result):
        with self.lock:
            self.runs += 1
            self.exemptions.update({text for invariant, text in result["found"] if invariant == "exempt"})
            violations = [(invariant, text) for invariant, text in result["found"] if invariant != "exempt"]
            self.violations.update({f"{invariant} after {result['fault']}" for invariant, _ in violations})
            if violations:
                self.bad_runs += 1
                print(result["run"])
                for invariant, text in violations:
                    print(f"    {invariant}: {text}")

    def summarize(self):
        for name, count in sorted(self.violations.items()):
            print(f"{count:6} {name}")
        for name, count in sorted(self.exemptions.items()):
            print(f"{count:6} exempt: {name}")
        print(f"{self.runs} runs, {self.bad_runs} of them wrong")


def follow(command, results):
    """Adds what one worker prints; returns its exit status."""
    with subprocess.Popen(command, cwd=TESTS, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          text=True) as worker:
        for line in worker.stdout:
            results.add(json.loads(line))
    return worker.returncode


def disturb(arguments):
    results = Results()
    statuses = []

    def run_worker(share):
        options = [*worker_arguments(arguments), "--share", f"{share}/{arguments.workers}"]
        statuses.append(follow(sandboxed("faults.worker", *options), results))

    workers = [threading.Thread(target=run_worker, args=(share,)) for share in range(arguments.workers)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    results.summarize()
    unused = unused_exemptions(arguments, results)
    for name in unused:
        print(f"nothing makes use of the exemption: {name}")
    is_complete = results.runs > 0 and statuses == [0] * arguments.workers
    return 0 if is_complete and results.bad_runs == 0 and not unused else 1


def unused_exemptions(arguments, results):
    """Those that no run needed, when all were made."""
    if arguments.syscall or arguments.at or arguments.disturb or len(arguments.action) < len(ACTIONS):
        return []
    # Those of a full disk are perhaps for nothing else.
    names = {exemption.name for exemption in exemptions.EXEMPTIONS if not exemption.needs_space}
    return sorted(names - results.exemptions.keys()) if arguments.kind == "faults" else []


def main():
    arguments = parse_arguments()
    if arguments.kind in MODULES:
        options = ["--exhaustive"] if arguments.exhaustive and arguments.kind == "simultaneous" else []
        command = sandboxed(MODULES[arguments.kind], "--program", arguments.program, *options)
    elif arguments.verbose:
        command = sandboxed("faults.worker", "--verbose", *worker_arguments(arguments))
    else:
        return disturb(arguments)
    return subprocess.run(command, cwd=TESTS, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
