#include "driver/apply.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "lanfab_test.h"

namespace fs = std::filesystem;

namespace {

class ApplyTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().mac_addresses = {{"eth0", "02:00:5e:00:00:10"}, {"eth1", "02:00:5e:00:00:11"}};
  }
};

}  // namespace

constexpr char kMakeScriptExecutable[] = "/bin/chmod +x /var/run/post_networkd_start_actions_script";
constexpr char kStartNetworkd[] = "execute_systemctl_start systemd-networkd";
constexpr char kRestartNetworkd[] = "execute_systemctl_restart systemd-networkd";

constexpr char kPortWithoutNetwork[] = R"({"enable": true})";
constexpr char kRouterPort[] =
    R"({"enable": true, "network": {
      "mode": "router", "protocol": "static", "ipv4": "192.168.1.1", "netmask": 24}})";
// A tunnel without any required key.
constexpr char kBrokenTunnels[] = R"({"gre": [{"enable": true}]})";

// The result of an apply of this configuration.
static int applied(const std::string& network, bool pulse = false) {
  const NetworkContext ctx = context_of(network);
  return apply(&ctx, pulse);
}

static std::string wired(const std::string& eth0, const std::string& eth1) {
  return R"({"wired": {"eth0": )" + eth0 + R"(, "eth1": )" + eth1 + "}}";
}

// The values of the link manager while the link is up.
static void put_cellular_values() {
  put_file("/var/run/wwan_intf", "wwan0\n");
  put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
  put_file("/var/run/wwan_cidr", "30\n");
  put_file("/var/run/wwan_gw", "10.20.30.41\n");
}

static std::ptrdiff_t count_of(const Lines& lines, const std::string& line) {
  return std::count(lines.begin(), lines.end(), line);
}

// The steps of a traced run, in order, without traces inside a step.
static Lines steps_of(const std::string& trace) {
  static const Lines kSteps = {"apply",
                               "clear_static_routes",
                               "clear_network_interfaces",
                               "write_bridge_network",
                               "lanfab_ethernet",
                               "set_sysdb_macaddr",
                               "set_sysdb_netmode",
                               "lanfab_wifi",
                               "gre_apply",
                               "write_wwan_static_routes",
                               "write_clear_static_routes",
                               "init_wwan_interface",
                               "pulse_ethernet_ports"};
  Lines steps;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    if (count_of(kSteps, line) != 0) steps.push_back(line);
  }
  return steps;
}

static Lines traced_steps(const std::string& network, bool pulse = false) {
  NetworkContext ctx = context_of(network);
  ctx.trace = true;
  return steps_of(printed_by([&] { apply(&ctx, pulse); }));
}

// --- The order of the steps

TEST_F(ApplyTest, EveryStepOfAFullConfigurationRunsInOrder) {
  EXPECT_THAT(traced_steps(R"({
        "wired": {
          "bridge": {"enable": true, "interfaces": ["eth1"], "primary_interface": "eth1"},
          "eth0": {"enable": true, "network": {"mode": "router"}},
          "eth1": {"enable": true, "network": {"mode": "router"}}
        },
        "wireless": {"wifi": {"wlan0": {"ap": {"enable": true}}}, "cell": {"enable": true}},
        "tunnels": {"gre": []},
        "static_routes": []
      })",
                           true),
              ElementsAre("apply", "clear_static_routes", "clear_network_interfaces", "write_bridge_network",
                          "lanfab_ethernet", "set_sysdb_macaddr", "set_sysdb_netmode",  // eth0
                          "lanfab_ethernet", "set_sysdb_macaddr", "set_sysdb_netmode",  // eth1
                          "lanfab_wifi", "gre_apply", "write_wwan_static_routes", "write_clear_static_routes",
                          "init_wwan_interface", "gre_apply", "pulse_ethernet_ports"));
}

TEST_F(ApplyTest, AnEmptyConfigurationRunsTheStepsThatNeedNone) {
  EXPECT_THAT(traced_steps("{}"),
              ElementsAre("apply", "clear_static_routes", "clear_network_interfaces", "gre_apply",
                          "write_clear_static_routes", "init_wwan_interface", "gre_apply"));
}

TEST_F(ApplyTest, AFailedRunEndsBeforeTheCellularStep) {
  EXPECT_THAT(traced_steps(wired(kPortWithoutNetwork, kPortWithoutNetwork), true),
              ElementsAre("apply", "clear_static_routes", "clear_network_interfaces", "lanfab_ethernet",
                          "lanfab_ethernet", "gre_apply", "write_clear_static_routes"));
}

TEST_F(ApplyTest, AnUntracedRunPrintsNothing) {
  EXPECT_EQ(printed_by([] { applied(wired(kRouterPort, kPortWithoutNetwork), true); }), "");
}

TEST_F(ApplyTest, AnEmptyConfigurationIsAppliedWithFewCallsAndMessages) {
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_THAT(platform().calls, ElementsAre(kMakeScriptExecutable, kStartNetworkd));
  EXPECT_THAT(platform().log, ElementsAre("notice lanfab apply", "notice wwan network info not available",
                                          "notice cmd lanfab apply OK"));
}

// --- The previous run

TEST_F(ApplyTest, ThePreviousRunIsUndoneFirstItsRoutesBeforeItsInterfaces) {
  put_file("/var/run/.delete_interfaces", "/sbin/ip link delete dev br-lan\n");
  put_file("/var/run/.delete_static_routes", "#!/bin/sh\n");
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_THAT(platform().calls,
              ElementsAre("/bin/sh /var/run/.delete_static_routes", "/bin/sh /var/run/.delete_interfaces",
                          kMakeScriptExecutable, kStartNetworkd));
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice lanfab apply", "debug delete static routes", "debug clear network interfaces",
                  "notice wwan network info not available", "notice cmd lanfab apply OK"));
}

TEST_F(ApplyTest, WhatThisRunSetsUpIsLeftForTheNextRunToUndo) {
  put_file("/var/run/.delete_interfaces", "/sbin/ip link delete dev of-the-previous-run\n");
  EXPECT_EQ(applied(wired(kRouterPort, kRouterPort)), 0);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth1"));
}

TEST_F(ApplyTest, ThePostStartScriptIsResetToAHarmlessCommand) {
  put_file("/var/run/post_networkd_start_actions_script",
           "of the previous run, and longer than the new one\n");
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_EQ(text_of_file("/var/run/post_networkd_start_actions_script"), "#!/bin/sh\necho OK\n");
}

TEST_F(ApplyTest, TheRouterMarkerReflectsThisRunOnly) {
  put_file("/var/run/ROUTER_MODE", "");
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_FALSE(exists("/var/run/ROUTER_MODE"));
}

TEST_F(ApplyTest, TheRouterMarkerIsGoneBeforeAPortMakesItAgain) {
  put_file("/var/run/ROUTER_MODE", "");
  bool touched = false;
  platform().on_shell = [&](const std::string& line) {
    if (line != "/bin/touch /var/run/ROUTER_MODE") return;
    touched = true;
    EXPECT_FALSE(exists("/var/run/ROUTER_MODE"));
  };
  EXPECT_EQ(applied(wired(kRouterPort, "{}")), 0);
  EXPECT_TRUE(touched);
}

// --- The LAN bridge

TEST_F(ApplyTest, AnEnabledBridgeIsWritten) {
  const std::string bridge =
      R"("bridge": {"enable": true, "interfaces": ["eth0"], "primary_interface": "eth0"})";
  EXPECT_EQ(applied(R"({"wired": {"eth0": )" + std::string(kRouterPort) + ", " + bridge + "}}"), 0);
  EXPECT_TRUE(exists("/var/run/systemd/network/79-br-lan.netdev"));
  EXPECT_TRUE(exists("/var/run/systemd/network/79-br-lan.network"));
  EXPECT_TRUE(exists("/var/run/systemd/network/79-eth0.network"));
  EXPECT_FALSE(exists("/var/run/systemd/network/20-eth0.network"));
}

TEST_F(ApplyTest, ADisabledBridgeIsNot) {
  EXPECT_EQ(applied(R"({"wired": {"bridge": {"enable": false, "interfaces": ["eth0"]}}})"), 0);
  EXPECT_TRUE(fs::is_empty("/var/run/systemd/network"));
}

TEST_F(ApplyTest, ABridgeThatFailsFailsTheRunButStopsNothing) {
  EXPECT_EQ(applied(R"({"wired": {"bridge": {"enable": true, "primary_interface": "eth1"}, "eth0": )" +
                    std::string(kRouterPort) + "}}"),
            -1);
  EXPECT_EQ(count_of(platform().log, "notice error writing bridge network unit files"), 1);
  EXPECT_TRUE(exists("/var/run/systemd/network/20-eth0.network"));
  EXPECT_EQ(platform().log.back(), "notice cmd lanfab apply FAILED");
}

// --- The Ethernet ports

TEST_F(ApplyTest, PortsThatAreNotConfiguredArePassedOver) {
  for (const char* network : {"{}", R"({"wired": {}})", R"({"wired": {"eth0": true, "eth1": []}})"}) {
    SCOPED_TRACE(network);
    EXPECT_EQ(applied(network), 0);
    EXPECT_THAT(platform().calls, Not(Contains(HasSubstr("sysdb"))));
    EXPECT_TRUE(fs::is_empty("/var/run/systemd/network"));
  }
}

TEST_F(ApplyTest, EachPortHasItsOrderNumber) {
  EXPECT_EQ(applied(wired(kRouterPort, kRouterPort)), 0);
  EXPECT_TRUE(exists("/var/run/systemd/network/20-eth0.network"));
  EXPECT_TRUE(exists("/var/run/systemd/network/21-eth1.network"));
}

TEST_F(ApplyTest, APortsAddressAndModeAreRecordedAfterItsUnit) {
  EXPECT_EQ(applied(wired(R"({"enable": false})", R"({"enable": false})")), 0);
  EXPECT_THAT(
      platform().calls,
      ElementsAre(kMakeScriptExecutable,  //
                  "ip_link_set_interface_down eth0", "sysdb_write_str 0 SYS_MACADDR 02005e000010 0",
                  "sysdb_write_str 0 SYS_ETH0_MACADDR 02005e000010 0",
                  "sysdb_namedb_write_str 0 NET NET_ETH0_MODE Disabled 0", "ip_link_set_interface_down eth1",
                  "sysdb_write_str 0 SYS_ETH1_MACADDR 02005e000011 0",
                  "sysdb_namedb_write_str 0 NET NET_ETH1_MODE Disabled 0",  //
                  kStartNetworkd));
}

TEST_F(ApplyTest, APortThatFailsIsNotRecordedAndStopsNothing) {
  EXPECT_EQ(applied(wired(kPortWithoutNetwork, R"({"enable": false})")), -1);
  EXPECT_THAT(platform().calls, ElementsAre(kMakeScriptExecutable, "ip_link_set_interface_down eth1",
                                            "sysdb_write_str 0 SYS_ETH1_MACADDR 02005e000011 0",
                                            "sysdb_namedb_write_str 0 NET NET_ETH1_MODE Disabled 0"));
  EXPECT_THAT(platform().log,
              ElementsAre("notice lanfab apply", "notice interface eth0 is enabled",
                          "notice config requires network config", "debug lanfab eth0 apply failed",
                          "notice interface eth1 is disabled", "debug turning off interface eth1",
                          "notice cmd lanfab apply FAILED"));
}

TEST_F(ApplyTest, TheSecondPortFailsTheRunToo) {
  EXPECT_EQ(applied(wired(R"({"enable": false})", kPortWithoutNetwork)), -1);
  EXPECT_EQ(count_of(platform().log, "debug lanfab eth1 apply failed"), 1);
  EXPECT_THAT(platform().calls, Contains("sysdb_namedb_write_str 0 NET NET_ETH0_MODE Disabled 0"));
  EXPECT_THAT(platform().calls, Not(Contains("sysdb_write_str 0 SYS_ETH1_MACADDR 02005e000011 0")));
}

// --- Wi-Fi

TEST_F(ApplyTest, ConfiguredWifiIsWritten) {
  EXPECT_EQ(applied(R"({"wireless": {"wifi": {"wlan0": {"ap": {"enable": true, "network": {}}}}}})"), 0);
  EXPECT_TRUE(exists("/var/run/systemd/network/80-wlan0.network"));
  EXPECT_EQ(platform().log.at(1), "debug wifi interfaces");
}

TEST_F(ApplyTest, WifiClientsNeedNoAccessPoint) {
  EXPECT_EQ(applied(R"({"wireless": {"wifi": {"wlan0": {"client": {"enable": true, "network": {}}}}}})"), 0);
  EXPECT_TRUE(exists("/var/run/systemd/network/84-wlan0.network"));
}

TEST_F(ApplyTest, WifiThatIsNotConfiguredIsNotMentioned) {
  EXPECT_EQ(applied(R"({"wireless": {"wifi": []}})"), 0);
  EXPECT_THAT(platform().log, Not(Contains("debug wifi interfaces")));
}

TEST_F(ApplyTest, WifiThatFailsFailsTheRunButStopsNothing) {
  fs::create_directory("/var/run/systemd/network/80-wlan0.network");
  EXPECT_EQ(applied(R"({"wireless": {"wifi": {"wlan0": {"ap": {"enable": true, "network": {}}}}},
                        "tunnels": {"gre": [{"enable": false}]}})"),
            -1);
  EXPECT_EQ(count_of(platform().log, "debug lanfab_wifi failed"), 1);
  EXPECT_EQ(count_of(platform().calls, "/sbin/ip tunnel del gre-tun1"), 1);
  EXPECT_TRUE(exists("/var/run/.delete_static_routes"));
  EXPECT_EQ(platform().log.back(), "notice cmd lanfab apply FAILED");
}

// --- GRE

TEST_F(ApplyTest, TunnelsAreAppliedTwiceInARunThatSucceeds) {
  EXPECT_EQ(applied(R"({"tunnels": {"gre": [{"enable": false}]}})"), 0);
  EXPECT_THAT(platform().calls,
              ElementsAre(kMakeScriptExecutable,                                             //
                          "/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308",  //
                          "/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308",  //
                          kStartNetworkd));
}

TEST_F(ApplyTest, TunnelsAreAppliedOnceInARunThatFails) {
  EXPECT_EQ(applied(R"({"tunnels": {"gre": [{"enable": false}]}, "wired": {"eth0": {"enable": true}}})"), -1);
  EXPECT_THAT(platform().calls, ElementsAre(kMakeScriptExecutable, "/sbin/ip tunnel del gre-tun1",
                                            "/usr/bin/route_table_flush 308"));
}

TEST_F(ApplyTest, TunnelsThatFailDoNotFailTheRun) {
  EXPECT_EQ(applied(R"({"tunnels": )" + std::string(kBrokenTunnels) + "}"), 0);
  EXPECT_EQ(count_of(platform().log, "info lanfab failed creating GRE tunnels"), 2);
  EXPECT_EQ(platform().log.back(), "notice cmd lanfab apply OK");
}

// --- Routes

constexpr char kRoutes[] = R"("static_routes": [
  {"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16},
  {"enable": true, "interface": "eth0", "ipv4": "10.30.0.0", "netmask": 16}
])";

// Checks that the script that removes the routes at the next run contains both routes.
static void expect_removal_of_routes() {
  EXPECT_THAT(text_of_file("/var/run/.delete_static_routes"),
              AllOf(HasSubstr(" 10.20.0.0/16 dev wwan0 "), HasSubstr(" 10.30.0.0/16 dev eth0 ")));
}

TEST_F(ApplyTest, AnEnabledCellularLinkGetsItsRouteScript) {
  EXPECT_EQ(applied(R"({"wireless": {"cell": {"enable": true}}, )" + std::string(kRoutes) + "}"), 0);
  EXPECT_THAT(text_of_file("/var/run/wwan0_static_routes"), HasSubstr(" 10.20.0.0/16 dev wwan0\n"));
  expect_removal_of_routes();
}

TEST_F(ApplyTest, WithoutTheCellularLinkOnlyTheRemovalScriptIsWritten) {
  for (const char* cell : {R"({"enable": false})", R"({"enable": 1})", R"({})"}) {
    SCOPED_TRACE(cell);
    EXPECT_EQ(applied(R"({"wireless": {"cell": )" + std::string(cell) + "}, " + kRoutes + "}"), 0);
    EXPECT_FALSE(exists("/var/run/wwan0_static_routes"));
    expect_removal_of_routes();
  }
}

TEST_F(ApplyTest, ADisabledLinksOldRouteScriptIsLeftAlone) {
  put_file("/var/run/wwan0_static_routes", "of an earlier run\n");
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_EQ(text_of_file("/var/run/wwan0_static_routes"), "of an earlier run\n");
}

TEST_F(ApplyTest, TheRouteScriptsAreWrittenInARunThatFailsToo) {
  EXPECT_EQ(applied(R"({"wireless": {"cell": {"enable": true}}, "wired": {"eth0": {"enable": true}}, )" +
                    std::string(kRoutes) + "}"),
            -1);
  EXPECT_TRUE(exists("/var/run/wwan0_static_routes"));
  expect_removal_of_routes();
}

TEST_F(ApplyTest, WithoutRoutesTheRemovalScriptRemovesNone) {
  for (const char* routes : {"[]", "{}", "null", R"("10.0.0.0/8")"}) {
    EXPECT_EQ(applied(R"({"static_routes": )" + std::string(routes) + "}"), 0) << routes;
    EXPECT_THAT(text_of_file("/var/run/.delete_static_routes"), Not(HasSubstr("route"))) << routes;
  }
}

// --- The ending

TEST_F(ApplyTest, ARunThatSucceedsRestartsARunningNetworkd) {
  platform().active_services = {"systemd-networkd"};
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_EQ(platform().calls.back(), kRestartNetworkd);
}

TEST_F(ApplyTest, ARunThatFailsLeavesNetworkdAndTheCellularUnitAlone) {
  platform().active_services = {"systemd-networkd"};
  put_cellular_values();
  EXPECT_EQ(applied(wired(kPortWithoutNetwork, "{}")), -1);
  EXPECT_THAT(platform().calls, Not(Contains(kRestartNetworkd)));
  EXPECT_THAT(platform().calls, Not(Contains(kStartNetworkd)));
  EXPECT_FALSE(exists("/var/run/systemd/network/10-wwan0.network"));
}

TEST_F(ApplyTest, ARunThatSucceedsWritesTheCellularUnit) {
  put_cellular_values();
  EXPECT_EQ(applied("{}"), 0);
  EXPECT_TRUE(exists("/var/run/systemd/network/10-wwan0.network"));
  EXPECT_EQ(platform().log.back(), "notice cmd lanfab apply OK");
}

TEST_F(ApplyTest, SeveralFailuresEndInOneMessage) {
  EXPECT_EQ(
      applied(
          R"({"wired": {"bridge": {"enable": true}, "eth0": {"enable": true}, "eth1": {"enable": true}}})"),
      -1);
  EXPECT_EQ(count_of(platform().log, "notice cmd lanfab apply FAILED"), 1);
  EXPECT_EQ(count_of(platform().log, "notice cmd lanfab apply OK"), 0);
}

TEST_F(ApplyTest, ALaterSuccessDoesNotClearAFailure) {
  EXPECT_EQ(applied(wired(kPortWithoutNetwork, kRouterPort)), -1);
  EXPECT_TRUE(exists("/var/run/systemd/network/21-eth1.network"));
}

TEST_F(ApplyTest, ThePulseSwitchChangesNothingThatIsWrittenOrRun) {
  EXPECT_EQ(applied(wired(kRouterPort, "{}"), false), 0);
  const Lines calls = platform().calls;
  const Lines log = platform().log;
  fs::remove("/var/run/.delete_interfaces");
  fs::remove("/var/run/.delete_static_routes");
  EXPECT_EQ(applied(wired(kRouterPort, "{}"), true), 0);
  EXPECT_EQ(platform().calls, calls);
  EXPECT_EQ(platform().log, log);
}

// --- wwan_apply

TEST_F(ApplyTest, WwanApplyWritesTheCellularUnitThenTheTunnelsThenStartsNetworkd) {
  put_cellular_values();
  NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {"mode": "pass-through"}}},
                                      "tunnels": {"gre": [{"enable": false}]}})");
  ctx.trace = true;
  EXPECT_THAT(steps_of(printed_by([&] { EXPECT_EQ(wwan_apply(&ctx), 0); })),
              ElementsAre("init_wwan_interface", "gre_apply"));
  EXPECT_TRUE(exists("/var/run/systemd/network/10-wwan0.network"));
  const Lines& calls = platform().calls;
  ASSERT_GE(calls.size(), 3U);
  EXPECT_THAT(Lines(calls.end() - 3, calls.end()),
              ElementsAre("/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308", kStartNetworkd));
}

TEST_F(ApplyTest, WwanApplyPrintsAndLogsNothingOfItsOwn) {
  NetworkContext ctx = context_of("{}");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { wwan_apply(&ctx); }),
            "init_wwan_interface\n"
            "gre_apply\n");
  EXPECT_THAT(platform().log, ElementsAre("notice wwan network info not available"));
}

TEST_F(ApplyTest, WwanApplyRestartsARunningNetworkd) {
  platform().active_services = {"systemd-networkd"};
  const NetworkContext ctx = context_of("{}");
  wwan_apply(&ctx);
  EXPECT_THAT(platform().calls, ElementsAre(kRestartNetworkd));
}

TEST_F(ApplyTest, WwanApplyReturnsTheResultOfTheCellularInterfaceAndStartsNetworkdAnyhow) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(wwan_apply(&ctx), -1);
  EXPECT_THAT(platform().calls, ElementsAre(kStartNetworkd));
}

TEST_F(ApplyTest, WwanApplyIgnoresTheResultOfTheTunnels) {
  put_cellular_values();
  const NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {"mode": "pass-through"}}},
                                            "tunnels": )" +
                                        std::string(kBrokenTunnels) + "}");
  EXPECT_EQ(wwan_apply(&ctx), 0);
  EXPECT_EQ(platform().calls.back(), kStartNetworkd);
}

TEST_F(ApplyTest, WwanApplyTouchesNothingOfTheUndo) {
  put_file("/var/run/.delete_interfaces", "interfaces\n");
  put_file("/var/run/.delete_static_routes", "routes\n");
  const NetworkContext ctx = context_of("{}");
  wwan_apply(&ctx);
  EXPECT_EQ(text_of_file("/var/run/.delete_interfaces"), "interfaces\n");
  EXPECT_EQ(text_of_file("/var/run/.delete_static_routes"), "routes\n");
}

// --- The system database

TEST_F(ApplyTest, APortsMacAddressIsRecordedUnderItsKeys) {
  const NetworkContext ctx = context_of("{}");
  set_sysdb_macaddr(&ctx, "eth0");
  set_sysdb_macaddr(&ctx, "eth1");
  EXPECT_THAT(platform().calls, ElementsAre("sysdb_write_str 0 SYS_MACADDR 02005e000010 0",
                                            "sysdb_write_str 0 SYS_ETH0_MACADDR 02005e000010 0",
                                            "sysdb_write_str 0 SYS_ETH1_MACADDR 02005e000011 0"));
}

TEST_F(ApplyTest, APortWithoutAMacAddressIsRecordedAsEmpty) {
  platform().mac_addresses.clear();
  const NetworkContext ctx = context_of("{}");
  set_sysdb_macaddr(&ctx, "eth0");
  EXPECT_THAT(platform().calls, ElementsAre("sysdb_write_str 0 SYS_MACADDR \"\" 0",
                                            "sysdb_write_str 0 SYS_ETH0_MACADDR \"\" 0"));
}

TEST_F(ApplyTest, AnyOtherInterfaceIsNotRecorded) {
  const NetworkContext ctx = context_of("{}");
  for (const char* ifname : {"eth2", "eth", "eth0.100", "wlan0", ""}) {
    set_sysdb_macaddr(&ctx, ifname);
    set_sysdb_netmode(&ctx, ifname, json(kRouterPort));
  }
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(ApplyTest, APortsModeIsRecordedInTheNamedDatabase) {
  struct Case {
    const char* port_config;
    const char* mode;
  };
  const NetworkContext ctx = context_of("{}");
  for (const Case& c : {
           Case{R"({"enable": true, "network": {"mode": "router"}})", "Router"},
           Case{R"({"enable": true, "network": {"mode": "pass-through"}})", "Pass-through"},
           Case{R"({"enable": true, "network": {"mode": "pass-through-auto"}})", "Pass-through"},
           Case{R"({"enable": true, "network": {"mode": "Router"}})", "Pass-through"},
           Case{R"({"enable": true, "network": {"mode": ""}})", "Pass-through"},
           Case{R"({"enable": true, "network": {"mode": 1}})", "Router"},
           Case{R"({"enable": true, "network": {}})", "Router"},
           Case{R"({"enable": true})", "Router"},
           Case{R"({"enable": false, "network": {"mode": "router"}})", "Disabled"},
           Case{R"({"enable": 1, "network": {"mode": "router"}})", "Disabled"},
           Case{R"({"network": {"mode": "pass-through"}})", "Disabled"},
           Case{R"({})", "Disabled"},
           Case{R"([])", "Disabled"},
       }) {
    SCOPED_TRACE(c.port_config);
    platform().calls.clear();
    set_sysdb_netmode(&ctx, "eth0", json(c.port_config));
    set_sysdb_netmode(&ctx, "eth1", json(c.port_config));
    EXPECT_THAT(platform().calls,
                ElementsAre("sysdb_namedb_write_str 0 NET NET_ETH0_MODE " + std::string(c.mode) + " 0",
                            "sysdb_namedb_write_str 0 NET NET_ETH1_MODE " + std::string(c.mode) + " 0"));
  }
}

TEST_F(ApplyTest, TheRecordersPrintTheirTraceLines) {
  NetworkContext ctx = context_of("{}");
  const auto both = [&] {
    set_sysdb_macaddr(&ctx, "eth2");
    set_sysdb_netmode(&ctx, "eth2", Json::Value());
  };
  EXPECT_EQ(printed_by(both), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(both), "set_sysdb_macaddr\nset_sysdb_netmode\n");
}

// --- pulse_ethernet_ports

TEST_F(ApplyTest, PulsingThePortsIsATraceLineAndNothingElse) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { EXPECT_EQ(pulse_ethernet_ports(&ctx), 0); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { EXPECT_EQ(pulse_ethernet_ports(&ctx), 0); }), "pulse_ethernet_ports\n");
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_THAT(platform().log, IsEmpty());
}
