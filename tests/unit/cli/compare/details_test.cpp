#include "cli/compare/details.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Details, ARangeLeavesOutWhatItSharesWithTheAddress) {
  EXPECT_EQ(range_in_words("192.168.1.100-192.168.1.199", "192.168.1.1/24"), ".100 to .199");
  EXPECT_EQ(range_in_words("192.168.1.100-192.168.2.199", "192.168.1.1/16"),
            "192.168.1.100 to 192.168.2.199");
  EXPECT_EQ(range_in_words("10.0.0.1-10.0.0.9", ""), "10.0.0.1 to 10.0.0.9");
  EXPECT_EQ(range_in_words("10.0.0.1-10.0.0.2 and 10.0.0.5-10.0.0.6", "10.0.0.9/8"), ".1 to .2 and .5 to .6");
}

TEST(Details, OfAnInterfaceThatIsNotThere) {
  EXPECT_THAT(details_of("eth0", Facts()), IsEmpty());
}

TEST(Details, AllThatAnInterfaceHas) {
  Facts facts;
  InterfaceFacts& eth0 = facts.interfaces["eth0"];
  eth0.address = "192.168.1.1/24";
  eth0.secondary_address = "169.254.0.1/25";
  eth0.gateway = "192.168.1.254";
  eth0.metric = "5";
  eth0.mtu = "1400";
  eth0.name_servers = "9.9.9.9, 1.1.1.1";
  eth0.is_passed_through = true;
  eth0.routes = {"10.0.0.0/8 via 192.168.1.2"};
  facts.servers["eth0"] = {"192.168.1.100-192.168.1.199", "12h"};
  facts.relays["eth0"] = {"10.1.1.1"};
  EXPECT_THAT(details_of("eth0", facts),
              ElementsAre("192.168.1.1/24", "secondary address 169.254.0.1/25", "gateway 192.168.1.254",
                          "metric 5", "MTU 1400", "DNS servers 9.9.9.9, 1.1.1.1", "pass-through mode",
                          "the route to 10.0.0.0/8 via 192.168.1.2", "DHCP .100 to .199", "lease time 12h",
                          "DHCP relay to 10.1.1.1"));
}

TEST(Details, ATunnelBeginsWithItsEndpoints) {
  Facts facts;
  InterfaceFacts& tunnel = facts.interfaces["gre-tun1"];
  tunnel.is_tunnel = true;
  EXPECT_THAT(details_of("gre-tun1", facts), ElementsAre("a tunnel"));
  tunnel.description = "shop";
  tunnel.local = "203.0.113.10";
  tunnel.remote = "198.51.100.1";
  tunnel.copies_dscp = true;
  tunnel.address = "10.255.1.2/30";
  facts.reply_gateways["gre-tun1"] = "10.255.1.1";
  EXPECT_THAT(details_of("gre-tun1", facts),
              ElementsAre("a tunnel \"shop\" from 203.0.113.10 to 198.51.100.1", "copies the DSCP class",
                          "replies via 10.255.1.1", "10.255.1.2/30"));
}

TEST(Details, ADhcpClientHasNoAddressOfItsOwn) {
  Facts facts;
  facts.interfaces["eth0"].address = kDynamicAddress;
  EXPECT_THAT(details_of("eth0", facts), ElementsAre("an address from DHCP"));
}
