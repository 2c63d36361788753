#include "cli/restore/kernel_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::Pair;

static KernelState state_of(const char* member, const std::string& text) {
  Json::Value record;
  record[member] = json(text);
  return kernel_state_of(record);
}

static LinkState link_of(const std::string& text) {
  return state_of("links", "[" + text + "]").links.begin()->second;
}

TEST(KernelState, ALink) {
  const LinkState card = link_of(R"({"ifname": "eth1", "flags": ["BROADCAST", "UP"], "mtu": 1430,
    "master": "br-lan", "link_type": "ether", "address": "02:00:5e:00:00:11"})");
  EXPECT_EQ(card.kind, "");
  EXPECT_TRUE(card.is_up);
  EXPECT_EQ(card.mtu, "1430");
  EXPECT_EQ(card.mac, "02:00:5e:00:00:11");
  EXPECT_EQ(card.master, "br-lan");
  EXPECT_THAT(card.parameters, IsEmpty());
}

TEST(KernelState, ATunnelHasParametersAndNoMacAddress) {
  const LinkState tunnel = link_of(R"({"ifname": "gre-tun1", "flags": ["NOARP"], "mtu": 1476, "link_type":
    "gre", "address": "203.0.113.10", "linkinfo": {"info_kind": "gre", "info_data":
    {"remote": "198.51.100.1", "local": "203.0.113.10", "ttl": 0, "pmtudisc": true}}})");
  EXPECT_FALSE(tunnel.is_up);
  EXPECT_EQ(tunnel.mac, "");
  EXPECT_EQ(tunnel.kind, "gre");
  EXPECT_THAT(tunnel.parameters,
              ElementsAre(Pair("local", "203.0.113.10"), Pair("remote", "198.51.100.1"), Pair("ttl", "0")));
}

// Returns the recorded address of a link "eth1" with this address; "" if it is not recorded.
static std::string address_of(const std::string& text) {
  const KernelState state = state_of("addresses", R"([{"ifname": "eth1", "addr_info": [)" + text + "]}]");
  return state.addresses.empty() ? "" : state.addresses.begin()->first;
}

TEST(KernelState, AnAddress) {
  EXPECT_EQ(address_of(R"({"family": "inet", "local": "10.64.1.1", "prefixlen": 30, "broadcast": "10.64.1.3",
                           "scope": "0", "label": "eth1", "valid_life_time": 4294967295})"),
            "10.64.1.1/30 broadcast 10.64.1.3 scope 0 label eth1 dev eth1");
  EXPECT_EQ(address_of(R"({"family": "inet", "local": "10.2.2.1", "address": "10.2.2.2", "prefixlen": 32,
                           "scope": "0", "noprefixroute": true})"),
            "10.2.2.1 peer 10.2.2.2/32 scope 0 dev eth1 noprefixroute");
  EXPECT_EQ(address_of(R"({"family": "inet6", "local": "fe80::1", "prefixlen": 64, "scope": "253"})"), "");
  EXPECT_EQ(address_of(R"({"family": "inet", "local": "127.0.0.1", "prefixlen": 8, "scope": "254"})"), "");
}

TEST(KernelState, AnAddressThatCameWithALease) {
  const auto is_dynamic = [](const std::string& more) {
    return state_of("addresses", R"([{"ifname": "eth1", "addr_info": [{"family": "inet", "local": "10.0.0.9",
                                      "prefixlen": 24)" +
                                     more + "}]}]")
        .addresses.begin()
        ->second.is_dynamic;
  };
  EXPECT_FALSE(is_dynamic(""));
  EXPECT_TRUE(is_dynamic(R"(, "dynamic": true)"));
  EXPECT_TRUE(is_dynamic(R"(, "valid_life_time": 3600)"));
}

TEST(KernelState, ARoute) {
  const KernelState state = state_of("routes", R"([{"type": "1", "dst": "10.20.0.0/16",
    "gateway": "192.168.2.2", "dev": "eth1", "table": "254", "protocol": "4", "scope": "0", "metric": 50,
    "prefsrc": "192.168.2.1", "flags": ["onlink"], "metrics": [{"mtu": 1400}]}])");
  ASSERT_THAT(state.routes, ElementsAre(Key("10.20.0.0/16 table 254 protocol 4 scope 0 metric 50 "
                                            "src 192.168.2.1 mtu 1400 via 192.168.2.2 dev eth1 onlink")));
  const RouteState& route = state.routes.begin()->second;
  EXPECT_THAT(route.links, ElementsAre("eth1"));
  EXPECT_EQ(route.gateway, "192.168.2.2");
  EXPECT_FALSE(route.is_dynamic);
}

TEST(KernelState, ARouteWithSeveralGateways) {
  const KernelState state = state_of("routes", R"([{"type": "1", "dst": "default", "table": "254",
    "protocol": "3", "scope": "0", "flags": [], "nexthops": [
      {"gateway": "10.1.1.2", "dev": "eth0", "weight": 1, "flags": []},
      {"via": {"family": "inet6", "host": "fe80::1"}, "dev": "eth1", "weight": 2, "flags": ["onlink"]}]}])");
  ASSERT_THAT(state.routes, ElementsAre(Key("default table 254 protocol 3 scope 0 nexthop via 10.1.1.2 "
                                            "dev eth0 weight 1 nexthop via inet6 fe80::1 dev eth1 weight 2 "
                                            "onlink")));
  EXPECT_THAT(state.routes.begin()->second.links, ElementsAre("eth0", "eth1"));
}

TEST(KernelState, OnlyRoutesThatSomebodyHasAdded) {
  const KernelState state = state_of("routes", R"([
    {"type": "1", "dst": "10.1.0.0/24", "dev": "eth0", "protocol": "2"},
    {"type": "1", "dst": "10.2.0.0/24", "dev": "eth0", "protocol": "186"},
    {"type": "2", "dst": "10.3.0.1", "dev": "eth0", "protocol": "4"},
    {"type": "6", "dst": "10.4.0.0/24", "protocol": "4"},
    {"type": "1", "dst": "10.5.0.0/24", "protocol": "4"},
    {"type": "1", "dst": "10.6.0.0/24", "dev": "eth0", "protocol": "16"}])");
  ASSERT_THAT(state.routes, ElementsAre(Key("10.6.0.0/24 protocol 16 dev eth0")));
  EXPECT_TRUE(state.routes.begin()->second.is_dynamic);
}

TEST(KernelState, ARule) {
  const KernelState state = state_of("rules", R"([
    {"priority": 0, "src": "all", "table": "255", "protocol": "2"},
    {"priority": 100, "not": null, "src": "10.1.0.0", "srclen": 16, "dst": "10.2.0.1", "fwmark": "0x1",
     "fwmask": "0xff", "iif": "eth0", "iif_detached": null, "oif": "eth1", "ipproto": "tcp", "dport": 22,
     "table": "308", "suppress_prefixlen": 0, "protocol": "4"},
    {"priority": 101, "src": "all", "action": "8", "protocol": "0"},
    {"priority": 102, "src": "all", "tun_id": 7, "table": "308", "protocol": "0"}])");
  EXPECT_THAT(state.rules,
              ElementsAre(Key("from all priority 101 type 8 protocol 0"),
                          Key("not from 10.1.0.0/16 to 10.2.0.1 fwmark 0x1/0xff priority 100 iif eth0 "
                              "oif eth1 ipproto tcp dport 22 table 308 suppress_prefixlength 0 protocol 4")));
  EXPECT_THAT(state.rules.rbegin()->second.links, ElementsAre("eth0", "eth1"));
}

TEST(KernelState, WhatIsMalformedIsLeftOut) {
  for (const char* text : {"null", "7", "[7]", "{}", "[[]]", R"([{"ifname": ["eth0"]}])",
                           R"([{"addr_info": 7}])", R"([{"addr_info": [7]}])", R"({"a": {}})"}) {
    for (const char* member : {"links", "addresses", "routes", "rules"}) {
      const KernelState state = state_of(member, text);
      EXPECT_TRUE(state.links.empty() && state.addresses.empty() && state.routes.empty()) << text;
    }
  }
  EXPECT_THAT(kernel_state_of(Json::Value(7)).links, IsEmpty());
  EXPECT_THAT(link_of(R"({"ifname": "eth0", "linkinfo": 7, "flags": {}, "master": {}})").master, "");
  EXPECT_THAT(link_of(R"({"ifname": "a", "linkinfo": {"info_kind": "gre", "info_data": []}})").parameters,
              IsEmpty());
  EXPECT_THAT(state_of("sysctls", "[]").sysctls, IsEmpty());
  EXPECT_THAT(state_of("sysctls", R"({"net/ipv4/conf/all/forwarding": "1", "a": {}})").sysctls,
              ElementsAre(Pair("a", ""), Pair("net/ipv4/conf/all/forwarding", "1")));
}
