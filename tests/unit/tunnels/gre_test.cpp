#include "tunnels/gre.h"

#include "lanfab_test.h"

namespace {

class GreTest : public LanfabTest {};

}  // namespace

// A tunnel with the required inner settings.
static Json::Value tunnel() {
  return json(R"({"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30,
                    "tunnel_remote_ip": "10.9.0.2"})");
}

// The same tunnel with an additional key.
static Json::Value tunnel_with(const std::string& key, const Json::Value& value) {
  Json::Value extended = tunnel();
  extended[key] = value;
  return extended;
}

static std::string netdev_of(const Json::Value& tunnel) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tun_apply(&ctx, 0, tunnel), 0) << tunnel;
  return unit("70-gre-tun1.netdev");
}

static std::string network_of(const Json::Value& tunnel) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tun_apply(&ctx, 0, tunnel), 0) << tunnel;
  return unit("70-gre-tun1.network");
}

static NetworkContext context_of_tunnels(const std::string& tunnels) {
  return context_of(R"({"tunnels": {"gre": )" + tunnels + "}}");
}

constexpr char kNetworkUnit[] = R"([Match]
Name = gre-tun1

[Network]
Address = 10.9.0.1/30
)";

// --- The list of tunnels

TEST_F(GreTest, WithoutTunnelsNothingIsRun) {
  for (const char* config :
       {"{}", R"({"tunnels": {}})", R"({"tunnels": {"gre": []}})",
        R"({"tunnels": {"gre": {"enable": true}}})", R"({"tunnels": {"gre": "text"}})"}) {
    const NetworkContext ctx = context_of(config);
    EXPECT_EQ(gre_apply(&ctx), 0) << config;
    EXPECT_THAT(platform().calls, IsEmpty()) << config;
    EXPECT_THAT(platform().log, IsEmpty()) << config;
    EXPECT_THAT(unit_names(), IsEmpty()) << config;
  }
}

TEST_F(GreTest, EachTunnelHasItsNumbersByItsPosition) {
  const NetworkContext ctx = context_of_tunnels(R"([
    {"enable": false},
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2",
     "route_incoming": true, "incoming_gre_gateway": "10.9.0.2"}])");
  EXPECT_EQ(gre_apply(&ctx), 0);
  EXPECT_THAT(unit_names(), ElementsAre("71-gre-tun2.netdev", "71-gre-tun2.network"));
  EXPECT_EQ(unit("71-gre-tun2.netdev"), R"([NetDev]
Name = gre-tun2
Kind = gre

[Tunnel]
Independent = true
)");
  EXPECT_EQ(unit("71-gre-tun2.network"), R"([Match]
Name = gre-tun2

[Network]
Address = 10.9.0.1/30
)");
  EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308",
                                            "/sbin/ip tunnel del gre-tun2", "/usr/bin/route_table_flush 309",
                                            "/usr/bin/route_table_add 309 gre-tun2 10.9.0.2"));
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/71-gre-tun2.netdev\n",
                          "info configure GRE L3 tunnel",
                          "debug write unit file:/var/run/systemd/network/71-gre-tun2.network\n"));
}

TEST_F(GreTest, TheFallbackDeviceIsRecordedOnceForEachTunnel) {
  const NetworkContext ctx = context_of_tunnels(R"([
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"},
    {"enable": false, "tunnel_local_ip": "10.9.1.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.1.2"},
    {"enable": true, "tunnel_local_ip": "10.9.2.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.2.2"}])");
  EXPECT_EQ(gre_apply(&ctx), 0);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("gre0 type gre", "gre0 type gre"));
}

TEST_F(GreTest, AFailingTunnelEndsTheList) {
  const NetworkContext ctx = context_of_tunnels(R"([
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"},
    {"enable": true, "route_incoming": true, "incoming_gre_gateway": "10.9.1.2"},
    {"enable": true, "tunnel_local_ip": "10.9.2.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.2.2"}])");
  EXPECT_EQ(gre_apply(&ctx), -1);
  EXPECT_THAT(unit_names(), ElementsAre("70-gre-tun1.netdev", "70-gre-tun1.network", "71-gre-tun2.netdev"));
  EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308",
                                            "/sbin/ip tunnel del gre-tun2"));
  EXPECT_EQ(platform().log.back(), "info lanfab failed creating GRE tunnels");
}

TEST_F(GreTest, AnEntryThatIsNoObjectIsADisabledTunnel) {
  const NetworkContext ctx = context_of_tunnels(R"(["text", null])");
  EXPECT_EQ(gre_apply(&ctx), 0);
  EXPECT_THAT(platform().calls,
              ElementsAre("/sbin/ip tunnel del gre-tun1", "/usr/bin/route_table_flush 308",
                          "/sbin/ip tunnel del gre-tun2", "/usr/bin/route_table_flush 309"));
}

// --- Reading the configuration of a tunnel

TEST_F(GreTest, AMissingInnerSettingIsNamedAndTheFirstOneOfSeveral) {
  const Json::Value complete = tunnel();
  EXPECT_EQ(read_gre_tunnel(0, complete).missing_key, nullptr);
  EXPECT_TRUE(read_gre_tunnel(0, complete).has_address());
  for (const char* key : {"tunnel_local_ip", "tunnel_netmask", "tunnel_remote_ip"}) {
    const Json::Value incomplete = tunnel_with(key, true);
    EXPECT_STREQ(read_gre_tunnel(0, incomplete).missing_key, key);
    EXPECT_FALSE(read_gre_tunnel(0, incomplete).has_address()) << key;
  }
  EXPECT_STREQ(read_gre_tunnel(0, json("{}")).missing_key, "tunnel_local_ip");
  const Json::Value disabled = tunnel_with("enable", false);
  EXPECT_FALSE(read_gre_tunnel(0, disabled).has_address());
}

TEST_F(GreTest, ATunnelIsReadAsItIsWritten) {
  const Json::Value settings = json(R"({
    "enable": true, "name": "Head office", "set_mtu": true, "mtu_size": 1400,
    "remote_ip": "198.51.100.1", "local_ip": "dynamic", "copy_dscp": true,
    "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2",
    "tunnel_networks": [{"dest_ip": "1", "dest_netmask": 16}, {"dest_ip": "10.8.0.0", "dest_netmask": 16}],
    "route_incoming": true, "incoming_gre_gateway": "10.9.0.2"})");
  const GreTunnel tunnel = read_gre_tunnel(4, settings);
  EXPECT_EQ(tunnel.settings, &settings);
  EXPECT_EQ(tunnel.index, 4);
  EXPECT_TRUE(tunnel.is_enabled);
  EXPECT_EQ(tunnel.description, "Head office");
  EXPECT_EQ(tunnel.mtu, 1400);
  EXPECT_EQ(tunnel.remote_ip, "198.51.100.1");
  EXPECT_EQ(tunnel.local_ip, kGreDynamicAddress);
  EXPECT_TRUE(tunnel.copies_dscp);
  EXPECT_EQ(tunnel.inner_local_ip, "10.9.0.1");
  EXPECT_EQ(tunnel.inner_prefix, 30);
  EXPECT_EQ(tunnel.inner_remote_ip, "10.9.0.2");
  EXPECT_EQ(tunnel.networks, &settings["tunnel_networks"]);
  EXPECT_FALSE(read_gre_route((*tunnel.networks)[0]));
  const std::optional<GreRoute> route = read_gre_route((*tunnel.networks)[1]);
  EXPECT_EQ(route.value().destination, "10.8.0.0");
  EXPECT_EQ(route.value().prefix, 16);
  EXPECT_TRUE(tunnel.routes_incoming);
  EXPECT_EQ(tunnel.incoming_gateway, "10.9.0.2");
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(GreTest, ARunReachesTheTunnelsUpToTheFirstEnabledOneThatIsIncomplete) {
  const Json::Value config = json(R"({"tunnels": {"gre": [
    {"tunnel_local_ip": "10.9.0.1"},
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"},
    {"enable": true, "tunnel_local_ip": "10.9.1.1"},
    {"enable": true, "tunnel_local_ip": "10.9.2.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.2.2"}
  ]}})");
  const std::vector<GreTunnel> tunnels = read_gre_tunnels(config);
  ASSERT_EQ(tunnels.size(), 3U);
  EXPECT_FALSE(tunnels[0].has_address());
  EXPECT_TRUE(tunnels[1].has_address());
  EXPECT_FALSE(tunnels[2].has_address());
}

// --- One tunnel

TEST_F(GreTest, ATunnelWithEverythingInItsOrder) {
  const Json::Value full = json(R"({
    "enable": true, "name": "Head office", "set_mtu": true, "mtu_size": 1400,
    "remote_ip": "198.51.100.1", "local_ip": "203.0.113.1", "copy_dscp": true,
    "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2",
    "tunnel_networks": [{"dest_ip": "10.8.0.0", "dest_netmask": 16},
                        {"dest_ip": "10.7.0.1", "dest_netmask": 32}]})");
  EXPECT_EQ(netdev_of(full), R"([NetDev]
Description = Head office
Name = gre-tun1
Kind = gre
MTUBytes = 1400

[Tunnel]
Remote = 198.51.100.1
Local = 203.0.113.1
CopyDSCP = yes
Independent = true
)");
  EXPECT_EQ(network_of(full), R"([Match]
Name = gre-tun1

[Network]
Address = 10.9.0.1/30

[Route]
Gateway = 10.9.0.2
Destination=10.8.0.0/16
GatewayOnlink = yes

[Route]
Gateway = 10.9.0.2
Destination = 10.7.0.1
GatewayOnlink = yes
)");
}

TEST_F(GreTest, ADisabledTunnelIsOnlyDeleted) {
  for (const Json::Value& enable : {Json::Value(false), Json::Value(), Json::Value("true"), Json::Value(1)}) {
    const NetworkContext ctx = context_of("{}");
    EXPECT_EQ(gre_tun_apply(&ctx, 4, tunnel_with("enable", enable)), 0) << enable;
    EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip tunnel del gre-tun5")) << enable;
    EXPECT_THAT(platform().log, IsEmpty()) << enable;
    EXPECT_THAT(unit_names(), IsEmpty()) << enable;
    EXPECT_THAT(recorded_interfaces(), IsEmpty()) << enable;
  }
}

TEST_F(GreTest, WithoutARequiredSettingOnlyTheDeviceIsWritten) {
  for (const char* key : {"tunnel_local_ip", "tunnel_netmask", "tunnel_remote_ip"}) {
    for (const Json::Value& value : {Json::Value(), Json::Value(true)}) {
      LanfabTest::SetUp();
      const NetworkContext ctx = context_of("{}");
      EXPECT_EQ(gre_tun_apply(&ctx, 0, tunnel_with(key, value)), -1) << key;
      EXPECT_THAT(unit_names(), ElementsAre("70-gre-tun1.netdev")) << key;
      EXPECT_THAT(recorded_interfaces(), ElementsAre("gre0 type gre")) << key;
    }
  }
}

TEST_F(GreTest, ADeviceUnitThatCannotBeOpenedFailsNothing) {
  block_unit("70-gre-tun1.netdev");
  EXPECT_EQ(network_of(tunnel()), kNetworkUnit);
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write unit file:/var/run/systemd/network/70-gre-tun1.netdev\n",
                  "notice error creating network unit file: /var/run/systemd/network/70-gre-tun1.netdev",
                  "debug write unit file:/var/run/systemd/network/70-gre-tun1.network\n"));
}

TEST_F(GreTest, ADeviceUnitThatIsNotWholeFailsNothingAndRecordsNothing) {
  fill_disk_for_unit("70-gre-tun1.netdev");
  EXPECT_EQ(network_of(tunnel()), kNetworkUnit);
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
  EXPECT_THAT(unit_names(), ElementsAre("70-gre-tun1.network"));
}

TEST_F(GreTest, ANetworkUnitThatIsNotWholeFailsTheTunnel) {
  fill_disk_for_unit("70-gre-tun1.network");
  const NetworkContext ctx = context_of_tunnels(R"([
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}])");
  EXPECT_EQ(gre_apply(&ctx), -1);
  EXPECT_THAT(unit_names(), ElementsAre("70-gre-tun1.netdev"));
}

TEST_F(GreTest, ATapUnitThatIsNotWholeFails) {
  fill_disk_for_unit("72-gretap0.netdev");
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tap_apply(&ctx, json("{}")), -1);
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(GreTest, ANetworkUnitThatCannotBeOpenedFailsTheTunnel) {
  block_unit("70-gre-tun1.network");
  const NetworkContext ctx = context_of_tunnels(R"([
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}])");
  EXPECT_EQ(gre_apply(&ctx), -1);
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write unit file:/var/run/systemd/network/70-gre-tun1.netdev\n",
                  "info configure GRE L3 tunnel",
                  "debug write unit file:/var/run/systemd/network/70-gre-tun1.network\n",
                  "notice error creating network unit file: /var/run/systemd/network/70-gre-tun1.network",
                  "info lanfab failed creating GRE tunnels"));
  EXPECT_THAT(platform().calls, ElementsAre("/sbin/ip tunnel del gre-tun1"));
}

namespace {

// A further key of a tunnel, its value, and the device unit.
struct DeviceCase {
  const char* tunnel;
  const char* text;
};

}  // namespace

constexpr char kBareDevice[] = "[NetDev]\nName = gre-tun1\nKind = gre\n\n[Tunnel]\nIndependent = true\n";

constexpr DeviceCase kDeviceCases[] = {
    {R"({})", kBareDevice},
    {R"({"name": ""})",
     "[NetDev]\nDescription = \nName = gre-tun1\nKind = gre\n\n[Tunnel]\nIndependent = true\n"},
    {R"({"name": 5})", kBareDevice},
    {R"({"set_mtu": true, "mtu_size": 0})",
     "[NetDev]\nName = gre-tun1\nKind = gre\nMTUBytes = 0\n\n[Tunnel]\nIndependent = true\n"},
    {R"({"set_mtu": true, "mtu_size": "1400"})", kBareDevice},
    {R"({"set_mtu": true})", kBareDevice},
    {R"({"set_mtu": false, "mtu_size": 1400})", kBareDevice},
    {R"({"set_mtu": 1, "mtu_size": 1400})", kBareDevice},
    {R"({"mtu_size": 1400})", kBareDevice},
    {R"({"remote_ip": ""})",
     "[NetDev]\nName = gre-tun1\nKind = gre\n\n[Tunnel]\nRemote = \nIndependent = true\n"},
    {R"({"remote_ip": 5})", kBareDevice},
    {R"({"local_ip": "Dynamic"})",
     "[NetDev]\nName = gre-tun1\nKind = gre\n\n[Tunnel]\nLocal = Dynamic\nIndependent = true\n"},
    {R"({"local_ip": ["dynamic"]})", kBareDevice},
    {R"({"copy_dscp": false})", kBareDevice},
    {R"({"copy_dscp": "true"})", kBareDevice},
};

TEST_F(GreTest, EachLineOfTheDeviceHasItsCondition) {
  for (const DeviceCase& c : kDeviceCases) {
    Json::Value device = tunnel();
    const Json::Value keys = json(c.tunnel);
    for (const std::string& key : keys.getMemberNames())
      device[key] = keys[key];
    EXPECT_EQ(netdev_of(device), c.text) << c.tunnel;
    EXPECT_THAT(log_of("notice"), IsEmpty()) << c.tunnel;
  }
}

TEST_F(GreTest, ADynamicTunnelStartsAtTheCellularAddress) {
  put_file("/var/run/wwan_ipv4", "10.64.1.2\n");
  EXPECT_EQ(netdev_of(tunnel_with("local_ip", "dynamic")),
            "[NetDev]\nName = gre-tun1\nKind = gre\n\n[Tunnel]\nLocal = 10.64.1.2\nIndependent = true\n");
  EXPECT_THAT(log_of("notice"), IsEmpty());
}

TEST_F(GreTest, ADynamicTunnelWithoutACellularAddressHasNoLocalLine) {
  EXPECT_EQ(netdev_of(tunnel_with("local_ip", "dynamic")), kBareDevice);
  EXPECT_THAT(log_of("notice"), ElementsAre("notice WWAN ip address not available for GRE tunnel"));
  put_file("/var/run/wwan_ipv4", "");
  EXPECT_EQ(netdev_of(tunnel_with("local_ip", "dynamic")), kBareDevice);
  EXPECT_THAT(log_of("notice"), ElementsAre("notice WWAN ip address not available for GRE tunnel"));
}

TEST_F(GreTest, EachNetworkBehindTheTunnelHasARoute) {
  // "tunnel_networks", and the sections after the address.
  struct Case {
    const char* networks;
    const char* text;
  };
  for (const Case& c : {
           Case{R"([{"dest_ip": "10.8.0.0", "dest_netmask": 32}])",
                "\n[Route]\nGateway = 10.9.0.2\nDestination = 10.8.0.0\nGatewayOnlink = yes\n"},
           Case{R"([{"dest_ip": "10.8.0.0", "dest_netmask": 31}])",
                "\n[Route]\nGateway = 10.9.0.2\nDestination=10.8.0.0/31\nGatewayOnlink = yes\n"},
           Case{R"([{"dest_ip": "0.0.0.0", "dest_netmask": 0}])",
                "\n[Route]\nGateway = 10.9.0.2\nDestination=0.0.0.0/0\nGatewayOnlink = yes\n"},
           Case{R"([{"dest_ip": "::", "dest_netmask": -1}])",
                "\n[Route]\nGateway = 10.9.0.2\nDestination=::/-1\nGatewayOnlink = yes\n"},
           Case{R"([{"dest_ip": "1", "dest_netmask": 8}])", ""},
           Case{R"([{"dest_ip": "", "dest_netmask": 8}])", ""},
           Case{R"([{"dest_ip": 10, "dest_netmask": 8}])", ""},
           Case{R"([{"dest_netmask": 8}])", ""},
           Case{R"([{"dest_ip": "10.8.0.0"}])", ""},
           Case{R"([{"dest_ip": "10.8.0.0", "dest_netmask": "16"}])", ""},
           Case{R"(["10.8.0.0", 5, null, {"dest_ip": "10.8.0.0", "dest_netmask": 16}])",
                "\n[Route]\nGateway = 10.9.0.2\nDestination=10.8.0.0/16\nGatewayOnlink = yes\n"},
           Case{R"([])", ""},
           Case{R"({"dest_ip": "10.8.0.0", "dest_netmask": 16})", ""},
           Case{R"("10.8.0.0")", ""},
       }) {
    EXPECT_EQ(network_of(tunnel_with("tunnel_networks",
                                     json(R"({"list": )" + std::string(c.networks) + "}")["list"])),
              std::string(kNetworkUnit) + c.text)
        << c.networks;
  }
}

TEST_F(GreTest, TheInnerSettingsAreNotChecked) {
  Json::Value odd = tunnel();
  odd["tunnel_local_ip"] = "";
  odd["tunnel_netmask"] = -1;
  EXPECT_EQ(network_of(odd), "[Match]\nName = gre-tun1\n\n[Network]\nAddress = /-1\n");
}

// --- Incoming routes

TEST_F(GreTest, TheTableIsFlushedAndFilledWhenTheTunnelAsksForIt) {
  struct Case {
    const char* tunnel;
    Lines added;
  };
  for (const Case& c : {
           Case{R"({"enable": true, "route_incoming": true, "incoming_gre_gateway": "10.9.0.2"})",
                {"/usr/bin/route_table_add 310 gre-tun3 10.9.0.2"}},
           Case{R"({"enable": true, "route_incoming": true})", {}},
           Case{R"({"enable": true, "route_incoming": true, "incoming_gre_gateway": 5})", {}},
           Case{R"({"enable": true, "route_incoming": false, "incoming_gre_gateway": "10.9.0.2"})", {}},
           Case{R"({"enable": true, "route_incoming": "true", "incoming_gre_gateway": "10.9.0.2"})", {}},
           Case{R"({"enable": true, "incoming_gre_gateway": "10.9.0.2"})", {}},
           Case{R"({"enable": false, "route_incoming": true, "incoming_gre_gateway": "10.9.0.2"})", {}},
           Case{R"({"route_incoming": true, "incoming_gre_gateway": "10.9.0.2"})", {}},
           Case{R"({})", {}},
       }) {
    const NetworkContext ctx = context_of("{}");
    EXPECT_EQ(gre_incoming_routes_apply(&ctx, 2, json(c.tunnel)), 0) << c.tunnel;
    Lines calls{"/usr/bin/route_table_flush 310"};
    calls.insert(calls.end(), c.added.begin(), c.added.end());
    EXPECT_EQ(platform().calls, calls) << c.tunnel;
    EXPECT_THAT(platform().log, IsEmpty()) << c.tunnel;
  }
}

// --- The tap device

constexpr DeviceCase kTapCases[] = {
    {R"({"mtu_override": true, "mtu": 1400, "peer_ipv4": "198.51.100.1", "local_ipv4": "203.0.113.1",
         "key": 7})",
     "[NetDev]\nName = gretap0\nKind = gre\nMTUBytes = 1400\n"
     "\n[Tunnel]\nRemote = 198.51.100.1\nLocal = 203.0.113.1\nKey = 7\n"},
    {R"({})", "[NetDev]\nName = gretap0\nKind = gre\n"},
    {R"({"mtu_override": false, "mtu": 1400})", "[NetDev]\nName = gretap0\nKind = gre\n"},
    {R"({"mtu": 1400})", "[NetDev]\nName = gretap0\nKind = gre\n"},
    {R"({"mtu_override": true})", "[NetDev]\nName = gretap0\nKind = gre\n"},
    {R"({"mtu_override": true, "mtu": "1400"})", "[NetDev]\nName = gretap0\nKind = gre\n"},
    {R"({"peer_ipv4": "198.51.100.1"})",
     "[NetDev]\nName = gretap0\nKind = gre\n\n[Tunnel]\nRemote = 198.51.100.1\n"},
    {R"({"local_ipv4": "203.0.113.1"})", "[NetDev]\nName = gretap0\nKind = gre\nLocal = 203.0.113.1\n"},
    {R"({"key": -7})", "[NetDev]\nName = gretap0\nKind = gre\nKey = -7\n"},
    {R"({"key": 0})", "[NetDev]\nName = gretap0\nKind = gre\nKey = 0\n"},
    {R"({"peer_ipv4": 5, "local_ipv4": 5, "key": "7"})", "[NetDev]\nName = gretap0\nKind = gre\n"},
};

TEST_F(GreTest, EachLineOfTheTapDeviceHasItsCondition) {
  for (const DeviceCase& c : kTapCases) {
    const NetworkContext ctx = context_of("{}");
    EXPECT_EQ(gre_tap_apply(&ctx, json(c.tunnel)), 0) << c.tunnel;
    EXPECT_EQ(unit("72-gretap0.netdev"), c.text) << c.tunnel;
    EXPECT_THAT(platform().log,
                ElementsAre("debug write unit file:/var/run/systemd/network/72-gretap0.netdev\n",
                            "debug configure GRE L3 tunnel"))
        << c.tunnel;
    EXPECT_THAT(platform().calls, IsEmpty()) << c.tunnel;
  }
  EXPECT_THAT(unit_names(), ElementsAre("72-gretap0.netdev"));
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
}

TEST_F(GreTest, ADynamicTapDeviceStartsAtTheCellularAddress) {
  put_file("/var/run/wwan_ipv4", "10.64.1.2\n");
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tap_apply(&ctx, json(R"({"local_ipv4": "dynamic"})")), 0);
  EXPECT_EQ(unit("72-gretap0.netdev"), "[NetDev]\nName = gretap0\nKind = gre\nLocal = 10.64.1.2\n");
}

TEST_F(GreTest, ADynamicTapDeviceWithoutACellularAddressHasNoLocalLine) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tap_apply(&ctx, json(R"({"local_ipv4": "dynamic", "key": 7})")), 0);
  EXPECT_EQ(unit("72-gretap0.netdev"), "[NetDev]\nName = gretap0\nKind = gre\nKey = 7\n");
  EXPECT_THAT(log_of("notice"), ElementsAre("notice wwan ip address not available for GRE tunnel"));
}

TEST_F(GreTest, ATapUnitThatCannotBeOpenedFails) {
  block_unit("72-gretap0.netdev");
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(gre_tap_apply(&ctx, json("{}")), -1);
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write unit file:/var/run/systemd/network/72-gretap0.netdev\n",
                  "notice error creating network unit file: /var/run/systemd/network/72-gretap0.netdev"));
}

// --- The trace

TEST_F(GreTest, ATunnelPrintsItsTraceLines) {
  NetworkContext ctx = context_of_tunnels(R"([
    {"enable": true, "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}])");
  EXPECT_EQ(printed_by([&] { gre_apply(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { gre_apply(&ctx); }),
            "gre_apply\n"
            "gre_tun_apply\n"
            "open_unit_file\n"
            "append_clear_interfaces\n"
            "open_unit_file\n"
            "gre_incoming_routes_apply\n");
}

TEST_F(GreTest, TheTapDevicePrintsItsTraceLines) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { gre_tap_apply(&ctx, json("{}")); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { gre_tap_apply(&ctx, json("{}")); }), "gre_tap_apply\nopen_unit_file\n");
}
