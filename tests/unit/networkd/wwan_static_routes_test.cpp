#include "networkd/wwan_static_routes.h"

#include <filesystem>

#include "file_size_limit.h"
#include "lanfab_test.h"

constexpr char kScript[] = "/var/run/wwan0_static_routes";

namespace {

class WwanStaticRoutesTest : public LanfabTest {};

}  // namespace

static void write_routes(const std::string& routes, const char* ifname = "wwan0") {
  const NetworkContext ctx = context_of("{}");
  write_wwan_static_routes(&ctx, json(routes), ifname);
}

TEST_F(WwanStaticRoutesTest, TheScriptIsNamedAfterTheInterface) {
  EXPECT_EQ(wwan_static_routes_path("wwan0"), "/var/run/wwan0_static_routes");
  EXPECT_EQ(wwan_static_routes_path("rmnet1"), "/var/run/rmnet1_static_routes");
}

TEST_F(WwanStaticRoutesTest, EachRouteOfTheInterfaceIsACommand) {
  write_routes(R"([
    {"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16, "gateway": "10.0.0.1"},
    {"enable": true, "interface": "eth0", "ipv4": "10.21.0.0", "netmask": 16, "gateway": "10.0.0.1"},
    {"enable": true, "interface": "wwan0", "ipv4": "10.22.33.44", "netmask": 24},
    {"enable": false, "interface": "wwan0", "ipv4": "10.23.0.0", "netmask": 16},
    {"enable": true, "interface": "wwan0", "ipv4": "10.24.0.1", "netmask": 32, "gateway": "10.0.0.2"}])");
  EXPECT_EQ(text_of_file(kScript), R"(#!/bin/sh
/sbin/ip route add 10.20.0.0/16 gw 10.0.0.1 dev wwan0
/sbin/ip route add 10.22.33.0/24 dev wwan0
/sbin/ip route add 10.24.0.1/32 gw 10.0.0.2 dev wwan0
)");
  EXPECT_THAT(platform().log, ElementsAre("notice write wwan static routes wwan0"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(WwanStaticRoutesTest, AnyInterfaceHasAScriptOfItsOwn) {
  write_routes(R"([{"enable": true, "interface": "rmnet1", "ipv4": "10.20.0.0", "netmask": 16}])", "rmnet1");
  EXPECT_EQ(text_of_file("/var/run/rmnet1_static_routes"),
            "#!/bin/sh\n/sbin/ip route add 10.20.0.0/16 dev rmnet1\n");
  EXPECT_FALSE(exists(kScript));
}

TEST_F(WwanStaticRoutesTest, WithoutAUsableGatewayTheRouteIsStraightOntoTheDevice) {
  struct Case {
    const char* gateway;
    const char* line;
  };
  for (const Case& c : {
           Case{R"("1.1.1.1")", "/sbin/ip route add 10.20.0.0/16 gw 1.1.1.1 dev wwan0\n"},
           Case{R"("0.0.0.01")", "/sbin/ip route add 10.20.0.0/16 gw 0.0.0.01 dev wwan0\n"},
           Case{R"("0.0.0.0")", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
           Case{R"("1.1.11")", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
           Case{R"("1.1.1")", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
           Case{R"("")", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
           Case{R"(16843009)", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
           Case{R"(null)", "/sbin/ip route add 10.20.0.0/16 dev wwan0\n"},
       }) {
    write_routes(
        R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16, "gateway": )" +
        std::string(c.gateway) + "}]");
    EXPECT_EQ(text_of_file(kScript), std::string("#!/bin/sh\n") + c.line) << c.gateway;
    EXPECT_THAT(platform().log, ElementsAre("notice write wwan static routes wwan0")) << c.gateway;
  }
}

TEST_F(WwanStaticRoutesTest, AMalformedRouteIsSkippedInSilence) {
  write_routes(R"([
    {"enable": true, "interface": "wwan0", "netmask": 16},
    {"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0"},
    {"enable": true, "interface": "wwan0", "ipv4": 10, "netmask": 16},
    {"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": "16"},
    "text", 5, null,
    {"enable": true, "interface": "wwan0", "ipv4": "10.22.0.0", "netmask": 16}])");
  EXPECT_EQ(text_of_file(kScript), "#!/bin/sh\n/sbin/ip route add 10.22.0.0/16 dev wwan0\n");
  EXPECT_THAT(platform().log, ElementsAre("notice write wwan static routes wwan0"));
}

TEST_F(WwanStaticRoutesTest, AScriptOfMalformedRoutesHasOnlyItsFirstLine) {
  write_routes(R"([{"enable": true, "interface": "wwan0"}])");
  EXPECT_EQ(text_of_file(kScript), "#!/bin/sh\n");
}

TEST_F(WwanStaticRoutesTest, TheSubnetIsNotTested) {
  write_routes(R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 33}])");
  EXPECT_EQ(text_of_file(kScript), "#!/bin/sh\n/sbin/ip route add  dev wwan0\n");
}

TEST_F(WwanStaticRoutesTest, WithoutARouteOfTheInterfaceAStaleScriptDisappears) {
  for (const char* routes : {
           "null",
           "[]",
           R"([{"interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": false, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": "true", "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": true, "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": true, "interface": "WWAN0", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": true, "interface": "wwan", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": true, "interface": "wwan0.1", "ipv4": "10.20.0.0", "netmask": 16}])",
           R"([{"enable": true, "interface": ["wwan0"], "ipv4": "10.20.0.0", "netmask": 16}])",
           R"(["wwan0", 5, null])",
       }) {
    put_file(kScript, "#!/bin/sh\nstale\n");
    write_routes(routes);
    EXPECT_FALSE(exists(kScript)) << routes;
    EXPECT_THAT(platform().log, IsEmpty()) << routes;
  }
}

TEST_F(WwanStaticRoutesTest, AStaleScriptIsReplaced) {
  put_file(kScript, std::string(4096, '#'));
  write_routes(R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])");
  EXPECT_EQ(text_of_file(kScript), "#!/bin/sh\n/sbin/ip route add 10.20.0.0/16 dev wwan0\n");
}

TEST_F(WwanStaticRoutesTest, TheScriptIsNotExecutable) {
  write_routes(R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])");
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(kScript).permissions() & (perms::owner_exec | perms::others_exec),
            perms::none);
}

TEST_F(WwanStaticRoutesTest, AScriptThatCannotBeCreatedIsLogged) {
  std::filesystem::create_directories(std::string(kScript) + "/in the way");
  write_routes(R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])");
  EXPECT_THAT(platform().log, ElementsAre("notice write wwan static routes wwan0",
                                          "notice error creating wwan static route file"));
}

TEST_F(WwanStaticRoutesTest, AScriptThatIsNotWholeIsRemoved) {
  const FileSizeLimit limit(20);
  write_routes(R"([{"enable": true, "interface": "wwan0", "ipv4": "10.20.0.0", "netmask": 16}])");
  EXPECT_THAT(platform().log,
              ElementsAre("notice write wwan static routes wwan0",
                          std::string("notice error writing ") + kScript + ": File too large"));
  EXPECT_FALSE(exists(kScript));
}

TEST_F(WwanStaticRoutesTest, PrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { write_wwan_static_routes(&ctx, Json::Value(), "wwan0"); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { write_wwan_static_routes(&ctx, Json::Value(), "wwan0"); }),
            "write_wwan_static_routes\n");
}
