"""The history of confirmed trials, and the contents and redactions of a working gateway's report."""

import io
import json
import pathlib
import tarfile
import unittest

import guest

TOOL = "cli/lanfab"

NEW = "/run/new.json"
BUNDLE = pathlib.Path("/run/report.tar.gz")
UNIT = guest.UNIT_DIRECTORY + "99-wireguard.netdev"
# The keys of RFC 7748, section 6.1, and one that no file has.
PRIVATE = "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCo="
PUBLIC = "hSDwCYkwp1R0i33ctD73Wg2/Og0mOBr066SpjqqbTmo="
UNKNOWN = "XasIfmJKikt54X+Lg4AO5m87sSkmGLb9HC+LJ/+I4Os="

gateway = guest.Gateway()


def lanfab(*words, check=True):
    return gateway.run("lanfab", *words, check=check).stdout


def entries():
    return json.loads(lanfab("history", "--format", "json"))["entries"]


def keep(config, comment):
    gateway.write(NEW, json.dumps(config))
    lanfab("try", "--force", "--no-verify", NEW)
    lanfab("confirm", "-m", comment)


class History(unittest.TestCase):
    def test_goes_back_further_than_the_previous_one(self):
        config = guest.example("router")
        gateway.apply(config)
        for number in 1, 2, 3:
            config["dns"] = {"source": "static", "static": [f"8.8.8.{number}"]}
            keep(config, f"resolver {number}")
        self.assertEqual([entry["comment"] for entry in entries()],
                         ["resolver 3", "resolver 2", "resolver 1"])
        first = entries()[2]
        lanfab("revert", str(first["number"]))
        self.assertIn("nameserver 8.8.8.1\n", gateway.read("/run/resolv.conf"))
        lanfab("revert")
        self.assertIn("nameserver 8.8.8.3\n", gateway.read("/run/resolv.conf"))
        self.assertIn("-nameserver 8.8.8.1\n+nameserver 8.8.8.3\n",
                      lanfab("diff", "--from", str(first["number"]), check=False))


class Report(unittest.TestCase):
    def test_has_the_state_of_the_gateway_and_no_secret(self):
        gateway.apply(guest.example("shop"))
        gateway.write(UNIT, f"[WireGuard]\nPrivateKey = {PRIVATE}\n")
        self.addCleanup(pathlib.Path(UNIT).unlink)
        gateway.write("/etc/os-release", "ID=gateway\n")
        gateway.run("systemd-cat", "--identifier=network", "echo", f"keys {PRIVATE} {UNKNOWN} {PUBLIC}")
        gateway.run("journalctl", "--sync")
        said = lanfab("report", "-o", BUNDLE)
        with tarfile.open(fileobj=io.BytesIO(BUNDLE.read_bytes()), mode="r:gz") as archive:
            files = {member.name.split("/", 1)[1]: archive.extractfile(member).read().decode()
                     for member in archive if member.isfile()}
        for name, text in {"the screen": said, **files}.items():
            for secret in PRIVATE, UNKNOWN:
                self.assertNotIn(secret[:-1], text, name)
        self.assertIn(f"is the private key of {PUBLIC}\n", files["public_keys.txt"])
        self.assertIn("lanfab APPLY", files["journal.txt"])
        self.assertIn("eth0", files["networkctl.txt"])
        self.assertIn("ExecStart=", files["units.txt"])
        self.assertIn("local 192.168.1.1 dev eth0", files["ip.txt"])
        self.assertIn("Services\n", files["status.txt"])
        # Nothing is missing on a gateway that works.
        self.assertNotRegex(said, r"time limit|No such file|not active|for its size")


if __name__ == "__main__":
    unittest.main()
