#include "cli/status/forwarding_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static std::vector<std::string> forwarding_drift_of(const Snapshot& snapshot) {
  return described(find_forwarding_drift, snapshot);
}

static std::string forwarding_fix_of(const Snapshot& snapshot) {
  return found(find_forwarding_drift, snapshot).front().fix;
}

TEST(ForwardingDrift, ForwardingIsOnForAllInterfacesOrNone) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].forwards = false;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt);
  EXPECT_THAT(forwarding_drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth1"].forwards = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt) << "eth1 is not there";
  snapshot.kernel.links["eth1"] = {true, true, 1500, "", true, {}};
  EXPECT_EQ(wanted_forwarding(snapshot, {}), true);
  EXPECT_THAT(forwarding_drift_of(snapshot),
              ElementsAre("eth0: forwarding is off, but the configuration enables it"));
  EXPECT_EQ(forwarding_fix_of(snapshot), "echo 1 > /proc/sys/net/ipv4/conf/eth0/forwarding");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(forwarding_drift_of(snapshot),
              ElementsAre("eth0: forwarding is off, but the configuration enables it (pending)"));
}

TEST(ForwardingDrift, ForwardingThatTheConfigurationForbids) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].forwards = true;
  snapshot.forbids_forwarding = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), false);
  EXPECT_THAT(forwarding_drift_of(snapshot),
              ElementsAre("eth0: forwarding is on, but the configuration does not enable it"));
  EXPECT_EQ(forwarding_fix_of(snapshot), "echo 0 > /proc/sys/net/ipv4/conf/eth0/forwarding");
  snapshot.wanted.interfaces["eth1"].forwards = true;
  EXPECT_EQ(wanted_forwarding(snapshot, {}), std::nullopt) << "a unit asks for it";
}

TEST(ForwardingDrift, AMemberOfABridgeDoesNotForward) {
  Snapshot snapshot = gateway();
  snapshot.forbids_forwarding = true;
  InterfaceFacts member;
  member.bridge = "br-lan";
  EXPECT_EQ(wanted_forwarding(snapshot, member), std::nullopt);
}

TEST(ForwardingDrift, ProxyArpOfAPassThroughPort) {
  Snapshot snapshot = gateway();
  InterfaceFacts& wanted = snapshot.wanted.interfaces["eth0"];
  wanted.proxies_arp = true;
  EXPECT_THAT(forwarding_drift_of(snapshot), IsEmpty()) << "the kernel does not report it";
  snapshot.kernel.links["eth0"].proxies_arp = true;
  EXPECT_THAT(forwarding_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0"].proxies_arp = false;
  EXPECT_THAT(forwarding_drift_of(snapshot), ElementsAre("eth0: proxy ARP is off"));
  EXPECT_EQ(forwarding_fix_of(snapshot), "echo 1 > /proc/sys/net/ipv4/conf/eth0/proxy_arp");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(forwarding_drift_of(snapshot), ElementsAre("eth0: proxy ARP is off (pending)"));
}

TEST(ForwardingDrift, ProxyArpThatNoUnitAsksFor) {
  Snapshot snapshot = gateway();
  InterfaceFacts& wanted = snapshot.wanted.interfaces["eth0"];
  snapshot.kernel.links["eth0"].proxies_arp = true;
  EXPECT_THAT(forwarding_drift_of(snapshot),
              ElementsAre("eth0: proxy ARP is on, but the configuration does not enable it (surplus)"));
  EXPECT_EQ(forwarding_fix_of(snapshot), "echo 0 > /proc/sys/net/ipv4/conf/eth0/proxy_arp");
  // The unit of a pass-through port does not set it while the cellular link is down.
  wanted.is_passed_through = true;
  EXPECT_THAT(forwarding_drift_of(snapshot), IsEmpty());
  wanted.is_passed_through = false;
  wanted.bridge = "br-lan";
  EXPECT_THAT(forwarding_drift_of(snapshot), IsEmpty());
}

TEST(ForwardingDrift, ANameWithSpecialCharactersIsQuoted) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["$(reboot)"].proxies_arp = true;
  snapshot.kernel.links["$(reboot)"].proxies_arp = false;
  EXPECT_EQ(forwarding_fix_of(snapshot), "echo 1 > '/proc/sys/net/ipv4/conf/$(reboot)/proxy_arp'");
}
