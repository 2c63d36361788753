#include "cli/status/link_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

static Texts link_drift_of(const Snapshot& snapshot) {
  return described(find_link_drift, snapshot);
}

static std::string link_fix_of(const Snapshot& snapshot) {
  const std::vector<Drift> drift = found(find_link_drift, snapshot);
  return drift.size() == 1 ? drift.front().fix : "";
}

TEST(LinkDrift, AGatewayAsItsUnitsWantIt) {
  EXPECT_THAT(link_drift_of(gateway()), IsEmpty());
}

TEST(LinkDrift, AMissingInterface) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links.clear();
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the interface is missing"));
  EXPECT_EQ(link_fix_of(snapshot), "") << "nobody can make a card";
  // While systemd-networkd starts, it may still create a VLAN, but not a network card.
  snapshot.services[kNetworkd].state = "activating";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the interface is missing"));
  snapshot.wanted.interfaces["eth0"].is_made = true;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the interface is missing (pending)"));
  snapshot.services[kNetworkd].state = "active";
  EXPECT_EQ(link_fix_of(snapshot), "systemctl restart systemd-networkd");
}

TEST(LinkDrift, TheInterfaceOfACellularLinkThatIsDown) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["wwan0"].mtu = "1430";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["wwan0"] = {false, false, 1430, "", std::nullopt, {}};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.cellular.is_connected = true;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("wwan0: it is down"));
  snapshot.kernel.links.erase("wwan0");
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("wwan0: the interface is missing"));
}

TEST(LinkDrift, ALinkThatIsDown) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].is_up = false;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is down"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 up");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is down (pending)"));
}

// For example, udev fails to rename a VLAN that a .link file also matches.
TEST(LinkDrift, ALinkThatUdevHasNotAnnouncedFor30Seconds) {
  Snapshot snapshot = gateway();
  snapshot.setup["eth0"] = "pending";
  snapshot.kernel.links["eth0"].is_up = false;
  snapshot.kernel.links["eth0"].addresses.clear();
  snapshot.units["eth0"].saved = 1000'000'000;
  snapshot.kernel.time = 1029;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is down (pending)",
                                                   "eth0: the address 192.168.1.1/24 is missing (pending)"));
  snapshot.kernel.time = 1030;
  EXPECT_THAT(
      link_drift_of(snapshot),
      ElementsAre("eth0: it is down", "eth0: udev has not announced it: journalctl --unit=systemd-udevd",
                  "eth0: the address 192.168.1.1/24 is missing"));
  EXPECT_EQ(found(find_link_drift, snapshot)[1].fix, "udevadm trigger --action=add /sys/class/net/eth0");
}

// No DHCP server answers.
TEST(LinkDrift, ALeaseThatDoesNotComeWithin30Seconds) {
  Snapshot snapshot = gateway();
  snapshot.setup["eth0"] = "configuring";
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  snapshot.kernel.links["eth0"].addresses.clear();
  snapshot.units["eth0"].saved = 1000'000'000;
  snapshot.kernel.time = 1029;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: an address from DHCP is missing (pending)"));
  snapshot.kernel.time = 1030;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: an address from DHCP is missing"));
}

// No cable is plugged in: systemd-networkd waits for a carrier.
TEST(LinkDrift, ALinkWithoutCarrierMayLackItsAddresses) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].has_carrier = false;
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0"].addresses.clear();
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

TEST(LinkDrift, AnInterfaceThatSystemdNetworkdHasNotSetUp) {
  Snapshot snapshot = gateway();
  snapshot.setup["eth0"] = "failed";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: systemd-networkd could not set it up"));
  EXPECT_EQ(link_fix_of(snapshot), "networkctl reconfigure eth0");
  snapshot.setup["eth0"] = "unmanaged";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: systemd-networkd has not read its unit"));
  EXPECT_EQ(link_fix_of(snapshot), "networkctl reload");
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = true;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: systemd-networkd has not read its unit (pending)"));
}

// A missing address is still pending while the interface is being set up.
TEST(LinkDrift, WhatIsMissingMayBePending) {
  for (const char* setup : {"configuring", "pending", "initialized"}) {
    Snapshot snapshot = gateway();
    snapshot.setup["eth0"] = setup;
    snapshot.kernel.links["eth0"].addresses.clear();
    EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the address 192.168.1.1/24 is missing (pending)"))
        << setup;
  }
}

TEST(LinkDrift, AddressesThatAreMissingOrNotConfigured) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].secondary_address = "10.0.0.1/8";
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.9/24", false}, {"192.168.1.77/24", true}};
  EXPECT_THAT(
      link_drift_of(snapshot),
      ElementsAre("eth0: the address 192.168.1.1/24 is missing", "eth0: the address 10.0.0.1/8 is missing",
                  "eth0: the address 192.168.1.9/24 is not configured (surplus)"));
  const std::vector<Drift> drift = found(find_link_drift, snapshot);
  EXPECT_EQ(drift[0].fix, "networkctl reconfigure eth0");
  EXPECT_EQ(drift[2].fix, "ip address delete 192.168.1.9/24 dev eth0");
}

TEST(LinkDrift, AnAddressWithoutPrefixIsItsOwnWithAny) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].address = "192.168.1.1";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.10/24", false}};
  EXPECT_THAT(link_drift_of(snapshot),
              ElementsAre("eth0: the address 192.168.1.1 is missing",
                          "eth0: the address 192.168.1.10/24 is not configured (surplus)"));
}

TEST(LinkDrift, ADhcpClientNeedsALease) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  EXPECT_THAT(link_drift_of(snapshot),
              ElementsAre("eth0: an address from DHCP is missing",
                          "eth0: the address 192.168.1.1/24 is not configured (surplus)"));
  snapshot.kernel.links["eth0"].addresses = {{"192.168.1.1/24", true}};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

TEST(LinkDrift, TheMtu) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].mtu = "1400";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the MTU is 1500, not 1400"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 mtu 1400");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the MTU is 1500, not 1400 (pending)"));
}

TEST(LinkDrift, AnMtuThatNoUnitAsksFor) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].mtu = 1430;
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: the MTU is 1430, which no unit sets (surplus)"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 mtu 1500");
  // In pass-through, the next cellular link sets its own MTU.
  snapshot.wanted.interfaces["eth0"].is_passed_through = true;
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  // The modem, which is not a port, has its own MTU.
  snapshot = gateway();
  snapshot.wanted.interfaces["wwan0"];
  snapshot.kernel.links["wwan0"] = {true, true, 1430, "", std::nullopt, {}};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

TEST(LinkDrift, TheBridgeOfAMember) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].bridge = "br-lan";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is not in the bridge br-lan"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 master br-lan");
  snapshot.kernel.links["eth0"].bridge = "br-lan";
  snapshot.kernel.links["eth0"].mtu = 1430;  // set by the bridge
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot = gateway();
  snapshot.kernel.links["eth0"].bridge = "br-lan";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is in the bridge br-lan (surplus)"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 nomaster");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0: it is in the bridge br-lan (pending) (surplus)"));
}

TEST(LinkDrift, TheMacAddressOfACard) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].mac = "02:00:5e:00:00:99";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty()) << "the kernel does not report another one";
  snapshot.kernel.links["eth0"].permanent_mac = "02:00:5e:00:00:10";
  EXPECT_THAT(link_drift_of(snapshot),
              ElementsAre("eth0: the MAC address is 02:00:5e:00:00:99, not the card's own, "
                          "02:00:5e:00:00:10"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0 address 02:00:5e:00:00:10");
  snapshot.kernel.links["eth0"].mac = "02:00:5e:00:00:10";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  // A radio may have another MAC address after each start.
  snapshot.wanted.interfaces["wlan0"];
  snapshot.kernel.links["wlan0"] = {true, true,         1500, "",      std::nullopt,
                                    {},   std::nullopt, "",   "02::1", "02::2"};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

// A gateway with a VLAN on its port.
static Snapshot gateway_with_vlan() {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].vlans = {"eth0.20"};
  InterfaceFacts& wanted = snapshot.wanted.interfaces["eth0.20"];
  wanted.is_made = true;
  wanted.kind = "vlan";
  wanted.vlan_id = "20";
  Link& link = snapshot.kernel.links["eth0.20"];
  link = {true, true, 1500, "", std::nullopt, {}};
  link.kind = "vlan";
  link.parent = "eth0";
  link.details = {{"id", "20"}};
  return snapshot;
}

TEST(LinkDrift, AVlan) {
  Snapshot snapshot = gateway_with_vlan();
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0.20"].details["id"] = "21";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0.20: the VLAN ID is 21, not 20"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link delete dev eth0.20 && systemctl restart systemd-networkd");
  snapshot = gateway_with_vlan();
  snapshot.kernel.links["eth0.20"].parent = "eth1";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0.20: it is linked to eth1, not to eth0"));
  snapshot = gateway_with_vlan();
  snapshot.kernel.links["eth0.20"].kind = "dummy";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("eth0.20: it is a device of the kind dummy, not vlan"));
  snapshot = gateway_with_vlan();
  snapshot.kernel.links["eth0"].mac = "02:00:5e:00:00:10";
  snapshot.kernel.links["eth0.20"].mac = "02:00:5e:00:00:99";
  EXPECT_THAT(link_drift_of(snapshot),
              ElementsAre("eth0.20: the MAC address is 02:00:5e:00:00:99, not that of eth0, "
                          "02:00:5e:00:00:10"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev eth0.20 address 02:00:5e:00:00:10");
}

// Unknown properties are not compared.
TEST(LinkDrift, AVlanOfWhichLittleIsKnown) {
  Snapshot snapshot = gateway_with_vlan();
  snapshot.kernel.links["eth0.20"].kind = "";
  snapshot.kernel.links["eth0.20"].parent = "";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth0.20"].kind = "vlan";
  snapshot.wanted.interfaces["eth0.20"].vlan_id = "";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

static Snapshot gateway_with_tunnel() {
  Snapshot snapshot = gateway();
  InterfaceFacts& wanted = snapshot.wanted.interfaces["gre-tun1"];
  wanted.is_made = true;
  wanted.is_tunnel = true;
  wanted.kind = "gre";
  wanted.remote = "198.51.100.1";
  Link& link = snapshot.kernel.links["gre-tun1"];
  link = {true, true, 1476, "", std::nullopt, {}};
  link.kind = "gre";
  link.details = {{"remote", "198.51.100.1"}, {"local", "any"}, {"ttl", "0"}};
  return snapshot;
}

TEST(LinkDrift, ATunnel) {
  struct {
    const char* name;
    const char* value;
    const char* expected;
  } const cases[] = {
      {"remote", "198.51.100.9", "gre-tun1: the remote address is 198.51.100.9, not 198.51.100.1"},
      {"remote", "any", "gre-tun1: the remote address is any, not 198.51.100.1"},
      {"local", "192.168.1.1", "gre-tun1: the local address is 192.168.1.1, not any"},
      {"ikey", "0.0.0.7", "gre-tun1: it has a key, but its unit has none"},
      {"okey", "0.0.0.7", "gre-tun1: it has a key, but its unit has none"},
      {"ttl", "2", "gre-tun1: the TTL is 2, not 64"},
  };
  for (const auto& [name, value, expected] : cases) {
    Snapshot snapshot = gateway_with_tunnel();
    snapshot.kernel.links["gre-tun1"].details[name] = value;
    EXPECT_THAT(link_drift_of(snapshot), ElementsAre(expected));
    EXPECT_EQ(link_fix_of(snapshot), "ip link delete dev gre-tun1 && systemctl restart systemd-networkd");
  }
  Snapshot snapshot = gateway_with_tunnel();
  for (const char* ttl : {"64", "inherit", ""}) {
    snapshot.kernel.links["gre-tun1"].details["ttl"] = ttl;
    EXPECT_THAT(link_drift_of(snapshot), IsEmpty()) << ttl;
  }
  snapshot.kernel.links["gre-tun1"].parent = "eth0";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("gre-tun1: it is bound to eth0"));
  snapshot.kernel.links["gre-tun1"] = Link{true, true, 1476, "", std::nullopt, {}};
  snapshot.kernel.links["gre-tun1"].kind = "gre";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty()) << "nothing is reported";
}

TEST(LinkDrift, ABridgeHasTheParametersOfTheKernel) {
  Snapshot snapshot = gateway();
  InterfaceFacts& wanted = snapshot.wanted.interfaces["br-lan"];
  wanted.is_bridge = true;
  wanted.kind = "bridge";
  Link& link = snapshot.kernel.links["br-lan"];
  link = {true, true, 1500, "", std::nullopt, {}};
  link.kind = "bridge";
  link.details = {{"stp_state", "0"}, {"forward_delay", "1500"}, {"priority", "32768"}};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  link.details["stp_state"] = "1";
  EXPECT_THAT(link_drift_of(snapshot), ElementsAre("br-lan: the spanning tree protocol is 1, not 0"));
  EXPECT_EQ(link_fix_of(snapshot), "ip link set dev br-lan type bridge stp_state 0");
}

TEST(LinkDrift, ADeviceOfAnotherKindIsNotLookedInto) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["wg0"].kind = "wireguard";
  snapshot.kernel.links["wg0"] = {true, true, 1420, "", std::nullopt, {}};
  snapshot.kernel.links["wg0"].kind = "wireguard";
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

TEST(LinkDrift, WhatIsLeftOfAFormerConfiguration) {
  Snapshot snapshot = gateway();
  for (const char* name :
       {"br-lan", "br-lan.5", "eth0.7", "eth1.8", "gre-tun1", "lo", "eth1", "docker0", "eth10"})
    snapshot.kernel.links[name] = {true, true, 1500, "", std::nullopt, {}};
  Texts subjects;
  for (const Drift& drift : found(find_link_drift, snapshot)) {
    EXPECT_EQ(drift.what, "it exists in the kernel, but is not configured");
    EXPECT_EQ(drift.fix, "ip link delete dev " + drift.subject);
    EXPECT_TRUE(drift.is_surplus);
    subjects.push_back(drift.subject);
  }
  EXPECT_THAT(subjects, ElementsAre("br-lan", "br-lan.5", "eth0.7", "eth1.8", "gre-tun1"));
}

TEST(LinkDrift, AddressesThatAreLeftOnAPort) {
  for (const char* name : {"eth1", "wlan0", "wwan0"}) {
    Snapshot snapshot = gateway();
    snapshot.kernel.links[name] = {true, true, 1500, "", std::nullopt, {{"10.64.1.2/30", false}}};
    EXPECT_THAT(link_drift_of(snapshot),
                ElementsAre(std::string(name) + ": the address 10.64.1.2/30 is not configured (surplus)"));
    snapshot.kernel.links[name].is_up = false;
    EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
  }
  Snapshot snapshot = gateway();
  snapshot.kernel.links["docker0"] = {true, true, 1500, "", std::nullopt, {{"172.17.0.1/16", false}}};
  EXPECT_THAT(link_drift_of(snapshot), IsEmpty());
}

// A name that another program has chosen must remain one word of the command.
TEST(LinkDrift, ANameWithSpecialCharactersIsQuoted) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0.1;reboot"] = {true, true, 1500, "", std::nullopt, {}};
  EXPECT_EQ(link_fix_of(snapshot), "ip link delete dev 'eth0.1;reboot'");
}
