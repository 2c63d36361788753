#include "cli/compare/facts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

static Facts facts_of(const std::string& path, const std::string& content) {
  return read_facts({{path, {path, 0644, content}}});
}

namespace {

struct RouteCase {
  const char* what;
  const char* unit;  // after its [Match] section
  // The expected values of the interface's own route, and the static routes.
  const char* gateway;
  const char* metric;
  std::set<std::string> routes;
};

// Without this, a failure would show the bytes of the case.
void PrintTo(const RouteCase& route_case, std::ostream* out) {
  *out << route_case.what;
}

class Routes : public testing::TestWithParam<RouteCase> {};

}  // namespace

TEST_P(Routes, DistinguishTheOwnRouteFromStaticOnes) {
  const Facts facts =
      facts_of("/var/run/systemd/network/20-x.network", std::string("[Match]\nName = x\n") + GetParam().unit);
  const InterfaceFacts& interface = facts.interfaces.at("x");
  EXPECT_EQ(interface.gateway, GetParam().gateway);
  EXPECT_EQ(interface.metric, GetParam().metric);
  EXPECT_EQ(interface.routes, GetParam().routes);
}

const RouteCase kRouteCases[] = {
    {"Static",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n",
     "",
     "",
     {}},
    {"StaticWithGatewayAndMetric",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nGateway = 192.168.1.254\nMetric = 10\n",
     "192.168.1.254",
     "10",
     {}},
    {"HostAddress", "\n[Network]\nAddress = 192.168.1.1\n\n[Route]\nMetric = 10\n", "", "10", {}},
    {"DhcpClient",
     "\n[Network]\nDHCP = ipv4\n\n[Route]\nGateway = _dhcp\n\n[DHCPv4]\nRouteMetric = 20\n\n"
     "\n[Route]\nDestination = 10.20.0.0/16\n",
     "",
     "20",
     {"10.20.0.0/16"}},
    {"DirectRoute",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n"
     "\n[Route]\nDestination = 10.20.0.0/16\n",
     "",
     "",
     {"10.20.0.0/16"}},
    {"SecondDirectRoute",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n"
     "\n[Route]\nDestination = 10.20.0.0/16\n\n[Route]\nDestination = 10.30.0.0/16\nMetric = 50\n",
     "",
     "",
     {"10.20.0.0/16", "10.30.0.0/16, metric 50"}},
    {"RouteByGateway",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nGateway = 192.168.1.254\n"
     "\n[Route]\nGateway = 192.168.1.2\nGatewayOnlink = yes\nDestination = 10.20.0.0/16\nMetric = 5\n",
     "192.168.1.254",
     "",
     {"10.20.0.0/16 via 192.168.1.2, metric 5"}},
    {"RouteToAnywhere",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n"
     "\n[Route]\nGateway = 192.168.1.2\nGatewayOnlink = yes\n",
     "",
     "",
     {"anywhere via 192.168.1.2"}},
    {"BehindASecondaryAddressAndVlans",
     "\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n"
     "\n[Address]\nAddress = 169.254.0.1/25\n\n[BridgeVLAN]\nVLAN = 20\n"
     "\n[Route]\nDestination = 10.20.0.0/16\n",
     "",
     "",
     {"10.20.0.0/16"}},
    {"WithoutAnAddress", "\n[Network]\n\n[Route]\nDestination = 10.20.0.0/16\n", "", "", {"10.20.0.0/16"}},
    {"CellularLink",
     "\n[Network]\nAddress = 10.64.1.2/30\nDNS = 9.9.9.9\n\n[Route]\nGateway = 10.64.1.1\nMetric = 100\n"
     "\n[Route]\nDestination = 10.9.0.0/16\n",
     "10.64.1.1",
     "100",
     {"10.9.0.0/16"}},
    {"CellularLinkInPassThrough",
     "\n[Network]\nAddress = 169.125.7.209/24\nIPv4ProxyARP = yes\nIPForward = yes\n"
     "DefaultRouteOnDevice = yes\n\n[Route]\nGateway = 169.125.7.210\nMetric = 0\n",
     "169.125.7.210",
     "0",
     {}},
    {"PassThroughPort",
     "\n[Network]\nAddress = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n"
     "\n[Route]\nDestination = 10.20.0.0/16\n",
     "",
     "",
     {"10.20.0.0/16"}},
    {"PassThroughPortWithHostRoute",
     "\n[Network]\nAddress = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n"
     "\n[Route]\nDestination = 10.64.1.2/32\nScope = host\n",
     "",
     "",
     {"10.64.1.2/32"}},
    {"Tunnel",
     "\n[Network]\nAddress = 10.255.1.2/30\n\n[Route]\nGateway = 10.255.1.1\nDestination=10.30.0.0/16\n"
     "GatewayOnlink = yes\n",
     "",
     "",
     {"10.30.0.0/16 via 10.255.1.1"}},
};

INSTANTIATE_TEST_SUITE_P(Facts, Routes, testing::ValuesIn(kRouteCases),
                         [](const auto& param) { return param.param.what; });

constexpr char kConf[] = "/var/run/dnsmasq.conf";
constexpr char kUnit[] =
    "[Match]\nName = eth0\n\n[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n";

TEST(DnsmasqFacts, ARelayBelongsToTheInterfaceWithItsAddress) {
  const std::string path = "/var/run/systemd/network/20-eth0.network";
  const Facts facts =
      read_facts({{kConf, {kConf, 0644, "dhcp-relay=192.168.1.1,10.1.1.1\n"}}, {path, {path, 0644, kUnit}}});
  EXPECT_THAT(facts.relays, ElementsAre(Pair("eth0", ElementsAre("10.1.1.1"))));
}

TEST(DnsmasqFacts, WithoutUnitsTheHeadingNamesTheInterfaceOfARelay) {
  const Facts facts = facts_of(kConf, "\n# DHCP relay on eth0\ndhcp-relay=192.168.1.1,10.1.1.1\n");
  EXPECT_THAT(facts.relays, ElementsAre(Pair("eth0", ElementsAre("10.1.1.1"))));
}

TEST(DnsmasqFacts, TheLineInFrontOfAPassThroughRangeIsNoStaticLease) {
  const Facts facts = facts_of(kConf,
                               "\n# DHCP server on wlan0\ndhcp-range=wlan0,10.0.0.100,10.0.0.199,12h\n"
                               "dhcp-host=00:00:5e:00:53:10,10.0.0.10\n"
                               "\n# pass-through automatic mode DHCP on eth0\n"
                               "dhcp-host=02:00:5e:00:53:00,10.64.1.1\n"
                               "dhcp-range=eth0,10.64.1.2,10.64.1.2,2m\n");
  EXPECT_THAT(facts.static_leases, ElementsAre(Pair("00:00:5e:00:53:10", "10.0.0.10")));
  EXPECT_EQ(facts.servers.at("eth0").range, "10.64.1.2-10.64.1.2");
  EXPECT_EQ(facts.servers.at("wlan0").lease_time, "12h");
}

TEST(DnsmasqFacts, ADeviceWithALeaseInTwoNetworksHasBoth) {
  const Facts facts = facts_of(kConf,
                               "# DHCP server on eth0\ndhcp-host=00:00:5e:00:53:10,10.0.0.10\n"
                               "# DHCP server on eth1\ndhcp-host=00:00:5e:00:53:10,10.0.1.10\n");
  EXPECT_THAT(facts.static_leases, ElementsAre(Pair("00:00:5e:00:53:10", "10.0.0.10 and 10.0.1.10")));
}

TEST(NameFacts, AreReadFromTheHostsAndTheResolverFile) {
  EXPECT_THAT(facts_of("/var/run/hosts", "127.0.0.1 localhost  # here\n192.168.1.1 qele\n").names,
              ElementsAre(Pair("localhost", "127.0.0.1"), Pair("qele", "192.168.1.1")));
  EXPECT_EQ(facts_of("/var/run/resolv.conf", "# DNS servers\nnameserver 9.9.9.9\nnameserver 1.1.1.1\n")
                .name_servers,
            "9.9.9.9, 1.1.1.1");
}

TEST(CommandFacts, NameTheTunnelsThatTheRunDeletes) {
  EXPECT_THAT(facts_of(kCommands, "/sbin/ip tunnel del gre-tun1\n/sbin/ip link set dev eth1 down\n")
                  .commands.deleted_tunnels,
              ElementsAre("gre-tun1"));
  EXPECT_THAT(facts_of("/var/run/script", "#!/bin/sh\n").commands.deleted_tunnels, IsEmpty());
}

TEST(DeviceFacts, AreTheKindOfTheDeviceAndTheVlanId) {
  const Facts facts = facts_of("/var/run/systemd/network/30-eth0.20.netdev",
                               "[NetDev]\nName = eth0.20\nKind = vlan\n\n[VLAN]\nId = 20\n");
  EXPECT_EQ(facts.interfaces.at("eth0.20").kind, "vlan");
  EXPECT_EQ(facts.interfaces.at("eth0.20").vlan_id, "20");
}

TEST(NetworkFacts, AreProxyArpAndTheDefaultRouteOnTheDevice) {
  const Facts facts = facts_of("/var/run/systemd/network/10-wwan0.network",
                               "[Match]\nName = wwan0\n\n[Network]\nIPv4ProxyARP = yes\n"
                               "DefaultRouteOnDevice = yes\n");
  EXPECT_TRUE(facts.interfaces.at("wwan0").proxies_arp);
  EXPECT_TRUE(facts.interfaces.at("wwan0").is_default_route);
}

TEST(NetworkFacts, ArePolicyRules) {
  const Facts facts = facts_of("/var/run/systemd/network/44-wireguard.network",
                               "[Match]\nName = wg0\n\n[Network]\n\n"
                               "[RoutingPolicyRule]\nInvertRule = true\nFirewallMark = 308\nTable = 308\n\n"
                               "[RoutingPolicyRule]\nTable = main\nSuppressPrefixLength = 0\n");
  const std::vector<RuleFacts>& rules = facts.interfaces.at("wg0").rules;
  ASSERT_EQ(rules.size(), 2U);
  EXPECT_EQ(rules[0].mark, "308");
  EXPECT_EQ(rules[0].table, "308");
  EXPECT_TRUE(rules[0].is_inverted);
  EXPECT_EQ(rules[1].suppressed, "0");
  EXPECT_FALSE(rules[1].is_inverted);
}
