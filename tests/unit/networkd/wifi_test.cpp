#include "networkd/wifi.h"

#include "lanfab_test.h"

// Both radios, each an access point and a client.
constexpr char kEverything[] = R"({
  "firewall": {"general": {"router": 1}},
  "wireless": {"wifi": {
    "wlan0": {"ap": {"enable": true, "network": {"ipv4": "192.168.3.1", "netmask": 24}},
              "client": {"enable": true, "network": {"protocol": "dhcp_client"}}},
    "wlan1": {"ap": {"enable": true, "network": {"ipv4": "192.168.4.1", "netmask": 24}},
              "client": {"enable": true, "network": {"protocol": "dhcp_client", "metric": 30}}}}}})";

namespace {

class WifiTest : public LanfabTest {};

}  // namespace

// A context with this object as "wireless.wifi".
static NetworkContext wifi(const std::string& radios) {
  return context_of(R"({"firewall": {"general": {"router": 1}}, "wireless": {"wifi": )" + radios + "}}");
}

TEST_F(WifiTest, EachAccessPointAndEachClientHasAUnit) {
  const NetworkContext ctx = context_of(kEverything);
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(),
              ElementsAre("80-wlan0.network", "80-wlan1.network", "84-wlan0.network", "84-wlan1.network"));
  EXPECT_THAT(heads(unit("80-wlan0.network")), ElementsAre("[Match]", "[Link]", "[Network]", "[Route]"));
  EXPECT_THAT(unit("80-wlan0.network"), HasSubstr("\nAddress = 192.168.3.1/24\n"));
  EXPECT_THAT(unit("80-wlan1.network"), HasSubstr("\nAddress = 192.168.4.1/24\n"));
  EXPECT_THAT(heads(unit("84-wlan0.network")),
              ElementsAre("[Match]", "[Link]", "[Network]", "[Route]", "[DHCPv4]"));
  EXPECT_THAT(unit("84-wlan0.network"), Not(HasSubstr("RouteMetric")));
  EXPECT_THAT(unit("84-wlan1.network"), HasSubstr("\nRouteMetric = 30\n"));
}

TEST_F(WifiTest, EachAccessPointAndEachClientIsRecordedForRemoval) {
  const NetworkContext ctx = context_of(kEverything);
  lanfab_wifi(&ctx);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("wlan0", "wlan1", "wlan0", "wlan1"));
  EXPECT_THAT(log_of("notice"), ElementsAre("notice wifi wlan0 AP enabled", "notice wifi wlan1 AP enabled"));
}

TEST_F(WifiTest, WithoutRadiosNothingHappens) {
  const NetworkContext ctx = wifi("{}");
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(), IsEmpty());
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
  EXPECT_THAT(platform().log, IsEmpty());
}

// --- Access points

TEST_F(WifiTest, AnAccessPointOfOneRadio) {
  for (const std::string ifname : {"wlan0", "wlan1"}) {
    LanfabTest::SetUp();
    const NetworkContext ctx = wifi("{\"" + ifname + R"(": {"ap": {"enable": true, "network": {}}}})");
    EXPECT_EQ(lanfab_wifi(&ctx), 0);
    EXPECT_THAT(unit_names(), ElementsAre("80-" + ifname + ".network"));
    EXPECT_THAT(log_of("notice"), ElementsAre("notice wifi " + ifname + " AP enabled"));
    EXPECT_THAT(recorded_interfaces(), ElementsAre(ifname));
  }
}

TEST_F(WifiTest, ADisabledAccessPointIsLeftOut) {
  const NetworkContext ctx =
      wifi(R"({"wlan0": {"ap": {"enable": false, "network": {}}}, "wlan1": {"ap": {"network": {}}}})");
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(), IsEmpty());
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
}

TEST_F(WifiTest, TheOverallFlagGatesBothAccessPoints) {
  NetworkContext ctx = context_of(kEverything);
  ctx.ap_enabled = false;
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(), ElementsAre("84-wlan0.network", "84-wlan1.network"));
}

TEST_F(WifiTest, AnAccessPointWithoutSettingsHasNoUnitAndIsRecorded) {
  const NetworkContext ctx = wifi(R"({"wlan0": {"ap": {"enable": true, "network": "text"}}})");
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(), IsEmpty());
  EXPECT_THAT(platform().log, ElementsAre("notice wifi wlan0 AP enabled"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("wlan0"));
}

TEST_F(WifiTest, ABridgedAccessPointIsOnlyLogged) {
  for (const std::string ifname : {"wlan0", "wlan1"}) {
    NetworkContext ctx = wifi("{\"" + ifname + R"(": {"ap": {"enable": true, "network": {}}}})");
    ctx.bridge_enabled = true;
    ctx.bridge_interfaces = json("[\"eth0\", \"" + ifname + "\"]");
    EXPECT_EQ(lanfab_wifi(&ctx), 0);
    EXPECT_THAT(unit_names(), IsEmpty());
    EXPECT_THAT(recorded_interfaces(), IsEmpty());
    EXPECT_THAT(platform().log,
                ElementsAre("notice wifi " + ifname + " AP enabled",
                            "notice interface " + ifname + " is part of br-lan bridge interface"));
  }
}

TEST_F(WifiTest, AnAccessPointIsBridgedOnlyInTheListOfAnEnabledBridge) {
  NetworkContext ctx = wifi(R"({"wlan0": {"ap": {"enable": true, "network": {}}}})");
  ctx.bridge_interfaces = json(R"(["wlan0"])");
  lanfab_wifi(&ctx);
  EXPECT_THAT(unit_names(), ElementsAre("80-wlan0.network"));
  LanfabTest::SetUp();
  ctx.bridge_enabled = true;
  ctx.bridge_interfaces = json(R"(["wlan1"])");
  lanfab_wifi(&ctx);
  EXPECT_THAT(unit_names(), ElementsAre("80-wlan0.network"));
}

TEST_F(WifiTest, ABridgedAccessPointKeepsTheClientOfItsRadio) {
  NetworkContext ctx = context_of(kEverything);
  ctx.bridge_enabled = true;
  ctx.bridge_interfaces = json(R"(["wlan0"])");
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(unit_names(), ElementsAre("80-wlan1.network", "84-wlan0.network", "84-wlan1.network"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("wlan1", "wlan0", "wlan1"));
}

TEST_F(WifiTest, AFailedAccessPointFailsTheWholeAndStopsNothing) {
  for (const std::string ifname : {"wlan0", "wlan1"}) {
    LanfabTest::SetUp();
    block_unit("80-" + ifname + ".network");
    const NetworkContext ctx = context_of(kEverything);
    EXPECT_EQ(lanfab_wifi(&ctx), -1) << ifname;
    EXPECT_THAT(platform().log,
                IsSupersetOf({"notice error creating network unit file: /var/run/systemd/network/80-" +
                                  ifname + ".network",
                              std::string("notice error writing network unit file")}));
    EXPECT_EQ(unit_names().size(), 4U) << ifname;
    EXPECT_THAT(recorded_interfaces(), ElementsAre("wlan0", "wlan1", "wlan0", "wlan1")) << ifname;
  }
}

// --- Clients

TEST_F(WifiTest, AClientThatIsNotEnabledIsStillRecorded) {
  for (const char* client :
       {R"({"enable": false, "network": {}})", R"({"enable": "true", "network": {}})", R"({"network": {}})",
        R"({"enable": true})", R"({"enable": true, "network": "text"})", "{}"}) {
    LanfabTest::SetUp();
    const NetworkContext ctx = wifi(R"({"wlan1": {"client": )" + std::string(client) + "}}");
    EXPECT_EQ(lanfab_wifi(&ctx), 0) << client;
    EXPECT_THAT(unit_names(), IsEmpty()) << client;
    EXPECT_THAT(platform().log, IsEmpty()) << client;
    EXPECT_THAT(recorded_interfaces(), ElementsAre("wlan1")) << client;
  }
}

TEST_F(WifiTest, AClientThatIsNoObjectIsLeftOut) {
  const NetworkContext ctx = wifi(R"({"wlan0": {"client": "text"}, "wlan1": {"client": true}})");
  EXPECT_EQ(lanfab_wifi(&ctx), 0);
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
}

TEST_F(WifiTest, AFailedClientIsLoggedAndFailsNothing) {
  for (const std::string ifname : {"wlan0", "wlan1"}) {
    LanfabTest::SetUp();
    block_unit("84-" + ifname + ".network");
    const NetworkContext ctx = wifi("{\"" + ifname + R"(": {"client": {"enable": true, "network": {}}}})");
    EXPECT_EQ(lanfab_wifi(&ctx), 0);
    EXPECT_THAT(log_of("notice"),
                ElementsAre("notice error creating network unit file: /var/run/systemd/network/84-" + ifname +
                                ".network",
                            "notice error writing network unit file",
                            "notice error writing wifi client " + ifname + " network config"));
    EXPECT_THAT(recorded_interfaces(), ElementsAre(ifname));
  }
}

TEST_F(WifiTest, AClientReportsItsOwnFailure) {
  const NetworkContext ctx = wifi("{}");
  const Json::Value client = json(R"({"enable": true, "network": {}})");
  EXPECT_EQ(write_wifi_client(&ctx, client, "wlan0"), 0);
  EXPECT_THAT(unit_names(), ElementsAre("84-wlan0.network"));
  block_unit("84-wlan1.network");
  EXPECT_EQ(write_wifi_client(&ctx, client, "wlan1"), -1);
  EXPECT_EQ(log_of("notice").back(), "notice error writing network unit file");
}

TEST_F(WifiTest, PrintsItsTraceLines) {
  NetworkContext ctx = wifi(R"({"wlan0": {"ap": {"enable": true}}, "wlan1": {"client": {}}})");
  ctx.bridge_enabled = true;
  EXPECT_EQ(printed_by([&] { lanfab_wifi(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { lanfab_wifi(&ctx); }),
            "lanfab_wifi\n"
            "interface_is_bridged\n"
            "append_clear_interfaces\n"
            "write_wifi_client\n"
            "append_clear_interfaces\n");
}

TEST_F(WifiTest, AnAccessPointHasAUnitOutsideTheBridgeAndWithANetwork) {
  NetworkContext ctx = context_of(R"({"wireless": {"wifi": {"wlan0": {"ap": {"network": {}}}}},
    "wired": {"bridge": {"interfaces": ["wlan0"]}}})");
  EXPECT_FALSE(read_access_point(&ctx, "wlan0").is_bridged);
  EXPECT_NE(read_access_point(&ctx, "wlan0").network, nullptr);
  EXPECT_EQ(read_access_point(&ctx, "wlan1").network, nullptr);
  ctx.bridge_enabled = true;
  EXPECT_TRUE(read_access_point(&ctx, "wlan0").is_bridged);
  EXPECT_EQ(read_access_point(&ctx, "wlan0").network, nullptr);
}

TEST_F(WifiTest, AClientHasAUnitWhileItIsEnabledWithANetwork) {
  const Json::Value client = json(R"({"enable": true, "network": {}})");
  EXPECT_TRUE(read_wifi_client(client).has_unit());
  EXPECT_EQ(read_wifi_client(client).network, &client["network"]);
  const Json::Value disabled = json(R"({"network": {}})");
  EXPECT_FALSE(read_wifi_client(disabled).is_enabled || read_wifi_client(disabled).has_unit());
  const Json::Value without_network = json(R"({"enable": true})");
  EXPECT_TRUE(read_wifi_client(without_network).is_enabled);
  EXPECT_FALSE(read_wifi_client(without_network).has_unit());
}
