#include "networkd/wwan.h"

#include <filesystem>

#include "lanfab_test.h"

constexpr char kPostStartScript[] = "/var/run/post_networkd_start_actions_script";

// The cellular unit of every pass-through run without an MTU.
constexpr char kPassthroughWwanUnit[] = R"([Match]
Name = wwan0

[Network]
Address = 169.125.7.209/24
IPv4ProxyARP = yes
IPForward = yes
DefaultRouteOnDevice = yes

[Route]
Gateway = 169.125.7.210
Metric = 0
)";

namespace {

// A link that is up: wwan0 with 10.64.1.2/30 and the gateway 10.64.1.1, no MTU and no DNS servers.
class WwanTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    put_file("/var/run/wwan_intf", "wwan0\n");
    put_file("/var/run/wwan_ipv4", "10.64.1.2\n");
    put_file("/var/run/wwan_cidr", "30\n");
    put_file("/var/run/wwan_gw", "10.64.1.1\n");
  }
};

}  // namespace

static std::string wwan_unit(const std::string& config) {
  const NetworkContext ctx = context_of(config);
  EXPECT_EQ(init_wwan_interface(&ctx), 0) << config;
  return unit("10-wwan0.network");
}

// The cellular unit in router mode, from its [Network] section on.
static std::string router_sections(const std::string& config) {
  const std::string head = "[Match]\nName = wwan0\n\n[Network]\n";
  const std::string text = wwan_unit(config);
  EXPECT_EQ(text.substr(0, head.size()), head);
  return text.substr(head.size());
}

// The configuration of a pass-through port with this mode and further lines in its "network" object.
static std::string passthrough(const std::string& port, const std::string& mode, const std::string& network,
                               const std::string& cell = "{}") {
  return R"({"wireless": {"cell": )" + cell + R"(}, "wired": {")" + port + R"(": {"network": {"mode": ")" +
         mode + "\"" + network + "}}}}";
}

// The unit of the pass-through port, from its [Network] section on.
static std::string port_sections(const std::string& port, const std::string& config) {
  const NetworkContext ctx = context_of(config);
  EXPECT_EQ(init_wwan_interface(&ctx), 0) << config;
  EXPECT_EQ(unit("10-wwan0.network"), kPassthroughWwanUnit) << config;
  const std::string head = "[Match]\nName = " + port + "\n\n[Network]\n";
  const std::string text = unit((port == "eth0" ? "20-" : "21-") + port + ".network");
  EXPECT_EQ(text.substr(0, head.size()), head) << config;
  return text.substr(head.size());
}

// --- Router mode

TEST_F(WwanTest, TheRouterModeUnitWithEverythingInItsOrder) {
  put_file("/var/run/wwan_mtu", "1430\n");
  put_file("/var/run/wwan_dns1", "10.64.0.53\n");
  put_file("/var/run/wwan_dns2", "10.64.0.54\n");
  EXPECT_EQ(wwan_unit(R"({
              "dns": {"static": ["9.9.9.9"]},
              "wireless": {"cell": {"metric": 10}},
              "static_routes": [
                {"enable": true, "interface": "eth0", "ipv4": "10.1.0.0", "netmask": 16},
                {"enable": true, "interface": "wwan0", "ipv4": "10.2.0.0", "netmask": 16,
                 "gateway": "10.64.1.1"}]})"),
            R"([Match]
Name = wwan0

[Link]
MTUBytes = 1430

[Network]
Address = 10.64.1.2/30
DNS = 10.64.0.53
DNS = 10.64.0.54

[Route]
Gateway = 10.64.1.1
Metric = 10

[Route]
Gateway = 10.64.1.1
GatewayOnlink = yes
Destination = 10.2.0.0/16
)");
}

TEST_F(WwanTest, ALinkWithTheBareNecessities) {
  EXPECT_EQ(wwan_unit("{}"), R"([Match]
Name = wwan0

[Network]
Address = 10.64.1.2/30

[Route]
Gateway = 10.64.1.1
)");
  EXPECT_THAT(unit_names(), ElementsAre("10-wwan0.network"));
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/10-wwan0.network\n"));
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_FALSE(exists(kPostStartScript));
}

TEST_F(WwanTest, WithoutANecessaryValueNothingIsWritten) {
  for (const char* file :
       {"/var/run/wwan_intf", "/var/run/wwan_ipv4", "/var/run/wwan_cidr", "/var/run/wwan_gw"}) {
    for (const bool missing : {false, true}) {
      SetUp();
      put_file(file, "");
      if (missing) std::filesystem::remove(file);
      const NetworkContext ctx = context_of(R"({"tunnels": {"gre": [{}]}})");
      EXPECT_EQ(init_wwan_interface(&ctx), -1) << file;
      EXPECT_THAT(platform().log, ElementsAre("notice wwan network info not available")) << file;
      EXPECT_THAT(platform().calls, IsEmpty()) << file;
      EXPECT_THAT(unit_names(), IsEmpty()) << file;
      EXPECT_FALSE(exists("/var/run/resolv.conf")) << file;
    }
  }
}

TEST_F(WwanTest, AValueThatIsTooLongIsNotAvailable) {
  // A link manager's value that just fits its buffer, and one that is too long by one character.
  struct Case {
    const char* file;
    const char* fits;
    const char* too_long;
  };
  for (const Case& c : {
           Case{"/var/run/wwan_intf", "wwan000", "wwan0000"},
           Case{"/var/run/wwan_ipv4", "100.100.100.100", "100.100.100.1000"},
           Case{"/var/run/wwan_cidr", "030", "0030"},
           Case{"/var/run/wwan_gw", "100.100.100.100", "100.100.100.1000"},
       }) {
    SetUp();
    const NetworkContext ctx = context_of("{}");
    put_file(c.file, c.fits);
    EXPECT_EQ(init_wwan_interface(&ctx), 0) << c.fits;
    put_file(c.file, c.too_long);
    EXPECT_EQ(init_wwan_interface(&ctx), -1) << c.too_long;
  }
}

TEST_F(WwanTest, TheResolverFileIsRewritten) {
  put_file("/var/run/wwan_dns1", "10.64.0.53\n");
  wwan_unit(R"({"dns": {"source": "isp"}, "wireless": {"cell": {"enable": true}}})");
  EXPECT_THAT(text_of_file("/var/run/resolv.conf"), HasSubstr("nameserver 10.64.0.53\n"));
}

TEST_F(WwanTest, AUnitThatCannotBeCreatedFailsAfterTheResolverFile) {
  block_unit("10-wwan0.network");
  for (const char* config :
       {R"({"tunnels": {"gre": [{}]}})", R"({"wired": {"eth0": {"network": {"mode": "x"}}}})"}) {
    const NetworkContext ctx = context_of(config);
    EXPECT_EQ(init_wwan_interface(&ctx), -1);
    EXPECT_THAT(
        platform().log,
        ElementsAre("debug write unit file:/var/run/systemd/network/10-wwan0.network\n",
                    "notice error creating network unit file: /var/run/systemd/network/10-wwan0.network",
                    "notice error creating wwan network unit file"));
    EXPECT_THAT(platform().calls, IsEmpty());
    EXPECT_THAT(unit_names(), ElementsAre("10-wwan0.network"));
    EXPECT_TRUE(exists("/var/run/resolv.conf"));
  }
}

TEST_F(WwanTest, TheUnitHasTheLinkManagersNameAndRoutesTheFixedOne) {
  put_file("/var/run/wwan_intf", "rmnet1\n");
  const NetworkContext ctx = context_of(R"({"static_routes": [
    {"enable": true, "interface": "rmnet1", "metric": 1},
    {"enable": true, "interface": "wwan0", "metric": 2}]})");
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_EQ(unit("10-rmnet1.network"), R"([Match]
Name = rmnet1

[Network]
Address = 10.64.1.2/30

[Route]
Gateway = 10.64.1.1

[Route]
Metric = 2
)");
}

namespace {

// Content of the MTU file, "wireless.cell" and the [Link] section.
struct MtuCase {
  const char* file;
  const char* cell;
  const char* section;
};

}  // namespace

constexpr MtuCase kMtuCases[] = {
    {"", "{}", ""},
    {"1430", "{}", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu_override": true, "mtu": 1400})", "\n[Link]\nMTUBytes = 1400\n"},
    {"1430", R"({"mtu_override": true, "mtu": 1500})", "\n[Link]\nMTUBytes = 1500\n"},
    {"1430", R"({"mtu_override": true, "mtu": 1})", "\n[Link]\nMTUBytes = 1\n"},
    {"", R"({"mtu_override": true, "mtu": 1400})", "\n[Link]\nMTUBytes = 1400\n"},
    {"1430", R"({"mtu_override": true, "mtu": 0})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu_override": true, "mtu": -1})", "\n[Link]\nMTUBytes = 1430\n"},
    {"", R"({"mtu_override": true, "mtu": 0})", ""},
    {"1430", R"({"mtu_override": true, "mtu": "1400"})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu_override": true})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu_override": false, "mtu": 1400})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu_override": 1, "mtu": 1400})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1430", R"({"mtu": 1400})", "\n[Link]\nMTUBytes = 1430\n"},
    {"1234567", "{}", "\n[Link]\nMTUBytes = 1234567\n"},
    {"12345678", "{}", ""},
};

TEST_F(WwanTest, TheMtuIsTheOverrideOrElseTheLinks) {
  for (const MtuCase& c : kMtuCases) {
    put_file("/var/run/wwan_mtu", c.file);
    EXPECT_EQ(wwan_unit(R"({"wireless": {"cell": )" + std::string(c.cell) + "}}"),
              std::string("[Match]\nName = wwan0\n") + c.section +
                  "\n[Network]\nAddress = 10.64.1.2/30\n\n[Route]\nGateway = 10.64.1.1\n")
        << c.file << " " << c.cell;
  }
}

TEST_F(WwanTest, BothPassthroughUnitsHaveTheMtu) {
  for (const MtuCase& c : kMtuCases) {
    put_file("/var/run/wwan_mtu", c.file);
    const NetworkContext ctx = context_of(passthrough("eth0", "pass-through-auto", "", c.cell));
    EXPECT_EQ(init_wwan_interface(&ctx), 0);
    EXPECT_EQ(unit("10-wwan0.network"), std::string("[Match]\nName = wwan0\n") + c.section + R"(
[Network]
Address = 169.125.7.209/24
IPv4ProxyARP = yes
IPForward = yes
DefaultRouteOnDevice = yes

[Route]
Gateway = 169.125.7.210
Metric = 0
)") << c.file
    << " " << c.cell;
    EXPECT_EQ(unit("20-eth0.network"), std::string("[Match]\nName = eth0\n") + c.section + R"(
[Network]
Address = 10.64.1.1/30
IPForward = yes
IPv4ProxyARP = yes
)") << c.file
    << " " << c.cell;
  }
}

namespace {

// "wireless.cell" and the lines that depend on it.
struct CellCase {
  const char* cell;
  const char* text;
};

}  // namespace

constexpr CellCase kPrefixCases[] = {
    {R"({"netmask_override": true, "netmask": 24})", "Address = 10.64.1.2/24\n"},
    {R"({"netmask_override": true, "netmask": 1})", "Address = 10.64.1.2/1\n"},
    {R"({"netmask_override": true, "netmask": 0})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask_override": true, "netmask": -8})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask_override": true, "netmask": "24"})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask_override": true})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask_override": false, "netmask": 24})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask_override": "true", "netmask": 24})", "Address = 10.64.1.2/30\n"},
    {R"({"netmask": 24})", "Address = 10.64.1.2/30\n"},
};

TEST_F(WwanTest, ThePrefixIsTheOverrideOrElseTheLinks) {
  for (const CellCase& c : kPrefixCases) {
    EXPECT_EQ(router_sections(R"({"wireless": {"cell": )" + std::string(c.cell) + "}}"),
              std::string(c.text) + "\n[Route]\nGateway = 10.64.1.1\n")
        << c.cell;
  }
}

TEST_F(WwanTest, ThePrefixOfTheLinkIsATextLikeAnyOther) {
  put_file("/var/run/wwan_cidr", "x/y");
  EXPECT_EQ(router_sections("{}"), "Address = 10.64.1.2/x/y\n\n[Route]\nGateway = 10.64.1.1\n");
}

constexpr CellCase kMetricCases[] = {
    {R"({"metric": 0})", "Metric = 0\n"},
    {R"({"metric": 1})", "Metric = 1\n"},
    {R"({"metric": 700})", "Metric = 700\n"},
    {R"({"metric": -1})", ""},
    {R"({"metric": -700})", ""},
    {R"({"metric": "5"})", ""},
    {R"({})", ""},
};

TEST_F(WwanTest, AMetricIsWrittenFromZeroOn) {
  for (const CellCase& c : kMetricCases) {
    EXPECT_EQ(router_sections(R"({"wireless": {"cell": )" + std::string(c.cell) + "}}"),
              std::string("Address = 10.64.1.2/30\n\n[Route]\nGateway = 10.64.1.1\n") + c.text)
        << c.cell;
  }
}

TEST_F(WwanTest, WithoutServersOfTheLinkTheConfiguredOnesAreWritten) {
  EXPECT_EQ(router_sections(R"({"dns": {"static": ["9.9.9.9", "8.8.4.4"]}})"),
            "Address = 10.64.1.2/30\nDNS = 9.9.9.9\nDNS = 8.8.4.4\n\n[Route]\nGateway = 10.64.1.1\n");
}

TEST_F(WwanTest, OneServerOfTheLinkIsEnough) {
  put_file("/var/run/wwan_dns2", "10.64.0.54\n");
  EXPECT_EQ(router_sections(R"({"dns": {"static": ["9.9.9.9"]}})"),
            "Address = 10.64.1.2/30\nDNS = 10.64.0.54\n\n[Route]\nGateway = 10.64.1.1\n");
}

TEST_F(WwanTest, RouterModeAppliesTheTunnels) {
  wwan_unit(R"({"tunnels": {"gre": [{"enable": false}]}})");
  EXPECT_THAT(platform().calls,
              ElementsAre("/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308"));
}

TEST_F(WwanTest, RouterModeHasTheResultOfTheTunnels) {
  const NetworkContext ctx = context_of(R"({"tunnels": {"gre": [{"enable": true}]}})");
  EXPECT_EQ(init_wwan_interface(&ctx), -1);
  EXPECT_EQ(unit("10-wwan0.network"), R"([Match]
Name = wwan0

[Network]
Address = 10.64.1.2/30

[Route]
Gateway = 10.64.1.1
)");
}

// --- Pass-through mode

TEST_F(WwanTest, TheAutomaticModeGivesThePortTheGatewaysAddress) {
  put_file("/var/run/wwan_dns1", "10.64.0.53\n");
  put_file("/var/run/systemd/network/20-eth0.network", "[Match]\nName = eth0\n\n");
  const NetworkContext ctx = context_of(R"({
    "dns": {"static": ["9.9.9.9"]},
    "wireless": {"cell": {"metric": 10, "netmask_override": true, "netmask": 0}},
    "wired": {"eth0": {"network": {
      "mode": "pass-through-auto", "ipv4": "192.168.1.1", "dhcp": {"start": "", "end": ""},
      "advanced": {"enable_secondary_ip": true}}}},
    "static_routes": [
      {"enable": true, "interface": "wwan0", "ipv4": "10.1.0.0", "netmask": 16},
      {"enable": true, "interface": "eth0", "ipv4": "10.2.0.0", "netmask": 16}]})");
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_EQ(unit("10-wwan0.network"), kPassthroughWwanUnit);
  EXPECT_EQ(unit("20-eth0.network"), R"([Match]
Name = eth0

[Network]
Address = 10.64.1.1/30
IPForward = yes
IPv4ProxyARP = yes
DNS = 10.64.0.53

[Address]
Address = 169.254.0.1/25

[Route]
Destination = 10.2.0.0/16
)");
  EXPECT_THAT(unit_names(), ElementsAre("10-wwan0.network", "20-eth0.network"));
}

TEST_F(WwanTest, TheStaticModeReachesTheDeviceByAHostRoute) {
  put_file("/var/run/wwan_dns2", "10.64.0.54\n");
  const NetworkContext ctx = context_of(R"({
    "wired": {"eth1": {"network": {
      "mode": "pass-through", "ipv4": "192.168.2.1", "netmask": 24,
      "advanced": {"enable_secondary_ip": true}}}},
    "static_routes": [{"enable": true, "interface": "eth1", "ipv4": "10.2.0.0", "netmask": 16}]})");
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_EQ(unit("10-wwan0.network"), kPassthroughWwanUnit);
  EXPECT_EQ(unit("21-eth1.network"), R"([Match]
Name = eth1

[Network]
Address = 192.168.2.1/24
IPForward = yes
IPv4ProxyARP = yes
DNS = 10.64.0.54

[Address]
Address = 169.254.0.129/25

[Route]
Destination = 10.64.1.2/32
Scope = host

[Route]
Destination = 10.2.0.0/16
)");
  EXPECT_EQ(text_of_file(kPostStartScript), "#!/bin/sh\n/sbin/ip route delete 192.168.2.0/24 dev eth1\n");
  EXPECT_THAT(platform().calls, ElementsAre("/bin/chmod +x /var/run/post_networkd_start_actions_script"));
}

TEST_F(WwanTest, PassThroughIsLoggedAndLeavesTheTunnelsAlone) {
  const NetworkContext ctx = context_of(R"({
    "tunnels": {"gre": [{"enable": true}]},
    "wired": {"eth0": {"network": {"mode": "pass-through-auto"}}}})");
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/10-wwan0.network\n",
                          "notice configure wwan unit file for pass-through mode",
                          "notice configure ethernet unit file for pass-through mode",
                          "debug write unit file:/var/run/systemd/network/20-eth0.network\n"));
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_TRUE(exists("/var/run/resolv.conf"));
}

TEST_F(WwanTest, AUnitThatIsNotWholeFailsBeforeTheTunnelsAndThePort) {
  for (const char* config :
       {R"({"tunnels": {"gre": [{}]}})", R"({"wired": {"eth0": {"network": {"mode": "x"}}}})"}) {
    const NetworkContext ctx = context_of(config);
    fill_disk_for_unit("10-wwan0.network");
    EXPECT_EQ(init_wwan_interface(&ctx), -1);
    EXPECT_THAT(log_of("notice"),
                IsSupersetOf({"notice error writing /var/run/systemd/network/10-wwan0.network: "
                              "No space left on device",
                              "notice error creating wwan network unit file"}));
    EXPECT_THAT(platform().calls, IsEmpty());
    EXPECT_THAT(unit_names(), IsEmpty());
  }
}

TEST_F(WwanTest, APortUnitThatIsNotWholeIsLoggedAndNoFailure) {
  fill_disk_for_unit("21-eth1.network");
  const NetworkContext ctx = context_of(passthrough("eth1", "pass-through-auto", ""));
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_THAT(
      log_of("notice"),
      IsSupersetOf({"notice error writing /var/run/systemd/network/21-eth1.network: No space left on device",
                    "notice error writing pass-through mode network unit file"}));
  EXPECT_THAT(unit_names(), ElementsAre("10-wwan0.network"));
}

TEST_F(WwanTest, APortUnitThatCannotBeOpenedIsLoggedAndNoFailure) {
  block_unit("21-eth1.network");
  const NetworkContext ctx = context_of(passthrough("eth1", "pass-through", ""));
  EXPECT_EQ(init_wwan_interface(&ctx), 0);
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/10-wwan0.network\n",
                          "notice configure wwan unit file for pass-through mode",
                          "notice configure ethernet unit file for pass-through mode",
                          "debug write unit file:/var/run/systemd/network/21-eth1.network\n",
                          "notice error creating network unit file: /var/run/systemd/network/21-eth1.network",
                          "notice error writing pass-through mode network unit file"));
  EXPECT_EQ(unit("10-wwan0.network"), kPassthroughWwanUnit);
  EXPECT_FALSE(exists(kPostStartScript));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(WwanTest, AnyOtherPortCountsAsEth1) {
  NetworkContext ctx = context_of(R"({"wired": {
    "eth1": {"network": {"ipv4": "192.168.2.1", "netmask": 24, "dhcp": {"start": "192.168.2.9"},
                         "advanced": {"enable_secondary_ip": true}}}}})");
  ctx.passthrough_enabled = true;
  for (const char* port : {"eth2", "", "eth0.1"}) {
    ctx.passthrough_interface = port;
    EXPECT_EQ(init_wwan_interface(&ctx), 0);
    EXPECT_THAT(unit_names(), ElementsAre("10-wwan0.network", "21-eth1.network"));
    EXPECT_EQ(unit("21-eth1.network"), R"([Match]
Name = eth1

[Network]
Address = 192.168.2.1/24
IPForward = yes
IPv4ProxyARP = yes

[Address]
Address = 169.254.0.129/25
)") << port;
  }
}

TEST_F(WwanTest, Eth1TakesItsSettingsAsTheyAreAndEth0OnlyUsableOnes) {
  // Further keys of the port's "network" object, and its "Address =" value in static mode on each port.
  struct Case {
    const char* network;
    const char* eth0;
    const char* eth1;
  };
  const std::string range = R"(, "dhcp": {"start": "192.168.1.9"})";
  for (const Case& c : {
           Case{"", "10.64.1.1/30", "10.64.1.1/30"},
           Case{R"(, "ipv4": "192.168.1.1")", "192.168.1.1/30", "192.168.1.1/30"},
           Case{R"(, "netmask": 24)", "10.64.1.1/24", "10.64.1.1/24"},
           Case{R"(, "ipv4": "192.168.1.1", "netmask": 24)", "192.168.1.1/24", "192.168.1.1/24"},
           Case{R"(, "ipv4": "")", "10.64.1.1/30", "/30"},
           Case{R"(, "netmask": 1)", "10.64.1.1/1", "10.64.1.1/1"},
           Case{R"(, "netmask": 0)", "10.64.1.1/30", "10.64.1.1/0"},
           Case{R"(, "netmask": -1)", "10.64.1.1/30", "10.64.1.1/-1"},
           Case{R"(, "ipv4": "", "netmask": 0)", "10.64.1.1/30", "/0"},
           Case{R"(, "ipv4": 7, "netmask": "24")", "10.64.1.1/30", "10.64.1.1/30"},
       }) {
    EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through", c.network + range)),
              "Address = " + std::string(c.eth0) + "\nIPForward = yes\nIPv4ProxyARP = yes\n")
        << c.network;
    EXPECT_EQ(port_sections("eth1", passthrough("eth1", "pass-through", c.network + range)),
              "Address = " + std::string(c.eth1) + "\nIPForward = yes\nIPv4ProxyARP = yes\n")
        << c.network;
  }
}

TEST_F(WwanTest, OnlyTheSettingsOfThePortItselfCount) {
  EXPECT_EQ(port_sections("eth1", R"({"wired": {
              "eth0": {"network": {"mode": "router", "ipv4": "192.168.1.1", "netmask": 24,
                                   "dhcp": {"start": "192.168.1.9"},
                                   "advanced": {"enable_secondary_ip": true}}},
              "eth1": {"network": {"mode": "pass-through-auto"}}}})"),
            "Address = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n");
}

TEST_F(WwanTest, APrefixThatIsNoNumberCountsAsZero) {
  put_file("/var/run/wwan_cidr", "abc");
  EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through-auto", "")),
            "Address = 10.64.1.1/0\nIPForward = yes\nIPv4ProxyARP = yes\n");
}

TEST_F(WwanTest, TheAutomaticModeHasTheGatewaysAddressAndNoHostRoute) {
  // "wireless.cell", further keys of the port, and its "Address =" value in automatic mode.
  struct Case {
    const char* cell;
    const char* network;
    const char* address;
  };
  for (const Case& c : {
           Case{"{}", "", "10.64.1.1/30"},
           Case{"{}", R"(, "ipv4": "192.168.1.1")", "10.64.1.1/30"},
           Case{"{}", R"(, "ipv4": "192.168.1.1", "netmask": 24)", "10.64.1.1/24"},
           Case{R"({"netmask_override": true, "netmask": 29})", R"(, "netmask": 24)", "10.64.1.1/29"},
           Case{R"({"netmask_override": true, "netmask": 1})", R"(, "netmask": 24)", "10.64.1.1/1"},
           Case{R"({"netmask_override": true, "netmask": 0})", R"(, "netmask": 24)", "10.64.1.1/24"},
           Case{R"({"netmask_override": false, "netmask": 29})", R"(, "netmask": 24)", "10.64.1.1/24"},
       }) {
    for (const char* port : {"eth0", "eth1"}) {
      EXPECT_EQ(port_sections(port, passthrough(port, "pass-through-auto", c.network, c.cell)),
                "Address = " + std::string(c.address) + "\nIPForward = yes\nIPv4ProxyARP = yes\n")
          << c.cell << c.network;
      EXPECT_FALSE(exists(kPostStartScript)) << c.cell << c.network;
    }
  }
}

TEST_F(WwanTest, TheStaticModeIgnoresThePrefixOverride) {
  EXPECT_EQ(
      port_sections("eth0", passthrough("eth0", "pass-through",
                                        R"(, "ipv4": "192.168.1.1", "netmask": 24, "dhcp": {"end": "x"})",
                                        R"({"netmask_override": true, "netmask": 29})")),
      "Address = 192.168.1.1/24\nIPForward = yes\nIPv4ProxyARP = yes\n");
}

TEST_F(WwanTest, WithoutARangeOfItsOwnTheStaticPortGetsAHostRoute) {
  // The port's "dhcp" object, and whether it is a usable range on the port 192.168.1.1.
  struct Case {
    const char* dhcp;
    bool usable;
  };
  for (const Case& c : {
           Case{R"({})", false},
           Case{R"({"start": "", "end": ""})", false},
           Case{R"({"start": "192.168.1.1", "end": "192.168.1.1"})", false},
           Case{R"({"start": "192.168.1.1", "end": ""})", false},
           Case{R"({"start": "192.168.1.1"})", false},
           Case{R"({"start": "", "end": "192.168.1.1"})", false},
           Case{R"({"start": 9, "end": ["192.168.1.9"]})", false},
           Case{R"("192.168.1.9")", false},
           Case{R"({"start": "192.168.1.9", "end": "192.168.1.19"})", true},
           Case{R"({"start": "192.168.1.9"})", true},
           Case{R"({"start": "192.168.1.9", "end": "192.168.1.1"})", true},
           Case{R"({"end": "192.168.1.19"})", true},
           Case{R"({"start": "192.168.1.1", "end": "192.168.1.19"})", true},
       }) {
    for (const std::string port : {"eth0", "eth1"}) {
      SetUp();
      const std::string sections = port_sections(
          port, passthrough(port, "pass-through",
                            R"(, "ipv4": "192.168.1.1", "netmask": 24, "dhcp": )" + std::string(c.dhcp)));
      const std::string address = "Address = 192.168.1.1/24\nIPForward = yes\nIPv4ProxyARP = yes\n";
      if (c.usable) {
        EXPECT_EQ(sections, address) << c.dhcp;
        EXPECT_FALSE(exists(kPostStartScript)) << c.dhcp;
      } else {
        EXPECT_EQ(sections, address + "\n[Route]\nDestination = 10.64.1.2/32\nScope = host\n") << c.dhcp;
        EXPECT_EQ(text_of_file(kPostStartScript),
                  "#!/bin/sh\n/sbin/ip route delete 192.168.1.0/24 dev " + port + "\n")
            << c.dhcp;
      }
    }
  }
}

TEST_F(WwanTest, ARangeIsComparedWithTheAddressThatThePortGets) {
  EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through",
                                              R"(, "dhcp": {"start": "10.64.1.1", "end": "10.64.1.1"})")),
            "Address = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n"
            "\n[Route]\nDestination = 10.64.1.2/32\nScope = host\n");
  EXPECT_EQ(text_of_file(kPostStartScript), "#!/bin/sh\n/sbin/ip route delete 10.64.1.0/30 dev eth0\n");
}

TEST_F(WwanTest, APrefixOf32NeedsNoHostRouteButLosesItsOwnRoute) {
  EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through", R"(, "netmask": 32)")),
            "Address = 10.64.1.1/32\nIPForward = yes\nIPv4ProxyARP = yes\n");
  EXPECT_EQ(text_of_file(kPostStartScript), "#!/bin/sh\n/sbin/ip route delete 10.64.1.1/32 dev eth0\n");
}

TEST_F(WwanTest, ASubnetThatCannotBeComputedLeavesTheHostRoute) {
  put_file(kPostStartScript, "#!/bin/sh\necho OK\n");
  EXPECT_EQ(port_sections("eth1", passthrough("eth1", "pass-through", R"(, "ipv4": "none", "netmask": 24)")),
            "Address = none/24\nIPForward = yes\nIPv4ProxyARP = yes\n"
            "\n[Route]\nDestination = 10.64.1.2/32\nScope = host\n");
  EXPECT_EQ(text_of_file(kPostStartScript), "#!/bin/sh\necho OK\n");
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(WwanTest, TheSecondaryAddressIsThePorts) {
  const std::string advanced = R"(, "advanced": {"enable_secondary_ip": true})";
  EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through-auto", advanced)),
            "Address = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n"
            "\n[Address]\nAddress = 169.254.0.1/25\n");
  EXPECT_EQ(port_sections("eth1", passthrough("eth1", "pass-through-auto", advanced)),
            "Address = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n"
            "\n[Address]\nAddress = 169.254.0.129/25\n");
}

TEST_F(WwanTest, NoSecondaryAddressUnlessItIsAskedFor) {
  for (const char* advanced :
       {R"({"enable_secondary_ip": false})", R"({"enable_secondary_ip": "true"})", R"({})"}) {
    EXPECT_EQ(port_sections("eth0", passthrough("eth0", "pass-through-auto",
                                                R"(, "advanced": )" + std::string(advanced))),
              "Address = 10.64.1.1/30\nIPForward = yes\nIPv4ProxyARP = yes\n")
        << advanced;
  }
}

// --- The trace

TEST_F(WwanTest, RouterModePrintsItsTraceLines) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { init_wwan_interface(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { init_wwan_interface(&ctx); }),
            "init_wwan_interface\n"
            "dnsmasq_write_resolv_conf\n"
            "open_unit_file\n"
            "write_unit_dns\n"
            "write_static_routes\n"
            "gre_apply\n");
}

TEST_F(WwanTest, PassThroughPrintsItsTraceLines) {
  NetworkContext ctx = context_of(passthrough("eth0", "pass-through", ""));
  EXPECT_EQ(printed_by([&] { init_wwan_interface(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { init_wwan_interface(&ctx); }),
            "init_wwan_interface\n"
            "dnsmasq_write_resolv_conf\n"
            "open_unit_file\n"
            "open_unit_file\n"
            "write_unit_dns\n"
            "write_static_routes\n");
}

// --- Decisions without output

TEST_F(WwanTest, AValueOfTheLinkIsReplacedByAPositiveNumberWithItsOverride) {
  const auto read = [](const char* config) {
    const NetworkContext ctx = context_of(config);
    return read_wwan_settings(&ctx);
  };
  const WwanSettings none = read(R"({"wireless": {"cell": {"netmask": 24, "mtu": 1400}}})");
  EXPECT_FALSE(none.prefix || none.mtu || none.metric || none.has_prefix() || none.has_mtu());
  const WwanSettings zero = read(R"({"wireless": {"cell": {
    "netmask_override": true, "netmask": 0, "mtu_override": true, "mtu": 0, "metric": 0}}})");
  EXPECT_EQ(zero.prefix, 0);
  EXPECT_FALSE(zero.has_prefix() || zero.has_mtu());
  EXPECT_EQ(zero.metric, 0);
  const WwanSettings all = read(R"({"wireless": {"cell": {
    "netmask_override": true, "netmask": 1, "mtu_override": true, "mtu": 1, "metric": -1}}})");
  EXPECT_TRUE(all.has_prefix() && all.has_mtu());
  EXPECT_EQ(all.metric, std::nullopt);
}

TEST_F(WwanTest, TheConfiguredMetricIsForRouterModeAlone) {
  NetworkContext ctx = context_of(R"({"wireless": {"cell": {"metric": 50}}})");
  EXPECT_EQ(read_wwan_settings(&ctx).metric, 50);
  ctx.passthrough_enabled = true;
  EXPECT_EQ(read_wwan_settings(&ctx).metric, 0);
}

TEST_F(WwanTest, APassthroughPortIsReadByItsOwnRules) {
  const auto read = [](const char* port, const char* network) {
    static Json::Value config;
    config["wired"][port]["network"] = json(network);
    static NetworkContext ctx = context_of("{}");
    ctx.config = config;
    init_passthrough_modes(&ctx);
    return read_passthrough_port(&ctx);
  };
  const PassthroughPort eth0 = read("eth0", R"({"mode": "pass-through", "ipv4": "", "netmask": 0})");
  EXPECT_STREQ(eth0.ifname, "eth0");
  EXPECT_EQ(eth0.address, std::nullopt);
  EXPECT_EQ(eth0.prefix, std::nullopt);
  EXPECT_FALSE(eth0.has_secondary_ip);
  EXPECT_EQ(read("eth0", R"({"mode": "pass-through-auto", "ipv4": "10.0.0.1"})").address, std::nullopt);
  EXPECT_EQ(read("eth0", R"({"mode": "pass-through", "ipv4": "10.0.0.1"})").address, "10.0.0.1");
  read("eth0", R"({"mode": "router"})");
  const PassthroughPort eth1 = read(
      "eth1",
      R"({"mode": "pass-through", "ipv4": "", "netmask": 0, "advanced": {"enable_secondary_ip": true}})");
  EXPECT_STREQ(eth1.ifname, "eth1");
  EXPECT_EQ(eth1.address, "");
  EXPECT_EQ(eth1.prefix, 0);
  EXPECT_TRUE(eth1.has_secondary_ip);
}
