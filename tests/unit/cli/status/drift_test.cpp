#include "cli/status/drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

// A gateway with one port, which matches its configuration; each test changes something.
static Snapshot matching_gateway() {
  Snapshot snapshot;
  snapshot.wants_dnsmasq = true;
  snapshot.services[kNetworkd] = {"active", "running", "success", 0};
  snapshot.services[kDnsmasq] = {"active", "running", "success", 0};
  snapshot.setup["eth0"] = "configured";
  snapshot.wanted.interfaces["eth0"].address = "192.168.1.1/24";
  snapshot.kernel.links["eth0"] = {true, true, 1500, "", std::nullopt, {{"192.168.1.1/24", false}}};
  return snapshot;
}

// Each difference as "subject: what", with "(pending)" after one that is pending.
static Texts all_drift_of(const Snapshot& snapshot) {
  Texts texts;
  for (const Drift& drift : find_drift(snapshot))
    texts.push_back(drift.subject + ": " + describe(drift));
  return texts;
}

TEST(Drift, AGatewayThatMatchesItsConfiguration) {
  EXPECT_THAT(all_drift_of(matching_gateway()), IsEmpty());
}

TEST(Drift, Services) {
  struct {
    Service service;
    Texts expected;
  } const cases[] = {
      {{"active", "running", "success", 0}, {}},
      {{"reloading", "reload", "success", 0}, {}},
      {{"inactive", "dead", "success", 0}, {"dnsmasq: it is not active"}},
      {{"failed", "failed", "exit-code", 0}, {"dnsmasq: it is not active"}},
      {{"activating", "start", "success", 0}, {"dnsmasq: it is not active (pending)"}},
      {{"deactivating", "stop", "success", 0}, {"dnsmasq: it is not active (pending)"}},
      {{"activating", "auto-restart", "exit-code", 0}, {"dnsmasq: it is not active"}},
  };
  for (const auto& [service, expected] : cases) {
    Snapshot snapshot = matching_gateway();
    snapshot.services[kDnsmasq] = service;
    EXPECT_EQ(all_drift_of(snapshot), expected) << service.state << " " << service.detail;
    snapshot.wants_dnsmasq = false;
    EXPECT_THAT(all_drift_of(snapshot), IsEmpty());
  }
}

TEST(Drift, ARunRestartsTheServices) {
  Snapshot snapshot = matching_gateway();
  snapshot.services[kNetworkd] = {"inactive", "dead", "success", 0};
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = true;
  EXPECT_THAT(all_drift_of(snapshot), ElementsAre("systemd-networkd: it is not active (pending)"));
}

TEST(Drift, TheLastRunOfEachAction) {
  Snapshot snapshot = matching_gateway();
  const auto run = [](const char* action, LastRun::End end) { return LastRun{action, 0, 0, end, {}}; };
  snapshot.runs = {run("APPLY", LastRun::End::kFailed), run("WWAN_APPLY", LastRun::End::kFailed),
                   run("PULSE", LastRun::End::kInterrupted), run("OTHER", LastRun::End::kDone),
                   run("NEXT", LastRun::End::kRunning)};
  snapshot.cellular.is_connected = true;
  EXPECT_THAT(all_drift_of(snapshot),
              ElementsAre("APPLY: the last run failed", "WWAN_APPLY: the last run failed",
                          "PULSE: the last run was interrupted"));
  // While the cellular link is down, WWAN_APPLY fails as expected.
  snapshot.cellular.is_connected = false;
  EXPECT_THAT(all_drift_of(snapshot),
              ElementsAre("APPLY: the last run failed", "PULSE: the last run was interrupted"));
}

TEST(Drift, ALockThatNoRunHolds) {
  Snapshot snapshot = matching_gateway();
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = true;
  EXPECT_THAT(all_drift_of(snapshot), IsEmpty());
  snapshot.lock->is_held = false;
  ASSERT_EQ(all_drift_of(snapshot).size(), 1U);
  EXPECT_EQ(find_drift(snapshot).front().subject, "lock");
}

TEST(Drift, NamesWhyItMattersAndTheFixUnlessItIsPending) {
  Snapshot snapshot = matching_gateway();
  snapshot.services[kDnsmasq].state = "failed";
  EXPECT_EQ(find_drift(snapshot).front().why, "hosts get no addresses and cannot resolve names");
  EXPECT_EQ(find_drift(snapshot).front().fix, "systemctl restart dnsmasq");
  snapshot.services[kDnsmasq].state = "activating";
  EXPECT_EQ(find_drift(snapshot).front().fix, "");
}

TEST(Drift, AFixQuotesTheNameOfAnInterface) {
  EXPECT_EQ(quoted_for_shell("eth0.20"), "eth0.20");
  EXPECT_EQ(quoted_for_shell(""), "''");
  EXPECT_EQ(quoted_for_shell("a;b"), "'a;b'");
  EXPECT_EQ(quoted_for_shell("it's"), "'it'\\''s'");
}

TEST(Drift, AnUnpluggedPortMissesNoRoutesButMayHaveForeignAddresses) {
  Snapshot snapshot = matching_gateway();
  snapshot.kernel.links["eth0"].has_carrier = false;
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.9/24", false}};
  snapshot.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "192.168.1.2", "", ""}};
  EXPECT_THAT(all_drift_of(snapshot), ElementsAre("eth0: the address 192.168.1.9/24 is not configured"));
}

TEST(Drift, AGoodApplyMakesUpForTheRunsBeforeIt) {
  Snapshot snapshot = matching_gateway();
  snapshot.cellular.is_connected = true;
  snapshot.runs = {{"APPLY", 2000, 0, LastRun::End::kDone, {}},
                   {"WWAN_APPLY", 1000, 0, LastRun::End::kFailed, {}},
                   {"DNSMASQ", 3000, 0, LastRun::End::kInterrupted, {}}};
  EXPECT_THAT(all_drift_of(snapshot), ElementsAre("DNSMASQ: the last run was interrupted"));
  snapshot.runs.front().end = LastRun::End::kRunning;
  EXPECT_EQ(all_drift_of(snapshot).size(), 2U);
}
