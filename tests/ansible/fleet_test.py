#!/usr/bin/env python3
"""Rolls out configurations to two simulated gateways with the playbooks of the collection. The arguments are
lanfab, cmd_lanfab and optionally a class of cases."""

import json
import sys
import unittest

from fleet import Fleet, configuration, skip_without_ansible, wait_until

LANFAB, PROGRAM = sys.argv.pop(1), sys.argv.pop(1)


class Playbook(unittest.TestCase):
    """The cases of a class share two gateways: each begins with the configuration that the last one left."""

    @classmethod
    def setUpClass(cls):
        cls.fleet = Fleet(LANFAB, PROGRAM, 2)
        cls.addClassCleanup(cls.fleet.end)
        cls.one, cls.two = cls.fleet.gateways

    def setUp(self):
        for gateway in self.fleet.gateways:
            wait_until(gateway.is_at_rest)

    def want(self, server):
        """Makes the templates of both gateways contain this DNS server."""
        for gateway in self.fleet.gateways:
            self.fleet.want(gateway.name, configuration(gateway.address, server))

    def play(self, playbook, *options, status=0, **variables):
        done, printed = self.fleet.play(playbook, *options, **variables)
        self.assertEqual(done, status, printed)
        return printed

    def expect_failure(self, line, **variables):
        """Checks that a rollout fails with this line, and that both gateways keep their configuration,
        without a trial."""
        before = [gateway.installed() for gateway in self.fleet.gateways]
        printed = self.play("rollout.yml", status=2, **variables)
        self.assertIn(line, printed)
        for gateway in self.fleet.gateways:
            wait_until(gateway.is_at_rest)
        self.assertEqual([gateway.installed() for gateway in self.fleet.gateways], before)
        return printed

    def assert_has(self, gateway, server):
        self.assertIn(f'"{server}"', gateway.installed())
        self.assertFalse(gateway.is_on_trial())

    def assert_reached(self, gateway):
        self.assertRegex(self.play("drift.yml", "--limit", gateway.name), rf"{gateway.name} +1\.")


class GoodRollout(Playbook):
    def test_check_mode_shows_what_would_change_and_changes_nothing(self):
        self.want("8.8.8.1")
        before = [(gateway.installed(), gateway.outcome()) for gateway in self.fleet.gateways]
        printed = self.play("rollout.yml", "--check", "--diff")
        self.assertRegex(printed, r"\n# the gateway changes its DNS servers from \S+ to 8\.8\.8\.1\n")
        self.assertRegex(printed, r"\n-nameserver \S+\n\+nameserver 8\.8\.8\.1\n")
        after = [(gateway.installed(), gateway.outcome()) for gateway in self.fleet.gateways]
        self.assertEqual(after, before)
        for gateway in self.fleet.gateways:
            self.assertFalse(gateway.path("/run/lanfab-rollout").exists())

    def test_every_gateway_keeps_its_configuration_and_a_second_run_changes_nothing(self):
        self.want("8.8.8.2")
        printed = self.play("rollout.yml", lanfab_comment="other resolver", lanfab_probes=["true"])
        self.assertEqual(printed.count("changed: ["), 2)
        for gateway in self.fleet.gateways:
            self.assert_has(gateway, "8.8.8.2")
            self.assertEqual(gateway.outcome(), "confirmed")
            self.assertFalse(gateway.path("/run/lanfab-rollout").exists())
        entries = self.one.path("/var/lib/lanfab/history").iterdir()
        latest = max(entries, key=lambda path: path.stat().st_mtime)
        self.assertIn("who: anna", latest.read_text())
        self.assertIn("comment: other resolver", latest.read_text())
        self.assertEqual(self.play("rollout.yml").count("changed: ["), 0)


class SpecialRollout(Playbook):
    def test_a_run_continues_where_another_one_was_interrupted(self):
        self.want("8.8.8.3")
        self.play("rollout.yml", "--limit", "g1")
        printed = self.play("rollout.yml")
        self.assertIn("changed: [g2]", printed)
        self.assertNotIn("changed: [g1]", printed)

    def test_the_controller_follows_the_address_of_the_gateway(self):
        self.want("8.8.8.4")
        self.fleet.want(self.one.name, configuration(self.one.other_address, "8.8.8.4"))
        printed = self.play("rollout.yml", "--limit", "g1", "-v")
        self.assertIn(f'"host": "{self.one.other_address}"', printed)
        self.assertIn(self.one.other_address, self.one.installed())
        # Change the address back.
        self.fleet.want(self.one.name, configuration(self.one.address, "8.8.8.4"))
        self.fleet.trust(self.one.other_address, self.two.address)
        self.play("rollout.yml", "--limit", "g1", moved={"g1": self.one.other_address})
        self.fleet.trust(self.one.address, self.two.address)
        self.assert_reached(self.one)

    def test_a_backup_and_the_history(self):
        before = self.one.installed()
        content = json.loads(configuration(self.one.address, "8.8.8.5"))
        tasks = [
            {"lanfab.gateway.config": {"content": content, "backup": True, "comment": "with a backup"}},
            {"lanfab.gateway.history": {}, "register": "confirmed"},
            {"ansible.builtin.debug": {"msg": "The latest one is {{ confirmed.entries[0].comment }}."}}]
        playbook = self.fleet.directory / "backup.yml"
        playbook.write_text(json.dumps([{"hosts": "g1", "gather_facts": False, "tasks": tasks}]))
        self.assertIn("The latest one is with a backup.", self.play(playbook))
        copies = self.one.path("/etc/lanfab").glob("network.json.*~")
        self.assertEqual([copy.read_text() for copy in copies], [before])
        self.assertEqual(json.loads(self.one.installed()), content)

    def test_drift_is_a_table(self):
        self.two.path("/run/systemd/network/20-eth0.network").write_text("[Match]\nName = eth0\n")
        printed = self.play("drift.yml")
        self.assertRegex(printed, r"g1 +1\.1\.0\S* +0 ")
        self.assertRegex(printed, r"g2 +1\.1\.0\S* +[1-9]  \S")
        # A rollout ends the drift.
        self.want("9.9.9.9")
        self.play("rollout.yml")
        self.assertRegex(self.play("drift.yml"), r"g2 +1\.1\.0\S* +0 ")


class FailedRollout(Playbook):
    def assert_stopped(self):
        """Checks that the play ended in the first wave: the first gateway has rolled back, the second one is
        unchanged."""
        wait_until(lambda: self.one.outcome() == "rolled back")
        self.assertIsNone(self.two.outcome())
        self.assert_reached(self.one)

    def test_a_gateway_that_is_cut_off_goes_back(self):
        self.want("8.8.8.1")
        self.fleet.want(self.one.name, configuration("10.99.0.1"))
        self.expect_failure("10.1.1.1: not", lanfab_timeout=self.fleet.short_trial,
                            lanfab_new_host=self.one.address)
        self.assert_stopped()

    def test_a_gateway_that_accepts_no_new_connection_goes_back(self):
        self.want("8.8.8.6")
        # The connection through which the trial began stays open.
        key = self.fleet.directory / "user_key.pub"
        self.one.path("/run/before-apply").write_text(
            f"if [ -e /run/lanfab/network.json ]; then mount --bind /dev/null {key}; else umount {key}; fi")
        self.addCleanup(self.one.path("/run/before-apply").unlink)
        self.expect_failure("10.1.1.1: not", lanfab_timeout=self.fleet.short_trial)
        self.assert_stopped()

    def test_a_difference_that_comes_after_the_verification(self):
        self.want("8.8.8.5")
        self.expect_failure("10.1.1.1: not confirmed, the gateway rolls back by itself: ",
                            lanfab_timeout=self.fleet.short_trial,
                            lanfab_probes=["echo DHCP=yes >>/run/systemd/network/20-eth0.network"])
        self.assert_stopped()

    def test_a_probe_that_fails(self):
        self.want("8.8.8.2")
        self.expect_failure("10.1.1.1: not confirmed: the probe has failed: exit 7",
                            lanfab_timeout=self.fleet.short_trial, lanfab_probes=["exit 7"])
        self.assert_stopped()

    def test_a_difference_that_was_not_there_before(self):
        self.want("8.8.8.3")
        # The apply of the trial does not run, but the one of the rollback does.
        change = "[ ! -e /run/lanfab/network.json ] || set -- x x true"
        self.one.path("/run/before-apply").write_text(change)
        self.addCleanup(self.one.path("/run/before-apply").unlink)
        self.expect_failure("10.1.1.1: not confirmed: ", lanfab_timeout=self.fleet.short_trial)
        self.assert_stopped()

    def test_a_controller_that_is_killed(self):
        self.want("8.8.8.4")
        before = self.one.installed()
        process = self.fleet.start("rollout.yml", lanfab_timeout=self.fleet.short_trial,
                                   lanfab_probes=["test -e /run/go-on"])
        wait_until(self.one.is_on_trial)
        trial = json.loads(self.one.path("/run/lanfab/trial.json").read_text())
        self.assertEqual(trial["ends"] - trial["began"], self.fleet.short_trial)
        self.fleet.kill(process)
        self.one.path("/run/go-on").touch()
        wait_until(lambda: not self.one.is_on_trial() and self.one.outcome())
        self.assertEqual(self.one.installed(), before)
        self.assert_stopped()


class BadInput(Playbook):
    def test_a_template_that_gives_no_json_ends_the_play_before_any_gateway(self):
        self.want("8.8.8.1")
        self.fleet.want(self.two.name, '{"dns": {"source": "static",}}')
        printed = self.expect_failure("rendered/g2.json:1:28: trailing comma after the last member [syntax]")
        self.assertNotIn("PLAY [Roll out]", printed)

    def test_a_gateway_that_cannot_be_reached(self):
        self.want("8.8.8.2")
        printed = self.expect_failure("10.1.1.77: ", moved={"g1": "10.1.1.77"})
        self.assertNotIn("[g2]: FAILED", printed)

    def test_a_wrong_host_key(self):
        self.want("8.8.8.3")
        self.fleet.trust(self.two.address)
        self.addCleanup(self.fleet.trust, self.one.address, self.two.address)
        self.expect_failure("10.1.1.1: Host key verification failed.")

    def test_no_sudo(self):
        self.want("8.8.8.4")
        self.one.path("/run/no-sudo").touch()
        self.addCleanup(self.one.path("/run/no-sudo").unlink)
        self.expect_failure("10.1.1.1: Missing sudo password")

    def test_one_failure_ends_the_roll_out_after_its_wave(self):
        # The first wave has one gateway, the second one has five. All names except g2 are the first gateway.
        names = ["g3", "g4", "g5", "g6", "g7"]
        self.fleet.hosts.update({name: self.one.address for name in names})
        self.addCleanup(lambda: [self.fleet.hosts.pop(name) for name in names])
        self.want("8.8.8.8")
        for name in ["g1", *names[:-1]]:
            self.fleet.want(name, self.one.installed())
        self.fleet.want("g7", configuration(self.one.address, "8.8.8.9"))
        self.two.path("/run/no-sudo").touch()
        self.addCleanup(self.two.path("/run/no-sudo").unlink)
        printed = self.expect_failure("10.1.2.1: Missing sudo password")
        self.assertIn("ok: [g6]", printed.partition("PLAY [Roll out]")[2])
        self.assertNotIn("[g7]", printed.partition("PLAY [Roll out]")[2])

    def test_an_old_lanfab(self):
        self.want("8.8.8.5")
        tool = self.one.path("/run/tools/lanfab")
        present = tool.read_text()
        tool.write_text("#!/bin/sh\nexit 2\n")
        self.addCleanup(tool.write_text, present)
        self.expect_failure("lanfab is too old, it has no command try: upgrade the package lanfab-tools")

    def test_a_trial_by_somebody_else(self):
        self.want("8.8.8.6")
        state = self.one.path("/run/lanfab/trial.json")
        state.write_text('{"who": "eve", "file": "new.json", "began": 1, "ends": 99999999, "id": "1", '
                         '"path": "", "entry": "", "sha256": ""}')
        self.addCleanup(state.unlink)
        self.expect_failure("10.1.1.1: a trial is in progress: new.json on trial by eve for ")

    def test_a_full_disk(self):
        self.want("8.8.8.7")
        self.one.path("/run/before-apply").write_text(
            "used=$(df --output=used --block-size=1k /etc | tail -n 1)\n"
            "mount -o remount,size=$((used + 16))k /etc; yes >/etc/full || true")
        self.addCleanup(lambda: [self.one.path(name).unlink() for name in ("/run/before-apply", "/etc/full")])
        printed = self.expect_failure("No space left on device", lanfab_timeout=self.fleet.short_trial)
        self.assertIn("10.1.1.1: ", printed)
        wait_until(lambda: self.one.outcome() == "rolled back")


if __name__ == "__main__":
    skip_without_ansible()
    unittest.main()
