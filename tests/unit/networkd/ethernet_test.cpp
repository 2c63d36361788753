#include "networkd/ethernet.h"

#include <filesystem>

#include "lanfab_test.h"

constexpr char kRouter[] = R"({"firewall": {"general": {"router": 1}}})";

// eth0 in router mode with one VLAN.
constexpr char kVlanPort[] = R"({
  "enable": true,
  "network": {"mode": "router", "ipv4": "192.168.1.1", "netmask": 24,
              "advanced": {"vlan": {"enable": true, "networks": [
                {"enable": true, "vid": 100, "network": {"ipv4": "192.168.100.1", "netmask": 24}}]}}}})";

constexpr char kVlanNetdev[] = R"([NetDev]
Name = eth0.100
Kind = vlan

[VLAN]
Id = 100
)";

// Lines that identify the network unit of the VLAN.
constexpr char kVlanAddress[] = "\nAddress = 192.168.100.1/24\n";

namespace {

class EthernetTest : public LanfabTest {};

}  // namespace

static int apply_eth0(const NetworkContext& ctx, const std::string& port) {
  return lanfab_ethernet(&ctx, 20, "eth0", json(port));
}

TEST_F(EthernetTest, APortThatIsNotEnabledIsSetDown) {
  for (const char* port :
       {R"({"enable": false, "network": {"mode": "router", "ipv4": "192.168.1.1"}})",
        R"({"enable": "true", "network": {"mode": "router"}})", R"({"network": {"mode": "router"}})", "{}"}) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(apply_eth0(ctx, port), 0) << port;
    EXPECT_THAT(platform().log,
                ElementsAre("notice interface eth0 is disabled", "debug turning off interface eth0"));
    EXPECT_THAT(platform().calls, ElementsAre("ip_link_set_interface_down eth0"));
    EXPECT_THAT(unit_names(), IsEmpty());
    EXPECT_THAT(recorded_interfaces(), IsEmpty());
  }
}

TEST_F(EthernetTest, AnEnabledPortNeedsItsNetworkObject) {
  for (const char* port : {R"({"enable": true})", R"({"enable": true, "network": "router"})"}) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(apply_eth0(ctx, port), -1) << port;
    EXPECT_THAT(platform().log,
                ElementsAre("notice interface eth0 is enabled", "notice config requires network config"));
    EXPECT_THAT(platform().calls, IsEmpty());
    EXPECT_THAT(unit_names(), IsEmpty());
    EXPECT_THAT(recorded_interfaces(), IsEmpty());
  }
}

TEST_F(EthernetTest, ARouterPortGetsItsUnitAndIsRecorded) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(lanfab_ethernet(&ctx, 21, "eth1", json(R"({"enable": true, "network": {
                                     "mode": "router", "ipv4": "192.168.2.1", "netmask": 24}})")),
            0);
  EXPECT_THAT(heads(unit("21-eth1.network")), ElementsAre("[Match]", "[Link]", "[Network]", "[Route]"));
  EXPECT_THAT(unit("21-eth1.network"), HasSubstr("\nAddress = 192.168.2.1/24\n"));
  EXPECT_THAT(unit_names(), ElementsAre("21-eth1.network"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth1"));
  EXPECT_THAT(platform().calls, ElementsAre("/bin/touch /var/run/ROUTER_MODE"));
  EXPECT_THAT(platform().log,
              ElementsAre("notice interface eth1 is enabled", "notice interface eth1 is in router mode",
                          "debug write unit file:/var/run/systemd/network/21-eth1.network\n",
                          "debug write_network_unit_file: eth1", "debug eth1 ipv4 config is 192.168.2.1",
                          "debug added eth1 network unit file"));
}

TEST_F(EthernetTest, TwoRouterPortsTouchTheMarkerTwice) {
  const NetworkContext ctx = context_of(kRouter);
  const Json::Value port = json(R"({"enable": true, "network": {"mode": "router"}})");
  EXPECT_EQ(lanfab_ethernet(&ctx, 20, "eth0", port), 0);
  EXPECT_EQ(lanfab_ethernet(&ctx, 21, "eth1", port), 0);
  EXPECT_THAT(platform().calls,
              ElementsAre("/bin/touch /var/run/ROUTER_MODE", "/bin/touch /var/run/ROUTER_MODE"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth1"));
}

TEST_F(EthernetTest, AFailedRouterUnitStillLeavesTheRestOfThePort) {
  const NetworkContext ctx = context_of(kRouter);
  block_unit("20-eth0.network");
  Json::Value port = json(kVlanPort);
  port["network"]["advanced"]["telnet"]["enable"] = false;
  EXPECT_EQ(lanfab_ethernet(&ctx, 20, "eth0", port), -1);
  EXPECT_THAT(log_of("notice"),
              ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in router mode",
                          "notice error creating network unit file: /var/run/systemd/network/20-eth0.network",
                          "notice error writing network unit file", "notice eth0 vlan enabled"));
  EXPECT_EQ(unit("30-eth0.100.netdev"), kVlanNetdev);
  EXPECT_THAT(unit("30-eth0.100.network"), HasSubstr(kVlanAddress));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth0.100 type vlan"));
  EXPECT_THAT(platform().calls,
              ElementsAre("/bin/touch /var/run/ROUTER_MODE", "/usr/bin/telnet-init stop 2>/dev/null"));
}

// --- Bridge members

TEST_F(EthernetTest, ABridgedPortHasNoUnitOfItsOwnButItsVlans) {
  const NetworkContext ctx = context_of(R"({
    "firewall": {"general": {"router": 1}},
    "wired": {"bridge": {"enable": true, "interfaces": ["wlan0", "eth0"]}}})");
  EXPECT_EQ(apply_eth0(ctx, kVlanPort), 0);
  EXPECT_THAT(unit_names(), ElementsAre("30-eth0.100.netdev", "30-eth0.100.network"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0.100 type vlan"));
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in router mode",
                  "debug interface eth0 is LAN bridge", "debug lanfab network: 30-eth0",
                  "notice eth0 vlan enabled",
                  "debug write unit file:/var/run/systemd/network/30-eth0.100.netdev\n",
                  "debug write unit file:/var/run/systemd/network/30-eth0.100.network\n",
                  "debug write_network_unit_file: eth0.100", "debug eth0.100 ipv4 config is 192.168.100.1"));
  EXPECT_THAT(platform().calls, ElementsAre("/bin/touch /var/run/ROUTER_MODE"));
}

TEST_F(EthernetTest, APortIsBridgedOnlyInTheListOfAnEnabledBridge) {
  for (const char* bridge : {R"({"enable": false, "interfaces": ["eth0"]})", R"({"interfaces": ["eth0"]})",
                             R"({"enable": true, "interfaces": ["eth1"]})",
                             R"({"enable": true, "interfaces": []})", R"({"enable": true})"}) {
    const NetworkContext ctx = context_of(R"({"wired": {"bridge": )" + std::string(bridge) + "}}");
    EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": {"mode": "router"}})"), 0);
    EXPECT_THAT(unit_names(), ElementsAre("20-eth0.network")) << bridge;
    std::filesystem::remove("/var/run/systemd/network/20-eth0.network");
  }
}

// --- Pass-through

TEST_F(EthernetTest, EveryModeButRouterIsPassThrough) {
  for (const char* network :
       {R"({"mode": "pass-through"})", R"({"mode": "pass-through-auto"})", R"({"mode": "Router"})",
        R"({"mode": "router "})", R"({"mode": ""})", R"({"mode": ["router"]})", "{}"}) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": )" + std::string(network) + "}"), 0) << network;
    EXPECT_EQ(unit("20-eth0.network"), "[Match]\nName = eth0\n\n") << network;
    EXPECT_THAT(
        platform().log,
        ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in pass-through mode",
                    "debug write unit file:/var/run/systemd/network/20-eth0.network\n"))
        << network;
    EXPECT_THAT(platform().calls, IsEmpty()) << network;
    EXPECT_THAT(recorded_interfaces(), IsEmpty()) << network;
  }
}

TEST_F(EthernetTest, APassThroughPortKeepsOnlyItsSecondaryAddress) {
  const NetworkContext ctx = context_of(R"({
    "static_routes": [{"enable": true, "interface": "eth1"}],
    "wired": {"bridge": {"enable": true, "interfaces": ["eth1"]}}})");
  const Json::Value port = json(R"({"enable": true, "network": {
    "mode": "pass-through-auto", "ipv4": "192.168.1.1", "netmask": 24, "gateway": "192.168.1.254",
    "advanced": {"enable_secondary_ip": true, "telnet": {"enable": true},
                 "vlan": {"enable": true, "networks": [{"enable": true, "vid": 1, "network": {}}]}}}})");
  EXPECT_EQ(lanfab_ethernet(&ctx, 21, "eth1", port), 0);
  EXPECT_EQ(unit("21-eth1.network"), "[Match]\nName = eth1\n\n\n[Address]\nAddress = 169.254.0.129/25\n");
  EXPECT_THAT(unit_names(), ElementsAre("21-eth1.network"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(EthernetTest, AUnitThatIsNotWholeFailsThePort) {
  const NetworkContext ctx = context_of(kRouter);
  fill_disk_for_unit("20-eth0.network");
  EXPECT_EQ(lanfab_ethernet(&ctx, 20, "eth0", json(kVlanPort)), -1);
  EXPECT_THAT(
      log_of("notice"),
      IsSupersetOf({"notice error writing /var/run/systemd/network/20-eth0.network: No space left on device",
                    "notice error writing network unit file"}));
  EXPECT_THAT(unit_names(), ElementsAre("30-eth0.100.netdev", "30-eth0.100.network"));
}

TEST_F(EthernetTest, APassThroughUnitThatIsNotWholeFails) {
  const NetworkContext ctx = context_of(kRouter);
  fill_disk_for_unit("20-eth0.network");
  EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": {"mode": "pass-through"}})"), -1);
  EXPECT_THAT(
      log_of("notice"),
      IsSupersetOf({"notice error writing /var/run/systemd/network/20-eth0.network: No space left on device",
                    "notice error writing eth0 network unit file for pass-through mode"}));
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(EthernetTest, APassThroughUnitThatCannotBeOpenedFails) {
  const NetworkContext ctx = context_of(kRouter);
  block_unit("20-eth0.network");
  EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": {"mode": "pass-through"}})"), -1);
  EXPECT_THAT(platform().log,
              ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in pass-through mode",
                          "debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                          "notice error creating network unit file: /var/run/systemd/network/20-eth0.network",
                          "notice error writing eth0 network unit file for pass-through mode"));
}

// --- VLANs

TEST_F(EthernetTest, AVlanHasADeviceAndANetworkUnitAndIsRecorded) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(apply_eth0(ctx, kVlanPort), 0);
  EXPECT_THAT(unit("20-eth0.network"), HasSubstr("\nVLAN = eth0.100\n"));
  EXPECT_EQ(unit("30-eth0.100.netdev"), kVlanNetdev);
  EXPECT_THAT(heads(unit("30-eth0.100.network")), ElementsAre("[Match]", "[Link]", "[Network]", "[Route]"));
  EXPECT_THAT(unit("30-eth0.100.network"), AllOf(HasSubstr("Name = eth0.100\n"), HasSubstr(kVlanAddress)));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth0.100 type vlan"));
}

TEST_F(EthernetTest, TheOrderOfAVlanListIsOnlyLogged) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(write_vlan_networks(&ctx, 99, "eth1", json(R"({"enable": true, "networks": [
                                         {"enable": true, "vid": 7, "network": {}}]})")),
            0);
  EXPECT_EQ(platform().log.front(), "debug lanfab network: 99-eth1");
  EXPECT_THAT(unit_names(), ElementsAre("30-eth1.7.netdev", "30-eth1.7.network"));
}

TEST_F(EthernetTest, EachCompleteEnabledVlanIsWritten) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(write_vlan_networks(&ctx, 30, "eth0", json(R"({"enable": true, "networks": [
                                         {"enable": true, "vid": 1, "network": {}},
                                         {"enable": false, "vid": 2, "network": {}},
                                         {"vid": 3, "network": {}},
                                         {"enable": true, "network": {}},
                                         {"enable": true, "vid": 5},
                                         {"enable": true, "vid": "6", "network": {}},
                                         {"enable": true, "vid": 7, "network": "text"},
                                         "text", 8, null,
                                         {"enable": true, "vid": 9, "network": {}}]})")),
            0);
  EXPECT_THAT(unit_names(),
              ElementsAre("30-eth0.1.netdev", "30-eth0.1.network", "30-eth0.9.netdev", "30-eth0.9.network"));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0.1 type vlan", "eth0.9 type vlan"));
  EXPECT_THAT(log_of("notice"), ElementsAre("notice eth0 vlan enabled"));
}

TEST_F(EthernetTest, AVlanListThatIsNotEnabledIsOnlyLogged) {
  for (const char* vlan : {R"({"enable": false, "networks": [{"enable": true, "vid": 1, "network": {}}]})",
                           R"({"networks": [{"enable": true, "vid": 1, "network": {}}]})", "{}"}) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(write_vlan_networks(&ctx, 30, "eth0", json(vlan)), 0);
    EXPECT_THAT(platform().log, ElementsAre("debug lanfab network: 30-eth0")) << vlan;
    EXPECT_THAT(unit_names(), IsEmpty()) << vlan;
  }
}

TEST_F(EthernetTest, AnEnabledVlanListNeedsNoNetworks) {
  for (const char* vlan : {R"({"enable": true})", R"({"enable": true, "networks": []})",
                           R"({"enable": true, "networks": {"enable": true, "vid": 1, "network": {}}})"}) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(write_vlan_networks(&ctx, 30, "eth0", json(vlan)), 0);
    EXPECT_THAT(platform().log, ElementsAre("debug lanfab network: 30-eth0", "notice eth0 vlan enabled"))
        << vlan;
    EXPECT_THAT(unit_names(), IsEmpty()) << vlan;
  }
}

TEST_F(EthernetTest, AVlanSettingThatIsNoObjectIsLeftOut) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": {"mode": "router", "advanced": {"vlan": true}}})"),
            0);
  EXPECT_EQ(platform().log.back(), "debug added eth0 network unit file");
}

TEST_F(EthernetTest, TheHybridModeIsOnlyLogged) {
  struct Case {
    const char* vlan;
    Lines log;
  };
  const NetworkContext ctx = context_of(kRouter);
  for (const Case& c : {
           Case{R"({"enable": true, "hybrid": true})", {"debug eth0 vlan hybrid mode:1"}},
           Case{R"({"enable": true, "hybrid": false})", {"debug eth0 vlan hybrid mode:0"}},
           Case{R"({"enable": true, "hybrid": "no"})", {}},
           Case{R"({"enable": true})", {}},
       }) {
    platform().log.clear();
    EXPECT_EQ(write_vlan_networks(&ctx, 30, "eth0", json(c.vlan)), 0);
    Lines log{"debug lanfab network: 30-eth0", "notice eth0 vlan enabled"};
    log.insert(log.end(), c.log.begin(), c.log.end());
    EXPECT_EQ(platform().log, log) << c.vlan;
  }
}

TEST_F(EthernetTest, TheHybridModeChangesNoUnit) {
  for (const bool hybrid : {false, true}) {
    const NetworkContext ctx = context_of(kRouter);
    Json::Value port = json(kVlanPort);
    port["network"]["advanced"]["vlan"]["hybrid"] = hybrid;
    EXPECT_EQ(lanfab_ethernet(&ctx, 20, "eth0", port), 0);
    EXPECT_EQ(unit("30-eth0.100.netdev"), kVlanNetdev);
    EXPECT_THAT(unit("30-eth0.100.network"), HasSubstr(kVlanAddress));
  }
}

TEST_F(EthernetTest, AFailedVlanDeviceUnitStopsNothing) {
  const NetworkContext ctx = context_of(kRouter);
  block_unit("30-eth0.100.netdev");
  EXPECT_EQ(apply_eth0(ctx, kVlanPort), 0);
  EXPECT_THAT(
      log_of("notice"),
      ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in router mode",
                  "notice eth0 vlan enabled",
                  "notice error creating network unit file: /var/run/systemd/network/30-eth0.100.netdev",
                  "notice error writing vlan netdev unit file"));
  EXPECT_THAT(unit("30-eth0.100.network"), HasSubstr(kVlanAddress));
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth0.100 type vlan"));
}

TEST_F(EthernetTest, AFailedVlanNetworkUnitStopsNothing) {
  const NetworkContext ctx = context_of(kRouter);
  block_unit("30-eth0.100.network");
  EXPECT_EQ(apply_eth0(ctx, kVlanPort), 0);
  EXPECT_THAT(
      log_of("notice"),
      ElementsAre("notice interface eth0 is enabled", "notice interface eth0 is in router mode",
                  "notice eth0 vlan enabled",
                  "notice error creating network unit file: /var/run/systemd/network/30-eth0.100.network",
                  "notice error writing vlan network unit file"));
  EXPECT_EQ(unit("30-eth0.100.netdev"), kVlanNetdev);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0", "eth0.100 type vlan"));
}

TEST_F(EthernetTest, ADeviceUnitThatIsNotWholeFails) {
  const NetworkContext ctx = context_of(kRouter);
  fill_disk_for_unit("30-eth0.100.netdev");
  EXPECT_EQ(write_vlan_netdev_unit_file(&ctx, 30, "eth0.100", 100), -1);
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(EthernetTest, ADeviceUnitIsWrittenUnderAnyOrder) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(write_vlan_netdev_unit_file(&ctx, 31, "eth0.100", 100), 0);
  EXPECT_EQ(unit("31-eth0.100.netdev"), kVlanNetdev);
}

TEST_F(EthernetTest, ADeviceUnitThatCannotBeOpenedFails) {
  const NetworkContext ctx = context_of(kRouter);
  block_unit("30-eth0.100.netdev");
  EXPECT_EQ(write_vlan_netdev_unit_file(&ctx, 30, "eth0.100", 100), -1);
}

// --- Telnet

TEST_F(EthernetTest, TelnetFollowsItsSettingAndStaysWithoutOne) {
  struct Case {
    const char* network;
    Lines log;
    Lines calls;
  };
  for (const Case& c : {
           Case{R"({"advanced": {"telnet": {"enable": true}}})",
                {"notice starting telnetd"},
                {"/usr/bin/telnet-init start 2>/dev/null"}},
           Case{R"({"advanced": {"telnet": {"enable": false}}})",
                {},
                {"/usr/bin/telnet-init stop 2>/dev/null"}},
           Case{R"({"advanced": {"telnet": {"enable": 1}}})", {}, {}},
           Case{R"({"advanced": {"telnet": {}}})", {}, {}},
           Case{R"({"advanced": {"telnet": true}})", {}, {}},
           Case{R"({"advanced": {}})", {}, {}},
           Case{R"({})", {}, {}},
       }) {
    const NetworkContext ctx = context_of(kRouter);
    EXPECT_EQ(set_telnet_service(&ctx, json(c.network)), 0);
    EXPECT_EQ(platform().log, c.log) << c.network;
    EXPECT_EQ(platform().calls, c.calls) << c.network;
  }
}

TEST_F(EthernetTest, ARouterPortSetsTelnetAfterItsUnits) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(apply_eth0(ctx, R"({"enable": true, "network": {
              "mode": "router", "ipv4": "192.168.1.1", "advanced": {"telnet": {"enable": true}}}})"),
            0);
  EXPECT_THAT(
      platform().calls,
      ElementsAre("/bin/touch /var/run/ROUTER_MODE", "echo 0 > /proc/sys/net/ipv4/conf/eth0/forwarding",
                  "echo 0 > /proc/sys/net/ipv6/conf/eth0/forwarding",
                  "echo 0 > /proc/sys/net/ipv4/ip_forward", "echo 0 > /proc/sys/net/ipv6/ip_forward",
                  "/usr/bin/telnet-init start 2>/dev/null"));
}

TEST_F(EthernetTest, TurningOffIsLogged) {
  turn_off_interface("eth1");
  EXPECT_THAT(platform().log, ElementsAre("debug turning off interface eth1"));
  EXPECT_THAT(platform().calls, ElementsAre("ip_link_set_interface_down eth1"));
}

// --- The trace

TEST_F(EthernetTest, ADisabledPortPrintsItsTraceLine) {
  NetworkContext ctx = context_of(kRouter);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { apply_eth0(ctx, "{}"); }), "lanfab_ethernet\n");
}

TEST_F(EthernetTest, ARouterPortPrintsItsTraceLines) {
  NetworkContext ctx = context_of(R"({"wired": {"bridge": {"enable": true, "interfaces": ["eth0"]}}})");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] {
              apply_eth0(ctx, R"({"enable": true, "network": {
              "mode": "router", "advanced": {"vlan": {"enable": true, "networks": [
                {"enable": true, "vid": 1, "network": {}}]}}}})");
            }),
            "lanfab_ethernet\n"
            "interface_is_bridged\n"
            "write_vlan_networks\n"
            "write_vlan_netdev_unit_file\n"
            "open_unit_file\n"
            "write_network_unit_file\n"
            "open_unit_file\n"
            "write_network_vlan_ids\n"
            "write_network_secondary_ip\n"
            "write_static_routes\n"
            "append_clear_interfaces\n"
            "set_telnet_service\n");
}

TEST_F(EthernetTest, APassThroughPortPrintsItsTraceLines) {
  NetworkContext ctx = context_of(kRouter);
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { apply_eth0(ctx, R"({"enable": true, "network": {}})"); }),
            "lanfab_ethernet\n"
            "open_unit_file\n"
            "write_network_secondary_ip\n");
}

TEST_F(EthernetTest, NothingIsTracedByDefault) {
  const NetworkContext ctx = context_of(kRouter);
  EXPECT_EQ(printed_by([&] { apply_eth0(ctx, kVlanPort); }), "");
}

TEST_F(EthernetTest, APortInAnyModeButRouterIsInPassThrough) {
  const Json::Value router = json(R"({"enable": true, "network": {"mode": "router"}})");
  EXPECT_TRUE(read_port_settings(router).is_enabled);
  EXPECT_TRUE(read_port_settings(router).is_router);
  EXPECT_EQ(read_port_settings(router).network, &router["network"]);
  EXPECT_FALSE(read_port_settings(json(R"({"network": {"mode": "Router"}})")).is_router);
  EXPECT_FALSE(read_port_settings(json(R"({"network": {}})")).is_router);
  EXPECT_FALSE(read_port_settings(json("{}")).is_enabled);
  EXPECT_EQ(read_port_settings(json("{}")).network, nullptr);
}
