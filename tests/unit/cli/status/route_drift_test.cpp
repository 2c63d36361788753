#include "cli/status/route_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static std::vector<std::string> route_drift_of(const Snapshot& snapshot) {
  return described(find_route_drift, snapshot);
}

static Drift only_drift(const Snapshot& snapshot) {
  const std::vector<Drift> drift = found(find_route_drift, snapshot);
  EXPECT_EQ(drift.size(), 1U);
  return drift.empty() ? Drift() : drift.front();
}

static KernelRoute by_hand(const std::string& destination, const std::string& gateway,
                           const std::string& interface, int metric = 0) {
  return {destination, gateway, interface, metric, false, "", "boot"};
}

TEST(RouteDrift, AGatewayAsItsUnitsWantIt) {
  EXPECT_THAT(route_drift_of(gateway_with_route()), IsEmpty());
}

TEST(RouteDrift, ARouteIsComparedAsTheKernelPrintsIt) {
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
      {{"10.77.0.0/16", "", "", "51820"}, {"10.77.0.0/16", "", "eth0", 0, false, "51820"}},
  };
  for (const auto& [wanted, there] : cases) {
    Snapshot snapshot = gateway();
    snapshot.wanted.interfaces["eth0"].route_sections = {wanted};
    EXPECT_EQ(route_drift_of(snapshot).size(), 1U) << wanted.destination;
    snapshot.kernel.routes = {there};
    EXPECT_THAT(route_drift_of(snapshot), IsEmpty()) << wanted.destination;
    snapshot.kernel.routes.front().interface = "eth1";
    EXPECT_GE(route_drift_of(snapshot).size(), 1U) << wanted.destination;
    snapshot.kernel.routes.front() = there;
    snapshot.kernel.routes.front().type = "blackhole";
    EXPECT_GE(route_drift_of(snapshot).size(), 1U) << wanted.destination;
  }
}

TEST(RouteDrift, AMissingRouteIsNamedByItsDestination) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "", "", ""},
                                                       {"10.30.0.0/16", "192.168.1.2", "50", ""},
                                                       {"", "192.168.1.3", "", ""},
                                                       {"10.77.0.0/16", "", "", "51820"}};
  EXPECT_THAT(route_drift_of(snapshot),
              ElementsAre("eth0: the route to 10.20.0.0/16 is missing",
                          "eth0: the route to 10.30.0.0/16 via 192.168.1.2, metric 50, is missing",
                          "eth0: the default route via 192.168.1.3 is missing",
                          "eth0: the route to 10.77.0.0/16 in table 51820 is missing"));
  const std::vector<Drift> drift = found(find_route_drift, snapshot);
  EXPECT_EQ(drift[0].fix, "ip route replace 10.20.0.0/16 dev eth0 proto static");
  EXPECT_EQ(drift[1].fix,
            "ip route replace 10.30.0.0/16 via 192.168.1.2 dev eth0 proto static metric 50 onlink");
  EXPECT_EQ(drift[3].fix, "ip route replace 10.77.0.0/16 dev eth0 proto static table 51820");
  Snapshot leased = gateway();
  leased.wanted.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "_dhcp", "", ""}};
  EXPECT_EQ(only_drift(leased).fix, "networkctl reconfigure eth0");
  snapshot.setup["eth0"] = "configuring";
  EXPECT_EQ(route_drift_of(snapshot).front(), "eth0: the route to 10.20.0.0/16 is missing (pending)");
  EXPECT_EQ(found(find_route_drift, snapshot).front().fix, "") << "it may come by itself";
  snapshot.kernel.links["eth0"].has_carrier = false;
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty()) << "systemd-networkd waits for a carrier";
}

TEST(RouteDrift, SectionsThatAreNoRouteOfTheirOwn) {
  Snapshot snapshot = gateway();
  // A section without a route, and the default route of a missing lease.
  snapshot.wanted.interfaces["eth0"].route_sections = {{"", "", "50", ""}};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  snapshot.wanted.interfaces["eth0"].route_sections = {{"", "_dhcp", "", ""}};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
}

TEST(RouteDrift, ARouteThatIsNotFromTheConfiguration) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.routes.push_back(by_hand("172.16.0.0/12", "192.168.1.9", "eth0", 7));
  EXPECT_THAT(route_drift_of(snapshot),
              ElementsAre("eth0: the route to 172.16.0.0/12 via 192.168.1.9, metric 7, is not "
                          "configured (surplus)"));
  EXPECT_EQ(only_drift(snapshot).fix, "ip route del 172.16.0.0/12 via 192.168.1.9 dev eth0 metric 7");
  snapshot.kernel.routes.back().type = "blackhole";
  snapshot.kernel.routes.back().gateway = "";
  snapshot.kernel.routes.back().interface = "";
  EXPECT_EQ(only_drift(snapshot).subject, "routes");
  EXPECT_EQ(only_drift(snapshot).fix, "ip route del blackhole 172.16.0.0/12 metric 7");
}

// It diverts part of the packets to a configured destination.
TEST(RouteDrift, AMoreSpecificRouteIsNotMerelySurplus) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.routes.push_back(by_hand("10.20.5.0/24", "192.168.1.9", "eth0"));
  EXPECT_THAT(route_drift_of(snapshot),
              ElementsAre("eth0: the route to 10.20.5.0/24 via 192.168.1.9 is not configured"));
  EXPECT_EQ(only_drift(snapshot).why, "packets to 10.20.0.0/16 belong to eth1 (gateway 192.168.2.2)");
  // It is merely surplus if it leads to the configured gateway.
  snapshot.kernel.routes.back() = by_hand("10.20.5.0/24", "192.168.2.2", "eth1");
  EXPECT_TRUE(only_drift(snapshot).is_surplus);
  snapshot.kernel.routes.back() = by_hand("10.20.5.0/24", "192.168.2.9", "eth1");
  EXPECT_FALSE(only_drift(snapshot).is_surplus);
}

TEST(RouteDrift, RoutesThatAreExplained) {
  Snapshot snapshot = gateway_with_route();
  for (const char* protocol : {"kernel", "dhcp", "ra", "bird"}) {
    snapshot.kernel.routes.push_back(by_hand("172.16.0.0/12", "192.168.1.9", "eth0"));
    snapshot.kernel.routes.back().protocol = protocol;
  }
  snapshot.kernel.routes.push_back(by_hand("172.16.0.0/12", "192.168.1.9", "eth0"));
  snapshot.kernel.routes.back().table = "77";
  // The routes that the script for the cellular link adds, and a default route without a gateway.
  snapshot.wanted.interfaces["wwan0"].is_default_route = true;
  snapshot.wanted.cellular_routes = {"198.51.100.2/32"};
  snapshot.kernel.links["wwan0"] = {true, true, 1430, "", std::nullopt, {}};
  snapshot.kernel.routes.push_back(by_hand("198.51.100.2/32", "", "wwan0"));
  snapshot.kernel.routes.push_back(by_hand("default", "", "wwan0"));
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
  snapshot.kernel.routes.back().destination = "198.51.100.3/32";
  EXPECT_THAT(route_drift_of(snapshot),
              ElementsAre("wwan0: the route to 198.51.100.3/32 is not configured (surplus)"));
}

TEST(RouteDrift, ABetterRouteTakesThePackets) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices = {{"192.168.1.2", RouteChoice{"eth0", "", ""}},
                             {"192.168.2.2", RouteChoice{"eth1", "", ""}},
                             {"10.20.0.1", RouteChoice{"eth1", "192.168.2.2", ""}}};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
  snapshot.kernel.choices["10.20.0.1"] = RouteChoice{"eth0", "192.168.1.9", ""};
  // The route with the longest prefix is the cause; the others are surplus.
  snapshot.kernel.routes.push_back(by_hand("10.0.0.0/8", "192.168.1.9", "eth0"));
  snapshot.kernel.routes.push_back(by_hand("10.20.0.0/16", "192.168.1.9", "eth0", 5));
  snapshot.kernel.routes.push_back(by_hand("10.0.0.0/12", "192.168.1.9", "eth0"));
  const Drift drift = found(find_route_drift, snapshot).front();
  EXPECT_EQ(drift.what,
            "packets to 10.20.0.0/16 go through eth0 (gateway 192.168.1.9) instead of eth1 (gateway "
            "192.168.2.2)");
  EXPECT_EQ(drift.subject, "eth1");
  EXPECT_EQ(drift.why, "the route to 10.20.0.0/16 via 192.168.1.9, metric 5, is not configured");
  EXPECT_EQ(drift.fix, "ip route del 10.20.0.0/16 via 192.168.1.9 dev eth0 metric 5");
  EXPECT_FALSE(drift.is_surplus);
  EXPECT_EQ(route_drift_of(snapshot).size(), 3U) << "each route once";
}

TEST(RouteDrift, ADeviationWithoutACulprit) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices["10.20.0.1"] = RouteChoice{"eth0", "", ""};
  EXPECT_EQ(only_drift(snapshot).what,
            "packets to 10.20.0.0/16 go through eth0 instead of eth1 (gateway "
            "192.168.2.2)");
  EXPECT_EQ(only_drift(snapshot).fix, "");
  // A wrong gateway of the right interface is a difference, too.
  snapshot.kernel.choices["10.20.0.1"] = RouteChoice{"eth1", "192.168.2.9", ""};
  EXPECT_EQ(route_drift_of(snapshot).size(), 1U);
}

TEST(RouteDrift, PacketsThatGoNowhere) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices["10.20.0.1"] = std::nullopt;
  snapshot.kernel.routes.push_back(by_hand("10.20.0.0/24", "", ""));
  snapshot.kernel.routes.back().type = "unreachable";
  EXPECT_EQ(only_drift(snapshot).what,
            "packets to 10.20.0.0/16 go nowhere instead of through eth1 (gateway "
            "192.168.2.2)");
  EXPECT_EQ(only_drift(snapshot).fix, "ip route del unreachable 10.20.0.0/24");
  snapshot.kernel.routes.back().destination = "not a subnet";
  EXPECT_EQ(found(find_route_drift, snapshot).front().fix, "");
}

TEST(RouteDrift, APolicyRuleTakesThePackets) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices["10.20.0.1"] = RouteChoice{"eth0", "192.168.1.9", "77"};
  snapshot.kernel.rules = {{0, "local", "", ""}, {50, "77", "", ""}, {32766, "main", "", ""}};
  EXPECT_EQ(only_drift(snapshot).why, "policy rule 50 is not configured");
  EXPECT_EQ(only_drift(snapshot).fix, "ip rule del pref 50");
}

TEST(RouteDrift, NothingIsJudgedWhileItsRouteCannotBeTaken) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices["10.20.0.1"] = RouteChoice{"lo", "", ""};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty()) << "an address of the gateway";
  snapshot.kernel.choices["10.20.0.1"] = std::nullopt;
  snapshot.kernel.links["eth1"].has_carrier = false;
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
  snapshot.kernel.links["eth1"].has_carrier = true;
  snapshot.kernel.routes.pop_back();
  EXPECT_EQ(only_drift(snapshot).what, "the route to 10.20.0.0/16 via 192.168.2.2, metric 50, is missing");
}

TEST(RouteDrift, ALostRouteToASubnet) {
  Snapshot snapshot = gateway_with_route();
  snapshot.kernel.choices["192.168.2.2"] = RouteChoice{"eth0", "192.168.1.9", ""};
  snapshot.kernel.routes.erase(snapshot.kernel.routes.begin() + 1);
  EXPECT_EQ(only_drift(snapshot).what,
            "packets to 192.168.2.0/24 go through eth0 (gateway 192.168.1.9) instead of "
            "eth1");
  EXPECT_EQ(only_drift(snapshot).fix,
            "ip route add 192.168.2.0/24 dev eth1 proto kernel scope link src 192.168.2.1");
  // A pass-through port has no such route on purpose.
  snapshot.wanted.interfaces["eth1"].is_passed_through = true;
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
  snapshot.wanted.interfaces["eth1"].is_passed_through = false;
  // If a section has this route, it is reported as a missing route.
  snapshot.wanted.interfaces["eth1"].route_sections.push_back({"192.168.2.0/24", "", "", ""});
  EXPECT_EQ(only_drift(snapshot).what, "the route to 192.168.2.0/24 is missing");
  snapshot.wanted.interfaces["eth1"].route_sections.pop_back();
  // A missing address is reported by find_link_drift() instead.
  snapshot.kernel.links["eth1"].addresses = {{"172.16.0.1/24", false}, {"garbage", false}};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
}

TEST(RouteDrift, ALeaseBringsAnyGateway) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].address = kDynamicAddress;
  snapshot.kernel.routes.push_back({"default", "192.168.1.254", "eth0", 1024, true, "", "dhcp"});
  snapshot.kernel.choices["11.0.0.1"] = RouteChoice{"eth0", "192.168.1.254", ""};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
}

TEST(RouteDrift, TheDeviceItselfIsTheDefaultRoute) {
  Snapshot snapshot = gateway();
  snapshot.wanted.interfaces["eth0"].is_default_route = true;
  snapshot.kernel.routes.push_back({"default", "", "eth0", 0, false, "", "static"});
  snapshot.kernel.choices["11.0.0.1"] = RouteChoice{"eth0", "192.168.1.254", ""};
  EXPECT_THAT(route_drift_of(snapshot), IsEmpty());
}

TEST(RouteDrift, SpecialCharactersAreQuoted) {
  Snapshot snapshot = gateway();
  snapshot.kernel.routes.push_back(by_hand("10.0.0.0/8", "", "a;reboot"));
  EXPECT_EQ(only_drift(snapshot).fix, "ip route del 10.0.0.0/8 dev 'a;reboot'");
}
