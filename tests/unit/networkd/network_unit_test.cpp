#include "networkd/network_unit.h"

#include <filesystem>

#include "lanfab_test.h"

constexpr char kRouterIsOn[] = R"({"firewall": {"general": {"router": 1}}})";

// The beginning of every unit of eth0, up to the lines of its [Network] section.
constexpr char kEth0Head[] = R"([Match]
Name = eth0

[Link]
RequiredFamilyForOnline = ipv4

[Network]
)";

namespace {

// A configuration and its unit.
struct TextCase {
  const char* config;
  const char* text;
};

class NetworkUnitTest : public LanfabTest {};

}  // namespace

// The unit of eth0 for this "network" object.
static std::string eth0_unit(const NetworkContext& ctx, const std::string& node) {
  EXPECT_EQ(write_network_unit_file(&ctx, 20, "eth0", json(node), false, nullptr), 0);
  return unit("20-eth0.network");
}

// The unit of eth0 for each of these "network" objects, on a device that forwards.
template <std::size_t N>
static void expect_eth0_units(const TextCase (&cases)[N]) {
  const NetworkContext ctx = context_of(kRouterIsOn);
  for (const TextCase& c : cases) {
    EXPECT_EQ(eth0_unit(ctx, c.config), std::string(kEth0Head) + c.text) << c.config;
  }
}

TEST_F(NetworkUnitTest, AStaticPortWithEverythingInItsOrder) {
  const NetworkContext ctx = context_of(R"({
    "firewall": {"general": {"router": 1}},
    "static_routes": [{"enable": true, "interface": "eth0", "gateway": "10.0.0.1",
                       "ipv4": "10.20.30.40", "netmask": 16, "metric": 5}]})");
  EXPECT_EQ(eth0_unit(ctx, R"({
              "protocol": "static", "ipv4": "192.168.1.1", "netmask": 24,
              "advanced": {
                "enable_secondary_ip": true,
                "vlan": {"enable": true, "networks": [{"enable": true, "vid": 100}]}}})"),
            R"([Match]
Name = eth0

[Link]
RequiredFamilyForOnline = ipv4

[Network]
VLAN = eth0.100
Address = 192.168.1.1/24
IPForward = yes

[Route]
Destination = 192.168.1.0/24

[Address]
Address = 169.254.0.1/25

[Route]
Gateway = 10.0.0.1
GatewayOnlink = yes
Destination = 10.20.0.0/16
Metric = 5
)");
}

TEST_F(NetworkUnitTest, AnEmptyNodeEndsWithAnEmptyNetworkSection) {
  EXPECT_EQ(eth0_unit(context_of(kRouterIsOn), "{}"), R"([Match]
Name = eth0

[Link]
RequiredFamilyForOnline = ipv4

[Network]
)");
}

TEST_F(NetworkUnitTest, AnEmptyNodeIsLoggedAndRunsNoCommand) {
  eth0_unit(context_of("{}"), "{}");
  EXPECT_THAT(platform().log, ElementsAre("debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                                          "debug write_network_unit_file: eth0",
                                          "debug eth0 network interface missing ipv4 config"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(NetworkUnitTest, WithoutAnAddressTheLaterSectionsAreStillWritten) {
  const NetworkContext ctx = context_of(R"({"static_routes": [{"enable": true, "interface": "eth0"}]})");
  EXPECT_EQ(eth0_unit(ctx, R"({"gateway": "192.168.1.254", "netmask": 24, "metric": 3,
                               "advanced": {"enable_secondary_ip": true}})"),
            R"([Match]
Name = eth0

[Link]
RequiredFamilyForOnline = ipv4

[Network]

[Address]
Address = 169.254.0.1/25

[Route]
)");
}

TEST_F(NetworkUnitTest, TheOrderAndTheNameMakeTheFileAndTheMatch) {
  const NetworkContext ctx = context_of(kRouterIsOn);
  EXPECT_EQ(write_network_unit_file(&ctx, 84, "wlan1", json(R"({"ipv4": "192.168.8.1", "netmask": 24})"),
                                    false, nullptr),
            0);
  EXPECT_EQ(unit("84-wlan1.network"), R"([Match]
Name = wlan1

[Link]
RequiredFamilyForOnline = ipv4

[Network]
Address = 192.168.8.1/24
IPForward = yes

[Route]
Destination = 192.168.8.0/24
)");
}

TEST_F(NetworkUnitTest, TheBridgeTakesItsVlansFromItsPrimary) {
  const NetworkContext ctx = context_of(R"({
    "firewall": {"general": {"router": 1}},
    "wired": {
      "bridge": {"enable": true, "primary_interface": "eth1"},
      "eth1": {"network": {"advanced": {"vlan": {"enable": true, "networks": [
        {"enable": true, "vid": 10}, {"enable": true, "vid": 20}]}}}}},
    "static_routes": [{"enable": true, "interface": "br-lan", "ipv4": "10.0.0.0", "netmask": 8}]})");
  const Json::Value node = json(R"({
    "ipv4": "192.168.1.1", "netmask": 24,
    "advanced": {"enable_secondary_ip": true, "mtu_override": true, "mtu": 1400,
                 "vlan": {"enable": true, "networks": [{"enable": true, "vid": 10}]}}})");
  printed_by([&] { EXPECT_EQ(write_network_unit_file(&ctx, 79, "br-lan", node, true, "eth1"), 0); });
  EXPECT_EQ(unit("79-br-lan.network"), R"([Match]
Name = br-lan

[Link]
RequiredFamilyForOnline = ipv4
RequiredForOnline = degraded-carrier
MTUBytes = 1400


[Network]
VLAN = eth1.10
Address = 192.168.1.1/24
IPForward = yes

[Route]
Destination = 192.168.1.0/24

[Address]
Address = 169.254.0.129/25

[BridgeVLAN]
VLAN = 10

[BridgeVLAN]
VLAN = 20

[Route]
Destination = 10.0.0.0/8
)");
}

TEST_F(NetworkUnitTest, OnlyTheBridgeFiltersVlans) {
  const NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {"advanced": {
    "vlan": {"enable": true, "networks": [{"enable": true, "vid": 10}]}}}}}})");
  EXPECT_EQ(printed_by([&] { EXPECT_EQ(eth0_unit(ctx, "{}"), kEth0Head); }), "");
}

TEST_F(NetworkUnitTest, AUnitThatCannotBeOpenedFailsBeforeAnyCommand) {
  const NetworkContext ctx = context_of("{}");
  std::filesystem::remove_all("/var/run/systemd/network");
  EXPECT_EQ(write_network_unit_file(&ctx, 20, "eth0", json(R"({"ipv4": "192.168.1.1"})"), false, nullptr),
            -1);
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                  "notice error creating network unit file: /var/run/systemd/network/20-eth0.network"));
}

TEST_F(NetworkUnitTest, AStaticUnitPrintsItsTraceLines) {
  NetworkContext ctx = context_of(kRouterIsOn);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { eth0_unit(ctx, R"({"ipv4": "192.168.1.1"})"); }),
            "write_network_unit_file\n"
            "open_unit_file\n"
            "write_network_vlan_ids\n"
            "set_packet_forwarding\n"
            "is_gre_interface\n"
            "write_network_secondary_ip\n"
            "write_static_routes\n");
}

TEST_F(NetworkUnitTest, ADhcpUnitPrintsItsTraceLines) {
  NetworkContext ctx = context_of(kRouterIsOn);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { eth0_unit(ctx, R"({"protocol": "dhcp_client"})"); }),
            "write_network_unit_file\n"
            "open_unit_file\n"
            "write_network_vlan_ids\n"
            "is_gre_interface\n"
            "write_network_secondary_ip\n"
            "write_static_routes\n");
}

TEST_F(NetworkUnitTest, TheBridgesUnitPrintsItsTraceLines) {
  NetworkContext ctx = context_of(R"({"static_routes": [
    {"enable": true, "interface": "br-lan", "gateway": "10.0.0.1"}]})");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { write_network_unit_file(&ctx, 79, "br-lan", json("{}"), true, "eth0"); }),
            "write_network_unit_file\n"
            "open_unit_file\n"
            "write_network_vlan_ids\n"
            "write_network_secondary_ip\n"
            "write_bridge_network_vlan_ids\n"
            "write_static_routes\n"
            "is_valid_gateway\n");
}

// --- The [Link] section's MTU

TEST_F(NetworkUnitTest, AnMtuIsWrittenWhenItOverridesTheDefault) {
  struct Case {
    const char* advanced;
    const char* lines;
    bool logged;
  };
  for (const Case& c : {
           Case{R"({"mtu_override": true, "mtu": 1400})", "MTUBytes = 1400\n\n", true},
           Case{R"({"mtu_override": true, "mtu": 9000})", "MTUBytes = 9000\n\n", true},
           Case{R"({"mtu_override": true, "mtu": 1})", "MTUBytes = 1\n\n", true},
           Case{R"({"mtu_override": true, "mtu": 1500})", "", true},
           Case{R"({"mtu_override": true, "mtu": 0})", "", true},
           Case{R"({"mtu_override": true, "mtu": -1})", "", true},
           Case{R"({"mtu_override": true, "mtu": "1400"})", "", false},
           Case{R"({"mtu_override": true})", "", false},
           Case{R"({"mtu_override": false, "mtu": 1400})", "", false},
           Case{R"({"mtu_override": "true", "mtu": 1400})", "", false},
           Case{R"({"mtu_override": 1, "mtu": 1400})", "", false},
           Case{R"({"mtu": 1400})", "", false},
       }) {
    SCOPED_TRACE(c.advanced);
    const std::string text = eth0_unit(context_of("{}"), R"({"advanced": )" + std::string(c.advanced) + "}");
    EXPECT_EQ(text, std::string("[Match]\nName = eth0\n\n[Link]\nRequiredFamilyForOnline = ipv4\n") +
                        c.lines + "\n[Network]\n");
    Lines log{"debug write unit file:/var/run/systemd/network/20-eth0.network\n",
              "debug write_network_unit_file: eth0"};
    if (c.logged) log.emplace_back("debug write link mtu for interface eth0");
    log.emplace_back("debug eth0 network interface missing ipv4 config");
    EXPECT_EQ(platform().log, log);
  }
}

// --- The DHCP client

constexpr TextCase kDhcpClients[] = {
    {R"({"protocol": "dhcp_client"})", R"(DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
)"},
    {R"({"protocol": "dhcp_client", "metric": 0})", R"(DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
)"},
    {R"({"protocol": "dhcp_client", "metric": -5})", R"(DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
)"},
    {R"({"protocol": "dhcp_client", "metric": 100})", R"(DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
RouteMetric = 100

)"},
    {R"({"protocol": "dhcp_client", "metric": 1, "ipv4": "192.168.1.1", "netmask": 24,
         "gateway": "192.168.1.254", "advanced": {"enable_secondary_ip": true}})",
     R"(DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
RouteMetric = 1


[Address]
Address = 169.254.0.1/25
)"},
};

TEST_F(NetworkUnitTest, ADhcpClientTakesTheGatewayOfItsLease) {
  expect_eth0_units(kDhcpClients);
}

TEST_F(NetworkUnitTest, ADhcpClientIsLoggedAndLeavesForwardingAlone) {
  eth0_unit(context_of("{}"), R"({"protocol": "dhcp_client"})");
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                          "debug write_network_unit_file: eth0", "debug interface eth0 using dhcp"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

// --- The static address and the interface's own route

constexpr TextCase kStaticAddresses[] = {
    {R"({"ipv4": "192.168.1.1", "netmask": 24})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.0/24\n"},
    {R"({"ipv4": "192.168.1.200", "netmask": 25})",
     "Address = 192.168.1.200/25\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.128/25\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 1})",
     "Address = 192.168.1.1/1\nIPForward = yes\n\n[Route]\nDestination = 128.0.0.0/1\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 32})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.1/32\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 0})", "Address = 192.168.1.1/0\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": -1})", "Address = 192.168.1.1/-1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 33})",
     "Address = 192.168.1.1/33\nIPForward = yes\n\n[Route]\nDestination = \n"},
    {R"({"ipv4": "192.168.1.1"})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": "24"})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": "255.255.255.0"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "", "netmask": 24})", "Address = /24\nIPForward = yes\n\n[Route]\nDestination = \n"},
    {R"({"ipv4": 5, "netmask": 24})", ""},
};

TEST_F(NetworkUnitTest, AStaticAddressCarriesItsPrefixExcept32) {
  expect_eth0_units(kStaticAddresses);
}

constexpr TextCase kOwnRoutes[] = {
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "192.168.1.254"})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nGateway = 192.168.1.254\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "0.0.0.0"})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nGateway = 0.0.0.0\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "x"})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nGateway = x\n"},
    {R"({"ipv4": "192.168.1.1", "gateway": "192.168.1.254"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\nGateway = 192.168.1.254\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": ""})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.0/24\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": 7})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.0/24\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "metric": 7})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nDestination = 192.168.1.0/24\nMetric = 7\n"},
    {R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "192.168.1.254", "metric": 1})",
     "Address = 192.168.1.1/24\nIPForward = yes\n\n[Route]\nGateway = 192.168.1.254\nMetric = 1\n"},
    {R"({"ipv4": "192.168.1.1", "metric": 7})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\nMetric = 7\n"},
    {R"({"ipv4": "192.168.1.1", "metric": 0})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "metric": -7})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"ipv4": "192.168.1.1", "metric": "7"})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
};

TEST_F(NetworkUnitTest, TheOwnRouteHasAGatewayOrElseADestination) {
  expect_eth0_units(kOwnRoutes);
}

constexpr TextCase kProtocols[] = {
    {R"({"protocol": "static", "ipv4": "192.168.1.1"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"protocol": "DHCP_CLIENT", "ipv4": "192.168.1.1"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"protocol": "dhcp_client ", "ipv4": "192.168.1.1"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"protocol": "", "ipv4": "192.168.1.1"})", "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
    {R"({"protocol": ["dhcp_client"], "ipv4": "192.168.1.1"})",
     "Address = 192.168.1.1\nIPForward = yes\n\n[Route]\n"},
};

TEST_F(NetworkUnitTest, AnyProtocolButTheDhcpClientIsStatic) {
  expect_eth0_units(kProtocols);
}

TEST_F(NetworkUnitTest, AStaticAddressIsLoggedAndItsOwnGatewayIsNotJudged) {
  eth0_unit(context_of(kRouterIsOn), R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "0.0.0.0"})");
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                          "debug write_network_unit_file: eth0", "debug eth0 ipv4 config is 192.168.1.1"));
}

TEST_F(NetworkUnitTest, ADeviceThatDoesNotRouteStopsForwardingWhileItWrites) {
  EXPECT_EQ(eth0_unit(context_of("{}"), R"({"ipv4": "192.168.1.1", "netmask": 24})"),
            std::string(kEth0Head) + "Address = 192.168.1.1/24\n\n[Route]\nDestination = 192.168.1.0/24\n");
  EXPECT_EQ(platform().calls.size(), 4U);
}

// --- The VLANs on a link

constexpr TextCase kVlanIds[] = {
    {R"({"advanced": {"vlan": {"enable": true, "networks": [
         {"enable": true, "vid": 100}, {"enable": false, "vid": 200}, {"enable": true, "vid": 3}]}}})",
     "VLAN = eth0.100\nVLAN = eth0.3\n"},
    {R"({"advanced": {"vlan": {"enable": true, "networks": [
         {"vid": 1}, {"enable": "true", "vid": 2}, {"enable": true}, {"enable": true, "vid": "4"}, 5, null,
         "6", [], {"enable": true, "vid": 7}]}}})",
     "VLAN = eth0.7\n"},
    {R"({"advanced": {"vlan": {"enable": true, "networks": []}}})", ""},
    {R"({"advanced": {"vlan": {"enable": true, "networks": {"enable": true, "vid": 1}}}})", ""},
    {R"({"advanced": {"vlan": {"enable": true}}})", ""},
    {R"({"advanced": {"vlan": {"enable": false, "networks": [{"enable": true, "vid": 1}]}}})", ""},
    {R"({"advanced": {"vlan": {"enable": 1, "networks": [{"enable": true, "vid": 1}]}}})", ""},
    {R"({"advanced": {"vlan": {"networks": [{"enable": true, "vid": 1}]}}})", ""},
    {R"({"advanced": {"vlan": [{"enable": true, "vid": 1}]}})", ""},
    {R"({"advanced": {}})", ""},
    {R"({})", ""},
};

TEST_F(NetworkUnitTest, AVlanLineForEachEnabledVlanOfAnEnabledList) {
  const NetworkContext ctx = context_of("{}");
  for (const TextCase& c : kVlanIds) {
    const std::string text = text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(write_network_vlan_ids(&ctx, file, "eth0", json(c.config)), 0); });
    EXPECT_EQ(text, c.text) << c.config;
  }
}

// --- Forwarding

TEST_F(NetworkUnitTest, ARoutingDeviceForwardsOnTheInterface) {
  for (const char* router : {"1", "2", "-1"}) {
    const NetworkContext ctx =
        context_of(R"({"firewall": {"general": {"router": )" + std::string(router) + "}}}");
    const std::string text =
        text_written_by([&](std::FILE* file) { EXPECT_EQ(set_packet_forwarding(&ctx, file, "eth0"), 0); });
    EXPECT_TRUE(is_router(&ctx)) << router;
    EXPECT_EQ(text, "IPForward = yes\n") << router;
    EXPECT_THAT(platform().calls, IsEmpty()) << router;
  }
}

TEST_F(NetworkUnitTest, AnyOtherDeviceStopsForwardingAtOnce) {
  for (const char* config :
       {R"({"firewall": {"general": {"router": 0}}})", R"({"firewall": {"general": {"router": true}}})",
        R"({"firewall": {"general": {"router": "1"}}})", R"({"firewall": {"general": {}}})", "{}"}) {
    const NetworkContext ctx = context_of(config);
    const std::string text = text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(set_packet_forwarding(&ctx, file, "eth0.100"), 0); });
    EXPECT_FALSE(is_router(&ctx)) << config;
    EXPECT_EQ(text, "") << config;
    EXPECT_THAT(platform().calls, ElementsAre("echo 0 > /proc/sys/net/ipv4/conf/eth0.100/forwarding",
                                              "echo 0 > /proc/sys/net/ipv6/conf/eth0.100/forwarding",
                                              "echo 0 > /proc/sys/net/ipv4/ip_forward",
                                              "echo 0 > /proc/sys/net/ipv6/ip_forward"))
        << config;
    EXPECT_THAT(platform().log, IsEmpty()) << config;
  }
}

// --- The secondary address

static std::string secondary_ip_of(const NetworkContext& ctx, const char* ifname, const char* node,
                                   int result) {
  return text_written_by([&](std::FILE* file) {
    EXPECT_EQ(write_network_secondary_ip(&ctx, file, ifname, json(node)), result);
  });
}

TEST_F(NetworkUnitTest, EachPortAndABridgeOnItHasItsSecondaryAddress) {
  struct Case {
    const char* ifname;
    const char* bridge_primary;
    const char* text;
  };
  NetworkContext ctx = context_of("{}");
  for (const Case& c : {
           Case{"eth0", "", "\n[Address]\nAddress = 169.254.0.1/25\n"},
           Case{"eth1", "", "\n[Address]\nAddress = 169.254.0.129/25\n"},
           Case{"eth0", "eth1", "\n[Address]\nAddress = 169.254.0.1/25\n"},
           Case{"br-lan", "eth0", "\n[Address]\nAddress = 169.254.0.1/25\n"},
           Case{"br-lan", "eth1", "\n[Address]\nAddress = 169.254.0.129/25\n"},
           Case{"br-lan", "wlan0", ""},
           Case{"br-lan", "eth0.100", ""},
           Case{"br-lan", "", ""},
       }) {
    ctx.bridge_primary_interface = c.bridge_primary;
    EXPECT_EQ(secondary_ip_of(ctx, c.ifname, R"({"advanced": {"enable_secondary_ip": true}})", 0), c.text)
        << c.ifname << " " << c.bridge_primary;
    EXPECT_THAT(platform().log, IsEmpty());
  }
}

TEST_F(NetworkUnitTest, AnyOtherInterfaceHasNoSecondaryAddress) {
  const NetworkContext ctx = context_of(R"({"wired": {"bridge": {"primary_interface": "eth0"}}})");
  for (const char* ifname : {"wlan0", "eth0.100", "eth2", "wwan0"}) {
    platform().log.clear();
    EXPECT_EQ(secondary_ip_of(ctx, ifname, R"({"advanced": {"enable_secondary_ip": true}})", -1), "");
    EXPECT_THAT(platform().log, ElementsAre(std::string("notice no secondary IP for interface ") + ifname));
  }
}

TEST_F(NetworkUnitTest, NoSecondaryAddressUnlessItIsAskedFor) {
  const NetworkContext ctx = context_of("{}");
  for (const char* node :
       {R"({"advanced": {"enable_secondary_ip": false}})", R"({"advanced": {"enable_secondary_ip": 1}})",
        R"({"advanced": {"enable_secondary_ip": "true"}})", R"({"enable_secondary_ip": true})", "{}"}) {
    EXPECT_EQ(secondary_ip_of(ctx, "eth0", node, 0), "") << node;
    EXPECT_EQ(secondary_ip_of(ctx, "wlan0", node, 0), "") << node;
    EXPECT_THAT(platform().log, IsEmpty()) << node;
  }
}

TEST_F(NetworkUnitTest, AWifiInterfaceIsWrittenWithoutASecondaryAddress) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(write_network_unit_file(&ctx, 80, "wlan0", json(R"({"protocol": "dhcp_client",
                                             "advanced": {"enable_secondary_ip": true}})"),
                                    false, nullptr),
            0);
  EXPECT_EQ(unit("80-wlan0.network"), R"([Match]
Name = wlan0

[Link]
RequiredFamilyForOnline = ipv4

[Network]
DHCP = ipv4

[Route]
Gateway = _dhcp

[DHCPv4]
)");
  EXPECT_EQ(platform().log.back(), "notice no secondary IP for interface wlan0");
}

// --- The VLAN filter of the bridge

TEST_F(NetworkUnitTest, TheBridgeFiltersEachEnabledVlanOfThePortAndPrintsIt) {
  struct Case {
    const char* vlan;
    const char* text;
    const char* printed;
  };
  for (const Case& c : {
           Case{R"({"enable": true, "networks": [{"enable": true, "vid": 100}, {"enable": false, "vid": 200},
                                      {"enable": true, "vid": 3}]})",
                "\n[BridgeVLAN]\nVLAN = 100\n\n[BridgeVLAN]\nVLAN = 3\n",
                "[BridgeVLAN]\nVLAN = 100\n[BridgeVLAN]\nVLAN = 3\n"},
           Case{
               R"({"enable": true, "networks": [
                   {"vid": 1}, {"enable": true}, {"enable": true, "vid": "4"}, 5]})",
               "", ""},
           Case{R"({"enable": true, "networks": {"enable": true, "vid": 1}})", "", ""},
           Case{R"({"enable": true})", "", ""},
           Case{R"({"enable": false, "networks": [{"enable": true, "vid": 1}]})", "", ""},
           Case{R"({"networks": [{"enable": true, "vid": 1}]})", "", ""},
           Case{R"("enabled")", "", ""},
       }) {
    const NetworkContext ctx = context_of(R"({"wired": {"eth1": {"network": {"advanced": {"vlan": )" +
                                          std::string(c.vlan) + "}}}}}");
    std::string text;
    const std::string printed = printed_by([&] {
      text = text_written_by(
          [&](std::FILE* file) { EXPECT_EQ(write_bridge_network_vlan_ids(&ctx, file, "eth1"), 0); });
    });
    EXPECT_EQ(text, c.text) << c.vlan;
    EXPECT_EQ(printed, c.printed) << c.vlan;
  }
}

TEST_F(NetworkUnitTest, TheBridgeHasNoVlansOfAnotherPort) {
  const NetworkContext ctx = context_of(R"({"wired": {"eth1": {"network": {"advanced": {
    "vlan": {"enable": true, "networks": [{"enable": true, "vid": 1}]}}}}}})");
  EXPECT_EQ(text_written_by(
                [&](std::FILE* file) { EXPECT_EQ(write_bridge_network_vlan_ids(&ctx, file, "eth0"), 0); }),
            "");
}

// --- Static routes

// Each case is an entry of "static_routes" and its section.
constexpr TextCase kStaticRoutes[] = {
    {R"({"enable": true, "interface": "eth0", "gateway": "10.0.0.1", "ipv4": "10.20.30.40", "netmask": 24,
         "metric": 5})",
     "\n[Route]\nGateway = 10.0.0.1\nGatewayOnlink = yes\nDestination = 10.20.30.0/24\nMetric = 5\n"},
    {R"({"enable": true, "interface": "eth0"})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "gateway": "10.0.0.1"})",
     "\n[Route]\nGateway = 10.0.0.1\nGatewayOnlink = yes\n"},
    {R"({"enable": true, "interface": "eth0", "gateway": "0.0.0.0"})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "gateway": "1.1.11"})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "gateway": 16843009})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "ipv4": "10.20.30.40", "netmask": 0})",
     "\n[Route]\nDestination = 0.0.0.0/0\n"},
    {R"({"enable": true, "interface": "eth0", "ipv4": "10.20.30.40", "netmask": 32})",
     "\n[Route]\nDestination = 10.20.30.40/32\n"},
    {R"({"enable": true, "interface": "eth0", "ipv4": "10.20.30.40", "netmask": 33})",
     "\n[Route]\nDestination = \n"},
    {R"({"enable": true, "interface": "eth0", "ipv4": "10.20.30.40"})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "ipv4": "10.20.30.40", "netmask": "24"})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "netmask": 24})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "metric": 1})", "\n[Route]\nMetric = 1\n"},
    {R"({"enable": true, "interface": "eth0", "metric": 0})", "\n[Route]\n"},
    {R"({"enable": true, "interface": "eth0", "metric": -1})", "\n[Route]\n"},
    {R"({"enable": false, "interface": "eth0", "metric": 1})", ""},
    {R"({"enable": "true", "interface": "eth0", "metric": 1})", ""},
    {R"({"interface": "eth0", "metric": 1})", ""},
    {R"({"enable": true, "interface": "eth1", "metric": 1})", ""},
    {R"({"enable": true, "interface": "eth0.100", "metric": 1})", ""},
    {R"({"enable": true, "interface": "eth", "metric": 1})", ""},
    {R"({"enable": true, "interface": ["eth0"], "metric": 1})", ""},
    {R"({"enable": true, "metric": 1})", ""},
    {R"("eth0")", ""},
    {R"(null)", ""},
};

static std::string routes_of_eth0(const NetworkContext& ctx) {
  return text_written_by([&](std::FILE* file) { EXPECT_EQ(write_static_routes(&ctx, file, "eth0"), 0); });
}

TEST_F(NetworkUnitTest, AStaticRouteOfTheInterfaceGivesASectionEvenAnEmptyOne) {
  for (const TextCase& c : kStaticRoutes) {
    const NetworkContext ctx = context_of(R"({"static_routes": [)" + std::string(c.config) + "]}");
    EXPECT_EQ(routes_of_eth0(ctx), c.text) << c.config;
  }
}

TEST_F(NetworkUnitTest, TheStaticRoutesStandInTheirOrder) {
  const NetworkContext ctx = context_of(R"({"static_routes": [
    {"enable": true, "interface": "eth0", "metric": 3}, {"enable": true, "interface": "eth1", "metric": 1},
    {"enable": true, "interface": "eth0", "metric": 2}]})");
  EXPECT_EQ(routes_of_eth0(ctx), "\n[Route]\nMetric = 3\n\n[Route]\nMetric = 2\n");
}

TEST_F(NetworkUnitTest, WithoutAListThereAreNoStaticRoutes) {
  for (const char* config :
       {"{}", R"({"static_routes": []})", R"({"static_routes": {"enable": true, "interface": "eth0"}})",
        R"({"static_routes": "eth0"})", R"({"static_routes": null})"}) {
    EXPECT_EQ(routes_of_eth0(context_of(config)), "") << config;
  }
}

TEST_F(NetworkUnitTest, ANullGatewayOfARouteIsLoggedUnderTheInterface) {
  routes_of_eth0(context_of(R"({"static_routes": [
    {"enable": true, "interface": "eth0", "gateway": "0.0.0.0"},
    {"enable": true, "interface": "eth1", "gateway": "0.0.0.0"},
    {"enable": true, "interface": "eth0", "gateway": ""}]})"));
  EXPECT_THAT(platform().log, ElementsAre("notice eth0: invalid Gateway IP 0.0.0.0"));
}

TEST_F(NetworkUnitTest, AGatewayIsValidByItsLengthUnlessItIsNull) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_TRUE(is_valid_gateway(&ctx, "eth0", "1.1.1.1"));
  EXPECT_TRUE(is_valid_gateway(&ctx, "eth0", "192.168.100.254"));
  EXPECT_TRUE(is_valid_gateway(&ctx, "eth0", "gateway"));
  EXPECT_TRUE(is_valid_gateway(&ctx, "eth0", "0.0.0.01"));
  EXPECT_FALSE(is_valid_gateway(&ctx, "eth0", "1.1.11"));
  EXPECT_FALSE(is_valid_gateway(&ctx, "eth0", ""));
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_FALSE(is_valid_gateway(&ctx, "label", "0.0.0.0"));
  EXPECT_THAT(platform().log, ElementsAre("notice label: invalid Gateway IP 0.0.0.0"));
}

TEST_F(NetworkUnitTest, NothingIsTracedByDefault) {
  const NetworkContext ctx = context_of(R"({"static_routes": [
    {"enable": true, "interface": "eth0", "gateway": "10.0.0.1"}]})");
  EXPECT_EQ(printed_by([&] { eth0_unit(ctx, R"({"ipv4": "192.168.1.1"})"); }), "");
}

// --- Decisions without output

TEST_F(NetworkUnitTest, TheUsualMtuAndOneBelowOneAreNotWritten) {
  const auto unit_with = [](const char* advanced) {
    return read_network_unit(json(R"({"advanced": )" + std::string(advanced) + "}"));
  };
  EXPECT_EQ(unit_with(R"({"mtu": 1400})").mtu, std::nullopt);
  EXPECT_FALSE(unit_with(R"({"mtu": 1400})").has_mtu());
  EXPECT_FALSE(unit_with(R"({"mtu_override": true})").has_mtu());
  EXPECT_TRUE(unit_with(R"({"mtu_override": true, "mtu": 1400})").has_mtu());
  EXPECT_TRUE(unit_with(R"({"mtu_override": true, "mtu": 1})").has_mtu());
  EXPECT_FALSE(unit_with(R"({"mtu_override": true, "mtu": 0})").has_mtu());
  EXPECT_FALSE(unit_with(R"({"mtu_override": true, "mtu": 1500})").has_mtu());
  EXPECT_EQ(unit_with(R"({"mtu_override": true, "mtu": 1500})").mtu, 1500);
}

TEST_F(NetworkUnitTest, AGatewayNeedsAStaticAddress) {
  const Json::Value full =
      json(R"({"ipv4": "192.168.1.1", "netmask": 24, "gateway": "192.168.1.2", "metric": 5})");
  const NetworkUnit unit = read_network_unit(full);
  EXPECT_EQ(unit.ipv4, "192.168.1.1");
  EXPECT_TRUE(unit.has_prefix());
  EXPECT_EQ(unit.default_gateway(), "192.168.1.2");
  EXPECT_EQ(unit.metric, 5);
  const Json::Value bare = json(R"({"netmask": 32, "gateway": "192.168.1.2", "metric": 0})");
  EXPECT_FALSE(read_network_unit(bare).has_prefix());
  EXPECT_EQ(read_network_unit(bare).gateway, "192.168.1.2");
  EXPECT_EQ(read_network_unit(bare).default_gateway(), std::nullopt);
  EXPECT_EQ(read_network_unit(bare).metric, std::nullopt);
  const Json::Value empty = json(R"({"ipv4": "192.168.1.1", "gateway": ""})");
  EXPECT_EQ(read_network_unit(empty).default_gateway(), std::nullopt);
  const Json::Value client = json(R"({"protocol": "dhcp_client", "ipv4": "a", "gateway": "b"})");
  EXPECT_TRUE(read_network_unit(client).is_dhcp_client);
  EXPECT_EQ(read_network_unit(client).default_gateway(), std::nullopt);
}

TEST_F(NetworkUnitTest, ASecondaryAddressIsWantedAndThere) {
  NetworkContext ctx = context_of("{}");
  ctx.bridge_primary_interface = "eth1";
  const Json::Value wish = json(R"({"advanced": {"enable_secondary_ip": true}})");
  EXPECT_TRUE(read_secondary_address(&ctx, "eth0", wish).is_wanted);
  EXPECT_FALSE(read_secondary_address(&ctx, "eth0", json("{}")).is_wanted);
  EXPECT_STREQ(read_secondary_address(&ctx, "eth0", wish).pair->gateway, "169.254.0.1");
  EXPECT_STREQ(read_secondary_address(&ctx, "br-lan", wish).pair->gateway, "169.254.0.129");
  EXPECT_EQ(read_secondary_address(&ctx, "wlan0", wish).pair, nullptr);
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(NetworkUnitTest, AStaticRouteIsReadAsItIsWritten) {
  const Json::Value full = json(R"({"gateway": "10.0.0.1", "ipv4": "10.1.0.0", "netmask": 16, "metric": 7})");
  const RouteSettings route = read_route_settings(full);
  EXPECT_TRUE(route.has_gateway);
  EXPECT_EQ(route.gateway, "10.0.0.1");
  EXPECT_TRUE(route.has_destination());
  EXPECT_EQ(route.ipv4, "10.1.0.0");
  EXPECT_EQ(route.prefix, 16);
  EXPECT_EQ(route.metric, 7);
  for (const char* gateway : {R"("")", R"("1.2.3")", R"("0.0.0.0")", "5"}) {
    const Json::Value direct = json(R"({"ipv4": "10.1.0.0", "gateway": )" + std::string(gateway) + "}");
    EXPECT_FALSE(read_route_settings(direct).has_gateway) << gateway;
    EXPECT_FALSE(read_route_settings(direct).has_destination()) << gateway;
  }
  EXPECT_THAT(platform().log, IsEmpty());
}
