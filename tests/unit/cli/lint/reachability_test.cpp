#include "cli/lint/reachability.h"

#include <gtest/gtest.h>

#include "libcmd/configuration_text.h"

namespace {

// Reachability in the site of a configuration, which is given as JSON.
class ReachabilityTest : public testing::Test {
 protected:
  const Reachability& of(const std::string& text) {
    site_.reset();
    source_ = {"network.json", text, {}};
    EXPECT_FALSE(parse_configuration(source_.text, source_.root).has_value()) << text;
    site_ = std::make_unique<Site>(source_);
    return site_->reachability();
  }

  // Like of(), for the members of "wired" and the rest of the configuration.
  const Reachability& of_ports(const std::string& ports, const std::string& rest = "") {
    return of("{\"wired\": {" + ports + "}" + (rest.empty() ? "" : ", " + rest) + "}");
  }

  static std::string owner_of(const Route* route) {
    return route != nullptr ? route->owner : "nobody";
  }

  static std::string way(const Reachability& reachability, const std::string& address) {
    return owner_of(reachability.find(*parse_ipv4(address)));
  }

  static std::string reason(const std::optional<Obstacle>& obstacle) {
    return obstacle ? obstacle->reason : "none";
  }

  static std::string unreachable(const Reachability& reachability, const std::string& address) {
    return reason(reachability.why_unreachable(*parse_ipv4(address)));
  }

  static std::string no_host(const Reachability& reachability, const std::string& address) {
    return reason(reachability.why_no_other_host(*parse_ipv4(address)));
  }

  // The text at the related location of an obstacle; "none" unless there is exactly one.
  std::string second_text(const std::optional<Obstacle>& obstacle) const {
    if (!obstacle || obstacle->details.related.size() != 1) return "none";
    const TextRange range = obstacle->details.related.front().range;
    return source_.text.substr(static_cast<std::size_t>(range.begin),
                               static_cast<std::size_t>(range.end - range.begin));
  }

 private:
  Source source_;
  std::unique_ptr<Site> site_;
};

}  // namespace

static std::string port(const std::string& name, const std::string& network, bool is_enabled = true) {
  return '"' + name + R"(": {"enable": )" + (is_enabled ? "true" : "false") +
         R"(, "network": {"mode": "router", )" + network + "}}";
}

static const std::string kLan = port("eth0", R"("ipv4": "192.168.1.1", "netmask": 24)");

TEST_F(ReachabilityTest, TheLongestPrefixCounts) {
  const Reachability& ways =
      of_ports(kLan + ", " + port("eth1", R"("ipv4": "10.0.0.1", "netmask": 8, "gateway": "10.0.0.2")"),
               R"("static_routes": [
           {"enable": true, "interface": "eth0", "ipv4": "10.1.0.0", "netmask": 16},
           {"enable": false, "interface": "eth0", "ipv4": "10.2.0.0", "netmask": 16}])");
  EXPECT_EQ(way(ways, "192.168.1.7"), "eth0");
  EXPECT_EQ(way(ways, "10.1.2.3"), "eth0");
  EXPECT_EQ(way(ways, "10.2.2.3"), "eth1");
  EXPECT_EQ(way(ways, "9.9.9.9"), "eth1");
}

TEST_F(ReachabilityTest, OfTwoUplinksTheLowerMetricCounts) {
  const std::string cell = R"("wireless": {"cell": {"enable": true, "metric": 1023}})";
  EXPECT_EQ(way(of_ports(port("eth1", R"("protocol": "dhcp_client")"), cell), "9.9.9.9"), kCellularLink);
  EXPECT_EQ(way(of_ports(port("eth1", R"("protocol": "dhcp_client", "metric": 5)"), cell), "9.9.9.9"),
            "eth1");
}

TEST_F(ReachabilityTest, UplinksOfOneMetricAreAlike) {
  const Reachability& ways = of_ports(kLan + ", " + port("eth1", R"("protocol": "dhcp_client", "metric": 5)"),
                                      R"("wireless": {"cell": {"enable": true, "metric": 5}})");
  EXPECT_TRUE(ways.has_uplinks_alike(5));
  EXPECT_FALSE(ways.has_uplinks_alike(0));
  EXPECT_EQ(owner_of(ways.default_route()), "eth1");
}

TEST_F(ReachabilityTest, ADefaultRouteIntoATunnelCountsBeforeAnUplink) {
  const Reachability& ways = of_ports(kLan, R"("wireless": {"cell": {"enable": true}}, "tunnels": {"gre": [
      {"enable": true, "tunnel_local_ip": "10.255.0.1", "tunnel_remote_ip": "10.255.0.2",
       "tunnel_netmask": 30, "tunnel_networks": [{"dest_ip": "0.0.0.0", "dest_netmask": 0}]},
      {"enable": false, "tunnel_local_ip": "10.255.1.1", "tunnel_remote_ip": "10.255.1.2",
       "tunnel_netmask": 30}
    ]})");
  EXPECT_EQ(way(ways, "9.9.9.9"), "gre-tun1");
  EXPECT_EQ(way(ways, "10.255.0.2"), "gre-tun1");
  EXPECT_EQ(ways.find_connected(*parse_ipv4("10.255.1.2")), nullptr);
}

TEST_F(ReachabilityTest, WireguardNetworksAreRoutes) {
  const Reachability& ways = of_ports(kLan, R"("tunnels": {"wireguard": {"enable": true, "interfaces": [
      {"enable": true, "local_addrs": "10.8.0.1/24", "peers": [
        {"public_key": "A", "allowed_ips": "10.9.0.0/16, 10.10.0.1,fd00::/8"}]}]}})");
  EXPECT_EQ(way(ways, "10.8.0.7"), "wg0");
  EXPECT_EQ(way(ways, "10.9.1.2"), "wg0");
  EXPECT_EQ(way(ways, "10.10.0.1"), "wg0");
  EXPECT_EQ(way(ways, "10.10.0.2"), "nobody");
  EXPECT_NE(ways.find_own(*parse_ipv4("10.8.0.1")), nullptr);
}

TEST_F(ReachabilityTest, TheNetworkOfAMissingNetmaskIsThatOfTheClass) {
  const Reachability& ways = of_ports(port("eth0", R"("ipv4": "172.16.0.1")"));
  EXPECT_EQ(way(ways, "172.16.9.9"), "eth0");
  EXPECT_EQ(way(ways, "172.17.0.1"), "nobody");
  // Without a netmask, it does not count as a connected network.
  EXPECT_EQ(ways.find_connected(*parse_ipv4("172.16.9.9")), nullptr);
}

TEST_F(ReachabilityTest, TheSecondaryAddressIsConnectedToo) {
  const Reachability& ways = of_ports(
      port("eth0", R"("ipv4": "192.168.1.1", "netmask": 24, "advanced": {"enable_secondary_ip": true})"));
  EXPECT_EQ(way(ways, "169.254.0.2"), "eth0");
  EXPECT_EQ(no_host(ways, "169.254.0.1"), "169.254.0.1 is the gateway's own address, on eth0");
}

TEST_F(ReachabilityTest, SomeAddressesAreNoOtherHosts) {
  const Reachability& ways = of_ports(kLan);
  EXPECT_EQ(no_host(ways, "192.168.1.1"), "192.168.1.1 is the gateway's own address, on eth0");
  EXPECT_EQ(second_text(ways.why_no_other_host(*parse_ipv4("192.168.1.1"))), "\"192.168.1.1\"");
  EXPECT_EQ(no_host(ways, "192.168.1.0"), "192.168.1.0 is the network address of 192.168.1.0/24");
  EXPECT_EQ(no_host(ways, "192.168.1.255"), "192.168.1.255 is the broadcast address of 192.168.1.0/24");
  EXPECT_EQ(no_host(ways, "127.0.0.53"), "127.0.0.53 is the gateway itself");
  EXPECT_EQ(no_host(ways, "0.0.0.0"), "0.0.0.0 is not the address of a host");
  EXPECT_EQ(no_host(ways, "224.0.0.5"), "224.0.0.5 is not the address of a host");
  EXPECT_EQ(no_host(ways, "223.255.255.255"), "none");
  EXPECT_EQ(no_host(ways, "192.168.1.254"), "none");
}

TEST_F(ReachabilityTest, WithoutARouteAnAddressIsUnreachable) {
  const Reachability& ways = of_ports(kLan);
  EXPECT_EQ(unreachable(ways, "10.99.0.1"), "no interface, route, or uplink leads to 10.99.0.1");
  EXPECT_EQ(unreachable(ways, "192.168.1.9"), "none");
  EXPECT_FALSE(ways.lost_uplink().has_value());
}

TEST_F(ReachabilityTest, AnUplinkReachesEveryAddress) {
  EXPECT_EQ(unreachable(of_ports(port("eth0", R"("protocol": "dhcp_client")")), "10.99.0.1"), "none");
  EXPECT_EQ(unreachable(of(R"({"wireless": {"cell": {"enable": true}}})"), "10.99.0.1"), "none");
  EXPECT_EQ(
      unreachable(of(R"({"wired": {"eth0": {"enable": true, "network": {"mode": "pass-through-auto"}}}})"),
                  "10.99.0.1"),
      "none");
}

TEST_F(ReachabilityTest, AGatewayWithoutInterfacesIsNotJudged) {
  EXPECT_EQ(unreachable(of("{}"), "10.99.0.1"), "none");
}

TEST_F(ReachabilityTest, NothingIsJudgedByValuesThatCannotBeRead) {
  for (const char* network :
       {R"("ipv4": "192.168.1", "netmask": 24)", R"("ipv4": "192.168.1.1", "netmask": 40)"}) {
    const Reachability& ways = of_ports(port("eth0", network));
    EXPECT_FALSE(ways.is_certain()) << network;
    EXPECT_EQ(unreachable(ways, "10.99.0.1"), "none") << network;
    EXPECT_TRUE(ways.may_have_other_addresses()) << network;
  }
  for (const char* route : {R"("interface": "eth0", "netmask": 8)", R"("ipv4": "10.0.0.0", "netmask": 8)",
                            R"("interface": "eth0", "ipv4": "10", "netmask": 8)"}) {
    const std::string routes = R"("static_routes": [{"enable": true, )" + std::string(route) + "}]";
    EXPECT_FALSE(of_ports(kLan, routes).is_certain()) << route;
  }
  for (const char* tunnel : {R"("tunnel_netmask": 33, "tunnel_remote_ip": "10.255.0.2")",
                             R"("tunnel_netmask": 30, "tunnel_remote_ip": "10.255.0.2",
                                "tunnel_networks": [{"dest_ip": "x"}])"}) {
    const std::string tunnels = R"("tunnels": {"gre": [{"enable": true, "tunnel_local_ip": "10.255.0.1", )" +
                                std::string(tunnel) + "}]}";
    EXPECT_FALSE(of_ports(kLan, tunnels).is_certain()) << tunnel;
  }
  EXPECT_TRUE(of_ports(kLan).is_certain());
}

TEST_F(ReachabilityTest, ADisabledNetworkIsNamed) {
  const Reachability& ways =
      of_ports(kLan + ", " + port("eth1", R"("ipv4": "192.168.2.1", "netmask": 24)", false),
               R"("wireless": {"cell": {"enable": true}})");
  EXPECT_EQ(unreachable(ways, "192.168.2.9"), "192.168.2.9 is in the network of eth1, which is disabled");
  EXPECT_EQ(second_text(ways.why_unreachable(*parse_ipv4("192.168.2.9"))), "false");
  EXPECT_EQ(unreachable(ways, "192.168.3.9"), "none");
  EXPECT_EQ(ways.find_disabled_address(*parse_ipv4("192.168.2.1"))->interface_name, "eth1");
  EXPECT_EQ(ways.find_disabled_address(*parse_ipv4("192.168.2.2")), nullptr);
}

TEST_F(ReachabilityTest, TheNetworkOfADhcpClientMayBeThatOfADisabledPort) {
  const Reachability& ways = of_ports(port("eth0", R"("protocol": "dhcp_client")") + ", " +
                                      port("eth1", R"("ipv4": "192.168.2.1", "netmask": 24)", false));
  EXPECT_EQ(unreachable(ways, "192.168.2.9"), "none");
}

TEST_F(ReachabilityTest, AVlanIsDisabledWithItsPortOrItsList) {
  const std::string vlan = R"("networks": [
      {"enable": true, "vid": 7, "network": {"ipv4": "192.168.7.1", "netmask": 24}},
      {"enable": false, "vid": 8, "network": {"ipv4": "192.168.8.1", "netmask": 24}},
      {"enable": true, "network": {"ipv4": "192.168.9.1", "netmask": 24}}, 5])";
  const auto with_list = [&](const char* enable, bool is_enabled) {
    return kLan + ", " +
           port("eth1", R"("advanced": {"vlan": {)" + std::string(enable) + vlan + "}}", is_enabled);
  };
  const char* disabled = "192.168.7.9 is in the network of eth1.7, which is disabled";
  EXPECT_EQ(unreachable(of_ports(with_list(R"("enable": true, )", true)), "192.168.7.9"), "none");
  EXPECT_EQ(unreachable(of_ports(with_list(R"("enable": true, )", true)), "192.168.8.9"),
            "192.168.8.9 is in the network of eth1.8, which is disabled");
  EXPECT_EQ(unreachable(of_ports(with_list("", true)), "192.168.7.9"), disabled);
  EXPECT_EQ(unreachable(of_ports(with_list(R"("enable": true, )", false)), "192.168.7.9"), disabled);
}

TEST_F(ReachabilityTest, ADisabledAccessPointOrClientIsNamed) {
  const Reachability& ways = of_ports(kLan, R"("wireless": {"wifi": {
      "wlan0": {"ap": {"enable": false, "network": {"ipv4": "192.168.3.1", "netmask": 24}}},
      "wlan1": {"client": {"network": {"ipv4": "192.168.4.1", "netmask": 24}}}}})");
  EXPECT_EQ(unreachable(ways, "192.168.3.9"), "192.168.3.9 is in the network of wlan0, which is disabled");
  EXPECT_EQ(unreachable(ways, "192.168.4.9"), "192.168.4.9 is in the network of wlan1, which is disabled");
}

TEST_F(ReachabilityTest, ALostUplinkIsASecondLocation) {
  const auto reason_for_loss = [](const Reachability& ways) {
    return ways.lost_uplink() ? ways.lost_uplink()->reason : "none";
  };
  EXPECT_EQ(reason_for_loss(of_ports(kLan, R"("wireless": {"cell": {"enable": false}})")),
            "the cellular link is disabled");
  EXPECT_EQ(reason_for_loss(of_ports(kLan + ", " + port("eth1", R"("protocol": "dhcp_client")", false))),
            "eth1 is disabled");
  const Reachability& ways = of_ports(port("eth1", R"("ipv4": "203.0.113.10", "netmask": 24)"));
  EXPECT_EQ(reason_for_loss(ways), "eth1 has no \"gateway\"");
  EXPECT_EQ(second_text(ways.why_unreachable(*parse_ipv4("9.9.9.9"))), "\"203.0.113.10\"");
  EXPECT_EQ(second_text(ways.why_unreachable(*parse_ipv4("10.9.9.9"))), "none");
}

TEST_F(ReachabilityTest, OnlyTheConnectedNetworkAroundASubnetIsLarger) {
  const Reachability& ways = of_ports(kLan);
  EXPECT_EQ(owner_of(ways.find_connected_around(*parse_subnet("192.168.1.128", 25))), "eth0");
  EXPECT_EQ(owner_of(ways.find_connected_around(*parse_subnet("192.168.1.0", 24))), "nobody");
  EXPECT_EQ(owner_of(ways.find_network(*parse_subnet("192.168.1.0", 24))), "eth0");
  EXPECT_EQ(owner_of(ways.find_network(*parse_subnet("192.168.1.0", 25))), "nobody");
}

TEST_F(ReachabilityTest, TheAddressOfADhcpClientOrTheCellularLinkIsNotKnown) {
  EXPECT_FALSE(of_ports(kLan).may_have_other_addresses());
  EXPECT_TRUE(of_ports(port("eth0", R"("protocol": "dhcp_client")")).may_have_other_addresses());
  EXPECT_TRUE(of(R"({"wireless": {"cell": {"enable": true}}})").may_have_other_addresses());
  // In pass-through, the device behind the port has the address of the cellular link.
  EXPECT_FALSE(of(R"({"wired": {"eth0": {"enable": true, "network": {"mode": "pass-through-auto"}}},
                      "wireless": {"cell": {"enable": true}}})")
                   .may_have_other_addresses());
}
