#include "config/network_context.h"

#include "lanfab_test.h"

namespace {

class NetworkContextTest : public LanfabTest {};

}  // namespace

static void expect_defaults(const NetworkContext& ctx) {
  EXPECT_FALSE(ctx.trace);
  EXPECT_FALSE(ctx.cell_enabled);
  EXPECT_FALSE(ctx.passthrough_enabled);
  EXPECT_FALSE(ctx.passthrough_auto);
  EXPECT_EQ(ctx.passthrough_interface, "");
  EXPECT_TRUE(ctx.dns_auto);
  EXPECT_TRUE(ctx.eth0_enabled);
  EXPECT_FALSE(ctx.eth1_enabled);
  EXPECT_FALSE(ctx.wifi_configured);
  EXPECT_FALSE(ctx.ap_enabled);
  EXPECT_FALSE(ctx.wlan0_ap_enabled);
  EXPECT_FALSE(ctx.wlan1_ap_enabled);
  EXPECT_FALSE(ctx.bridge_enabled);
  EXPECT_TRUE(ctx.bridge_interfaces.isNull());
  EXPECT_EQ(ctx.bridge_primary_interface, "");
}

TEST_F(NetworkContextTest, AnEmptyConfigurationYieldsTheDefaults) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_TRUE(ctx.initialized);
  EXPECT_EQ(ctx.config, Json::Value(Json::objectValue));
  expect_defaults(ctx);
}

TEST_F(NetworkContextTest, TheOrderNumbersAreFixed) {
  const NetworkContext ctx = context_of(R"({"unit_order_numbers": [1, 2, 3, 4, 5]})");
  EXPECT_THAT(ctx.unit_order_numbers, ElementsAre(80, 84, 20, 21, 30));
  EXPECT_EQ(ctx.unit_order_numbers[kWifiApOrder], 80);
  EXPECT_EQ(ctx.unit_order_numbers[kWifiClientOrder], 84);
  EXPECT_EQ(ctx.unit_order_numbers[kEth0Order], 20);
  EXPECT_EQ(ctx.unit_order_numbers[kEth1Order], 21);
  EXPECT_EQ(ctx.unit_order_numbers[kVlanOrder], 30);
}

TEST_F(NetworkContextTest, TheWholeConfigurationStaysInside) {
  const std::string network = R"({"wired": {"eth0": {"enable": false}}, "hostnames": [1]})";
  EXPECT_EQ(context_of(network).config, json(network));
}

TEST_F(NetworkContextTest, WithoutAConfigurationNothingIsDerived) {
  const NetworkContext ctx;
  EXPECT_FALSE(is_initialized(&ctx));
  EXPECT_TRUE(ctx.config.isNull());
  expect_defaults(ctx);
  EXPECT_THAT(ctx.unit_order_numbers, ElementsAre(80, 84, 20, 21, 30));
}

TEST_F(NetworkContextTest, ConstructionCallsNothing) {
  const NetworkContext ctx(json(R"({"wireless": {"cell": {"enable": true}, "wifi": {}}})"));
  EXPECT_TRUE(is_initialized(&ctx));
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_THAT(platform().log, ElementsAre("debug AP enabled:0, wlan0 AP enabled:0, wlan1 AP enabled:0"));
}

TEST_F(NetworkContextTest, TheCellularLinkIsEnabledByItsBooleanAlone) {
  const auto cell_enabled = [](const std::string& cell) {
    return context_of(R"({"wireless": {"cell": )" + cell + "}}").cell_enabled;
  };
  EXPECT_TRUE(cell_enabled(R"({"enable": true})"));
  EXPECT_FALSE(cell_enabled(R"({"enable": false})"));
  EXPECT_FALSE(cell_enabled(R"({"enable": "true"})"));
  EXPECT_FALSE(cell_enabled(R"({"enable": 1})"));
  EXPECT_FALSE(cell_enabled("{}"));
  EXPECT_FALSE(cell_enabled("true"));
}

TEST_F(NetworkContextTest, ThePortsAreEnabledAsConfiguredAndEth0ByDefault) {
  struct Case {
    const char* wired;
    bool eth0;
    bool eth1;
  };
  for (const Case& c : {
           Case{R"({})", true, false},
           Case{R"({"eth0": {"enable": true}, "eth1": {"enable": true}})", true, true},
           Case{R"({"eth0": {"enable": false}, "eth1": {"enable": false}})", false, false},
           Case{R"({"eth0": {"enable": false}, "eth1": {"enable": true}})", false, true},
           Case{R"({"eth0": {"enable": 0}, "eth1": {"enable": 1}})", true, false},
           Case{R"({"eth0": {"enable": "false"}, "eth1": {"enable": "true"}})", true, false},
           Case{R"({"eth0": false, "eth1": true})", true, false},
       }) {
    SCOPED_TRACE(c.wired);
    const NetworkContext ctx = context_of(std::string(R"({"wired": )") + c.wired + "}");
    EXPECT_EQ(ctx.eth0_enabled, c.eth0);
    EXPECT_EQ(ctx.eth1_enabled, c.eth1);
  }
}

// Returns a port's object with this mode, a quoted string or other JSON.
static std::string port(const std::string& mode) {
  return R"({"network": {"mode": )" + mode + "}}";
}

TEST_F(NetworkContextTest, AnyModeButRouterPutsThePortIntoPassThrough) {
  struct Case {
    std::string eth0;
    std::string eth1;
    bool enabled;
    const char* interface;
    bool automatic;
  };
  for (const Case& c : {
           Case{"{}", "{}", false, "", false},
           Case{port(R"("router")"), port(R"("router")"), false, "", false},
           Case{port(R"("pass-through")"), port(R"("router")"), true, "eth0", false},
           Case{port(R"("pass-through-auto")"), port(R"("router")"), true, "eth0", true},
           Case{port(R"("router")"), port(R"("pass-through")"), true, "eth1", false},
           Case{port(R"("router")"), port(R"("pass-through-auto")"), true, "eth1", true},
           Case{"{}", port(R"("pass-through-auto")"), true, "eth1", true},
           // eth0 has precedence.
           Case{port(R"("pass-through-auto")"), port(R"("pass-through-auto")"), true, "eth0", true},
           Case{port(R"("pass-through")"), port(R"("pass-through-auto")"), true, "eth0", false},
           // Only the exact strings mean router and automatic.
           Case{port(R"("Router")"), "{}", true, "eth0", false},
           Case{port(R"("")"), "{}", true, "eth0", false},
           Case{port(R"("router ")"), "{}", true, "eth0", false},
           Case{port(R"("bridge")"), "{}", true, "eth0", false},
           Case{port(R"("Pass-through-auto")"), "{}", true, "eth0", false},
           // A mode that is not a string is ignored.
           Case{port("1"), port("true"), false, "", false},
           Case{port("null"), port(R"("pass-through")"), true, "eth1", false},
           Case{port(R"(["pass-through"])"), "[]", false, "", false},
       }) {
    SCOPED_TRACE(c.eth0 + " " + c.eth1);
    const NetworkContext ctx =
        context_of(R"({"wired": {"eth0": )" + c.eth0 + R"(, "eth1": )" + c.eth1 + "}}");
    EXPECT_EQ(ctx.passthrough_enabled, c.enabled);
    EXPECT_EQ(ctx.passthrough_interface, c.interface);
    EXPECT_EQ(ctx.passthrough_auto, c.automatic);
  }
}

TEST_F(NetworkContextTest, ADisabledPortStillCountsForPassThrough) {
  const NetworkContext ctx =
      context_of(R"({"wired": {"eth0": {"enable": false, "network": {"mode": "pass-through"}}}})");
  EXPECT_FALSE(ctx.eth0_enabled);
  EXPECT_TRUE(ctx.passthrough_enabled);
  EXPECT_EQ(ctx.passthrough_interface, "eth0");
}

TEST_F(NetworkContextTest, ThePassThroughStepClearsItsFlagsFirst) {
  NetworkContext ctx = context_of(R"({"wired": {"eth0": {"network": {"mode": "router"}}}})");
  ctx.passthrough_enabled = true;
  ctx.passthrough_auto = true;
  init_passthrough_modes(&ctx);
  EXPECT_FALSE(ctx.passthrough_enabled);
  EXPECT_FALSE(ctx.passthrough_auto);
}

TEST_F(NetworkContextTest, TheServersOfTheLinkGoFirstForEverySource) {
  for (const char* dns : {R"({})", R"({"source": "static"})", R"({"source": "isp"})", R"({"source": ""})",
                          R"({"source": 1})", R"("static")"}) {
    SCOPED_TRACE(dns);
    NetworkContext ctx = context_of(std::string(R"({"dns": )") + dns + "}");
    EXPECT_TRUE(ctx.dns_auto);
    ctx.dns_auto = false;
    init_dns_mode(&ctx);
    EXPECT_TRUE(ctx.dns_auto);
  }
}

TEST_F(NetworkContextTest, TheBridgeIsReadFromItsThreePaths) {
  const NetworkContext ctx = context_of(
      R"({"wired": {"bridge": {
        "enable": true, "interfaces": ["eth1", "wlan0"], "primary_interface": "eth1"}}})");
  EXPECT_TRUE(ctx.bridge_enabled);
  EXPECT_EQ(ctx.bridge_interfaces, json(R"(["eth1", "wlan0"])"));
  EXPECT_EQ(ctx.bridge_primary_interface, "eth1");
}

TEST_F(NetworkContextTest, EachPathOfTheBridgeIsReadOnItsOwn) {
  const auto with_bridge = [](const std::string& bridge) {
    return context_of(R"({"wired": {"bridge": )" + bridge + "}}");
  };
  EXPECT_TRUE(with_bridge(R"({"enable": true})").bridge_enabled);
  EXPECT_TRUE(with_bridge(R"({"enable": true})").bridge_interfaces.isNull());
  EXPECT_EQ(with_bridge(R"({"enable": true})").bridge_primary_interface, "");
  EXPECT_FALSE(with_bridge(R"({"interfaces": ["eth0"]})").bridge_enabled);
  EXPECT_EQ(with_bridge(R"({"interfaces": ["eth0"]})").bridge_interfaces, json(R"(["eth0"])"));
  EXPECT_EQ(with_bridge(R"({"primary_interface": "wlan0"})").bridge_primary_interface, "wlan0");
}

TEST_F(NetworkContextTest, WrongTypesLeaveTheBridgeAtItsDefaults) {
  const NetworkContext ctx = context_of(
      R"({"wired": {"bridge": {"enable": 1, "interfaces": {"0": "eth0"}, "primary_interface": ["eth0"]}}})");
  EXPECT_FALSE(ctx.bridge_enabled);
  EXPECT_TRUE(ctx.bridge_interfaces.isNull());
  EXPECT_EQ(ctx.bridge_primary_interface, "");
}

TEST_F(NetworkContextTest, TheAccessPointsAreEnabledAsConfigured) {
  struct Case {
    const char* wifi;
    bool wlan0;
    bool wlan1;
    const char* log;
  };
  for (const Case& c : {
           Case{R"({})", false, false, "debug AP enabled:0, wlan0 AP enabled:0, wlan1 AP enabled:0"},
           Case{R"({"wlan0": {"ap": {"enable": true}}})", true, false,
                "debug AP enabled:1, wlan0 AP enabled:1, wlan1 AP enabled:0"},
           Case{R"({"wlan1": {"ap": {"enable": true}}})", false, true,
                "debug AP enabled:1, wlan0 AP enabled:0, wlan1 AP enabled:1"},
           Case{R"({"wlan0": {"ap": {"enable": true}}, "wlan1": {"ap": {"enable": true}}})", true, true,
                "debug AP enabled:1, wlan0 AP enabled:1, wlan1 AP enabled:1"},
           Case{R"({"wlan0": {"ap": {"enable": false}}, "wlan1": {"ap": {"enable": 1}}})", false, false,
                "debug AP enabled:0, wlan0 AP enabled:0, wlan1 AP enabled:0"},
       }) {
    SCOPED_TRACE(c.wifi);
    platform().log.clear();
    const NetworkContext ctx(json(std::string(R"({"wireless": {"wifi": )") + c.wifi + "}}"));
    EXPECT_TRUE(ctx.wifi_configured);
    EXPECT_EQ(ctx.wlan0_ap_enabled, c.wlan0);
    EXPECT_EQ(ctx.wlan1_ap_enabled, c.wlan1);
    EXPECT_EQ(ctx.ap_enabled, c.wlan0 || c.wlan1);
    EXPECT_THAT(platform().log, ElementsAre(c.log));
  }
}

TEST_F(NetworkContextTest, WifiThatIsNoObjectIsNotConfigured) {
  for (const char* wireless : {R"({})", R"({"wifi": "wlan0"})", R"({"wifi": []})", R"({"wifi": null})",
                               R"({"wifi": true})", R"("wifi")"}) {
    SCOPED_TRACE(wireless);
    const NetworkContext ctx = context_of(std::string(R"({"wireless": )") + wireless + "}");
    EXPECT_FALSE(ctx.wifi_configured);
    EXPECT_FALSE(ctx.ap_enabled);
    EXPECT_THAT(platform().log, IsEmpty());
  }
}

TEST_F(NetworkContextTest, TheWifiStepNeverClearsTheOverallFlag) {
  NetworkContext ctx = context_of(R"({"wireless": {"wifi": {}}})");
  ctx.ap_enabled = true;
  EXPECT_EQ(init_wifi_modes(&ctx), 0);
  EXPECT_TRUE(ctx.ap_enabled);
}

TEST_F(NetworkContextTest, TheStepsThatHaveAResultSucceed) {
  NetworkContext ctx = context_of(R"({"wireless": {"wifi": {}}})");
  EXPECT_EQ(init_bridge_mode(&ctx), 0);
  EXPECT_EQ(init_wifi_modes(&ctx), 0);
  ctx = context_of("{}");
  EXPECT_EQ(init_bridge_mode(&ctx), 0);
  EXPECT_EQ(init_wifi_modes(&ctx), 0);
}

TEST_F(NetworkContextTest, AConfigurationThatIsNoObjectYieldsTheDefaults) {
  for (const char* network : {"[]", "null", "7", R"("text")"}) {
    SCOPED_TRACE(network);
    const NetworkContext ctx = context_of(network);
    EXPECT_TRUE(ctx.initialized);
    expect_defaults(ctx);
  }
}

TEST_F(NetworkContextTest, ConstructionPrintsNothing) {
  EXPECT_EQ(printed_by([] { context_of(R"({"wireless": {"wifi": {}}})"); }), "");
}

TEST_F(NetworkContextTest, EachStepPrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  const auto every_step = [&] {
    is_initialized(&ctx);
    is_cell_enabled(&ctx);
    init_passthrough_modes(&ctx);
    init_dns_mode(&ctx);
    init_bridge_mode(&ctx);
    init_wifi_modes(&ctx);
  };
  EXPECT_EQ(printed_by(every_step), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(every_step),
            "is_initialized\n"
            "is_cell_enabled\n"
            "init_passthrough_modes\n"
            "init_dns_mode\n"
            "init_bridge_mode\n"
            "init_wifi_modes\n");
}
