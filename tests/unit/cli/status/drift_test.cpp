#include "cli/status/drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

// A gateway with one port as its configuration wants it; each test changes something.
static Snapshot gateway() {
  Snapshot snapshot;
  snapshot.wants_dnsmasq = true;
  snapshot.services[kNetworkd] = {"active", "running", "success", 0};
  snapshot.services[kDnsmasq] = {"active", "running", "success", 0};
  snapshot.setup["eth0"] = "configured";
  snapshot.wanted.interfaces["eth0"].address = "192.168.1.1/24";
  snapshot.kernel.links["eth0"] = {true, true, 1500, "", std::nullopt, {{"192.168.1.1/24", false}}};
  return snapshot;
}

// Each drift as "subject: what", with "(pending)" behind one that is being put right.
static Texts drift_of(const Snapshot& snapshot) {
  Texts texts;
  for (const Drift& drift : find_drift(snapshot))
    texts.push_back(drift.subject + ": " + drift.what + (drift.is_pending ? " (pending)" : ""));
  return texts;
}

TEST(Drift, AGatewayAsItsConfigurationWantsIt) {
  EXPECT_THAT(drift_of(gateway()), IsEmpty());
}

TEST(Drift, AMissingInterface) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links.clear();
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: the interface is missing"));
  // A card is not made by systemd-networkd, which may be starting; a VLAN is.
  snapshot.services[kNetworkd].state = "activating";
  EXPECT_EQ(drift_of(snapshot).front(), "eth0: the interface is missing");
  snapshot.wanted.interfaces["eth0"].is_made = true;
  EXPECT_EQ(drift_of(snapshot).front(), "eth0: the interface is coming (pending)");
}

TEST(Drift, ALinkThatIsDownOrWithoutCarrier) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].has_carrier = false;
  EXPECT_THAT(drift_of(snapshot), IsEmpty()) << "an unplugged port";
  snapshot.kernel.links["eth0"].is_up = false;
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: it is down"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: it is coming up (pending)"));
}

TEST(Drift, AnInterfaceThatSystemdNetworkdHasNotSetUp) {
  Snapshot snapshot = gateway();
  snapshot.setup["eth0"] = "failed";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: systemd-networkd could not set it up"));
  snapshot.setup["eth0"] = "unmanaged";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: systemd-networkd has not read its unit"));
}

// What is missing comes when the interface is being set up; an unplugged port does not miss it.
TEST(Drift, WhatIsMissingMayBePending) {
  for (const char* setup : {"configuring", "pending", "initialized"}) {
    Snapshot snapshot = gateway();
    snapshot.setup["eth0"] = setup;
    snapshot.kernel.links["eth0"].addresses.clear();
    EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: the address 192.168.1.1/24 is coming (pending)"))
        << setup;
    snapshot.kernel.links["eth0"].has_carrier = false;
    EXPECT_THAT(drift_of(snapshot), IsEmpty()) << setup;
  }
}

TEST(Drift, AddressesThatAreMissingOrNotConfigured) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].secondary_address = "10.0.0.1/8";
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.9/24", false}, {"192.168.1.77/24", true}};
  EXPECT_THAT(
      drift_of(snapshot),
      ElementsAre("eth0: the address 192.168.1.1/24 is missing", "eth0: the address 10.0.0.1/8 is missing",
                  "eth0: the address 192.168.1.9/24 is not from the configuration"));
}

TEST(Drift, AnAddressWithoutPrefixIsItsOwnWithAny) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].address = "192.168.1.1";
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.10/24", false}};
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("eth0: the address 192.168.1.1 is missing",
                          "eth0: the address 192.168.1.10/24 is not from the configuration"));
}

TEST(Drift, ADhcpClientNeedsALease) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("eth0: an address by DHCP is missing",
                          "eth0: the address 192.168.1.1/24 is not from the configuration"));
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.1/24", true}};
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
}

TEST(Drift, ARouteIsComparedAsTheKernelPrintsIt) {
  struct {
    RouteFacts wanted;
    KernelRoute there;
  } const cases[] = {
      {{"10.20.0.0/16", "192.168.1.2", "", ""}, {"10.20.0.0/16", "192.168.1.2", "eth0"}},
      {{"10.20.0.7/16", "", "50", ""}, {"10.20.0.0/16", "", "eth0", 50}},  // host bits
      {{"10.20.0.7", "", "", ""}, {"10.20.0.7/32", "", "eth0"}},           // no prefix
      {{"", "192.168.1.2", "", ""}, {"default", "192.168.1.2", "eth0"}},
      {{"10.0.0.0/0", "192.168.1.2", "", ""}, {"default", "192.168.1.2", "eth0"}},
      {{"10.20.0.0/16", "_dhcp", "50", ""}, {"10.20.0.0/16", "192.168.1.99", "eth0", 1024}},
      {{"10.20.0.0/99", "", "", ""}, {"10.20.0.0/99", "", "eth0"}},  // not a subnet
  };
  for (const auto& [wanted, there] : cases) {
    Snapshot snapshot = gateway();
    snapshot.wanted.interfaces["eth0"].route_sections = {wanted};
    EXPECT_EQ(drift_of(snapshot).size(), 1U) << wanted.destination;
    snapshot.kernel.routes = {there};
    EXPECT_THAT(drift_of(snapshot), IsEmpty()) << wanted.destination;
    snapshot.kernel.routes.front().interface = "eth1";
    EXPECT_EQ(drift_of(snapshot).size(), 1U) << wanted.destination;
  }
}

TEST(Drift, AMissingRouteIsNamedByItsDestination) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].route_sections = {
      {"10.20.0.0/16", "", "", ""}, {"10.30.0.0/16", "192.168.1.2", "50", ""}, {"", "192.168.1.3", "", ""}};
  // Another gateway, another metric.
  snapshot.kernel.routes = {{"10.30.0.0/16", "192.168.1.3", "eth0", 50},
                            {"10.30.0.0/16", "192.168.1.2", "eth0", 51}};
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("eth0: the route to 10.20.0.0/16 is missing",
                          "eth0: the route to 10.30.0.0/16 by 192.168.1.2, metric 50, is missing",
                          "eth0: the default route by 192.168.1.3 is missing"));
}

TEST(Drift, ARouteOfAnotherTableOrOfAMissingLeaseIsNotReported) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "", "", "200"}};
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  snapshot.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "_dhcp", "", ""}};
  snapshot.kernel.links["eth0"].addresses.clear();
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: an address by DHCP is missing"));
}

TEST(Drift, TheMtu) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].mtu = "1400";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: the MTU is 1500, not 1400"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: the MTU is 1500, not 1400 yet (pending)"));
}

TEST(Drift, TheBridgeOfAMember) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].bridge = "br-lan";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: it is not in the bridge br-lan"));
  snapshot.kernel.links["eth0"].bridge = "br-lan";
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth0"].bridge = "";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: it is in the bridge br-lan"));
}

TEST(Drift, OnlyInterfacesThatRunsMakeAreTooMany) {
  Snapshot snapshot = gateway();
  for (const char* name :
       {"br-lan", "br-lan.5", "eth0.7", "eth1.8", "gre-tun1", "lo", "eth1", "docker0", "eth10"})
    snapshot.kernel.links[name] = {true, true, 1500, "", std::nullopt, {}};
  Texts subjects;
  for (const Drift& drift : find_drift(snapshot)) {
    EXPECT_EQ(drift.what, "it is in the kernel, but not in the configuration");
    subjects.push_back(drift.subject);
  }
  EXPECT_THAT(subjects, ElementsAre("br-lan", "br-lan.5", "eth0.7", "eth1.8", "gre-tun1"));
}

TEST(Drift, ForwardingIsOnForAllInterfacesOrNone) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].forwards = false;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt);
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth1"].forwards = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt) << "eth1 is not there";
  snapshot.kernel.links["eth1"] = {true, true, 1500, "", true, {}};
  EXPECT_EQ(wanted_forwarding(snapshot, {}), true);
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: forwarding is off, but the configuration asks for it"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(drift_of(snapshot), ElementsAre("eth0: forwarding is not on yet (pending)"));
}

TEST(Drift, ForwardingThatTheConfigurationForbids) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].forwards = true;
  snapshot.forbids_forwarding = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), false);
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("eth0: forwarding is on, but the configuration does not ask for it"));
  snapshot.wanted.interfaces["eth1"].forwards = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt) << "a unit asks for it";
}

TEST(Drift, AMemberOfABridgeDoesNotForward) {
  Snapshot snapshot = gateway();
  snapshot.forbids_forwarding = true;
  InterfaceFacts member;
  member.bridge = "br-lan";
  EXPECT_EQ(wanted_forwarding(snapshot, member), std::nullopt);
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
      {{"activating", "start", "success", 0}, {"dnsmasq: it is activating (pending)"}},
      {{"deactivating", "stop", "success", 0}, {"dnsmasq: it is deactivating (pending)"}},
      {{"activating", "auto-restart", "exit-code", 0}, {"dnsmasq: it is not active"}},
  };
  for (const auto& [service, expected] : cases) {
    Snapshot snapshot = gateway();
    snapshot.services[kDnsmasq] = service;
    EXPECT_EQ(drift_of(snapshot), expected) << service.state << " " << service.detail;
    snapshot.wants_dnsmasq = false;
    EXPECT_THAT(drift_of(snapshot), IsEmpty());
  }
}

TEST(Drift, TheLastRunOfEachAction) {
  Snapshot snapshot = gateway();
  const auto run = [](const char* action, LastRun::End end) { return LastRun{action, 0, 0, end, {}}; };
  snapshot.runs = {run("APPLY", LastRun::End::kFailed), run("WWAN_APPLY", LastRun::End::kFailed),
                   run("PULSE", LastRun::End::kInterrupted), run("OTHER", LastRun::End::kDone),
                   run("NEXT", LastRun::End::kRunning)};
  snapshot.cellular.is_connected = true;
  EXPECT_THAT(drift_of(snapshot), ElementsAre("APPLY: the last run failed", "WWAN_APPLY: the last run failed",
                                              "PULSE: the last run was interrupted"));
  // Without a link, a run for it fails.
  snapshot.cellular.is_connected = false;
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("APPLY: the last run failed", "PULSE: the last run was interrupted"));
}

TEST(Drift, ALockThatNoRunHolds) {
  Snapshot snapshot = gateway();
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = true;
  EXPECT_THAT(drift_of(snapshot), IsEmpty());
  snapshot.lock->is_held = false;
  ASSERT_EQ(drift_of(snapshot).size(), 1U);
  EXPECT_EQ(find_drift(snapshot).front().subject, "lock");
}

TEST(Drift, NamesWhyItMattersAndTheFixUnlessItIsPending) {
  Snapshot snapshot = gateway();
  snapshot.services[kDnsmasq].state = "failed";
  EXPECT_EQ(find_drift(snapshot).front().why, "hosts get no addresses and no names");
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
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].has_carrier = false;
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.9/24", false}};
  snapshot.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "192.168.1.2", "", ""}};
  EXPECT_THAT(drift_of(snapshot),
              ElementsAre("eth0: the address 192.168.1.9/24 is not from the configuration"));
}

TEST(Drift, AGoodApplyMakesUpForTheRunsBeforeIt) {
  Snapshot snapshot = gateway();
  snapshot.cellular.is_connected = true;
  snapshot.runs = {{"APPLY", 2000, 0, LastRun::End::kDone, {}},
                   {"WWAN_APPLY", 1000, 0, LastRun::End::kFailed, {}},
                   {"DNSMASQ", 3000, 0, LastRun::End::kInterrupted, {}}};
  EXPECT_THAT(drift_of(snapshot), ElementsAre("DNSMASQ: the last run was interrupted"));
  snapshot.runs.front().end = LastRun::End::kRunning;
  EXPECT_EQ(drift_of(snapshot).size(), 2U);
}
