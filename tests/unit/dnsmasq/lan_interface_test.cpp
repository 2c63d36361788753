#include "dnsmasq/lan_interface.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

// wlan0, an access point that serves DHCP and relays.
constexpr char kNetwork[] = R"({"wireless": {"wifi": {"wlan0": {"ap": {"network": {
  "ipv4": "192.168.3.1", "netmask": 24,
  "dhcp": {"enable": true, "start": "192.168.3.100", "end": "192.168.3.200",
           "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}}}}}})";

class LanInterfaceTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().resolvable["10.1.1.1"] = "10.1.1.1";
  }

  static std::string server(const NetworkContext& ctx) {
    return text_written_by([&](std::FILE* file) { dnsmasq_add_lan_dhcp_server(&ctx, file, "wlan0"); });
  }

  static std::string relay(const NetworkContext& ctx) {
    return text_written_by([&](std::FILE* file) { dnsmasq_add_lan_dhcp_relay(&ctx, file, "wlan0"); });
  }
};

TEST_F(LanInterfaceTest, AnInterfaceOutsideTheBridgeHasItsOwnSections) {
  NetworkContext ctx = context_of(kNetwork);
  struct {
    bool bridge_enabled;
    const char* members;
  } const cases[] = {{false, "[]"}, {false, R"(["wlan0"])"}, {true, "[]"}, {true, R"(["wlan1", "eth0"])"}};
  for (const auto& c : cases) {
    ctx.bridge_enabled = c.bridge_enabled;
    ctx.bridge_interfaces = json(c.members);
    EXPECT_EQ(server(ctx), R"(
# DHCP server on wlan0
dhcp-range=wlan0,192.168.3.100,192.168.3.200,3600
dhcp-option=wlan0,3,192.168.3.1
dhcp-option=wlan0,1,255.255.255.0
dhcp-option=wlan0,6,192.168.3.1

)") << c.members;
    EXPECT_EQ(relay(ctx), R"(
# DHCP relay on wlan0
dhcp-relay=192.168.3.1,10.1.1.1
)") << c.members;
  }
}

TEST_F(LanInterfaceTest, AMemberOfTheBridgeIsOnlyLogged) {
  NetworkContext ctx = context_of(kNetwork);
  ctx.bridge_enabled = true;
  ctx.bridge_interfaces = json(R"(["eth0", "wlan0"])");
  EXPECT_EQ(server(ctx), "");
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq: wlan0 is in br-lan bridge\n"}));
  platform().log.clear();
  EXPECT_EQ(relay(ctx), "");
  EXPECT_EQ(platform().log, (Lines{"debug dnsmasq: wlan0 is in br-lan bridge\n"}));
}

TEST_F(LanInterfaceTest, AHostNameIsPublishedForTheAddressAtThePath) {
  const NetworkContext ctx = context_of(kNetwork);
  dnsmasq_add_lan_hostname(&ctx, "qel", "wireless.wifi.wlan0.ap.network.ipv4");
  EXPECT_EQ(text_of_file("/var/run/hosts"), "192.168.3.1 qel\n");
  EXPECT_EQ(platform().log, Lines{});
}

TEST_F(LanInterfaceTest, WithoutANameOrAnAddressNothingIsPublished) {
  const NetworkContext ctx = context_of(kNetwork);
  dnsmasq_add_lan_hostname(&ctx, nullptr, "wireless.wifi.wlan0.ap.network.ipv4");
  dnsmasq_add_lan_hostname(&ctx, "qel", "wireless.wifi.wlan1.ap.network.ipv4");
  dnsmasq_add_lan_hostname(&ctx, "qel", "wireless.wifi.wlan0.ap.network.netmask");
  EXPECT_FALSE(exists("/var/run/hosts"));
  EXPECT_EQ(platform().log, Lines{});
}

TEST_F(LanInterfaceTest, AHostsFileThatCannotBeWrittenIsLogged) {
  std::filesystem::create_directory("/var/run/hosts");
  const NetworkContext ctx = context_of(kNetwork);
  dnsmasq_add_lan_hostname(&ctx, "qel", "wireless.wifi.wlan0.ap.network.ipv4");
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq: error writing /var/run/hosts"}));
}

}  // namespace
