"""lanfab status reports changes in the kernel, and the command that it prints fixes each of them."""

import itertools
import json
import pathlib
import sys
import unittest

import guest
from kernel_divergences import CONFIGURATIONS, DIVERGENCES, table

TOOL = "cli/lanfab"

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/status.md"

gateway = guest.Gateway()


def differences():
    """Returns the differences in the report as {(subject, what): difference}."""
    output = gateway.run("lanfab", "status", "--format", "json", check=False).stdout
    return {(one["subject"], one["what"]): one for one in json.loads(output)["differences"]}


def is_as_wanted(timeout=60):
    return guest.wait_until(lambda: not differences(), timeout, interval=0.5)


# The script of a device that creates the routing table for the replies to a tunnel.
ADD_SCRIPT = """#!/bin/sh
ip route replace default via "$3" dev "$2" onlink table "$1" || exit 1
ip rule del priority 40000 2>/dev/null
ip rule add priority 40000 iif "$2" table "$1"
"""


class Kernel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gateway.connect_cellular()
        for radio, host in (("wlan0", "wifi0"), ("wlan1", "wifi1")):
            gateway.connect_wifi(radio, host)
        gateway.write("/usr/bin/route_table_add", ADD_SCRIPT)
        gateway.run("chmod", "+x", "/usr/bin/route_table_add")

    def test_each_divergence_is_found_and_ends_with_its_fix(self):
        rows = [row for row in DIVERGENCES if row.is_sample or guest.IS_EXHAUSTIVE]
        for configuration, divergences in itertools.groupby(rows, lambda row: row.configuration):
            gateway.apply(CONFIGURATIONS[configuration]())
            self.fix_everything()
            for row in divergences:
                with self.subTest(row.words):
                    self.check(row)

    def check(self, row):
        wanted = (row.subject, row.finding)
        gateway.run("sh", "-c", row.command)
        found = {}

        def is_found():
            found.clear()
            found.update(differences())
            return wanted in found and not found[wanted]["pending"]

        try:
            self.assertTrue(guest.wait_until(is_found), f"found only {sorted(found)}")
            self.assertEqual(found[wanted]["fix"], row.fix)
            gateway.run("sh", "-c", row.fix)
            self.assertTrue(guest.wait_until(lambda: wanted not in differences()), "not fixed")
        finally:
            if row.cleanup:
                gateway.run("sh", "-c", row.cleanup, check=False)
            self.fix_everything()

    def fix_everything(self):
        """Runs the fixes of all drift: leftovers of a former configuration and side effects of a change."""
        for _ in range(5):
            if is_as_wanted(timeout=8):
                return
            for fix in {one["fix"] for one in differences().values() if one["fix"]}:
                gateway.run("sh", "-c", fix, check=False)
        self.assertTrue(is_as_wanted(), f"still {sorted(differences())}")

    def test_the_document_has_each_divergence(self):
        self.assertIn(table(), DOCUMENT.read_text(encoding="utf-8"))


if __name__ == "__main__":
    guest.fail_unless_inside()
    unittest.main(argv=sys.argv[:1], verbosity=2)
