#include "dnsmasq/lan_interface.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

class LanInterfaceTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().resolvable["10.1.1.1"] = "10.1.1.1";
    platform().mac_addresses["eth0"] = "02:00:5e:00:00:10";
  }
};

}  // namespace

// The sections of eth0, of its VLAN and of wlan0.
constexpr char kEth0Server[] = "# DHCP server on eth0";
constexpr char kEth0VlanServer[] = "# DHCP server on eth0.10";
constexpr char kEth0Relay[] = "# DHCP relay on eth0";
constexpr char kWlan0Server[] = "# DHCP server on wlan0";
constexpr char kWlan0Relay[] = "# DHCP relay on wlan0";

// A port with a DHCP server, also on a VLAN, and a relay.
static Json::Value port() {
  return json(R"({
    "enable": true,
    "network": {
      "mode": "router", "protocol": "static", "ipv4": "192.168.1.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.200",
               "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}},
      "advanced": {"vlan": {"enable": true, "networks": [
        {"vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24, "dhcp": {
          "enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}}]}}}})");
}

// An access point with a DHCP server and a relay.
static Json::Value access_point() {
  return json(R"({
    "enable": true,
    "network": {
      "ipv4": "192.168.3.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.3.100", "end": "192.168.3.200",
               "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}})");
}

static NetworkContext context_of_eth0(const Json::Value& port) {
  Json::Value config;
  config["wired"]["eth0"] = port;
  return context_of(config.toStyledString());
}

static NetworkContext context_of_wlan0(const Json::Value& access_point) {
  Json::Value config;
  config["wireless"]["wifi"]["wlan0"]["ap"] = access_point;
  return context_of(config.toStyledString());
}

static void set_bridge(NetworkContext& ctx, bool enabled, const std::string& members) {
  ctx.bridge_enabled = enabled;
  ctx.bridge_interfaces = json(members);
}

static std::string text_of_eth0(const NetworkContext& ctx, const char* hostname = "qele") {
  return text_written_by(
      [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_eth_interface(&ctx, file, "eth0", hostname), 0); });
}

static std::string text_of_wlan0(const NetworkContext& ctx, const char* hostname = "qel") {
  return text_written_by(
      [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_wlan_interface(&ctx, file, "wlan0", hostname), 0); });
}

static std::string hosts() {
  return exists("/var/run/hosts") ? text_of_file("/var/run/hosts") : "";
}

// --- The ordinary port

TEST_F(LanInterfaceTest, APortHasItsServerItsVlansItsNameAndItsRelay) {
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(port()))),
              ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dnsmasq_add_dhcp_server: eth0",
                  "info dnsmasq: configured dhcp server for interface eth0",
                  "info configured DHCP server on VLAN eth0.10",
                  "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                  "notice configured primary DHCP relay server",
                  "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"));
}

TEST_F(LanInterfaceTest, ADisabledPortContributesNothing) {
  for (const char* mode : {"router", "pass-through", "pass-through-auto"}) {
    SCOPED_TRACE(mode);
    Json::Value disabled = port();
    disabled["enable"] = false;
    disabled["network"]["mode"] = mode;
    EXPECT_EQ(text_of_eth0(context_of_eth0(disabled)), "");
    EXPECT_EQ(hosts(), "");
    EXPECT_THAT(platform().log, IsEmpty());
  }
}

TEST_F(LanInterfaceTest, EachPortHasItsOwnSettings) {
  const NetworkContext ctx = context_of(R"({"wired": {
    "eth0": {"enable": false},
    "eth1": {"enable": true, "network": {
      "protocol": "static", "ipv4": "192.168.2.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})");
  EXPECT_EQ(text_of_eth0(ctx), "");
  EXPECT_THAT(heads(text_written_by(
                  [&](std::FILE* file) { dnsmasq_add_eth_interface(&ctx, file, "eth1", "second"); })),
              ElementsAre("# DHCP server on eth1"));
  EXPECT_EQ(hosts(), "192.168.2.1 second\n");
}

TEST_F(LanInterfaceTest, WithoutAStaticAddressOnlyThePortsRelayRemains) {
  for (const Json::Value& protocol :
       {Json::Value("dhcp_client"), Json::Value(""), Json::Value(5), Json::Value()}) {
    SCOPED_TRACE(protocol);
    Json::Value dynamic = port();
    dynamic["network"]["protocol"] = protocol;
    EXPECT_THAT(heads(text_of_eth0(context_of_eth0(dynamic))), ElementsAre(kEth0Relay));
    EXPECT_EQ(hosts(), "");
  }
}

TEST_F(LanInterfaceTest, WithoutDhcpOnlyThePortsRelayRemains) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(off))), ElementsAre(kEth0Relay));
  EXPECT_EQ(hosts(), "");
}

TEST_F(LanInterfaceTest, AServerThatCannotBeWrittenLeavesTheRestOfThePort) {
  Json::Value incomplete = port();
  incomplete["network"].removeMember("netmask");
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(incomplete))), ElementsAre(kEth0VlanServer, kEth0Relay));
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
}

// --- The pass-through port

// The link is up and has an address; its gateway is that of eth0's link-local pair.
static void connect() {
  platform().database["CELL_CONNECTED"] = 1;
  put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
  put_file("/var/run/wwan_gw", "169.254.0.1\n");
  put_file("/var/run/wwan_netmask", "255.255.255.252\n");
}

TEST_F(LanInterfaceTest, ThePassThroughPortHasItsOneSectionOnly) {
  struct Case {
    const char* mode;
    const char* section;
  };
  for (const Case& c : {Case{"pass-through", "# pass-through static mode DHCP on eth0"},
                        Case{"pass-through-auto", "# pass-through automatic mode DHCP on eth0"}}) {
    SCOPED_TRACE(c.mode);
    Json::Value passthrough = port();
    passthrough["network"]["mode"] = c.mode;
    EXPECT_THAT(heads(text_of_eth0(context_of_eth0(passthrough))), ElementsAre(c.section));
    EXPECT_EQ(hosts(), "");
    EXPECT_THAT(platform().calls, IsEmpty());
  }
}

TEST_F(LanInterfaceTest, TheOtherPortStaysOrdinary) {
  NetworkContext ctx = context_of_eth0(port());
  ctx.passthrough_enabled = true;
  ctx.passthrough_interface = "eth1";
  EXPECT_THAT(heads(text_of_eth0(ctx)), ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
  ctx.passthrough_enabled = false;
  ctx.passthrough_interface = "eth0";
  EXPECT_THAT(heads(text_of_eth0(ctx)), ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
}

TEST_F(LanInterfaceTest, AStaticPassThroughPortWithoutDhcpIsOrdinary) {
  connect();
  Json::Value off = port();
  off["network"]["mode"] = "pass-through";
  off["network"]["dhcp"]["enable"] = false;
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(off))), ElementsAre(kEth0Relay));
  EXPECT_EQ(hosts(), "");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                  "notice dnsmasq_add_eth_interface: wwan link up",
                  "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                  "notice configured primary DHCP relay server",
                  "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"));
}

TEST_F(LanInterfaceTest, APortWhoseGatewayIsTheSecondaryOneCanBeOrdinary) {
  connect();
  for (const char* mode : {"pass-through", "pass-through-auto"}) {
    SCOPED_TRACE(mode);
    std::filesystem::remove("/var/run/hosts");
    Json::Value disabled = port();
    disabled["network"]["mode"] = mode;
    disabled["network"]["dhcp"]["disable_dhcp_secondary"] = true;
    EXPECT_THAT(heads(text_of_eth0(context_of_eth0(disabled))),
                ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
    EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
  }
}

// --- The access point

TEST_F(LanInterfaceTest, AnAccessPointHasItsServerItsNameAndItsRelay) {
  EXPECT_THAT(heads(text_of_wlan0(context_of_wlan0(access_point()))), ElementsAre(kWlan0Server, kWlan0Relay));
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dnsmasq_add_dhcp_server: wlan0",
                  "info dnsmasq: configured dhcp server for interface wlan0",
                  "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.3.1",
                  "notice configured primary DHCP relay server",
                  "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"));
}

TEST_F(LanInterfaceTest, ARadioThatIsNoAccessPointContributesNothing) {
  for (const Json::Value& enable : {Json::Value(false), Json::Value("true"), Json::Value()}) {
    SCOPED_TRACE(enable);
    Json::Value radio = access_point();
    radio["enable"] = enable;
    EXPECT_EQ(text_of_wlan0(context_of_wlan0(radio)), "");
    EXPECT_EQ(hosts(), "");
    EXPECT_THAT(platform().log, IsEmpty());
  }
}

TEST_F(LanInterfaceTest, EachRadioHasItsOwnSettings) {
  const NetworkContext ctx = context_of(R"({"wireless": {"wifi": {
    "wlan0": {"ap": {"enable": false}},
    "wlan1": {"ap": {"enable": true, "network": {
      "ipv4": "192.168.4.1", "netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}}}}}})");
  EXPECT_EQ(text_of_wlan0(ctx), "");
  EXPECT_THAT(heads(text_written_by(
                  [&](std::FILE* file) { dnsmasq_add_wlan_interface(&ctx, file, "wlan1", "qel2"); })),
              ElementsAre("# DHCP server on wlan1"));
  EXPECT_EQ(hosts(), "192.168.4.1 qel2\n");
}

TEST_F(LanInterfaceTest, WithoutDhcpOnlyTheAccessPointsRelayRemains) {
  for (const Json::Value& enable : {Json::Value(false), Json::Value(1), Json::Value()}) {
    SCOPED_TRACE(enable);
    Json::Value off = access_point();
    off["network"]["dhcp"]["enable"] = enable;
    EXPECT_THAT(heads(text_of_wlan0(context_of_wlan0(off))), ElementsAre(kWlan0Relay));
    EXPECT_EQ(hosts(), "");
  }
}

TEST_F(LanInterfaceTest, AServerThatCannotBeWrittenLeavesTheRestOfTheAccessPoint) {
  Json::Value incomplete = access_point();
  incomplete["network"].removeMember("netmask");
  EXPECT_THAT(heads(text_of_wlan0(context_of_wlan0(incomplete))), ElementsAre(kWlan0Relay));
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
}

// --- Members of the bridge

TEST_F(LanInterfaceTest, AnInterfaceOutsideTheBridgeHasItsOwnSections) {
  struct Case {
    bool enabled;
    const char* members;
  };
  NetworkContext wired = context_of_eth0(port());
  NetworkContext wireless = context_of_wlan0(access_point());
  for (const Case& c : {Case{false, "[]"}, Case{false, R"(["eth0", "wlan0"])"}, Case{true, "[]"},
                        Case{true, R"(["eth1", "wlan1"])"}}) {
    SCOPED_TRACE(c.members);
    set_bridge(wired, c.enabled, c.members);
    EXPECT_THAT(heads(text_of_eth0(wired)), ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
    set_bridge(wireless, c.enabled, c.members);
    EXPECT_THAT(heads(text_of_wlan0(wireless)), ElementsAre(kWlan0Server, kWlan0Relay));
  }
}

TEST_F(LanInterfaceTest, AMemberPortHasOnlyItsVlansAndItsName) {
  NetworkContext ctx = context_of_eth0(port());
  set_bridge(ctx, true, R"(["wlan0", "eth0"])");
  EXPECT_THAT(heads(text_of_eth0(ctx)), ElementsAre(kEth0VlanServer));
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq: eth0 is in br-lan bridge\n",
                                          "info configured DHCP server on VLAN eth0.10",
                                          "debug dnsmasq: eth0 is in br-lan bridge\n"));
}

TEST_F(LanInterfaceTest, AMemberPortWithoutDhcpHasNothing) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  NetworkContext ctx = context_of_eth0(off);
  set_bridge(ctx, true, R"(["eth0"])");
  EXPECT_EQ(text_of_eth0(ctx), "");
  EXPECT_EQ(hosts(), "");
  EXPECT_THAT(platform().log, ElementsAre("debug dnsmasq: eth0 is in br-lan bridge\n"));
}

TEST_F(LanInterfaceTest, AMemberAccessPointHasOnlyItsName) {
  NetworkContext ctx = context_of_wlan0(access_point());
  set_bridge(ctx, true, R"(["eth0", "wlan0"])");
  EXPECT_EQ(text_of_wlan0(ctx), "");
  EXPECT_EQ(hosts(), "192.168.3.1 qel\n");
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq: wlan0 is in br-lan bridge\n",
                                          "debug dnsmasq: wlan0 is in br-lan bridge\n"));
}

TEST_F(LanInterfaceTest, AMemberAccessPointWithoutDhcpHasNothing) {
  Json::Value off = access_point();
  off["network"]["dhcp"]["enable"] = false;
  NetworkContext ctx = context_of_wlan0(off);
  set_bridge(ctx, true, R"(["wlan0"])");
  EXPECT_EQ(text_of_wlan0(ctx), "");
  EXPECT_EQ(hosts(), "");
  EXPECT_THAT(platform().log, ElementsAre("debug dnsmasq: wlan0 is in br-lan bridge\n"));
}

// --- The host name

TEST_F(LanInterfaceTest, WithoutAHostNameNoneIsPublished) {
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(port()), nullptr)),
              ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
  EXPECT_THAT(heads(text_of_wlan0(context_of_wlan0(access_point()), nullptr)),
              ElementsAre(kWlan0Server, kWlan0Relay));
  EXPECT_FALSE(exists("/var/run/hosts"));
}

TEST_F(LanInterfaceTest, WithoutAnAddressNoNameIsPublished) {
  for (const Json::Value& ipv4 : {Json::Value(), Json::Value(5)}) {
    SCOPED_TRACE(ipv4);
    Json::Value nameless_port = port();
    nameless_port["network"]["ipv4"] = ipv4;
    EXPECT_THAT(heads(text_of_eth0(context_of_eth0(nameless_port))), ElementsAre(kEth0VlanServer));
    Json::Value nameless_access_point = access_point();
    nameless_access_point["network"]["ipv4"] = ipv4;
    EXPECT_EQ(text_of_wlan0(context_of_wlan0(nameless_access_point)), "");
    EXPECT_FALSE(exists("/var/run/hosts"));
    EXPECT_THAT(platform().log, Not(Contains(HasSubstr("hosts"))));
  }
}

TEST_F(LanInterfaceTest, AHostsFileThatCannotBeWrittenIsLoggedAndStopsNothing) {
  std::filesystem::create_directory("/var/run/hosts");
  EXPECT_THAT(heads(text_of_eth0(context_of_eth0(port()))),
              ElementsAre(kEth0Server, kEth0VlanServer, kEth0Relay));
  EXPECT_THAT(platform().log, Contains("notice dnsmasq: error writing /var/run/hosts"));
  EXPECT_THAT(heads(text_of_wlan0(context_of_wlan0(access_point()))), ElementsAre(kWlan0Server, kWlan0Relay));
  EXPECT_THAT(platform().log, Contains("notice dnsmasq: error writing /var/run/hosts"));
}

// --- The trace

TEST_F(LanInterfaceTest, AMemberPortPrintsItsTraceLines) {
  NetworkContext ctx = context_of_eth0(port());
  set_bridge(ctx, true, R"(["eth0"])");
  EXPECT_EQ(printed_by([&] { text_of_eth0(ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { text_of_eth0(ctx); }),
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n"
            "is_eth_interface_dhcp_enabled\n"
            "interface_is_bridged\n"
            "dnsmasq_add_vlan_interfaces\n"
            "dnsmasq_write_dhcp_server\n"
            "dnsmasq_add_dns_host\n"
            "interface_is_bridged\n");
}

TEST_F(LanInterfaceTest, APortOutsideTheBridgePrintsItsTraceLines) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  NetworkContext ctx = context_of_eth0(off);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { text_of_eth0(ctx); }),
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n"
            "is_eth_interface_dhcp_enabled\n"
            "dnsmasq_add_dhcp_relay\n"
            "get_interface_network_node\n"
            "dnsmasq_write_dhcp_relay\n"
            "dnsmasq_write_dhcp_relay\n");
}

TEST_F(LanInterfaceTest, ThePassThroughPortPrintsItsTraceLines) {
  Json::Value passthrough = port();
  passthrough["network"]["mode"] = "pass-through-auto";
  NetworkContext ctx = context_of_eth0(passthrough);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { text_of_eth0(ctx); }), "dnsmasq_add_eth_interface\nis_eth_interface_enabled\n");
}

TEST_F(LanInterfaceTest, AMemberAccessPointPrintsItsTraceLines) {
  NetworkContext ctx = context_of_wlan0(access_point());
  set_bridge(ctx, true, R"(["wlan0"])");
  EXPECT_EQ(printed_by([&] { text_of_wlan0(ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { text_of_wlan0(ctx); }),
            "dnsmasq_add_wlan_interface\n"
            "is_wlan_ap_enabled\n"
            "is_wlan_ap_dhcp_enabled\n"
            "interface_is_bridged\n"
            "dnsmasq_add_dns_host\n"
            "interface_is_bridged\n");
}

// --- The sections of an interface

static void expect_sections(const LanSections& sections, bool has_server, bool has_vlan_servers,
                            bool has_relay) {
  EXPECT_EQ(sections.has_server, has_server);
  EXPECT_EQ(sections.has_vlan_servers, has_vlan_servers);
  EXPECT_EQ(sections.has_relay, has_relay);
}

TEST_F(LanInterfaceTest, APortThatServesDhcpServesItsVlansToo) {
  const NetworkContext serving = context_of_eth0(port());
  expect_sections(read_port_sections(&serving, "eth0"), true, true, true);
  expect_sections(read_port_sections(&serving, "eth1"), false, false, true);
}

TEST_F(LanInterfaceTest, AnAccessPointHasNoVlans) {
  const NetworkContext ctx = context_of_wlan0(access_point());
  expect_sections(read_access_point_sections(&ctx, "wlan0"), true, false, true);
  expect_sections(read_access_point_sections(&ctx, "wlan1"), false, false, true);
}

TEST_F(LanInterfaceTest, OnlyAnEnabledBridgeHasSections) {
  NetworkContext ctx = context_of("{}");
  expect_sections(read_bridge_sections(&ctx), false, false, false);
  ctx.bridge_enabled = true;
  expect_sections(read_bridge_sections(&ctx), true, false, true);
}
