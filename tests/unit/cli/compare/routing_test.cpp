#include "cli/compare/routing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

static Facts facts_of_units(const std::map<std::string, std::string>& units) {
  FilesByPath files;
  for (const auto& [name, content] : units) {
    const std::string path = "/var/run/systemd/network/20-" + name + ".network";
    files[path] = {path, 0644, "[Match]\nName = " + name + "\n\n" + content};
  }
  return read_facts(files);
}

// The hop to an address; empty if no route leads there.
static std::string hop_to(const Facts& facts, const std::string& address) {
  const auto route = find_route(routes_of(facts), *parse_ipv4(address));
  return route ? hop_of(*route) : std::string();
}

constexpr char kLan[] = "[Network]\nAddress = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n";

TEST(Routing, TheLongestPrefixDecides) {
  const Facts facts = facts_of_units(
      {{"eth0", kLan},
       {"eth1",
        "[Network]\nAddress = 192.168.2.1/24\n\n[Route]\nGateway = 192.168.2.254\n"
        "\n[Route]\nGateway = 192.168.2.3\nGatewayOnlink = yes\nDestination = 192.168.1.128/25\n"}});
  EXPECT_EQ(hop_to(facts, "192.168.1.9"), "eth0");
  EXPECT_EQ(hop_to(facts, "192.168.1.129"), "eth1 (gateway 192.168.2.3)");
  EXPECT_EQ(hop_to(facts, "198.51.100.1"), "eth1 (gateway 192.168.2.254)");
}

TEST(Routing, TheLowestMetricDecidesBetweenEqualRoutes) {
  const Facts facts = facts_of_units(
      {{"eth0", "[Network]\nDHCP = ipv4\n\n[Route]\nGateway = _dhcp\n"},
       {"eth1", "[Network]\nAddress = 10.0.0.1/8\n\n[Route]\nGateway = 10.0.0.2\nMetric = 2000\n"}});
  EXPECT_EQ(hop_of(*find_default_route(routes_of(facts))), "eth0 (gateway from DHCP)");
  EXPECT_EQ(hop_to(facts, "198.51.100.1"), "eth0 (gateway from DHCP)");
  const Facts preferred = facts_of_units(
      {{"eth0", "[Network]\nDHCP = ipv4\n\n[Route]\nGateway = _dhcp\n\n[DHCPv4]\nRouteMetric = 30\n"},
       {"eth1", "[Network]\nAddress = 10.0.0.1/8\n\n[Route]\nGateway = 10.0.0.2\nMetric = 20\n"}});
  EXPECT_EQ(hop_of(*find_default_route(routes_of(preferred))), "eth1 (gateway 10.0.0.2)");
}

TEST(Routing, WithoutARouteThereIsNoHop) {
  EXPECT_EQ(hop_to(facts_of_units({{"eth0", kLan}}), "198.51.100.1"), "");
  EXPECT_FALSE(find_default_route(routes_of(facts_of_units({{"eth0", kLan}}))).has_value());
}

TEST(Routing, OtherTablesAndEmptyOrMalformedSectionsAreNotRoutes) {
  const Facts facts =
      facts_of_units({{"wg0", "[Network]\n\n[Route]\nDestination = 0.0.0.0/0\nTable = 1000\n"},
                      {"eth0", "[Network]\n\n[Route]\nMetric = 10\n\n[Route]\nDestination = here/24\n"}});
  EXPECT_THAT(routes_of(facts), testing::IsEmpty());
}

TEST(Routing, FindsTheInterfaceWithAnAddress) {
  const Facts facts = facts_of_units(
      {{"eth0", std::string(kLan) + "\n[Address]\nAddress = 169.254.0.1/25\n"}, {"eth1", "[Network]\n"}});
  EXPECT_EQ(interface_with_address(facts, "192.168.1.1"), "eth0");
  EXPECT_EQ(interface_with_address(facts, "169.254.0.1"), "eth0");
  EXPECT_EQ(interface_with_address(facts, "192.168.1.2"), "");
}

TEST(Routing, AnAddressWithoutAPrefixIsItsOwnSubnet) {
  EXPECT_EQ(to_text(*subnet_of_address("10.1.1.1")), "10.1.1.1/32");
  EXPECT_EQ(to_text(*subnet_of_address("10.1.1.1/8")), "10.0.0.0/8");
  EXPECT_FALSE(subnet_of_address("").has_value());
}
