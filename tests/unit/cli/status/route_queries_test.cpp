#include "cli/status/route_queries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Each query as "subject: address for destination by hop", the hops of equal routes joined by "or".
static std::vector<std::string> questions_of(const Facts& wanted) {
  std::vector<std::string> texts;
  for (const RouteQuery& query : route_queries(wanted)) {
    std::string hops;
    for (const UnitRoute& route : query.wanted)
      hops += (hops.empty() ? "" : " or ") + hop_of(route);
    texts.push_back(query.subject + ": " + query.address + " for " + query.destination + " by " + hops);
  }
  return texts;
}

TEST(RouteQueries, EachDestinationHasAnAddressThatIsNotTheGatewaysOwn) {
  EXPECT_THAT(questions_of(gateway_with_route().wanted),
              ElementsAre("eth0: 192.168.1.2 for 192.168.1.0/24 by eth0",
                          "eth1: 192.168.2.2 for 192.168.2.0/24 by eth1",
                          "eth1: 10.20.0.1 for 10.20.0.0/16 by eth1 (gateway 192.168.2.2)"));
  EXPECT_THAT(addresses_to_query(gateway_with_route().wanted),
              ElementsAre("192.168.1.2", "192.168.2.2", "10.20.0.1"));
}

TEST(RouteQueries, TheDefaultRouteIsTheOneWithTheLowestMetric) {
  Facts facts;
  facts.interfaces["eth1"].route_sections = {{"", "203.0.113.1", "50", ""}};
  facts.interfaces["wwan0"].route_sections = {{"", "10.64.1.1", "100", ""}};
  EXPECT_THAT(questions_of(facts),
              ElementsAre("eth1: 11.0.0.1 for other networks by eth1 (gateway 203.0.113.1)"));
  facts.interfaces["wwan0"].route_sections[0].metric = "50";
  EXPECT_THAT(questions_of(facts),
              ElementsAre("eth1: 11.0.0.1 for other networks by eth1 (gateway 203.0.113.1) or wwan0 (gateway "
                          "10.64.1.1)"));
}

TEST(RouteQueries, AnAddressOfAMoreSpecificRouteDoesNotStandForTheOther) {
  Facts facts;
  facts.interfaces["eth0"].route_sections = {{"10.20.0.0/16", "", "", ""},
                                             {"10.20.0.0/30", "192.168.1.9", "", ""},
                                             {"11.0.0.1", "", "", ""},
                                             {"", "192.168.1.9", "", ""}};
  EXPECT_THAT(questions_of(facts),
              ElementsAre("eth0: 10.20.0.4 for 10.20.0.0/16 by eth0",
                          "eth0: 10.20.0.1 for 10.20.0.0/30 by eth0 (gateway 192.168.1.9)",
                          "eth0: 11.0.0.1 for 11.0.0.1/32 by eth0",
                          "eth0: 21.0.0.1 for other networks by eth0 (gateway 192.168.1.9)"));
}

// Both host addresses of the /30 belong to the gateway itself, so none is left to query.
TEST(RouteQueries, ASubnetOfOwnAddressesIsLeftOut) {
  Facts facts;
  facts.interfaces["eth0"].address = "10.0.0.1/30";
  facts.interfaces["eth1"].address = "10.0.0.2/32";
  EXPECT_THAT(questions_of(facts), IsEmpty());
}

TEST(RouteQueries, TheRemoteEndpointOfATunnel) {
  Facts facts;
  facts.interfaces["gre-tun1"].remote = "198.51.100.1";
  EXPECT_THAT(questions_of(facts), IsEmpty()) << "no route leads there";
  facts.interfaces["wwan0"].is_default_route = true;
  EXPECT_THAT(questions_of(facts),
              ElementsAre("wwan0: 11.0.0.1 for other networks by wwan0",
                          "gre-tun1: 198.51.100.1 for the remote endpoint 198.51.100.1 by wwan0"));
  facts.interfaces["gre-tun1"].route_sections = {{"198.51.100.1", "", "", ""}};
  EXPECT_THAT(questions_of(facts).size(), 2) << "through itself: only the destination";
}

TEST(RouteQueries, AreNoMoreThanCanBeAskedInAMoment) {
  Facts facts;
  for (int number = 0; number < 300; ++number)
    facts.interfaces["eth0"].route_sections.push_back(
        {"10." + std::to_string(number / 250) + "." + std::to_string(number % 250) + ".0/24", "", "", ""});
  EXPECT_EQ(route_queries(facts).size(), 256U);
}
