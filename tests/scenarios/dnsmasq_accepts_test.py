#!/usr/bin/env python3
"""Passes every expected dnsmasq.conf of the scenarios to the real dnsmasq, and prints the results.

dnsmasq must reject those of runs with "refused by dnsmasq", and accept all others.
"""

import os
import shutil
import sys

from lib import case, daemons, expected, txtar
from lib.checkout import TESTS
from lib.runner import paths_of

CONFIGURATION = "/var/run/dnsmasq.conf"


def find_dnsmasq():
    """Returns the path of dnsmasq, None if it is not installed. A user's PATH may lack its directory."""
    return shutil.which("dnsmasq", path=f"{os.environ.get('PATH', os.defpath)}:/usr/sbin:/sbin")


def configurations():
    """Yields the name of each run, its expected configuration, and whether dnsmasq must reject it."""
    usual = expected.Usual(TESTS / "scenarios" / "usual.txt")
    for path in paths_of("scenarios"):
        parts = case.read(path)[1]
        for row in case.variants(parts):
            outcome = {}
            for number, run in enumerate(case.build(case.in_variant(parts, row)).runs, 1):
                outcome = expected.expect(run, usual, expected.before(run, outcome))
                name = " ".join([path.stem, *row.values(), f"run {number}"])
                if CONFIGURATION in outcome:
                    yield name, outcome[CONFIGURATION].text, "refused by dnsmasq" in run.outputs
                elif "refused by dnsmasq" in run.outputs:
                    sys.exit(f"{name}: there is no configuration to refuse")


def main():
    dnsmasq = find_dnsmasq()
    if dnsmasq is None:
        sys.exit("there is no dnsmasq on this machine")
    judged = wrong = 0
    for name, text, refused in configurations():
        said = daemons.refusal(txtar.encode(text), dnsmasq)
        judged += 1
        if bool(said) != refused:
            wrong += 1
            print(f"{name}: {said or 'accepted, and should not be'}")
    print(f"{judged - wrong} of {judged} configurations judged as they should be")
    return 1 if wrong or not judged else 0


if __name__ == "__main__":
    sys.exit(main())
