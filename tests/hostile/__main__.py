"""Injects strings at every path of the configuration and into every runtime file.

Usage: tests/python -m hostile [--some | --exhaustive] [--program FILE]
  --some        a few strings, without the daemons
  --exhaustive  every string at every path
By default, runs a sample that is always the same, with each string in each class of locations once, and the
real daemons.

No string may run a command, add a directive, or make the program write any other file.
"""

import argparse
import os
import sys

from hostile import cases, judge
from lib import daemons
from lib.checkout import BUILD, in_sandboxes

# Files with an injected line that the daemons must execute or report, which proves that the test detects it.
SCRIPT_CONF = """user=admin
dhcp-leasefile=/run/dnsmasq.leases
dhcp-range=192.168.1.2,192.168.1.9
dhcp-script=/run/script
"""
SMUGGLED_KEY = ("network", "[Match]\nName = eth0\n[Network]\nAddress = 1.1.1.1/24\rNoSuchKey=yes\n")


def play(some, program):
    return in_sandboxes("hostile.play", [case.as_json() for case in some], program)


def files_of(results):
    for result in results:
        for run in result["runs"]:
            yield from run["files"].items()


def daemon_errors(results):
    """Yields the injected lines that the real daemons execute or report in the files of all runs."""
    units = {(path.rpartition(".")[2], text) for path, text in files_of(results)
             if judge.UNIT.fullmatch(path)}
    shown = [SMUGGLED_KEY, *sorted(units)]
    configurations = [SCRIPT_CONF, *sorted({text for path, text in files_of(results)
                                            if path in judge.CONFIGURATIONS})]
    networkd, dnsmasq = daemons.show(shown, configurations, starts_dnsmasq=True)
    ran = [text for text, result in zip(configurations, dnsmasq) if result == daemons.RAN_SCRIPT]
    if SCRIPT_CONF not in ran:
        yield "dnsmasq did not run the script of the injected line"
    if not any(number == 0 and "NoSuchKey" in warning for number, _, warning in networkd):
        yield "networkd did not report the injected key"
    for text in ran:
        if text != SCRIPT_CONF:
            yield f"dnsmasq ran a script:\n{text}"
    for number, line, warning in networkd:
        if number and ("Unknown" in warning or "Missing '='" in warning or "outside" in warning):
            yield f"networkd, line {line}: {warning}\n{shown[number][1]!r}"
    started = sum(result in ("", daemons.RAN_SCRIPT) for result in dnsmasq)
    print(f"networkd read {len(shown)} units, dnsmasq started with {started} of "
          f"{len(configurations)} configurations")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--some", action="store_true", help="a few strings, without the daemons")
    size.add_argument("--exhaustive", action="store_true", help="every string at every path")
    parser.add_argument("--program", type=os.path.abspath, default=BUILD / "cmd_lanfab")
    arguments = parser.parse_args()
    valid = play([*cases.valid()], arguments.program)
    known = set().union(*(judge.vocabulary(run) for result in valid for run in result["runs"]))
    choose = cases.few if arguments.some else cases.hostile if arguments.exhaustive else cases.sampled
    results = play(choose(), arguments.program)
    found = [error for result in valid + results for error in judge.errors(result, known)]
    if not arguments.some:
        found += daemon_errors(valid + results)
    print("\n".join(found[:100]))
    runs = sum(len(result["runs"]) for result in results)
    print(f"{len(results)} cases, {runs} runs, {len(found)} errors")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
