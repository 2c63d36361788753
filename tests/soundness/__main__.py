"""Checks random configurations, and runs the real services with those without errors.

Usage: tests/python -m soundness [--exhaustive] [--count N] [--seed TEXT] [--lanfab FILE]
                              [--program FILE]

systemd-networkd and dnsmasq must accept the files of every configuration without an error. A
counterexample shows that a rule is missing.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from hostile import cases, judge
from lib import daemons
from lib.checkout import BUILD, in_sandboxes
from soundness import generator

CONFIGURATION = "/run/dnsmasq.conf"
ENOUGH_GOOD = 0.2
# The number of configurations, each of which is generated from its index.
ALL = 5000
SAMPLE = 500


def without_errors(lanfab, configurations):
    """Returns the configurations in which `lanfab check` finds no error."""
    with tempfile.TemporaryDirectory() as directory:
        names = [f"{number:05}.json" for number in range(len(configurations))]
        for name, configuration in zip(names, configurations):
            pathlib.Path(directory, name).write_text(json.dumps(configuration))
        done = subprocess.run(
            [lanfab, "check", "--offline", "--format", "json", *names],
            cwd=directory,
            stdout=subprocess.PIPE,
            text=True,
            check=False,
        )
    reports = json.loads(done.stdout)
    assert [report["file"] for report in reports] == names
    return [
        configuration
        for configuration, report in zip(configurations, reports)
        if not any(finding["severity"] == "error" for finding in report["findings"])
    ]


def has_link(configuration):
    """Whether the cellular link can be up."""
    wireless = configuration.get("wireless")
    cell = wireless.get("cell") if isinstance(wireless, dict) else None
    return isinstance(cell, dict) and cell.get("enable") is True


def play(program, configurations):
    """Applies each configuration; returns the results of the runs from hostile.play."""
    link = cases.runtime(wwan_ipv4="10.64.1.2", wwan_gw="10.64.1.1")
    some = [cases.Case("", cases.encode(configuration), link if has_link(configuration) else {},
                       actions=("apply",)).as_json()
            for configuration in configurations]
    return [result["runs"][0] for result in in_sandboxes("hostile.play", some, program)]


def show(runs):
    """Yields each error of a service about the files of a run, with the number of the run."""
    units = [
        (number, judge.UNIT.fullmatch(path)[1], text)
        for number, run in enumerate(runs)
        for path, text in run["files"].items()
        if judge.UNIT.fullmatch(path)
    ]
    configurations = [run["files"].get(CONFIGURATION, "") for run in runs]
    networkd, dnsmasq = daemons.show([unit[1:] for unit in units], configurations)
    for number, error in enumerate(dnsmasq):
        if error:
            line = re.search(r"at line (\d+)", error)
            text = configurations[number].splitlines()[int(line[1]) - 1] if line else ""
            yield number, f"{error}: {text}"
    for unit, line, warning in networkd:
        number, kind, text = units[unit]
        yield number, f"{kind} line {line}: {warning}: {text.splitlines()[line - 1]}"


def examine(program, configurations):
    """Returns the configuration and the error of each counterexample."""
    runs = play(program, configurations)
    found = [(configurations[number], error) for number, error in show(runs)]
    return found + [
        (configuration, f"the status is {run['status']}: {run['stderr']}")
        for configuration, run in zip(configurations, runs)
        if run["status"] != 0
    ]


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--count", type=int, default=SAMPLE, help="default: %(default)s")
    size.add_argument("--exhaustive", dest="count", action="store_const", const=ALL, help=f"--count {ALL}")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--lanfab", type=os.path.abspath, default=BUILD / "cli/lanfab")
    parser.add_argument("--program", type=os.path.abspath, default=BUILD / "cmd_lanfab")
    options = parser.parse_args()
    configurations = list(generator.configurations(options.count, options.seed))
    good = without_errors(options.lanfab, configurations)
    found = examine(options.program, good)
    for configuration, error in found:
        print(f"{error}\n  {json.dumps(configuration)}")
    print(f"{len(configurations)} configurations, {len(good)} without an error, "
          f"{len(found)} of these rejected by a service")
    return 1 if found or len(good) < ENOUGH_GOOD * len(configurations) else 0


if __name__ == "__main__":
    sys.exit(main())
