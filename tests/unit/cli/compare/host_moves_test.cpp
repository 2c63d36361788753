#include "cli/compare/host_moves.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A LAN port "eth0".
struct Port {
  std::string address;
  std::string range;
  std::set<std::string> relays;
};

}  // namespace

static Facts facts_of_port(const Port& port) {
  Facts facts;
  if (!port.address.empty()) facts.interfaces["eth0"].address = port.address;
  if (!port.range.empty()) facts.servers["eth0"] = {port.range, "3600"};
  if (!port.relays.empty()) facts.relays["eth0"] = port.relays;
  return facts;
}

static std::vector<std::string> sentences_of(const Facts& before, const Facts& after) {
  std::vector<std::string> sentences;
  for (const HostMove& move : find_host_moves(before, after))
    sentences.push_back(move.sentence);
  return sentences;
}

static std::vector<std::string> moves(const Port& before, const Port& after) {
  return sentences_of(facts_of_port(before), facts_of_port(after));
}

constexpr char kAddress[] = "192.168.1.1/24";

TEST(HostMoves, ARangeThatGrowsMovesNoHost) {
  EXPECT_THAT(
      moves({kAddress, "192.168.1.100-192.168.1.150", {}}, {kAddress, "192.168.1.50-192.168.1.199", {}}),
      IsEmpty());
}

TEST(HostMoves, ARangeThatShrinksMovesThoseOutside) {
  for (const char* range : {"192.168.1.101-192.168.1.199", "192.168.1.100-192.168.1.198"})
    EXPECT_EQ(moves({kAddress, "192.168.1.100-192.168.1.199", {}}, {kAddress, range, {}}).size(), 1U);
  EXPECT_THAT(moves({kAddress, "192.168.1.100-192.168.1.199", {}}, {kAddress, "192.168.1.7-192.168.1.9", {}}),
              ElementsAre("hosts behind eth0 with a lease outside .7 to .9 get another address"));
}

TEST(HostMoves, RangesThatAreNoneAreOnlyCompared) {
  EXPECT_THAT(moves({kAddress, "a-b", {}}, {kAddress, "a-b", {}}), IsEmpty());
  EXPECT_EQ(moves({kAddress, "a-b", {}}, {kAddress, "a-c", {}}).size(), 1U);
  EXPECT_EQ(moves({kAddress, "10.0.0.1", {}}, {kAddress, "10.0.0.1-10.0.0.2", {}}).size(), 1U);
}

TEST(HostMoves, LeasesEndWithTheServer) {
  EXPECT_THAT(moves({kAddress, "192.168.1.100-192.168.1.199", {}}, {kAddress, "", {}}),
              ElementsAre("hosts behind eth0 lose their addresses when their leases expire"));
}

TEST(HostMoves, AnotherServerGivesOtherAddresses) {
  EXPECT_THAT(moves({kAddress, "", {"10.1.1.1"}}, {kAddress, "", {"10.1.1.2", "10.1.1.3"}}),
              ElementsAre("hosts behind eth0 get their addresses from 10.1.1.2 and 10.1.1.3"));
  EXPECT_THAT(moves({kAddress, "", {"10.1.1.1"}}, {kAddress, "", {"10.1.1.1"}}), IsEmpty());
  EXPECT_THAT(moves({kAddress, "", {}}, {kAddress, "", {"10.1.1.1"}}), IsEmpty());
}

TEST(HostMoves, WithoutUnitsTheServersAreCompared) {
  EXPECT_THAT(moves({"", "192.168.1.100-192.168.1.199", {}}, {"", "", {}}),
              ElementsAre("hosts behind eth0 lose their addresses when their leases expire"));
  EXPECT_THAT(moves({"", "", {"10.1.1.1"}}, {"", "", {"10.1.1.2"}}),
              ElementsAre("hosts behind eth0 get their addresses from 10.1.1.2"));
}

TEST(HostMoves, AnotherNetworkMovesAll) {
  EXPECT_THAT(moves({kAddress, "", {}}, {"10.0.0.1/8", "", {}}),
              ElementsAre("hosts behind eth0 get addresses in 10.0.0.0/8 instead of 192.168.1.0/24"));
  EXPECT_THAT(moves({kAddress, "", {}}, {kDynamicAddress, "", {}}),
              ElementsAre("hosts behind eth0 lose the network 192.168.1.0/24"));
}

TEST(HostMoves, TheGatewayGetsAnotherAddressInTheSameNetwork) {
  EXPECT_THAT(
      moves({kAddress, "", {}}, {"192.168.1.2/24", "", {}}),
      ElementsAre("hosts behind eth0 reach the gateway at 192.168.1.2; set this address on each of them"));
  const std::string range = "192.168.1.100-192.168.1.199";
  EXPECT_THAT(
      moves({kAddress, range, {}}, {"192.168.1.2/24", range, {}}),
      ElementsAre("hosts behind eth0 reach the gateway at 192.168.1.2 once they have renewed their lease"));
}

TEST(HostMoves, AMemberHasTheNetworkOfItsBridge) {
  Facts bridged;
  bridged.interfaces["eth0"].bridge = "br-lan";
  bridged.interfaces["br-lan"].address = kAddress;
  bridged.interfaces["br-lan"].is_bridge = true;
  EXPECT_THAT(sentences_of(facts_of_port({kAddress, "", {}}), bridged), IsEmpty());
  EXPECT_THAT(
      sentences_of(facts_of_port({"192.168.2.1/24", "", {}}), bridged),
      ElementsAre("hosts behind eth0 get addresses in 192.168.1.0/24, the network of br-lan, instead of "
                  "192.168.2.0/24"));
}

TEST(HostMoves, TunnelsAndTheCellularLinkHaveNoHosts) {
  Facts before;
  before.interfaces["gre-tun1"].is_tunnel = true;
  before.interfaces["gre-tun1"].address = kAddress;
  before.interfaces["wwan0"].address = "10.64.1.2/30";
  EXPECT_THAT(sentences_of(before, Facts()), IsEmpty());
}

TEST(HostMoves, StaticLeases) {
  Facts before;
  before.static_leases = {{"00:00:5e:00:53:10", "192.168.1.10"},
                          {"00:00:5e:00:53:11", "192.168.1.11"},
                          {"00:00:5e:00:53:12", "192.168.1.12"}};
  Facts after;
  after.static_leases = {{"00:00:5e:00:53:10", "192.168.1.20"},
                         {"00:00:5e:00:53:12", "192.168.1.12"},
                         {"00:00:5e:00:53:13", "192.168.1.13"}};
  EXPECT_THAT(
      sentences_of(before, after),
      ElementsAre("00:00:5e:00:53:10 gets 192.168.1.20 instead of 192.168.1.10",
                  "00:00:5e:00:53:11 loses its address 192.168.1.11", "00:00:5e:00:53:13 gets 192.168.1.13"));
}

TEST(HostMoves, ManyStaticLeasesAreCounted) {
  Facts after;
  for (int i = 10; i < 19; ++i)
    after.static_leases["00:00:5e:00:53:" + std::to_string(i)] = "192.168.1." + std::to_string(i);
  EXPECT_THAT(sentences_of(Facts(), after), ElementsAre("9 devices with static leases get other addresses"));
}
