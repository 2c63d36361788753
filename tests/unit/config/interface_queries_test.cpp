#include "config/interface_queries.h"

#include "lanfab_test.h"

namespace {

class InterfaceQueriesTest : public LanfabTest {
 protected:
  // The queries must not log or call anything.
  void TearDown() override {
    EXPECT_THAT(platform().log, IsEmpty());
    EXPECT_THAT(platform().calls, IsEmpty());
  }
};

}  // namespace

TEST_F(InterfaceQueriesTest, APortIsEnabledAsItsFlagSays) {
  NetworkContext ctx = context_of("{}");
  for (const bool eth0 : {false, true}) {
    for (const bool eth1 : {false, true}) {
      ctx.eth0_enabled = eth0;
      ctx.eth1_enabled = eth1;
      EXPECT_EQ(is_eth_interface_enabled(&ctx, "eth0"), eth0);
      EXPECT_EQ(is_eth_interface_enabled(&ctx, "eth1"), eth1);
    }
  }
}

TEST_F(InterfaceQueriesTest, NoOtherPortIsEverEnabled) {
  NetworkContext ctx = context_of(R"({"wired": {"eth2": {"enable": true}, "eth1": {"enable": true}}})");
  for (const char* ifname : {"eth2", "eth", "eth0.100", "ETH0", "wlan0", "br-lan", ""}) {
    EXPECT_FALSE(is_eth_interface_enabled(&ctx, ifname)) << ifname;
  }
}

TEST_F(InterfaceQueriesTest, ARadioIsAnAccessPointAsItsFlagSays) {
  NetworkContext ctx = context_of("{}");
  for (const bool wlan0 : {false, true}) {
    for (const bool wlan1 : {false, true}) {
      ctx.wlan0_ap_enabled = wlan0;
      ctx.wlan1_ap_enabled = wlan1;
      EXPECT_EQ(is_wlan_ap_enabled(&ctx, "wlan0"), wlan0);
      EXPECT_EQ(is_wlan_ap_enabled(&ctx, "wlan1"), wlan1);
    }
  }
}

TEST_F(InterfaceQueriesTest, NoOtherRadioIsEverAnAccessPoint) {
  NetworkContext ctx = context_of("{}");
  ctx.config = json(R"({"wireless": {"wifi": {"wlan2": {"ap": {"enable": true}}}}})");
  ctx.wlan0_ap_enabled = ctx.wlan1_ap_enabled = true;
  for (const char* ifname : {"wlan2", "wlan", "wlan00", "eth0", ""}) {
    EXPECT_FALSE(is_wlan_ap_enabled(&ctx, ifname)) << ifname;
  }
}

TEST_F(InterfaceQueriesTest, AMemberOfTheListIsBridgedEvenWithTheBridgeOff) {
  const NetworkContext ctx =
      context_of(R"({"wired": {"bridge": {"enable": false, "interfaces": ["wlan0", "eth1"]}}})");
  EXPECT_TRUE(interface_is_bridged(&ctx, "wlan0"));
  EXPECT_TRUE(interface_is_bridged(&ctx, "eth1"));
  EXPECT_FALSE(interface_is_bridged(&ctx, "eth0"));
  EXPECT_FALSE(interface_is_bridged(&ctx, "eth"));
  EXPECT_FALSE(interface_is_bridged(&ctx, "eth1.5"));
  EXPECT_FALSE(interface_is_bridged(&ctx, "ETH1"));
}

TEST_F(InterfaceQueriesTest, WithoutMembersNothingIsBridged) {
  for (const char* bridge :
       {R"({})", R"({"interfaces": []})", R"({"interfaces": "eth0"})", R"({"interfaces": {"a": "eth0"}})"}) {
    SCOPED_TRACE(bridge);
    const NetworkContext ctx = context_of(std::string(R"({"wired": {"bridge": )") + bridge + "}}");
    EXPECT_FALSE(interface_is_bridged(&ctx, "eth0"));
    EXPECT_FALSE(interface_is_bridged(&ctx, ""));
  }
}

TEST_F(InterfaceQueriesTest, AMemberThatIsNoTextDoesNotHideTheRest) {
  const NetworkContext ctx =
      context_of(R"({"wired": {"bridge": {"interfaces": [{"eth0": 1}, ["eth0"], 7, null, "eth1"]}}})");
  EXPECT_FALSE(interface_is_bridged(&ctx, "eth0"));
  EXPECT_TRUE(interface_is_bridged(&ctx, "eth1"));
}

TEST_F(InterfaceQueriesTest, AnAccessPointServesDhcpByItsBooleanAlone) {
  struct Case {
    const char* dhcp;
    bool enabled;
  };
  for (const Case& c : {Case{R"({"enable": true})", true}, Case{R"({"enable": false})", false},
                        Case{R"({"enable": "true"})", false}, Case{R"({})", false}, Case{"true", false}}) {
    SCOPED_TRACE(c.dhcp);
    const NetworkContext ctx = context_of(
        std::string(R"({"wireless": {"wifi": {"wlan1": {"ap": {"network": {"dhcp": )") + c.dhcp + "}}}}}}");
    platform().log.clear();
    EXPECT_EQ(is_wlan_ap_dhcp_enabled(&ctx, "wlan1"), c.enabled);
    EXPECT_FALSE(is_wlan_ap_dhcp_enabled(&ctx, "wlan0"));
  }
}

TEST_F(InterfaceQueriesTest, OnlyAPortWithAStaticAddressServesDhcp) {
  struct Case {
    const char* network;
    bool enabled;
  };
  for (const Case& c : {
           Case{R"({"dhcp": {"enable": true}, "protocol": "static"})", true},
           Case{R"({"dhcp": {"enable": false}, "protocol": "static"})", false},
           Case{R"({"dhcp": {"enable": true}, "protocol": "dhcp_client"})", false},
           Case{R"({"dhcp": {"enable": true}, "protocol": "Static"})", false},
           Case{R"({"dhcp": {"enable": true}, "protocol": ""})", false},
           Case{R"({"dhcp": {"enable": true}, "protocol": ["static"]})", false},
           Case{R"({"dhcp": {"enable": true}})", false},
           Case{R"({"dhcp": {"enable": 1}, "protocol": "static"})", false},
           Case{R"({"dhcp": {}, "protocol": "static"})", false},
           Case{R"({"protocol": "static"})", false},
           Case{R"({})", false},
       }) {
    SCOPED_TRACE(c.network);
    const NetworkContext ctx =
        context_of(std::string(R"({"wired": {"eth1": {"network": )") + c.network + "}}}");
    EXPECT_EQ(is_eth_interface_dhcp_enabled(&ctx, "eth1"), c.enabled);
    EXPECT_FALSE(is_eth_interface_dhcp_enabled(&ctx, "eth0"));
  }
}

TEST_F(InterfaceQueriesTest, TheNetworkObjectIsFoundByWhatTheNameContains) {
  struct Case {
    const char* ifname;
    const char* path;
  };
  const NetworkContext ctx = context_of("{}");
  for (const Case& c : {
           Case{"eth0", "wired.eth0.network"},
           Case{"eth1", "wired.eth1.network"},
           Case{"eth0.100", "wired.eth0.100.network"},
           Case{"veth7", "wired.veth7.network"},
           Case{"wlan0", "wireless.wifi.wlan0.ap.network"},
           Case{"mywlan1", "wireless.wifi.mywlan1.ap.network"},
           Case{"wlaneth", "wired.wlaneth.network"},
       }) {
    std::string path;
    EXPECT_EQ(get_interface_network_node(&ctx, c.ifname, path), 0) << c.ifname;
    EXPECT_EQ(path, c.path);
  }
}

TEST_F(InterfaceQueriesTest, TheBridgeTakesTheNetworkObjectOfItsPrimaryMember) {
  struct Case {
    const char* primary;
    const char* path;
  };
  NetworkContext ctx = context_of("{}");
  for (const Case& c : {
           Case{"eth1", "wired.eth1.network"},
           Case{"myeth", "wired.myeth.network"},
           Case{"wlan0", "wireless.wifi.wlan0.ap.network"},
           Case{"usb0", "wireless.wifi.usb0.ap.network"},
           Case{"", "wireless.wifi..ap.network"},
       }) {
    SCOPED_TRACE(c.primary);
    ctx.bridge_primary_interface = c.primary;
    std::string path;
    EXPECT_EQ(get_interface_network_node(&ctx, "br-lan", path), 0);
    EXPECT_EQ(path, c.path);
    EXPECT_EQ(bridge_primary_network_path(&ctx), c.path);
  }
}

TEST_F(InterfaceQueriesTest, AnyOtherNameHasNoNetworkObject) {
  const NetworkContext ctx = context_of("{}");
  for (const char* ifname : {"gre1", "gre-tun1", "wwan0", "br-lan0", "br-la", "lo", ""}) {
    std::string path = "untouched";
    EXPECT_EQ(get_interface_network_node(&ctx, ifname, path), -1) << ifname;
    EXPECT_EQ(path, "untouched");
  }
}

TEST_F(InterfaceQueriesTest, NothingIsAGreInterface) {
  const NetworkContext ctx = context_of("{}");
  for (const char* ifname : {"gre0", "gre-tun1", "gretap0", "eth0", ""}) {
    EXPECT_FALSE(is_gre_interface(&ctx, ifname)) << ifname;
  }
}

TEST_F(InterfaceQueriesTest, EachQuestionPrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  const auto every_question = [&] {
    std::string path;
    is_eth_interface_enabled(&ctx, "eth0");
    is_wlan_ap_enabled(&ctx, "wlan0");
    interface_is_bridged(&ctx, "eth0");
    is_wlan_ap_dhcp_enabled(&ctx, "wlan0");
    is_eth_interface_dhcp_enabled(&ctx, "eth0");
    get_interface_network_node(&ctx, "eth0", path);
    is_gre_interface(&ctx, "gre1");
  };
  EXPECT_EQ(printed_by(every_question), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(every_question),
            "is_eth_interface_enabled\n"
            "is_wlan_ap_enabled\n"
            "interface_is_bridged\n"
            "is_wlan_ap_dhcp_enabled\n"
            "is_eth_interface_dhcp_enabled\n"
            "get_interface_network_node\n"
            "is_gre_interface\n");
}

TEST_F(InterfaceQueriesTest, AVlanHasALinkWithItsIdentifierAndAnInterfaceWithItsNetwork) {
  const Json::Value list = json(R"({"enable": true, "networks": [
    {"enable": true, "vid": 20, "network": {}}, {"enable": true, "vid": 21}, {"enable": true, "network": {}},
    {"vid": 22, "network": {}}, "text"]})");
  const std::vector<Vlan> vlans = read_vlans(&list);
  ASSERT_EQ(vlans.size(), 5U);
  EXPECT_EQ(vlans[0].settings, &list["networks"][0]);
  EXPECT_EQ(vlans[0].network(), &list["networks"][0]["network"]);
  EXPECT_EQ(vlans[0].vid, 20);
  EXPECT_TRUE(vlans[0].has_link() && vlans[0].has_interface());
  EXPECT_TRUE(vlans[1].has_link() && !vlans[1].has_interface());
  for (const std::size_t index : {2U, 3U, 4U})
    EXPECT_FALSE(vlans[index].has_link() || vlans[index].has_interface()) << index;
  for (const std::size_t index : {0U, 3U})
    EXPECT_TRUE(vlans[index].is_complete()) << index;
  for (const std::size_t index : {1U, 2U, 4U})
    EXPECT_FALSE(vlans[index].is_complete()) << index;
  EXPECT_THAT(read_vlans(nullptr), IsEmpty());
  EXPECT_THAT(read_vlans(&list["networks"][0]["network"]), IsEmpty());
}

TEST_F(InterfaceQueriesTest, AVlanIsNamedAfterItsLinkAndItsIdentifier) {
  EXPECT_EQ(vlan_name("eth0", 20), "eth0.20");
  EXPECT_EQ(vlan_name("br-lan", -1), "br-lan.-1");
}

TEST_F(InterfaceQueriesTest, OnlyAnEnabledBridgeHasMembers) {
  NetworkContext ctx = context_of(R"({"wired": {"bridge": {"interfaces": ["eth0"]}}})");
  EXPECT_FALSE(is_bridge_member(&ctx, "eth0"));
  ctx.bridge_enabled = true;
  EXPECT_TRUE(is_bridge_member(&ctx, "eth0"));
  EXPECT_FALSE(is_bridge_member(&ctx, "eth1"));
}
