#include <filesystem>

#include "dnsmasq/lan_interface.h"
#include "lanfab_test.h"

namespace {

constexpr char kServer[] = R"(
# DHCP server on wlan0
dhcp-range=wlan0,192.168.3.100,192.168.3.200,3600
dhcp-option=wlan0,3,192.168.3.1
dhcp-option=wlan0,1,255.255.255.0
dhcp-option=wlan0,6,192.168.3.1

)";

constexpr char kRelay[] = R"(
# DHCP relay on wlan0
dhcp-relay=192.168.3.1,10.1.1.1
)";

class WlanInterfaceTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().resolvable["10.1.1.1"] = "10.1.1.1";
  }

  // A configuration of wlan0 with this "ap.enable" and "dhcp.enable"; its relay is on.
  static NetworkContext access_point(const std::string& ap_enable, const std::string& dhcp_enable) {
    return context_of(R"({"wireless": {"wifi": {"wlan0": {"ap": {"enable": )" + ap_enable + R"(, "network": {
      "ipv4": "192.168.3.1", "netmask": 24,
      "dhcp": {"enable": )" +
                      dhcp_enable + R"(, "start": "192.168.3.100", "end": "192.168.3.200",
               "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}}}}}})");
  }

  static void bridge_wlan0(NetworkContext& ctx, bool enabled) {
    ctx.bridge_enabled = enabled;
    ctx.bridge_interfaces = json(R"(["wlan0"])");
  }

  static std::string sections(const NetworkContext& ctx, const char* hostname) {
    return text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_wlan_interface(&ctx, file, "wlan0", hostname), 0); });
  }

  static std::string hosts() {
    return exists("/var/run/hosts") ? text_of_file("/var/run/hosts") : "";
  }
};

TEST_F(WlanInterfaceTest, AnAccessPointHasItsServerItsNameAndItsRelay) {
  EXPECT_EQ(sections(access_point("true", "true"), "qel"), std::string(kServer) + kRelay);
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_dhcp_server: wlan0",
                   "info dnsmasq: configured dhcp server for interface wlan0",
                   "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.3.1",
                   "notice configured primary DHCP relay server",
                   "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"}));
}

TEST_F(WlanInterfaceTest, ARadioThatIsNoAccessPointContributesNothing) {
  for (const char* enable : {"false", "\"true\"", "null"}) {
    EXPECT_EQ(sections(access_point(enable, "true"), "qel"), "") << enable;
    EXPECT_EQ(hosts(), "") << enable;
    EXPECT_EQ(platform().log, Lines{}) << enable;
  }
}

TEST_F(WlanInterfaceTest, EachRadioHasItsOwnSettings) {
  const NetworkContext ctx = context_of(R"({"wireless": {"wifi": {
    "wlan0": {"ap": {"enable": false}},
    "wlan1": {"ap": {"enable": true, "network": {
      "ipv4": "192.168.4.1", "netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}}}}}})");
  EXPECT_EQ(sections(ctx, "qel"), "");
  EXPECT_EQ(
      text_written_by([&](std::FILE* file) { dnsmasq_add_wlan_interface(&ctx, file, "wlan1", "qel2"); }),
      R"(
# DHCP server on wlan1
dhcp-range=wlan1,a,b,3600
dhcp-option=wlan1,3,192.168.4.1
dhcp-option=wlan1,1,255.255.255.0
dhcp-option=wlan1,6,192.168.4.1

)");
  EXPECT_EQ(hosts(), "192.168.4.1 qel2\n");
}

TEST_F(WlanInterfaceTest, WithoutDhcpOnlyTheRelayRemains) {
  for (const char* enable : {"false", "1", "null"}) {
    EXPECT_EQ(sections(access_point("true", enable), "qel"), kRelay) << enable;
    EXPECT_EQ(hosts(), "") << enable;
  }
}

TEST_F(WlanInterfaceTest, AMemberOfTheBridgeHasOnlyItsName) {
  NetworkContext ctx = access_point("true", "true");
  bridge_wlan0(ctx, true);
  EXPECT_EQ(sections(ctx, "qel"), "");
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq: wlan0 is in br-lan bridge\n",
                                   "debug dnsmasq: wlan0 is in br-lan bridge\n"}));
}

TEST_F(WlanInterfaceTest, AMemberOfTheBridgeWithoutDhcpHasNothing) {
  NetworkContext ctx = access_point("true", "false");
  bridge_wlan0(ctx, true);
  EXPECT_EQ(sections(ctx, "qel"), "");
  EXPECT_EQ(hosts(), "");
  EXPECT_EQ(platform().log, (Lines{"debug dnsmasq: wlan0 is in br-lan bridge\n"}));
}

TEST_F(WlanInterfaceTest, TheListOfADisabledBridgeIsIgnored) {
  NetworkContext ctx = access_point("true", "true");
  bridge_wlan0(ctx, false);
  EXPECT_EQ(sections(ctx, "qel"), std::string(kServer) + kRelay);
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
}

TEST_F(WlanInterfaceTest, WithoutAHostNameNoneIsPublished) {
  EXPECT_EQ(sections(access_point("true", "true"), nullptr), std::string(kServer) + kRelay);
  EXPECT_EQ(hosts(), "");
}

TEST_F(WlanInterfaceTest, AHostsFileThatCannotBeWrittenIsLoggedAndStopsNothing) {
  std::filesystem::create_directory("/var/run/hosts");
  EXPECT_EQ(sections(access_point("true", "true"), "qel"), std::string(kServer) + kRelay);
  EXPECT_THAT(platform().log, ::testing::Contains("notice dnsmasq: error writing /var/run/hosts"));
}

TEST_F(WlanInterfaceTest, PrintsItsTraceLines) {
  NetworkContext ctx = access_point("true", "true");
  bridge_wlan0(ctx, true);
  EXPECT_EQ(printed_by([&] { sections(ctx, "qel"); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { sections(ctx, "qel"); }),
            "dnsmasq_add_wlan_interface\n"
            "is_wlan_ap_enabled\n"
            "is_wlan_ap_dhcp_enabled\n"
            "interface_is_bridged\n"
            "dnsmasq_add_dns_host\n"
            "interface_is_bridged\n");
}

}  // namespace
