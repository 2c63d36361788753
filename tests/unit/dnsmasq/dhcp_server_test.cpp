#include "dnsmasq/dhcp_server.h"

#include "lanfab_test.h"

namespace {

// A "dhcp" object or a list, and the section that it gives.
struct SectionCase {
  const char* config;
  const char* text;
};

class DhcpServerTest : public LanfabTest {
 protected:
  // The section of `ifname`, written with this result.
  static std::string added(const NetworkContext& ctx, const char* ifname, int result) {
    return text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_dhcp_server(&ctx, file, ifname), result) << ifname; });
  }

  // The section of eth0, 192.168.1.1/24, for this "dhcp" object.
  static std::string written(const std::string& dhcp, int result) {
    const NetworkContext ctx = context_of("{}");
    return text_written_by([&](std::FILE* file) {
      EXPECT_EQ(dnsmasq_write_dhcp_server(&ctx, file, "eth0", "192.168.1.1", 24, json(dhcp)), result) << dhcp;
    });
  }

  static std::string vlans_of_eth0(const std::string& vlan) {
    const NetworkContext ctx =
        context_of(R"({"wired": {"eth0": {"network": {"advanced": {"vlan": )" + vlan + "}}}}}");
    return text_written_by(
        [&](std::FILE* file) { EXPECT_EQ(dnsmasq_add_vlan_interfaces(&ctx, file, "eth0"), 0) << vlan; });
  }
};

constexpr char kEth0Section[] = R"(
# DHCP server on eth0
dhcp-range=eth0,192.168.1.100,192.168.1.200,3600
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)";

// The server of one interface.

TEST_F(DhcpServerTest, APortIsServedFromItsNetworkObject) {
  const NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {
    "ipv4": "192.168.1.1", "netmask": 24,
    "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.200"}}}}})");
  EXPECT_EQ(added(ctx, "eth0", 0), kEth0Section);
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq_add_dhcp_server: eth0",
                                   "info dnsmasq: configured dhcp server for interface eth0"}));
}

TEST_F(DhcpServerTest, AnAccessPointIsServedFromItsNetworkObject) {
  const NetworkContext ctx = context_of(R"({"wireless": {"wifi": {"wlan1": {"ap": {"network": {
    "ipv4": "192.168.4.1", "netmask": 25,
    "dhcp": {"enable": true, "start": "192.168.4.10", "end": "192.168.4.20", "leasetime": "12h"}}}}}}})");
  EXPECT_EQ(added(ctx, "wlan1", 0), R"(
# DHCP server on wlan1
dhcp-range=wlan1,192.168.4.10,192.168.4.20,12h
dhcp-option=wlan1,3,192.168.4.1
dhcp-option=wlan1,1,255.255.255.128
dhcp-option=wlan1,6,192.168.4.1

)");
}

TEST_F(DhcpServerTest, TheBridgeIsServedFromItsPrimary) {
  NetworkContext ctx = context_of(R"({
    "wired": {"eth0": {"network": {
      "ipv4": "192.168.1.1", "netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}}},
    "wireless": {"wifi": {"wlan0": {"ap": {"network": {
      "ipv4": "192.168.3.1", "netmask": 16, "dhcp": {"enable": true, "start": "c", "end": "d"}}}}}}})");
  ctx.bridge_primary_interface = "eth0";
  EXPECT_EQ(added(ctx, "br-lan", 0), R"(
# DHCP server on br-lan
dhcp-range=br-lan,a,b,3600
dhcp-option=br-lan,3,192.168.1.1
dhcp-option=br-lan,1,255.255.255.0
dhcp-option=br-lan,6,192.168.1.1

)");
  ctx.bridge_primary_interface = "wlan0";
  EXPECT_EQ(added(ctx, "br-lan", 0), R"(
# DHCP server on br-lan
dhcp-range=br-lan,c,d,3600
dhcp-option=br-lan,3,192.168.3.1
dhcp-option=br-lan,1,255.255.0.0
dhcp-option=br-lan,6,192.168.3.1

)");
}

TEST_F(DhcpServerTest, AnInterfaceOfAnyOtherKindIsNotServed) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(added(ctx, "gre-tun1", -1), "");
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq_add_dhcp_server: gre-tun1"}));
}

TEST_F(DhcpServerTest, AnIncompleteInterfaceIsNotServed) {
  for (const char* config : {
           "{}",
           R"({"wired": {"eth0": {"network": "text"}}})",
           R"({"wired": {"eth0": {"network": {
               "netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})",
           R"({"wired": {"eth0": {"network": {
               "ipv4": 5, "netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})",
           R"({"wired": {"eth0": {"network": {
               "ipv4": "192.168.1.1", "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})",
           R"({"wired": {"eth0": {"network": {
               "ipv4": "192.168.1.1", "netmask": "24", "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})",
           R"({"wired": {"eth0": {"network": {"ipv4": "192.168.1.1", "netmask": 24}}}})",
           R"({"wired": {"eth0": {"network": {"ipv4": "192.168.1.1", "netmask": 24, "dhcp": true}}}})",
           R"({"wired": {"eth0": {"network": {
               "ipv4": "192.168.1.1", "netmask": 24, "dhcp": {"start": "a", "end": "b"}}}}})",
       }) {
    const NetworkContext ctx = context_of(config);
    EXPECT_EQ(added(ctx, "eth0", -1), "") << config;
    EXPECT_EQ(platform().log, (Lines{"notice dnsmasq_add_dhcp_server: eth0"})) << config;
  }
}

TEST_F(DhcpServerTest, AddingPrintsItsTraceLines) {
  NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {
    "ipv4": "192.168.1.1", "netmask": 24, "dhcp": {}}}}})");
  EXPECT_EQ(printed_by([&] { added(ctx, "eth0", -1); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { added(ctx, "eth0", -1); }),
            "dnsmasq_add_dhcp_server\n"
            "get_interface_network_node\n"
            "dnsmasq_write_dhcp_server\n");
}

// The section.

TEST_F(DhcpServerTest, AServerThatIsOffIsSilent) {
  for (const char* dhcp :
       {R"({"enable": false, "start": "a", "end": "b"})", R"({"enable": "true", "start": "a", "end": "b"})",
        R"({"enable": 1, "start": "a", "end": "b"})", R"({"start": "a", "end": "b"})", "{}",
        R"({"enable": false})"}) {
    EXPECT_EQ(written(dhcp, -1), "");
    EXPECT_EQ(platform().log, Lines{}) << dhcp;
  }
}

TEST_F(DhcpServerTest, AServerNeedsBothEndsOfItsRange) {
  for (const char* dhcp :
       {R"({"enable": true, "start": "192.168.1.100"})", R"({"enable": true, "end": "192.168.1.200"})",
        R"({"enable": true})", R"({"enable": true, "start": 100, "end": "192.168.1.200"})"}) {
    EXPECT_EQ(written(dhcp, -1), "");
    EXPECT_EQ(platform().log, (Lines{"notice dhcp server config for eth0 contains undefined IP addresses"}))
        << dhcp;
  }
}

TEST_F(DhcpServerTest, TheEndsOfTheRangeAreNotChecked) {
  EXPECT_EQ(written(R"({"enable": true, "start": "", "end": "any text"})", 0), R"(
# DHCP server on eth0
dhcp-range=eth0,,any text,3600
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)");
  EXPECT_EQ(platform().log, Lines{});
}

// A lease time as it is configured, and as it is written.
constexpr SectionCase kLeasetimes[] = {
    {R"("12h")", "12h"}, {R"("600")", "600"}, {R"("infinite")", "infinite"},
    {R"("")", ""},       {"600", "3600"},     {"null", "3600"},
};

TEST_F(DhcpServerTest, TheLeaseTimeIsWrittenUnchanged) {
  for (const SectionCase& c : kLeasetimes) {
    EXPECT_EQ(
        written(R"({"enable": true, "start": "a", "end": "b", "leasetime": )" + std::string(c.config) + "}",
                0),
        "\n# DHCP server on eth0\ndhcp-range=eth0,a,b," + std::string(c.text) +
            "\ndhcp-option=eth0,3,192.168.1.1\ndhcp-option=eth0,1,255.255.255.0\n"
            "dhcp-option=eth0,6,192.168.1.1\n\n");
  }
}

struct PrefixCase {
  int prefix;
  const char* netmask;
};

constexpr PrefixCase kPrefixCases[] = {
    {24, "255.255.255.0"},   {0, "0.0.0.0"}, {8, "255.0.0.0"}, {30, "255.255.255.252"},
    {32, "255.255.255.255"}, {33, ""},       {-1, ""},
};

TEST_F(DhcpServerTest, ThePrefixIsWrittenAsANetmask) {
  const NetworkContext ctx = context_of("{}");
  const Json::Value dhcp = json(R"({"enable": true, "start": "a", "end": "b"})");
  for (const PrefixCase& c : kPrefixCases) {
    const std::string text = text_written_by([&](std::FILE* file) {
      EXPECT_EQ(dnsmasq_write_dhcp_server(&ctx, file, "wlan0", "192.168.1.1", c.prefix, dhcp), 0);
    });
    EXPECT_EQ(text,
              "\n# DHCP server on wlan0\ndhcp-range=wlan0,a,b,3600\ndhcp-option=wlan0,3,192.168.1.1\n"
              "dhcp-option=wlan0,1," +
                  std::string(c.netmask) + "\ndhcp-option=wlan0,6,192.168.1.1\n\n");
  }
}

// Fixed leases.

constexpr SectionCase kFixedLeases[] = {
    {R"({"enable": true, "devices": [
         {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"},
         {"enable": false, "mac": "02:00:5e:00:00:02", "ipv4": "192.168.1.12"},
         {"enable": true, "mac": "02:00:5e:00:00:03", "ipv4": "192.168.1.13"}]})",
     "dhcp-host=02:00:5e:00:00:01,192.168.1.11\ndhcp-host=02:00:5e:00:00:03,192.168.1.13\n"},
    {R"({"enable": true, "devices": [
         {"mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"},
         {"enable": "true", "mac": "02:00:5e:00:00:02", "ipv4": "192.168.1.12"}, "text", 5, null]})",
     ""},
    {R"({"enable": true, "devices": [{"enable": true}]})", "dhcp-host=,\n"},
    {R"({"enable": true, "devices": [{"enable": true, "mac": 5, "ipv4": "192.168.1.11"}]})",
     "dhcp-host=,192.168.1.11\n"},
    {R"({"enable": true, "devices": []})", ""},
    {R"({"enable": true, "devices": {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}})",
     ""},
    {R"({"enable": true})", ""},
    {R"({"enable": false, "devices": [
         {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}]})",
     ""},
    {R"({"devices": [{"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}]})", ""},
    {R"([{"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}])", ""},
    {R"(true)", ""},
};

TEST_F(DhcpServerTest, TheFixedLeasesFollowTheOptions) {
  for (const SectionCase& c : kFixedLeases) {
    EXPECT_EQ(
        written(R"({"enable": true, "start": "192.168.1.100", "end": "192.168.1.200", "mac_binding": )" +
                    std::string(c.config) + "}",
                0),
        std::string(kEth0Section) + c.text)
        << c.config;
    EXPECT_EQ(platform().log, Lines{}) << c.config;
  }
}

// VLANs.

constexpr char kVlan10[] = R"(
# DHCP server on eth0.10
dhcp-range=eth0.10,10.10.0.100,10.10.0.200,3600
dhcp-option=eth0.10,3,10.10.0.1
dhcp-option=eth0.10,1,255.255.255.0
dhcp-option=eth0.10,6,10.10.0.1

)";

constexpr char kVlan20[] = R"(
# DHCP server on eth0.20
dhcp-range=eth0.20,10.20.0.100,10.20.0.200,1h
dhcp-option=eth0.20,3,10.20.0.1
dhcp-option=eth0.20,1,255.255.0.0
dhcp-option=eth0.20,6,10.20.0.1

dhcp-host=02:00:5e:00:00:01,10.20.0.9
)";

constexpr char kVlanNetworks[] = R"([
  {"vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24,
    "dhcp": {"enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}},
  {"vid": 20, "network": {"ipv4": "10.20.0.1", "netmask": 16,
    "dhcp": {"enable": true, "start": "10.20.0.100", "end": "10.20.0.200", "leasetime": "1h",
             "mac_binding": {"enable": true, "devices": [
               {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "10.20.0.9"}]}}}}])";

TEST_F(DhcpServerTest, EachServedVlanHasASection) {
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": )" + std::string(kVlanNetworks) + "}"),
            std::string(kVlan10) + kVlan20);
  EXPECT_EQ(platform().log, (Lines{"info configured DHCP server on VLAN eth0.10",
                                   "info configured DHCP server on VLAN eth0.20"}));
}

TEST_F(DhcpServerTest, AVlanListThatIsNotEnabledIsNotServed) {
  const std::string networks(kVlanNetworks);
  EXPECT_EQ(vlans_of_eth0(R"({"enable": false, "networks": )" + networks + "}"), "");
  EXPECT_EQ(vlans_of_eth0(R"({"enable": 1, "networks": )" + networks + "}"), "");
  EXPECT_EQ(vlans_of_eth0(R"({"networks": )" + networks + "}"), "");
  EXPECT_EQ(vlans_of_eth0(networks), "");
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true})"), "");
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": {"vid": 10}})"), "");
}

TEST_F(DhcpServerTest, TheVlansOfAnotherPortAreNotServed) {
  const NetworkContext ctx =
      context_of(R"({"wired": {"eth0": {"network": {"advanced": {"vlan": {"enable": true, "networks": )" +
                 std::string(kVlanNetworks) + "}}}}}}");
  EXPECT_EQ(text_written_by([&](std::FILE* file) { dnsmasq_add_vlan_interfaces(&ctx, file, "eth1"); }), "");
}

TEST_F(DhcpServerTest, AnIncompleteVlanIsLeftOutAndTheNextOneServed) {
  for (
      const char* vlan : {
          R"({"network": {"ipv4": "10.0.0.1", "netmask": 24,
               "dhcp": {"enable": true, "start": "a", "end": "b"}}})",
          R"({"vid": "9", "network": {"ipv4": "10.0.0.1", "netmask": 24,
               "dhcp": {"enable": true, "start": "a", "end": "b"}}})",
          R"({"vid": 9, "network": {"netmask": 24, "dhcp": {"enable": true, "start": "a", "end": "b"}}})",
          R"({"vid": 9, "network": {"ipv4": "10.0.0.1", "dhcp": {"enable": true, "start": "a", "end": "b"}}})",
          R"({"vid": 9, "network": {"ipv4": "10.0.0.1", "netmask": 24}})",
          R"({"vid": 9, "network": {"ipv4": "10.0.0.1", "netmask": 24, "dhcp": {"start": "a", "end": "b"}}})",
          R"({"vid": 9, "network": {"ipv4": "10.0.0.1", "netmask": 24,
               "dhcp": {"enable": false, "start": "a", "end": "b"}}})",
          R"({"vid": 9})",
          R"("text")",
          R"(null)",
      }) {
    EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": [)" + std::string(vlan) + R"(,
                {"vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24,
                 "dhcp": {"enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}}]})"),
              kVlan10)
        << vlan;
    EXPECT_EQ(platform().log, (Lines{"info configured DHCP server on VLAN eth0.10"})) << vlan;
  }
}

TEST_F(DhcpServerTest, AVlanWithoutARangeIsLoggedUnderItsName) {
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": [
              {"vid": 9, "network": {"ipv4": "10.0.0.1", "netmask": 24, "dhcp": {"enable": true}}}]})"),
            "");
  EXPECT_EQ(platform().log, (Lines{"notice dhcp server config for eth0.9 contains undefined IP addresses"}));
}

TEST_F(DhcpServerTest, AVlansOwnEnableIsNotConsulted) {
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": [
              {"enable": false, "vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24,
               "dhcp": {"enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}}]})"),
            kVlan10);
}

// A list with one served VLAN of this identifier.
std::string vlan_list(const std::string& vid) {
  return R"({"enable": true, "networks": [{"vid": )" + vid +
         R"(, "network": {"ipv4": "10.0.0.1", "netmask": 24,
             "dhcp": {"enable": true, "start": "a", "end": "b"}}}]})";
}

TEST_F(DhcpServerTest, AVlanNameOf15CharactersIsTheLongest) {
  EXPECT_EQ(vlans_of_eth0(vlan_list("1234567890")), R"(
# DHCP server on eth0.1234567890
dhcp-range=eth0.1234567890,a,b,3600
dhcp-option=eth0.1234567890,3,10.0.0.1
dhcp-option=eth0.1234567890,1,255.255.255.0
dhcp-option=eth0.1234567890,6,10.0.0.1

)");
}

TEST_F(DhcpServerTest, ALongerVlanNameIsFatal) {
  EXPECT_DEATH(vlans_of_eth0(vlan_list("-1234567890")), "");
}

TEST_F(DhcpServerTest, VlansPrintTheirTraceLines) {
  NetworkContext ctx =
      context_of(R"({"wired": {"eth0": {"network": {"advanced": {"vlan": )" + vlan_list("10") + "}}}}}");
  const auto add = [&] {
    text_written_by([&](std::FILE* file) { dnsmasq_add_vlan_interfaces(&ctx, file, "eth0"); });
  };
  EXPECT_EQ(printed_by(add), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(add), "dnsmasq_add_vlan_interfaces\ndnsmasq_write_dhcp_server\n");
}

}  // namespace
