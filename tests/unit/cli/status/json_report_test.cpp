#include "cli/status/json_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_files.h"

// A snapshot with all of its parts, each with a different value.
static Snapshot full_snapshot() {
  Snapshot snapshot;
  InterfaceFacts& port = snapshot.wanted.interfaces["eth0"];
  port.address = "192.168.1.1/24";
  port.secondary_address = "10.0.0.1/8";
  port.mtu = "1400";
  port.bridge = "br0";
  snapshot.wanted.interfaces["eth1"];
  snapshot.kernel.links["eth0"] = {true, false, 1500, "br1", std::nullopt, {{"10.1.0.1/16", true}}};
  snapshot.setup["eth0"] = "configuring";
  snapshot.services["dnsmasq"] = {"failed", "dead", "exit-code", 1000};
  snapshot.cellular = {
      true, "wwan0", "10.64.1.2", "30", "10.64.1.1", "1430", {"198.51.100.53", "203.0.113.53"}};
  snapshot.leases.push_back({"192.168.1.100", "02:00:5e:00:01:10", "printer", 2000});
  snapshot.runs.push_back({"APPLY", 3'000'000, 500'000, LastRun::End::kFailed, {{5, "cmd_lanfab start"}}});
  snapshot.lock = RunLockState{4000, true, 2};
  snapshot.trial = TrialState{"anna", "new.json"};
  snapshot.last_trial = Outcome{"7", "bob", "old.json", Ending::kConfirmed, "by bob", "", "", 1795291200};
  return snapshot;
}

TEST(JsonReport, HoldsEverythingOfASnapshot) {
  Json::Value report =
      json_of(full_snapshot(), {{{"eth0", "it is down", true, "nothing passes", "ip link set eth0 up"}},
                                {{"eth1", "it is down", false, "", ""}},
                                {"the trial"}});
  Json::Value trial;
  ASSERT_TRUE(report.removeMember("trial", &trial));
  EXPECT_THAT(trial.asString(), testing::StartsWith("new.json on trial by anna for "));
  EXPECT_EQ(report, json(R"({
    "differences": [{"subject": "eth0", "what": "it is down", "pending": true, "why": "nothing passes",
                     "fix": "ip link set eth0 up"}],
    "allowed": [{"subject": "eth1", "what": "it is down", "pending": false, "why": "", "fix": ""}],
    "not_checked": ["the trial"],
    "interfaces": [
      {"name": "eth0", "setup": "configuring",
       "wanted": {"addresses": ["192.168.1.1/24", "10.0.0.1/8"], "mtu": "1400", "bridge": "br0",
                  "forwarding": null},
       "kernel": {"up": true, "carrier": false, "mtu": 1500, "bridge": "br1", "forwarding": null,
                  "addresses": ["10.1.0.1/16"]}},
      {"name": "eth1", "setup": null, "kernel": null,
       "wanted": {"addresses": [], "mtu": "", "bridge": "", "forwarding": null}}],
    "services": {"dnsmasq": {"state": "failed", "detail": "dead", "result": "exit-code", "since": 1000}},
    "cellular": {"connected": true, "interface": "wwan0", "address": "10.64.1.2", "prefix": "30",
                 "gateway": "10.64.1.1", "mtu": "1430", "name_servers": ["198.51.100.53", "203.0.113.53"]},
    "leases": [{"address": "192.168.1.100", "mac": "02:00:5e:00:01:10", "name": "printer", "expires": 2000}],
    "runs": [{"action": "APPLY", "began": 3000000, "lasted": 500000, "end": "failed",
              "messages": [{"priority": 5, "text": "cmd_lanfab start"}]}],
    "lock": {"since": 4000, "held": true, "runs": 2},
    "last_trial": "old.json, tried by bob, was confirmed at 2026-11-21 20:00:00 by bob"})"))
      << report;
}

TEST(JsonReport, TellsWhatIsUnknownFromWhatIsNotThere) {
  Snapshot snapshot;
  Json::Value report = json_of(snapshot, {});
  EXPECT_EQ(report["leases"], json("[]"));
  EXPECT_EQ(report["runs"], json("[]"));
  EXPECT_TRUE(report["lock"].isNull() && report["trial"].isNull() && report["last_trial"].isNull());
  snapshot.leases_error = snapshot.runs_error = "Permission denied";
  report = json_of(snapshot, {});
  EXPECT_TRUE(report["leases"].isNull());
  EXPECT_TRUE(report["runs"].isNull());
}

TEST(JsonReport, HasTheForwardingThatIsWantedAndThatIsThere) {
  Snapshot snapshot;
  snapshot.wanted.interfaces["eth0"].forwards = true;
  snapshot.kernel.links["eth0"].forwards = false;
  const Json::Value report = json_of(snapshot, {});
  EXPECT_EQ(report["interfaces"][0]["wanted"]["forwarding"], true);
  EXPECT_EQ(report["interfaces"][0]["kernel"]["forwarding"], false);
}
