#include "cli/restore/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A gateway whose configuration names eth0, eth1 and wwan0; each test changes something.
class PlanTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"eth0", "eth1", "docker0"})
      before_.links[name] = {"", true, "1500", "02:00:5e:00:00:11", "", {}};
    now_ = before_;
  }

  // Each step as "difference: command", stage by stage.
  Words plan() const {
    Words texts;
    const NetworkdState networkd(json(networkd_));
    for (const Stage stage : kStages)
      for (const Step& step : steps_of(stage, {before_, now_, networkd, units_, links_}))
        texts.push_back(step.difference + ": " + command_of(step));
    return texts;
  }

  static AddressState address(const std::string& link, const std::string& text) {
    AddressState state;
    state.link = link;
    state.text = text;
    state.words = {text, "dev", link};
    return state;
  }

  static RouteState route(const std::string& destination, const std::string& gateway,
                          const std::set<std::string>& links, const std::string& table = "254") {
    RouteState state;
    state.destination = destination;
    state.gateway = gateway;
    state.links = links;
    state.table = table;
    state.words = {destination, "table", table};
    return state;
  }

  static RuleState rule(const std::string& priority, const std::string& table) {
    RuleState state;
    state.priority = priority;
    state.table = table;
    state.words = {"priority", priority, "table", table};
    return state;
  }

  template <typename Item>
  static void add(std::map<std::string, Item>& items, const Item& item) {
    items.emplace(item.key(), item);
  }

  KernelState before_;
  KernelState now_;
  UnitNames units_ = {{"eth0"}, {}};
  std::set<std::string> links_ = {"eth0", "eth1", "eth0.100", "gre-tun1", "br-lan", "wwan0"};
  std::string networkd_ = "{}";

 private:
  static std::string command_of(const Step& step) {
    std::string text = step.sysctl.empty() ? "" : step.sysctl + "=" + step.value;
    for (const std::string& word : step.command)
      text += (text.empty() ? "" : " ") + word;
    return text;
  }
};

TEST_F(PlanTest, NothingIsLeftToDoInTheSameKernel) {
  before_.links["gre-tun1"] = {"gre", true, "1476", "", "", {{"ttl", "0"}}};
  units_.made = {"gre-tun1"};
  add(before_.addresses, address("eth1", "10.64.1.1/30"));
  add(before_.routes, route("default", "10.64.1.2", {"eth1"}));
  add(before_.rules, rule("100", "308"));
  before_.sysctls = {{"net/ipv4/conf/eth1/proxy_arp", "0"}};
  now_ = before_;
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, ALinkThatTheTrialHasMadeIsRemoved) {
  now_.links["gre-tun1"] = {"gre", true, "1476", "", "", {}};
  EXPECT_THAT(plan(), ElementsAre("gre-tun1 still exists: link del dev gre-tun1"));
  units_.made = {"gre-tun1"};
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, OtherNewLinksStay) {
  now_.links["veth7"] = {"veth", true, "1500", "", "", {}};
  now_.links["wg7"] = {"wireguard", true, "1420", "", "", {}};
  // A modem that was plugged in during the trial.
  now_.links["wwan0"] = {"", true, "1500", "", "", {}};
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AMissingLinkOfTheOldConfigurationIsReported) {
  before_.links["eth0.100"] = {"vlan", true, "1500", "", "", {}};
  EXPECT_THAT(plan(), IsEmpty());
  units_.made = {"eth0.100"};
  EXPECT_THAT(plan(), ElementsAre("eth0.100 is missing: "));
}

TEST_F(PlanTest, TheSettingsOfALinkAreRestored) {
  now_.links["eth1"] = {"", false, "1430", "02:00:5e:00:00:99", "br-lan", {}};
  EXPECT_THAT(plan(), ElementsAre("eth1 is a member of br-lan: link set dev eth1 nomaster",
                                  "eth1 has MAC address 02:00:5e:00:00:99 instead of 02:00:5e:00:00:11: "
                                  "link set dev eth1 address 02:00:5e:00:00:11",
                                  "eth1 is down: link set dev eth1 up",
                                  "eth1 has MTU 1430 instead of 1500: link set dev eth1 mtu 1500"));
  std::swap(before_, now_);
  EXPECT_THAT(plan(),
              ::testing::IsSupersetOf({"eth1 is not a member of br-lan: link set dev eth1 master br-lan",
                                       "eth1 is up: link set dev eth1 down"}));
}

TEST_F(PlanTest, WhatTheOldConfigurationBringsUpStaysUp) {
  before_.links["eth0"].is_up = false;
  now_.links["eth0"].master = "br-lan";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, TheLinkOfADaemonIsLeftAlone) {
  now_.links["docker0"].mtu = "1400";
  EXPECT_THAT(plan(), IsEmpty());
  before_.links["eth1"].mac = "";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, TheMtuOfTheCellularLinkFollowsItsOperator) {
  before_.links["wwan0"] = {"", true, "1500", "", "", {}};
  now_.links["wwan0"] = {"", true, "1430", "", "", {}};
  EXPECT_THAT(plan(), ElementsAre("wwan0 has MTU 1430 instead of 1500: link set dev wwan0 mtu 1500"));
  units_.links.insert("wwan0");
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, TheMembersOfABridgeComeBeforeItself) {
  before_.links["br-lan"] = {"bridge", true, "1500", "", "", {}};
  now_.links["br-lan"] = {"bridge", true, "1430", "", "", {}};
  now_.links["eth1"].mtu = "1430";
  EXPECT_THAT(plan(), ElementsAre("eth1 has MTU 1430 instead of 1500: link set dev eth1 mtu 1500",
                                  "br-lan has MTU 1430 instead of 1500: link set dev br-lan mtu 1500"));
}

TEST_F(PlanTest, TheParametersOfATunnelAreRestored) {
  before_.links["gre-tun1"] = {"gre", true, "1476", "", "", {{"remote", "198.51.100.1"}, {"ttl", "0"}}};
  now_.links["gre-tun1"] = {"gre", true, "1476", "", "", {{"remote", "198.51.100.2"}}};
  EXPECT_THAT(plan(),
              ElementsAre("gre-tun1 has remote 198.51.100.2 instead of 198.51.100.1: "
                          "link set dev gre-tun1 type gre remote 198.51.100.1",
                          "gre-tun1 has ttl none instead of 0: link set dev gre-tun1 type gre ttl 0"));
  now_.links["gre-tun1"].kind = "gretap";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, ATunnelThatFollowsTheCellularLinkIsLeftToItsUnit) {
  before_.links["gre-tun1"] = {"gre", true, "1406", "", "", {{"local", "10.64.1.2"}}};
  now_.links["gre-tun1"] = {"gre", true, "1376", "", "", {{"local", "10.64.9.2"}}};
  units_.made = {"gre-tun1"};
  EXPECT_THAT(plan(), IsEmpty());
  now_.links["gre-tun1"].parameters = before_.links["gre-tun1"].parameters;
  EXPECT_THAT(plan(), ElementsAre("gre-tun1 has MTU 1376 instead of 1406: "
                                  "link set dev gre-tun1 mtu 1406"));
}

TEST_F(PlanTest, AnAddressOfTheTrialIsRemoved) {
  add(now_.addresses, address("eth1", "10.64.1.1/30"));
  EXPECT_THAT(plan(),
              ElementsAre("eth1 still has the address 10.64.1.1/30: address del 10.64.1.1/30 dev eth1"));
  // The port has the address in the old configuration, although it was missing before the trial.
  networkd_ = R"({"Interfaces": [{"Name": "eth1", "Addresses": [
    {"Family": 2, "Address": [10, 64, 1, 1], "PrefixLength": 30, "ConfigSource": "static"}]}]})";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AnAddressOfADaemonStays) {
  add(now_.addresses, address("docker0", "172.17.0.1/16"));
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, WithoutAnAnswerOfNetworkdOnlyLinksWithoutAUnitAreCleared) {
  networkd_ = "null";
  add(now_.addresses, address("eth0", "10.64.1.1/30"));
  add(now_.routes, route("10.1.0.0/16", "10.64.1.2", {"eth0"}));
  add(now_.addresses, address("eth1", "10.64.1.5/30"));
  add(now_.rules, rule("100", "308"));
  EXPECT_THAT(plan(),
              ElementsAre("eth1 still has the address 10.64.1.5/30: address del 10.64.1.5/30 dev eth1"));
}

TEST_F(PlanTest, AMissingAddressIsRestored) {
  add(before_.addresses, address("eth1", "192.168.2.1/24"));
  EXPECT_THAT(plan(),
              ElementsAre("eth1 lacks the address 192.168.2.1/24: address add 192.168.2.1/24 dev eth1"));
  before_.addresses.begin()->second.is_dynamic = true;
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AMissingAddressIsNotRestoredWhereItCannotBe) {
  units_.links.insert("wwan0");
  before_.links["wwan0"] = now_.links["wwan0"] = before_.links["eth0"];
  for (const char* link : {"docker0", "wwan0", "gre-tun1"})
    add(before_.addresses, address(link, "192.168.2.1/24"));
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, ARouteOfTheTrialIsRemoved) {
  add(now_.routes, route("10.20.0.0/16", "10.255.2.1", {"eth1"}));
  add(now_.routes, route("10.21.0.0/16", "172.17.0.2", {"docker0"}));
  EXPECT_THAT(plan(), ElementsAre("the route to 10.20.0.0/16 via 10.255.2.1 on eth1 still exists: "
                                  "route del 10.20.0.0/16 table 254"));
  networkd_ = R"({"Interfaces": [{"Name": "eth1", "Routes": [{"Family": 2, "Destination": [10, 20, 0, 0],
    "DestinationPrefixLength": 16, "Gateway": [10, 255, 2, 1], "Priority": 0, "Table": 254,
    "ConfigSource": "static"}]}]})";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AMissingRouteIsRestoredAfterThoseToItsGateway) {
  add(before_.routes, route("10.1.0.0/16", "10.9.0.1", {"eth1"}));
  add(before_.routes, route("10.9.0.0/24", "", {"eth1"}));
  EXPECT_THAT(plan(), ElementsAre("the route to 10.9.0.0/24 on eth1 is missing: "
                                  "route add 10.9.0.0/24 table 254",
                                  "the route to 10.1.0.0/16 via 10.9.0.1 on eth1 is missing: "
                                  "route add 10.1.0.0/16 table 254"));
  for (auto& [key, route] : before_.routes)
    route.is_dynamic = true;
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AMissingRouteIsNotRestoredWhereItCannotBe) {
  units_.links.insert("wwan0");
  before_.links["wwan0"] = now_.links["wwan0"] = before_.links["eth0"];
  for (const char* link : {"docker0", "wwan0", "gre-tun1"})
    add(before_.routes, route(std::string("10.1.0.0/16 dev ") + link, "", {link}));
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, ARuleOfTheTrialIsRemoved) {
  add(now_.rules, rule("100", "308"));
  EXPECT_THAT(plan(), ElementsAre("the rule 'priority 100 table 308' still exists: "
                                  "rule del priority 100 table 308"));
  networkd_ = R"({"RoutingPolicyRules": [{"Family": 2, "Priority": 100, "Table": 308,
                                          "ConfigSource": "static"}]})";
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, TheRuleOfADaemonStays) {
  RuleState by_link = rule("100", "254");
  by_link.links = {"wg7"};
  add(now_.rules, by_link);
  // The table of this rule leads to a link that the daemon created.
  add(now_.rules, rule("101", "51820"));
  add(now_.routes, route("default", "", {"wg8"}, "51821"));
  add(now_.routes, route("default", "", {"wg7"}, "51820"));
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, AMissingRuleIsRestored) {
  add(before_.rules, rule("100", "308"));
  EXPECT_THAT(plan(), ElementsAre("the rule 'priority 100 table 308' is missing: "
                                  "rule add priority 100 table 308"));
  now_.rules = before_.rules;
  EXPECT_THAT(plan(), IsEmpty());
}

TEST_F(PlanTest, TheSwitchesOfAllLinksComeBeforeThoseOfEach) {
  before_.sysctls = {{"net/ipv4/conf/all/forwarding", "1"},
                     {"net/ipv4/conf/docker0/forwarding", "1"},
                     {"net/ipv4/conf/eth1/proxy_arp", "0"},
                     {"net/ipv4/conf/gone/forwarding", "1"}};
  now_.sysctls = {{"net/ipv4/conf/all/forwarding", "0"},
                  {"net/ipv4/conf/docker0/forwarding", "0"},
                  {"net/ipv4/conf/eth1/proxy_arp", "0"}};
  EXPECT_THAT(plan(), ElementsAre("net/ipv4/conf/all/forwarding is 0 instead of 1: "
                                  "net/ipv4/conf/all/forwarding=1",
                                  "net/ipv4/conf/docker0/forwarding is 0 instead of 1: "
                                  "net/ipv4/conf/docker0/forwarding=1"));
}
