#include "dnsmasq/dhcp_server.h"

#include "lanfab_test.h"

namespace {

class DhcpServerTest : public LanfabTest {};

}  // namespace

// The section of `ifname`; checks that writing it returns this result.
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

constexpr char kEth0Section[] = R"(
# DHCP server on eth0
dhcp-range=eth0,192.168.1.100,192.168.1.200,3600
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)";

// --- The server of one interface

TEST_F(DhcpServerTest, APortIsServedFromItsNetworkObject) {
  const NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {
    "ipv4": "192.168.1.1", "netmask": 24,
    "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.200"}}}}})");
  EXPECT_EQ(added(ctx, "eth0", 0), kEth0Section);
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq_add_dhcp_server: eth0",
                                          "info dnsmasq: configured dhcp server for interface eth0"));
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
  EXPECT_THAT(added(ctx, "br-lan", 0),
              AllOf(HasSubstr("# DHCP server on br-lan\ndhcp-range=br-lan,a,b,3600\n"),
                    HasSubstr("\ndhcp-option=br-lan,1,255.255.255.0\n"),
                    HasSubstr("\ndhcp-option=br-lan,6,192.168.1.1\n")));
  ctx.bridge_primary_interface = "wlan0";
  EXPECT_THAT(added(ctx, "br-lan", 0),
              AllOf(HasSubstr("# DHCP server on br-lan\ndhcp-range=br-lan,c,d,3600\n"),
                    HasSubstr("\ndhcp-option=br-lan,1,255.255.0.0\n"),
                    HasSubstr("\ndhcp-option=br-lan,6,192.168.3.1\n")));
}

TEST_F(DhcpServerTest, AnInterfaceOfAnyOtherKindIsNotServed) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(added(ctx, "gre-tun1", -1), "");
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq_add_dhcp_server: gre-tun1"));
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
               "ipv4": "192.168.1.1", "netmask": "24",
                "dhcp": {"enable": true, "start": "a", "end": "b"}}}}})",
           R"({"wired": {"eth0": {"network": {"ipv4": "192.168.1.1", "netmask": 24}}}})",
           R"({"wired": {"eth0": {"network": {"ipv4": "192.168.1.1", "netmask": 24, "dhcp": true}}}})",
           R"({"wired": {"eth0": {"network": {
               "ipv4": "192.168.1.1", "netmask": 24, "dhcp": {"start": "a", "end": "b"}}}}})",
       }) {
    const NetworkContext ctx = context_of(config);
    EXPECT_EQ(added(ctx, "eth0", -1), "") << config;
    EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq_add_dhcp_server: eth0")) << config;
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

// --- The section

TEST_F(DhcpServerTest, AServerThatIsOffIsSilent) {
  for (const char* dhcp :
       {R"({"enable": false, "start": "a", "end": "b"})", R"({"enable": "true", "start": "a", "end": "b"})",
        R"({"enable": 1, "start": "a", "end": "b"})", R"({"start": "a", "end": "b"})", "{}",
        R"({"enable": false})"}) {
    EXPECT_EQ(written(dhcp, -1), "");
    EXPECT_THAT(platform().log, IsEmpty()) << dhcp;
  }
}

TEST_F(DhcpServerTest, AServerNeedsBothEndsOfItsRange) {
  for (const char* dhcp :
       {R"({"enable": true, "start": "192.168.1.100"})", R"({"enable": true, "end": "192.168.1.200"})",
        R"({"enable": true})", R"({"enable": true, "start": 100, "end": "192.168.1.200"})"}) {
    EXPECT_EQ(written(dhcp, -1), "");
    EXPECT_THAT(platform().log,
                ElementsAre("notice dhcp server config for eth0 contains undefined IP addresses"))
        << dhcp;
  }
}

TEST_F(DhcpServerTest, TheEndsOfTheRangeAreNotChecked) {
  EXPECT_THAT(written(R"({"enable": true, "start": "", "end": "any text"})", 0),
              HasSubstr("\ndhcp-range=eth0,,any text,3600\n"));
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(DhcpServerTest, TheLeaseTimeIsWrittenUnchanged) {
  struct Case {
    const char* leasetime;
    const char* line;
  };
  for (const Case& c : {
           Case{R"("12h")", "\ndhcp-range=eth0,a,b,12h\n"},
           Case{R"("600")", "\ndhcp-range=eth0,a,b,600\n"},
           Case{R"("infinite")", "\ndhcp-range=eth0,a,b,infinite\n"},
           Case{R"("")", "\ndhcp-range=eth0,a,b,\n"},
           Case{"600", "\ndhcp-range=eth0,a,b,3600\n"},
           Case{"null", "\ndhcp-range=eth0,a,b,3600\n"},
       }) {
    SCOPED_TRACE(c.leasetime);
    const std::string leasetime = R"(, "leasetime": )" + std::string(c.leasetime);
    EXPECT_THAT(written(R"({"enable": true, "start": "a", "end": "b")" + leasetime + "}", 0),
                HasSubstr(c.line));
  }
}

TEST_F(DhcpServerTest, ThePrefixIsWrittenAsANetmask) {
  struct Case {
    int prefix;
    const char* line;
  };
  const NetworkContext ctx = context_of("{}");
  const Json::Value dhcp = json(R"({"enable": true, "start": "a", "end": "b"})");
  for (const Case& c : {
           Case{24, "\ndhcp-option=wlan0,1,255.255.255.0\n"},
           Case{0, "\ndhcp-option=wlan0,1,0.0.0.0\n"},
           Case{8, "\ndhcp-option=wlan0,1,255.0.0.0\n"},
           Case{30, "\ndhcp-option=wlan0,1,255.255.255.252\n"},
           Case{32, "\ndhcp-option=wlan0,1,255.255.255.255\n"},
           Case{33, "\ndhcp-option=wlan0,1,\n"},
           Case{-1, "\ndhcp-option=wlan0,1,\n"},
       }) {
    SCOPED_TRACE(c.prefix);
    EXPECT_THAT(text_written_by([&](std::FILE* file) {
                  EXPECT_EQ(dnsmasq_write_dhcp_server(&ctx, file, "wlan0", "192.168.1.1", c.prefix, dhcp), 0);
                }),
                HasSubstr(c.line));
  }
}

// --- Static leases

TEST_F(DhcpServerTest, TheStaticLeasesFollowTheOptions) {
  struct Case {
    const char* mac_binding;
    const char* lines;
  };
  for (const Case& c : {
           Case{R"({"enable": true, "devices": [
                    {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"},
                    {"enable": false, "mac": "02:00:5e:00:00:02", "ipv4": "192.168.1.12"},
                    {"enable": true, "mac": "02:00:5e:00:00:03", "ipv4": "192.168.1.13"}]})",
                "dhcp-host=02:00:5e:00:00:01,192.168.1.11\ndhcp-host=02:00:5e:00:00:03,192.168.1.13\n"},
           Case{R"({"enable": true, "devices": [
                    {"mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"},
                    {"enable": "true", "mac": "02:00:5e:00:00:02", "ipv4": "192.168.1.12"},
                    "text", 5, null]})",
                ""},
           Case{R"({"enable": true, "devices": [{"enable": true}]})", "dhcp-host=,\n"},
           Case{R"({"enable": true, "devices": [{"enable": true, "mac": 5, "ipv4": "192.168.1.11"}]})",
                "dhcp-host=,192.168.1.11\n"},
           Case{R"({"enable": true, "devices": []})", ""},
           Case{R"({"enable": true, "devices": {
                    "enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}})",
                ""},
           Case{R"({"enable": true})", ""},
           Case{R"({"enable": false, "devices": [
                    {"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}]})",
                ""},
           Case{R"({"devices": [{"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}]})", ""},
           Case{R"([{"enable": true, "mac": "02:00:5e:00:00:01", "ipv4": "192.168.1.11"}])", ""},
           Case{R"(true)", ""},
       }) {
    SCOPED_TRACE(c.mac_binding);
    const std::string mac_binding = R"(, "mac_binding": )" + std::string(c.mac_binding);
    EXPECT_EQ(
        written(R"({"enable": true, "start": "192.168.1.100", "end": "192.168.1.200")" + mac_binding + "}",
                0),
        std::string(kEth0Section) + c.lines);
    EXPECT_THAT(platform().log, IsEmpty());
  }
}

// --- VLANs

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
  EXPECT_THAT(platform().log, ElementsAre("info configured DHCP server on VLAN eth0.10",
                                          "info configured DHCP server on VLAN eth0.20"));
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
          R"({"vid": 9, "network": {"ipv4": "10.0.0.1",
               "dhcp": {"enable": true, "start": "a", "end": "b"}}})",
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
    EXPECT_THAT(platform().log, ElementsAre("info configured DHCP server on VLAN eth0.10")) << vlan;
  }
}

TEST_F(DhcpServerTest, AVlanWithoutARangeIsLoggedUnderItsName) {
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": [
              {"vid": 9, "network": {"ipv4": "10.0.0.1", "netmask": 24, "dhcp": {"enable": true}}}]})"),
            "");
  EXPECT_THAT(platform().log,
              ElementsAre("notice dhcp server config for eth0.9 contains undefined IP addresses"));
}

TEST_F(DhcpServerTest, AVlansOwnEnableIsNotConsulted) {
  EXPECT_EQ(vlans_of_eth0(R"({"enable": true, "networks": [
              {"enable": false, "vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24,
               "dhcp": {"enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}}]})"),
            kVlan10);
}

// A list with one VLAN of this ID, with a DHCP server unless `serve` is "false".
static std::string vlan_list(const std::string& vid, const std::string& serve = "true") {
  return R"({"enable": true, "networks": [{"vid": )" + vid +
         R"(, "network": {"ipv4": "10.0.0.1", "netmask": 24,
             "dhcp": {"enable": )" +
         serve + R"(, "start": "a", "end": "b"}}}]})";
}

TEST_F(DhcpServerTest, AVlanNameOf15CharactersIsTheLongest) {
  EXPECT_THAT(vlans_of_eth0(vlan_list("1234567890")),
              StartsWith("\n# DHCP server on eth0.1234567890\ndhcp-range=eth0.1234567890,a,b,3600\n"));
}

TEST_F(DhcpServerTest, ALongerVlanNameIsFatal) {
  EXPECT_DEATH(vlans_of_eth0(vlan_list("-1234567890")), "");
}

TEST_F(DhcpServerTest, ALongerVlanNameIsNotLookedAtWithoutAServer) {
  EXPECT_EQ(vlans_of_eth0(vlan_list("-1234567890", "false")), "");
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

// --- Reading the configuration of a server

TEST_F(DhcpServerTest, ASectionIsReadAsItIsWritten) {
  const Json::Value network = json(R"({"ipv4": "192.168.1.1", "netmask": 24, "dhcp": {
    "enable": true, "start": "192.168.1.100", "end": "192.168.1.200", "leasetime": "12h"}})");
  const DhcpSection section = read_dhcp_section(network);
  EXPECT_EQ(section.dhcp, &network["dhcp"]);
  EXPECT_EQ(section.router, "192.168.1.1");
  EXPECT_EQ(section.prefix, 24);
  EXPECT_EQ(section.start, "192.168.1.100");
  EXPECT_EQ(section.end, "192.168.1.200");
  EXPECT_EQ(section.lease_time, "12h");
  EXPECT_TRUE(section.has_subnet());
  EXPECT_TRUE(section.is_written());
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(DhcpServerTest, EachMissingKeyIsNamedWithTheObjectThatLacksIt) {
  const Json::Value network = json(R"({"ipv4": 5, "dhcp": {"enable": true, "end": ["b"]}})");
  Lines missing;
  for (const auto& [object, key] : read_dhcp_section(network).missing_keys) {
    missing.push_back((object == &network ? "network " : "dhcp ") + std::string(key));
    EXPECT_TRUE(object == &network || object == &network["dhcp"]);
  }
  EXPECT_THAT(missing, ElementsAre("network ipv4", "network netmask", "dhcp start", "dhcp end"));
  EXPECT_FALSE(read_dhcp_section(network).has_subnet());
  EXPECT_FALSE(read_dhcp_section(network).is_written());
}

TEST_F(DhcpServerTest, ADisabledOrMissingServerIsNotWritten) {
  const Json::Value disabled =
      json(R"({"ipv4": "192.168.1.1", "netmask": 24, "dhcp": {"start": "a", "end": "b"}})");
  EXPECT_TRUE(read_dhcp_section(disabled).has_subnet());
  EXPECT_FALSE(read_dhcp_section(disabled).is_written());
  const Json::Value without = json(R"({"ipv4": "192.168.1.1", "netmask": 24})");
  EXPECT_EQ(read_dhcp_section(without).dhcp, nullptr);
  EXPECT_FALSE(read_dhcp_section(without).has_subnet());
}

TEST_F(DhcpServerTest, TheEnabledDevicesAreStaticLeases) {
  const Json::Value dhcp = json(R"({"mac_binding": {"enable": true, "devices": [
    {"enable": true, "mac": "02:00:5e:00:53:01", "ipv4": "192.168.1.10"}, {"mac": "a", "ipv4": "b"},
    {"enable": true, "mac": 5}]}})");
  const std::vector<StaticLease> leases = read_static_leases(dhcp);
  ASSERT_EQ(leases.size(), 2U);
  EXPECT_EQ(leases[0].settings, &dhcp["mac_binding"]["devices"][0]);
  EXPECT_EQ(leases[0].mac, "02:00:5e:00:53:01");
  EXPECT_EQ(leases[0].ipv4, "192.168.1.10");
  EXPECT_EQ(leases[1].mac, std::nullopt);
  EXPECT_EQ(leases[1].ipv4, std::nullopt);
  EXPECT_THAT(read_static_leases(json(R"({"mac_binding": {"devices": [{"enable": true}]}})")), IsEmpty());
}
