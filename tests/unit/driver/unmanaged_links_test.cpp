#include "driver/unmanaged_links.h"

#include <filesystem>

#include "lanfab_test.h"

constexpr char kListLinks[] = "/bin/networkctl list > /var/run/.networkctl_list";
constexpr char kListRoutes[] = "/sbin/ip route > /var/run/.route_list";

namespace {

class UnmanagedLinksTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().on_shell = [this](const std::string& command) {
      if (command == kListLinks) put_file("/var/run/.networkctl_list", links);
      if (command == kListRoutes) put_file("/var/run/.route_list", routes);
    };
  }

  NetworkContext ctx = context_of("{}");
  // The output of the two listings.
  std::string links;
  std::string routes;
};

}  // namespace

// --- delete_interface

TEST_F(UnmanagedLinksTest, ALinkWithoutAKindIsDeletedByItsName) {
  delete_interface(&ctx, "eth1", "");
  EXPECT_THAT(platform().log, ElementsAre("notice delete interface: /sbin/ip link delete dev eth1"));
  EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip link delete dev eth1"));
}

TEST_F(UnmanagedLinksTest, ALinkWithAKindIsDeletedByNameAndType) {
  delete_interface(&ctx, "gre-tun1", "gre");
  EXPECT_THAT(platform().log,
              ElementsAre("notice delete interface: /sbin/ip link delete dev gre-tun1 type gre"));
  EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip link delete dev gre-tun1 type gre"));
}

TEST_F(UnmanagedLinksTest, AWireguardLinkTakesTheRuleOfItsTableWithIt) {
  delete_interface(&ctx, "wg2", "wireguard");
  EXPECT_THAT(platform().log,
              ElementsAre("notice delete interface: /sbin/ip link delete dev wg2 type wireguard",
                          "notice interface wg2 (index: 2), delete wireguard route table 3008"));
  EXPECT_THAT(platform().calls,
              ElementsAre("/sbin/ip link delete dev wg2 type wireguard", "/sbin/ip rule del table 3008"));
}

TEST_F(UnmanagedLinksTest, TheFirstEightWireguardLinksHaveARule) {
  struct Case {
    const char* ifname;
    const char* command;
  };
  for (const Case& c :
       {Case{"wg0", "/sbin/ip rule del table 3006"}, Case{"wg7", "/sbin/ip rule del table 3013"},
        // Any two letters precede the digits, and anything may follow them.
        Case{"xx3", "/sbin/ip rule del table 3009"}, Case{"wg04b", "/sbin/ip rule del table 3010"},
        // Without digits, the number is 0.
        Case{"wgx", "/sbin/ip rule del table 3006"}, Case{"wg", "/sbin/ip rule del table 3006"}}) {
    platform().calls.clear();
    delete_interface(&ctx, c.ifname, "wireguard");
    ASSERT_EQ(platform().calls.size(), 2U) << c.ifname;
    EXPECT_EQ(platform().calls[1], c.command) << c.ifname;
  }
}

TEST_F(UnmanagedLinksTest, OtherWireguardNumbersHaveNoRule) {
  for (const char* ifname :
       {"wg8", "wg9", "wg10", "wg-1", "wg99999999999999999999", "wg4294967297", "w", ""}) {
    platform().calls.clear();
    platform().log.clear();
    delete_interface(&ctx, ifname, "wireguard");
    const std::string command = std::string("/sbin/ip link delete dev ") + ifname + " type wireguard";
    EXPECT_THAT(platform().calls, ElementsAre(command));
    EXPECT_THAT(platform().log, ElementsAre("notice delete interface: " + command));
  }
}

TEST_F(UnmanagedLinksTest, OnlyTheExactKindWireguardHasARule) {
  for (const char* kind : {"", "gre", "Wireguard", "wireguard2"}) {
    platform().calls.clear();
    delete_interface(&ctx, "wg2", kind);
    EXPECT_EQ(platform().calls.size(), 1U) << kind;
  }
}

// --- delete_routes

TEST_F(UnmanagedLinksTest, EveryRouteWhoseLineContainsTheNameIsDeleted) {
  routes =
      "default via 10.0.0.1 dev eth1 proto static\n"
      "10.1.0.0/16 dev eth0 proto kernel scope link src 10.1.0.1\n"
      "10.2.0.0/16 dev eth1 proto kernel scope link src 10.2.0.1\n"
      "10.3.0.0/16 dev eth1.100 scope link\n"
      "10.4.0.0/16 dev eth10 scope link\n";
  delete_routes(&ctx, "eth1");
  EXPECT_THAT(platform().calls,
              ElementsAre(kListRoutes, "/sbin/ip route del default", "/sbin/ip route del 10.2.0.0/16",
                          "/sbin/ip route del 10.3.0.0/16", "/sbin/ip route del 10.4.0.0/16"));
  EXPECT_THAT(platform().log, ElementsAre("notice route del: /sbin/ip route del default",
                                          "notice route del: /sbin/ip route del 10.2.0.0/16",
                                          "notice route del: /sbin/ip route del 10.3.0.0/16",
                                          "notice route del: /sbin/ip route del 10.4.0.0/16"));
}

TEST_F(UnmanagedLinksTest, ADestinationWithoutABlankIsTheWholeLine) {
  routes = "eth1";
  delete_routes(&ctx, "eth1");
  EXPECT_THAT(platform().calls, ElementsAre(kListRoutes, "/sbin/ip route del eth1"));
}

TEST_F(UnmanagedLinksTest, AnEmptyNameMatchesEveryRoute) {
  routes = "default dev wwan0\n10.1.0.0/16 dev eth0\n";
  delete_routes(&ctx, "");
  EXPECT_THAT(platform().calls,
              ElementsAre(kListRoutes, "/sbin/ip route del default", "/sbin/ip route del 10.1.0.0/16"));
}

TEST_F(UnmanagedLinksTest, TheRouteSnapshotStays) {
  routes = "10.1.0.0/16 dev eth0\n";
  delete_routes(&ctx, "eth0");
  EXPECT_EQ(text_of_file("/var/run/.route_list"), "10.1.0.0/16 dev eth0\n");
}

TEST_F(UnmanagedLinksTest, WithoutARouteSnapshotNothingIsDeleted) {
  platform().on_shell = [](const std::string&) {};
  delete_routes(&ctx, "eth0");
  std::filesystem::create_directory("/var/run/.route_list");
  delete_routes(&ctx, "eth0");
  EXPECT_THAT(platform().calls, ElementsAre(kListRoutes, kListRoutes));
  EXPECT_THAT(platform().log, IsEmpty());
}

// --- clear_unmanaged_interfaces

TEST_F(UnmanagedLinksTest, AnUnmanagedLinkIsDeletedAfterItsRoutes) {
  links =
      "IDX LINK TYPE OPERATIONAL SETUP\n"
      "  1 lo loopback carrier unmanaged\n"
      "  2 eth0 ether routable configured\n"
      "  3 eth1 ether off unmanaged\n"
      "\n"
      "3 links listed.\n";
  routes = "10.1.0.0/16 dev eth0\n10.2.0.0/16 dev eth1\n";
  clear_unmanaged_interfaces(&ctx);
  EXPECT_THAT(platform().calls,
              ElementsAre(kListLinks, kListRoutes, "/sbin/ip route del 10.2.0.0/16",
                          // Split at single spaces, the sixth field is the state, not the kind.
                          "/sbin/ip link delete dev eth1 type off"));
  EXPECT_THAT(platform().log, ElementsAre("notice route del: /sbin/ip route del 10.2.0.0/16",
                                          "notice delete interface: /sbin/ip link delete dev eth1 type off"));
}

// The commands that delete the links of a listing.
static Lines deletions() {
  Lines result;
  for (const std::string& call : platform().calls)
    if (call.rfind("/sbin/ip link delete", 0) == 0) result.push_back(call);
  return result;
}

TEST_F(UnmanagedLinksTest, ALineIsSplitAtEverySingleBlank) {
  struct Case {
    const char* line;
    const char* command;
  };
  for (const Case& c : {
           Case{"  3 eth1             ether    off         unmanaged", "/sbin/ip link delete dev eth1"},
           Case{"  3 gre-tun1  gre carrier unmanaged", "/sbin/ip link delete dev gre-tun1 type gre"},
           Case{"  3 wifi-aware0  wlan unmanaged", "/sbin/ip link delete dev wifi-aware0 type wlan"},
           // A two-digit index moves every field one to the left.
           Case{" 12 gre-tun1  gre carrier unmanaged", "/sbin/ip link delete dev  type carrier"},
           Case{"unmanaged", "/sbin/ip link delete dev "},
           Case{"a b c unmanaged", "/sbin/ip link delete dev unmanaged"},
           Case{"a b c unmanaged e ", "/sbin/ip link delete dev unmanaged"},
           Case{"a b c d e unmanaged", "/sbin/ip link delete dev d type unmanaged"},
       }) {
    SCOPED_TRACE(c.line);
    platform().calls.clear();
    links = std::string(c.line) + "\n";
    clear_unmanaged_interfaces(&ctx);
    EXPECT_THAT(deletions(), ElementsAre(c.command));
  }
}

TEST_F(UnmanagedLinksTest, AnEmptyNameTakesEveryRouteWithIt) {
  links = " 12 gre-tun1  gre carrier unmanaged\n";
  routes = "default dev wwan0\n10.1.0.0/16 dev eth0\n";
  clear_unmanaged_interfaces(&ctx);
  EXPECT_THAT(platform().calls,
              ElementsAre(kListLinks, kListRoutes, "/sbin/ip route del default",
                          "/sbin/ip route del 10.1.0.0/16", "/sbin/ip link delete dev  type carrier"));
}

TEST_F(UnmanagedLinksTest, TheDevicesOwnLinksAreLeftAlone) {
  for (const char* ifname : {"lo", "can0", "can1", "wwan0", "wlp1s0", "wifi-aware"}) {
    platform().calls.clear();
    links = std::string("  1 ") + ifname + "  ether off unmanaged\n";
    clear_unmanaged_interfaces(&ctx);
    EXPECT_THAT(platform().calls, ElementsAre(kListLinks)) << ifname;
  }
}

TEST_F(UnmanagedLinksTest, OnlyTheExactNamesAreLeftAlone) {
  for (const char* ifname : {"lo0", "can2", "CAN0", "wwan1", "wlp1s0.1", "wifi"}) {
    platform().calls.clear();
    links = std::string("  1 ") + ifname + "  ether off unmanaged\n";
    clear_unmanaged_interfaces(&ctx);
    EXPECT_THAT(deletions(), ElementsAre(std::string("/sbin/ip link delete dev ") + ifname + " type ether"));
  }
}

TEST_F(UnmanagedLinksTest, EveryUnmanagedLineIsWorkedOffInOrder) {
  links =
      "  2 eth0  ether off unmanaged\n"
      "  3 lo  loopback carrier unmanaged\n"
      "  4 eth1  ether routable configured\n"
      "  5 wg1  wireguard off unmanaged";
  clear_unmanaged_interfaces(&ctx);
  EXPECT_THAT(platform().calls,
              ElementsAre(kListLinks, kListRoutes, "/sbin/ip link delete dev eth0 type ether", kListRoutes,
                          "/sbin/ip link delete dev wg1 type wireguard", "/sbin/ip rule del table 3007"));
}

TEST_F(UnmanagedLinksTest, TheLinkSnapshotStays) {
  links = "  2 eth0  ether off configured\n";
  clear_unmanaged_interfaces(&ctx);
  EXPECT_EQ(text_of_file("/var/run/.networkctl_list"), links);
}

TEST_F(UnmanagedLinksTest, WithoutALinkSnapshotNothingIsDeleted) {
  platform().on_shell = [](const std::string&) {};
  clear_unmanaged_interfaces(&ctx);
  std::filesystem::create_directory("/var/run/.networkctl_list");
  clear_unmanaged_interfaces(&ctx);
  EXPECT_THAT(platform().calls, ElementsAre(kListLinks, kListLinks));
  EXPECT_THAT(platform().log, IsEmpty());
}

// --- The trace

TEST_F(UnmanagedLinksTest, EachOperationPrintsItsTraceLines) {
  links = "  2 eth0  ether off unmanaged\n";
  const auto clear = [this] { clear_unmanaged_interfaces(&ctx); };
  EXPECT_EQ(printed_by(clear), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(clear),
            "clear_unmanaged_interfaces\n"
            "delete_routes\n"
            "delete_interface\n"
            "delete_interface : delete interface: /sbin/ip link delete dev eth0 type ether\n");
}

TEST_F(UnmanagedLinksTest, TheTraceOfARuleHasNoLineEnd) {
  const auto remove = [this] { delete_interface(&ctx, "wg2", "wireguard"); };
  EXPECT_EQ(printed_by(remove), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(remove),
            "delete_interface\n"
            "delete_interface : delete interface: /sbin/ip link delete dev wg2 type wireguard\n"
            "delete_interface : interface wg2 (index: 2), delete wireguard route table 3008");
}
