"""Puts hostile texts into every path of the configuration and into every runtime file.

Usage: tests/python -m hostile [--some | --exhaustive] [--program FILE]
  --some        few texts, without the daemons
  --exhaustive  every text and every place
Without these, a sample: each text in each way once, and the real daemons. It is the same every time.

Whatever is put there, no command runs, no directive appears, and no file is written but those of the program.
"""

import argparse
import os
import sys

from hostile import cases, judge
from lib import daemons
from lib.checkout import BUILD, in_sandboxes

# What the daemons must notice, put among what they are shown.
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


def daemon_complaints(results):
    """Yields what the real daemons find in the files of all runs."""
    units = {(path.rpartition(".")[2], text) for path, text in files_of(results)
             if judge.UNIT.fullmatch(path)}
    shown = [SMUGGLED_KEY, *sorted(units)]
    configurations = [SCRIPT_CONF, *sorted({text for path, text in files_of(results)
                                            if path in judge.CONFIGURATIONS})]
    networkd, dnsmasq = daemons.show(shown, configurations, starts_dnsmasq=True)
    ran = [text for text, said in zip(configurations, dnsmasq) if said == daemons.RAN_SCRIPT]
    if SCRIPT_CONF not in ran:
        yield "dnsmasq did not run the script that it was to run"
    if not any(number == 0 and "NoSuchKey" in complaint for number, _, complaint in networkd):
        yield "networkd did not see the key that it was to see"
    for text in ran:
        if text != SCRIPT_CONF:
            yield f"dnsmasq ran a script:\n{text}"
    for number, line, complaint in networkd:
        if number and ("Unknown" in complaint or "Missing '='" in complaint or "outside" in complaint):
            yield f"networkd, line {line}: {complaint}\n{shown[number][1]!r}"
    started = sum(said in ("", daemons.RAN_SCRIPT) for said in dnsmasq)
    print(f"networkd read {len(shown)} units, dnsmasq started with {started} of "
          f"{len(configurations)} configurations")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--some", action="store_true", help="few texts, without the daemons")
    size.add_argument("--exhaustive", action="store_true", help="every text and every place")
    parser.add_argument("--program", type=os.path.abspath, default=BUILD / "cmd_lanfab")
    arguments = parser.parse_args()
    sound = play([*cases.benign()], arguments.program)
    known = set().union(*(judge.vocabulary(run) for result in sound for run in result["runs"]))
    choose = cases.few if arguments.some else cases.hostile if arguments.exhaustive else cases.sampled
    results = play(choose(), arguments.program)
    wrong = [complaint for result in sound + results for complaint in judge.complaints(result, known)]
    if not arguments.some:
        wrong += daemon_complaints(sound + results)
    print("\n".join(wrong[:100]))
    runs = sum(len(result["runs"]) for result in results)
    print(f"{len(results)} cases, {runs} runs, {len(wrong)} complaints")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
