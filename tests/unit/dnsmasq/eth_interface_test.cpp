#include <filesystem>

#include "dnsmasq/lan_interface.h"
#include "lanfab_test.h"

namespace {

constexpr char kServer[] = R"(
# DHCP server on eth0
dhcp-range=eth0,192.168.1.100,192.168.1.200,3600
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)";

constexpr char kVlans[] = R"(
# DHCP server on eth0.10
dhcp-range=eth0.10,10.10.0.100,10.10.0.200,3600
dhcp-option=eth0.10,3,10.10.0.1
dhcp-option=eth0.10,1,255.255.255.0
dhcp-option=eth0.10,6,10.10.0.1

)";

constexpr char kRelay[] = R"(
# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.1
)";

class EthInterfaceTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().resolvable["10.1.1.1"] = "10.1.1.1";
    platform().hardware_addresses["eth0"] = "02:00:5e:00:00:10";
  }

  // A port that serves DHCP, has one served VLAN and relays.
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

  static NetworkContext context_of_eth0(const Json::Value& port) {
    Json::Value config;
    config["wired"]["eth0"] = port;
    return context_of(config.toStyledString());
  }

  // The link is up and has an address.
  static void connect() {
    platform().database["CELL_CONNECTED"] = 1;
    put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
    put_file("/var/run/wwan_gw", "169.254.0.1\n");
    put_file("/var/run/wwan_netmask", "255.255.255.252\n");
  }

  static void bridge_eth0(NetworkContext& ctx, bool enabled) {
    ctx.bridge_enabled = enabled;
    ctx.bridge_interfaces = json(R"(["eth0"])");
  }

  static std::string sections(const NetworkContext& ctx, const char* hostname = "qele") {
    return text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_eth_interface(&ctx, file, "eth0", hostname), 0); });
  }

  static std::string hosts() {
    return exists("/var/run/hosts") ? text_of_file("/var/run/hosts") : "";
  }
};

// The ordinary port.

TEST_F(EthInterfaceTest, APortHasItsServerItsVlansItsNameAndItsRelay) {
  EXPECT_EQ(sections(context_of_eth0(port())), std::string(kServer) + kVlans + kRelay);
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_dhcp_server: eth0",
                   "info dnsmasq: configured dhcp server for interface eth0",
                   "info configured DHCP server on VLAN eth0.10",
                   "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                   "notice configured primary DHCP relay server",
                   "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"}));
}

TEST_F(EthInterfaceTest, ADisabledPortContributesNothing) {
  for (const char* mode : {"router", "pass-through", "pass-through-auto"}) {
    Json::Value disabled = port();
    disabled["enable"] = false;
    disabled["network"]["mode"] = mode;
    EXPECT_EQ(sections(context_of_eth0(disabled)), "") << mode;
    EXPECT_EQ(hosts(), "") << mode;
    EXPECT_EQ(platform().log, Lines{}) << mode;
  }
}

TEST_F(EthInterfaceTest, EachPortHasItsOwnSettings) {
  const NetworkContext ctx = context_of(R"({"wired": {
    "eth0": {"enable": false},
    "eth1": {"enable": true, "network": {
      "protocol": "static", "ipv4": "192.168.2.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})");
  EXPECT_EQ(sections(ctx), "");
  EXPECT_EQ(text_written_by([&](std::FILE* file) { dnsmasq_add_eth_interface(&ctx, file, "eth1", nullptr); }),
            R"(
# DHCP server on eth1
dhcp-range=eth1,a,b,3600
dhcp-option=eth1,3,192.168.2.1
dhcp-option=eth1,1,255.255.255.0
dhcp-option=eth1,6,192.168.2.1

)");
  EXPECT_EQ(hosts(), "");
}

TEST_F(EthInterfaceTest, WithoutAStaticAddressOnlyTheRelayRemains) {
  for (const char* protocol : {R"("dhcp_client")", R"("")", R"(5)", R"(null)"}) {
    Json::Value dynamic = port();
    dynamic["network"]["protocol"] = json(R"({"text": )" + std::string(protocol) + "}")["text"];
    EXPECT_EQ(sections(context_of_eth0(dynamic)), kRelay) << protocol;
    EXPECT_EQ(hosts(), "") << protocol;
  }
}

TEST_F(EthInterfaceTest, WithoutDhcpOnlyTheRelayRemains) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  EXPECT_EQ(sections(context_of_eth0(off)), kRelay);
  EXPECT_EQ(hosts(), "");
}

TEST_F(EthInterfaceTest, AServerThatCannotBeWrittenLeavesTheRest) {
  Json::Value incomplete = port();
  incomplete["network"].removeMember("netmask");
  EXPECT_EQ(sections(context_of_eth0(incomplete)), std::string(kVlans) + kRelay);
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
}

TEST_F(EthInterfaceTest, AMemberOfTheBridgeHasOnlyItsVlansAndItsName) {
  NetworkContext ctx = context_of_eth0(port());
  bridge_eth0(ctx, true);
  EXPECT_EQ(sections(ctx), kVlans);
  EXPECT_EQ(hosts(), "192.168.1.1 qele\n");
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq: eth0 is in br-lan bridge\n",
                                   "info configured DHCP server on VLAN eth0.10",
                                   "debug dnsmasq: eth0 is in br-lan bridge\n"}));
}

TEST_F(EthInterfaceTest, AMemberOfTheBridgeWithoutDhcpHasNothing) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  NetworkContext ctx = context_of_eth0(off);
  bridge_eth0(ctx, true);
  EXPECT_EQ(sections(ctx), "");
  EXPECT_EQ(platform().log, (Lines{"debug dnsmasq: eth0 is in br-lan bridge\n"}));
}

TEST_F(EthInterfaceTest, TheListOfADisabledBridgeIsIgnored) {
  NetworkContext ctx = context_of_eth0(port());
  bridge_eth0(ctx, false);
  EXPECT_EQ(sections(ctx), std::string(kServer) + kVlans + kRelay);
}

TEST_F(EthInterfaceTest, WithoutAHostNameNoneIsPublished) {
  EXPECT_EQ(sections(context_of_eth0(port()), nullptr), std::string(kServer) + kVlans + kRelay);
  EXPECT_EQ(hosts(), "");
}

TEST_F(EthInterfaceTest, WithoutAnAddressNoNameIsPublished) {
  Json::Value nameless = port();
  nameless["network"].removeMember("ipv4");
  EXPECT_EQ(sections(context_of_eth0(nameless)), kVlans);
  EXPECT_EQ(hosts(), "");
}

TEST_F(EthInterfaceTest, AHostsFileThatCannotBeWrittenIsLoggedAndStopsNothing) {
  std::filesystem::create_directory("/var/run/hosts");
  EXPECT_EQ(sections(context_of_eth0(port())), std::string(kServer) + kVlans + kRelay);
  EXPECT_THAT(platform().log, ::testing::Contains("notice dnsmasq: error writing /var/run/hosts"));
}

// The pass-through port.

TEST_F(EthInterfaceTest, ThePassThroughPortHasItsOneSectionOnly) {
  for (const char* mode : {"pass-through", "pass-through-auto"}) {
    Json::Value passthrough = port();
    passthrough["network"]["mode"] = mode;
    const std::string text = sections(context_of_eth0(passthrough));
    EXPECT_EQ(text.substr(text.find("dhcp-range")), R"(dhcp-range=eth0,169.254.0.2,169.254.0.2,2m
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)") << mode;
    EXPECT_EQ(hosts(), "") << mode;
    EXPECT_EQ(platform().calls, Lines{}) << mode;
  }
}

TEST_F(EthInterfaceTest, TheOtherPortStaysOrdinary) {
  NetworkContext ctx = context_of_eth0(port());
  ctx.passthrough_enabled = true;
  ctx.passthrough_interface = "eth1";
  EXPECT_EQ(sections(ctx), std::string(kServer) + kVlans + kRelay);
  ctx.passthrough_enabled = false;
  ctx.passthrough_interface = "eth0";
  EXPECT_EQ(sections(ctx), std::string(kServer) + kVlans + kRelay);
}

TEST_F(EthInterfaceTest, AStaticPassThroughPortWithoutDhcpIsOrdinary) {
  connect();
  Json::Value off = port();
  off["network"]["mode"] = "pass-through";
  off["network"]["dhcp"]["enable"] = false;
  EXPECT_EQ(sections(context_of_eth0(off)), kRelay);
  EXPECT_EQ(hosts(), "");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                   "notice dnsmasq_add_eth_interface: wwan link up",
                   "notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                   "notice configured primary DHCP relay server",
                   "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"}));
}

TEST_F(EthInterfaceTest, APortWhoseGatewayIsTheSecondaryOneCanBeOrdinary) {
  connect();
  for (const char* mode : {"pass-through", "pass-through-auto"}) {
    std::filesystem::remove("/var/run/hosts");
    Json::Value disabled = port();
    disabled["network"]["mode"] = mode;
    disabled["network"]["dhcp"]["disable_dhcp_secondary"] = true;
    EXPECT_EQ(sections(context_of_eth0(disabled)), std::string(kServer) + kVlans + kRelay) << mode;
    EXPECT_EQ(hosts(), "192.168.1.1 qele\n") << mode;
  }
}

// The trace.

TEST_F(EthInterfaceTest, AnOrdinaryPortPrintsItsTraceLines) {
  NetworkContext ctx = context_of_eth0(port());
  bridge_eth0(ctx, true);
  EXPECT_EQ(printed_by([&] { sections(ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { sections(ctx); }),
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n"
            "is_eth_interface_dhcp_enabled\n"
            "interface_is_bridged\n"
            "dnsmasq_add_vlan_interfaces\n"
            "dnsmasq_write_dhcp_server\n"
            "dnsmasq_add_dns_host\n"
            "interface_is_bridged\n");
}

TEST_F(EthInterfaceTest, AnUnbridgedPortPrintsItsTraceLines) {
  Json::Value off = port();
  off["network"]["dhcp"]["enable"] = false;
  NetworkContext ctx = context_of_eth0(off);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { sections(ctx); }),
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n"
            "is_eth_interface_dhcp_enabled\n"
            "dnsmasq_add_dhcp_relay\n"
            "get_interface_network_node\n"
            "dnsmasq_write_dhcp_relay\n"
            "dnsmasq_write_dhcp_relay\n");
}

TEST_F(EthInterfaceTest, ThePassThroughPortPrintsItsTraceLines) {
  Json::Value passthrough = port();
  passthrough["network"]["mode"] = "pass-through-auto";
  NetworkContext ctx = context_of_eth0(passthrough);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { sections(ctx); }), "dnsmasq_add_eth_interface\nis_eth_interface_enabled\n");
}

}  // namespace
