#include "networkd/bridge.h"

#include "lanfab_test.h"

// A bridge of eth0 and wlan0 with the settings of eth0.
constexpr char kBridge[] = R"({
  "firewall": {"general": {"router": 1}},
  "wired": {
    "bridge": {"enable": true, "interfaces": ["eth0", "wlan0"], "primary_interface": "eth0"},
    "eth0": {"network": {"ipv4": "192.168.1.1", "netmask": 24,
                         "advanced": {"vlan": {"enable": true, "networks": [
                           {"enable": true, "vid": 100}]}}}}}})";

namespace {

class BridgeTest : public LanfabTest {};

}  // namespace

// Returns the result of write_bridge_network; its VLANs on standard output are dropped.
static int write_bridge(const NetworkContext& ctx) {
  int result = 0;
  printed_by([&] { result = write_bridge_network(&ctx, "br-lan"); });
  return result;
}

TEST_F(BridgeTest, TheBridgeHasADeviceANetworkAndAUnitForEachMember) {
  EXPECT_EQ(write_bridge(context_of(kBridge)), 0);
  EXPECT_THAT(unit_names(),
              ElementsAre("79-br-lan.netdev", "79-br-lan.network", "79-eth0.network", "79-wlan0.network"));
  EXPECT_EQ(unit("79-br-lan.netdev"), R"([NetDev]
Name = br-lan
Kind = bridge
)");
  EXPECT_THAT(heads(unit("79-br-lan.network")),
              ElementsAre("[Match]", "[Link]", "[Network]", "[Route]", "[BridgeVLAN]"));
  EXPECT_THAT(unit("79-br-lan.network"),
              AllOf(HasSubstr("Name = br-lan\n"), HasSubstr("\nRequiredForOnline = degraded-carrier\n"),
                    HasSubstr("\nVLAN = eth0.100\n"), HasSubstr("\nAddress = 192.168.1.1/24\n")));
  EXPECT_EQ(unit("79-eth0.network"), R"([Match]
Name = eth0

[Network]
Bridge = br-lan
)");
  EXPECT_EQ(unit("79-wlan0.network"), R"([Match]
Name = wlan0

[Network]
Bridge = br-lan
)");
}

TEST_F(BridgeTest, TheBridgeAloneIsRecordedForRemoval) {
  EXPECT_EQ(write_bridge(context_of(kBridge)), 0);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("br-lan"));
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_THAT(log_of("notice"), IsEmpty());
}

TEST_F(BridgeTest, ABridgeNeedsNoMembers) {
  for (const char* members : {R"("interfaces": [],)", ""}) {
    const NetworkContext ctx = context_of(R"({"wired": {
      "bridge": {"enable": true, )" + std::string(members) +
                                          R"( "primary_interface": "eth0"},
      "eth0": {"network": {}}}})");
    EXPECT_EQ(write_bridge(ctx), 0);
    EXPECT_THAT(unit_names(), ElementsAre("79-br-lan.netdev", "79-br-lan.network")) << members;
  }
}

TEST_F(BridgeTest, AMemberIsTakenByItsTextAndLeftOutWithoutOne) {
  const NetworkContext ctx = context_of(R"({"wired": {
    "bridge": {"enable": true, "interfaces": [5, null, {}, ["eth0"], true, "eth1"],
               "primary_interface": "eth0"},
    "eth0": {"network": {}}}})");
  EXPECT_EQ(write_bridge(ctx), 0);
  EXPECT_THAT(unit_names(), ElementsAre("79-.network", "79-5.network", "79-br-lan.netdev",
                                        "79-br-lan.network", "79-eth1.network", "79-true.network"));
  EXPECT_EQ(unit("79-5.network"), "[Match]\nName = 5\n\n[Network]\nBridge = br-lan\n");
}

TEST_F(BridgeTest, APrimaryThatIsNotAMemberStillGivesTheAddress) {
  const NetworkContext ctx = context_of(R"({"firewall": {"general": {"router": 1}}, "wired": {
    "bridge": {"enable": true, "interfaces": ["eth0"], "primary_interface": "eth1"},
    "eth1": {"network": {"ipv4": "192.168.2.1", "netmask": 24}}}})");
  EXPECT_EQ(write_bridge(ctx), 0);
  EXPECT_THAT(unit_names(), ElementsAre("79-br-lan.netdev", "79-br-lan.network", "79-eth0.network"));
  EXPECT_THAT(unit("79-br-lan.network"), HasSubstr("\nAddress = 192.168.2.1/24\n"));
}

TEST_F(BridgeTest, ThePrimaryIsWiredWhenItsNameContainsEth) {
  // A primary interface, and a configuration with its settings.
  struct Case {
    const char* primary;
    const char* config;
  };
  for (const Case& c : {
           Case{"eth0", R"({"wired": {"eth0": {"network": {"ipv4": "10.1.1.1"}}}})"},
           Case{"veth0", R"({"wired": {"veth0": {"network": {"ipv4": "10.1.1.1"}}}})"},
           Case{"myeth", R"({"wired": {"myeth": {"network": {"ipv4": "10.1.1.1"}}}})"},
           Case{"wlan0", R"({"wireless": {"wifi": {"wlan0": {"ap": {"network": {"ipv4": "10.1.1.1"}}}}}})"},
           Case{"usb0", R"({"wireless": {"wifi": {"usb0": {"ap": {"network": {"ipv4": "10.1.1.1"}}}}}})"},
       }) {
    NetworkContext ctx = context_of(c.config);
    ctx.bridge_primary_interface = c.primary;
    EXPECT_EQ(write_bridge_master_network_unit_file(&ctx, 79, "br-lan"), 0) << c.primary;
    EXPECT_THAT(unit("79-br-lan.network"), HasSubstr("\nAddress = 10.1.1.1\n")) << c.primary;
  }
}

TEST_F(BridgeTest, TheNumberOfTheBridgesUnitDoesNotDependOnTheCaller) {
  const NetworkContext ctx = context_of(R"({"wired": {
    "bridge": {"enable": true, "primary_interface": "eth0"}, "eth0": {"network": {}}}})");
  EXPECT_EQ(write_bridge_master_network_unit_file(&ctx, 12, "br-lan"), 0);
  EXPECT_THAT(unit_names(), ElementsAre("79-br-lan.network"));
}

TEST_F(BridgeTest, WithoutThePrimarysSettingsOnlyTheNetworkUnitFails) {
  const NetworkContext ctx = context_of(R"({"wired": {
    "bridge": {"enable": true, "interfaces": ["eth0", "eth1"], "primary_interface": "eth0"},
    "eth0": {"network": "text"}}})");
  EXPECT_EQ(write_bridge(ctx), -1);
  EXPECT_THAT(unit_names(), ElementsAre("79-br-lan.netdev", "79-eth0.network", "79-eth1.network"));
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/79-br-lan.netdev\n",
                          "debug write unit file:/var/run/systemd/network/79-eth0.network\n",
                          "debug write unit file:/var/run/systemd/network/79-eth1.network\n"));
}

TEST_F(BridgeTest, WithoutAPrimaryTheNetworkUnitFails) {
  const NetworkContext ctx = context_of(R"({"wired": {"bridge": {"enable": true}}})");
  EXPECT_EQ(write_bridge_master_network_unit_file(&ctx, 79, "br-lan"), -1);
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(BridgeTest, AUnitThatCannotBeOpenedFailsTheBridgeAndStopsNothing) {
  // A unit that cannot be opened, and the log messages above debug.
  struct Case {
    const char* blocked;
    Lines notices;
  };
  for (const Case& c : {
           Case{"79-br-lan.netdev",
                {"notice error creating network unit file: /var/run/systemd/network/79-br-lan.netdev"}},
           Case{"79-br-lan.network",
                {"notice error creating network unit file: /var/run/systemd/network/79-br-lan.network",
                 "notice error writing bridge master network unit file"}},
           Case{"79-eth0.network",
                {"notice error creating network unit file: /var/run/systemd/network/79-eth0.network"}},
           Case{"79-wlan0.network",
                {"notice error creating network unit file: /var/run/systemd/network/79-wlan0.network"}},
       }) {
    LanfabTest::SetUp();
    block_unit(c.blocked);
    EXPECT_EQ(write_bridge(context_of(kBridge)), -1) << c.blocked;
    EXPECT_EQ(unit_names().size(), 4U) << c.blocked;
    EXPECT_EQ(log_of("notice"), c.notices) << c.blocked;
    EXPECT_THAT(recorded_interfaces(), IsEmpty()) << c.blocked;
  }
}

TEST_F(BridgeTest, EachUnitReportsThatItCannotBeOpened) {
  const NetworkContext ctx = context_of(kBridge);
  for (const char* name : {"79-br-lan.netdev", "79-br-lan.network", "79-eth0.network"})
    block_unit(name);
  EXPECT_EQ(write_bridge_netdev_unit_file(&ctx, 79, "br-lan"), -1);
  EXPECT_EQ(write_bridge_master_network_unit_file(&ctx, 79, "br-lan"), -1);
  EXPECT_EQ(write_bridge_slave_network_unit_file(&ctx, 79, "br-lan", "eth0"), -1);
}

TEST_F(BridgeTest, AUnitThatIsNotWholeCountsAsOneThatCannotBeOpened) {
  for (const char* name : {"79-br-lan.netdev", "79-br-lan.network", "79-eth0.network", "79-wlan0.network"}) {
    LanfabTest::SetUp();
    fill_disk_for_unit(name);
    EXPECT_EQ(write_bridge(context_of(kBridge)), -1) << name;
    EXPECT_EQ(unit_names().size(), 3U) << name;
    EXPECT_THAT(log_of("notice"), Contains(std::string("notice error writing /var/run/systemd/network/") +
                                           name + ": No space left on device"));
    EXPECT_THAT(recorded_interfaces(), IsEmpty()) << name;
  }
}

TEST_F(BridgeTest, EachUnitTakesItsNames) {
  const NetworkContext ctx = context_of(kBridge);
  EXPECT_EQ(write_bridge_netdev_unit_file(&ctx, 12, "br-guest"), 0);
  EXPECT_EQ(unit("12-br-guest.netdev"), "[NetDev]\nName = br-guest\nKind = bridge\n");
  EXPECT_EQ(write_bridge_slave_network_unit_file(&ctx, 13, "br-guest", "eth1"), 0);
  EXPECT_EQ(unit("13-eth1.network"), "[Match]\nName = eth1\n\n[Network]\nBridge = br-guest\n");
}

TEST_F(BridgeTest, PrintsItsTraceLines) {
  NetworkContext ctx = context_of(R"({"wired": {
    "bridge": {"enable": true, "interfaces": ["eth0"], "primary_interface": "eth0"}}})");
  EXPECT_EQ(printed_by([&] { write_bridge_network(&ctx, "br-lan"); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { write_bridge_network(&ctx, "br-lan"); }),
            "write_bridge_network\n"
            "write_bridge_netdev_unit_file\n"
            "open_unit_file\n"
            "write_bridge_master_network_unit_file\n"
            "write_bridge_slave_network_unit_file\n"
            "open_unit_file\n");
}
