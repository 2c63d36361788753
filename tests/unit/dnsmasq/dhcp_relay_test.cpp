#include "dnsmasq/dhcp_relay.h"

#include "lanfab_test.h"

namespace {

class DhcpRelayTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().resolvable = {{"10.1.1.1", "10.1.1.1"}, {"10.1.1.2", "10.1.1.2"}, {"dhcp.lan", "10.1.1.3"}};
  }
};

}  // namespace

static std::string relays(const NetworkContext& ctx, const char* ifname) {
  return text_written_by([&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_dhcp_relay(&ctx, file, ifname), -1); });
}

// The relay lines of eth0, 192.168.1.1, for this "dhcp_relay" object.
static std::string relays_of_eth0(const std::string& relay) {
  const NetworkContext ctx = context_of(
      R"({"wired": {"eth0": {"network": {"ipv4": "192.168.1.1", "dhcp": {"dhcp_relay": )" + relay + "}}}}}");
  return relays(ctx, "eth0");
}

TEST_F(DhcpRelayTest, TwoServersHaveTwoSections) {
  EXPECT_EQ(relays_of_eth0(R"({"enable": true, "relay_server1": "10.1.1.1", "relay_server2": "dhcp.lan"})"),
            R"(
# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.1

# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.3
)");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                  "notice configured primary DHCP relay server",
                  "notice dhcp relay server dhcp_relay.relay_server2 is dhcp.lan, local_ip: 192.168.1.1",
                  "notice configured secondary DHCP relay server"));
  EXPECT_THAT(platform().calls,
              ElementsAre("domain_ip_to_ip_str 10.1.1.1 15 0 0", "domain_ip_to_ip_str dhcp.lan 15 0 0"));
}

TEST_F(DhcpRelayTest, TheFirstServerAloneIsEnough) {
  EXPECT_EQ(relays_of_eth0(R"({"enable": true, "relay_server1": "10.1.1.1"})"), R"(
# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.1
)");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dhcp relay server dhcp_relay.relay_server1 is 10.1.1.1, local_ip: 192.168.1.1",
                  "notice configured primary DHCP relay server",
                  "debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server2\n"));
}

TEST_F(DhcpRelayTest, TheSecondServerDoesNotNeedTheFirst) {
  EXPECT_EQ(relays_of_eth0(R"({"enable": true, "relay_server1": "", "relay_server2": "10.1.1.2"})"), R"(
# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.2
)");
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write_dhcp_relay: could not read config path: dhcp_relay.relay_server1\n",
                  "notice dhcp relay server dhcp_relay.relay_server2 is 10.1.1.2, local_ip: 192.168.1.1",
                  "notice configured secondary DHCP relay server"));
}

TEST_F(DhcpRelayTest, AServerThatDoesNotResolveHasNoLinesButIsLogged) {
  EXPECT_EQ(
      relays_of_eth0(R"({"enable": true, "relay_server1": "nowhere.lan", "relay_server2": "10.1.1.2"})"),
      R"(
# DHCP relay on eth0
dhcp-relay=192.168.1.1,10.1.1.2
)");
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dhcp relay server dhcp_relay.relay_server1 is nowhere.lan, local_ip: 192.168.1.1",
                  "notice configured primary DHCP relay server",
                  "notice dhcp relay server dhcp_relay.relay_server2 is 10.1.1.2, local_ip: 192.168.1.1",
                  "notice configured secondary DHCP relay server"));
}

TEST_F(DhcpRelayTest, ALongestAddressFits) {
  platform().resolvable["dhcp.lan"] = "100.100.100.100";
  EXPECT_EQ(relays_of_eth0(R"({"enable": true, "relay_server1": "dhcp.lan"})"),
            "\n# DHCP relay on eth0\ndhcp-relay=192.168.1.1,100.100.100.100\n");
}

TEST_F(DhcpRelayTest, WithoutRelayOrAddressNothingIsWrittenOrLogged) {
  for (const char* network : {
           R"({"ipv4": "192.168.1.1",
               "dhcp": {"dhcp_relay": {"enable": false, "relay_server1": "10.1.1.1"}}})",
           R"({"ipv4": "192.168.1.1", "dhcp": {"dhcp_relay": {"enable": 1, "relay_server1": "10.1.1.1"}}})",
           R"({"ipv4": "192.168.1.1", "dhcp": {"dhcp_relay": {"relay_server1": "10.1.1.1"}}})",
           R"({"ipv4": "192.168.1.1", "dhcp": {"enable": true}})",
           R"({"ipv4": "192.168.1.1", "dhcp": "text"})",
           R"({"ipv4": "192.168.1.1"})",
           R"({"dhcp": {"dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}})",
           R"({"ipv4": 7, "dhcp": {"dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}})",
           R"("text")",
       }) {
    const NetworkContext ctx =
        context_of(R"({"wired": {"eth0": {"network": )" + std::string(network) + "}}}");
    EXPECT_EQ(relays(ctx, "eth0"), "") << network;
    EXPECT_THAT(platform().log, IsEmpty()) << network;
    EXPECT_THAT(platform().calls, IsEmpty()) << network;
  }
}

TEST_F(DhcpRelayTest, AnInterfaceOfAnyOtherKindHasNoRelay) {
  EXPECT_EQ(relays(context_of("{}"), "gre-tun1"), "");
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(DhcpRelayTest, AnAccessPointRelaysFromItsOwnAddress) {
  const NetworkContext ctx = context_of(R"({"wireless": {"wifi": {"wlan0": {"ap": {"network": {
    "ipv4": "192.168.3.1", "dhcp": {"dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}}}}}})");
  EXPECT_EQ(relays(ctx, "wlan0"), "\n# DHCP relay on wlan0\ndhcp-relay=192.168.3.1,10.1.1.1\n");
}

TEST_F(DhcpRelayTest, TheBridgeRelaysFromItsPrimarysAddress) {
  NetworkContext ctx = context_of(R"({"wired": {"eth1": {"network": {
    "ipv4": "192.168.2.1", "dhcp": {"dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}}}})");
  ctx.bridge_primary_interface = "eth1";
  EXPECT_EQ(relays(ctx, "br-lan"), "\n# DHCP relay on br-lan\ndhcp-relay=192.168.2.1,10.1.1.1\n");
}

// --- One server

TEST_F(DhcpRelayTest, AServerOfThreeCharactersIsTheShortest) {
  platform().resolvable["lan"] = "10.1.1.4";
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(text_written_by([&](std::FILE* file) {
              EXPECT_EQ(dnsmasq_write_dhcp_relay(&ctx, file, "eth1", json(R"({"a": {"b": "lan"}})"), "a.b",
                                                 "192.168.2.1"),
                        0);
            }),
            "\n# DHCP relay on eth1\ndhcp-relay=192.168.2.1,10.1.1.4\n");
}

TEST_F(DhcpRelayTest, AShorterServerCountsAsMissing) {
  platform().resolvable["la"] = "10.1.1.4";
  const NetworkContext ctx = context_of("{}");
  for (const char* dhcp :
       {R"({"a": {"b": "la"}})", R"({"a": {"b": ""}})", R"({"a": {"b": 167837953}})", R"({"a": {}})", "{}"}) {
    platform().log.clear();
    EXPECT_EQ(text_written_by([&](std::FILE* file) {
                EXPECT_EQ(dnsmasq_write_dhcp_relay(&ctx, file, "eth1", json(dhcp), "a.b", "192.168.2.1"), -1);
              }),
              "")
        << dhcp;
    EXPECT_THAT(platform().log, ElementsAre("debug write_dhcp_relay: could not read config path: a.b\n"))
        << dhcp;
    EXPECT_THAT(platform().calls, IsEmpty()) << dhcp;
  }
}

TEST_F(DhcpRelayTest, PrintsItsTraceLines) {
  NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {
    "ipv4": "192.168.1.1", "dhcp": {"dhcp_relay": {"enable": true}}}}}})");
  EXPECT_EQ(printed_by([&] { relays(ctx, "eth0"); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { relays(ctx, "eth0"); }),
            "dnsmasq_add_dhcp_relay\n"
            "get_interface_network_node\n"
            "dnsmasq_write_dhcp_relay\n"
            "dnsmasq_write_dhcp_relay\n");
}

// --- Reading the configuration of a relay

TEST_F(DhcpRelayTest, ARelayIsReadAsItIsWritten) {
  const Json::Value network = json(R"({"ipv4": "192.168.1.1", "dhcp": {"dhcp_relay": {"enable": true}}})");
  EXPECT_EQ(read_dhcp_relay(network).dhcp, &network["dhcp"]);
  EXPECT_TRUE(read_dhcp_relay(network).is_enabled);
  EXPECT_EQ(read_dhcp_relay(network).local_ip, "192.168.1.1");
  EXPECT_TRUE(read_dhcp_relay(network).is_written());
  const Json::Value without = json(R"({"ipv4": 5})");
  EXPECT_EQ(read_dhcp_relay(without).dhcp, nullptr);
  EXPECT_FALSE(read_dhcp_relay(without).is_enabled);
  EXPECT_EQ(read_dhcp_relay(without).local_ip, std::nullopt);
  EXPECT_FALSE(read_dhcp_relay(json(R"({"dhcp": {"dhcp_relay": {"enable": true}}})")).is_written());
  EXPECT_FALSE(read_dhcp_relay(json(R"({"ipv4": "192.168.1.1", "dhcp": {}})")).is_written());
}

TEST_F(DhcpRelayTest, AServerHasThreeCharacters) {
  const Json::Value dhcp = json(R"({"dhcp_relay": {"relay_server1": "a.b", "relay_server2": "ab"}})");
  EXPECT_EQ(read_relay_server(dhcp, kRelayServerKeys[0]), "a.b");
  EXPECT_EQ(read_relay_server(dhcp, kRelayServerKeys[1]), std::nullopt);
}
