#include "networkd/unit_file.h"

#include <filesystem>

#include "lanfab_test.h"
#include "util/open_file.h"

namespace {

class UnitFileTest : public LanfabTest {};

}  // namespace

TEST_F(UnitFileTest, AUnitIsNamedByNumberNameAndKind) {
  struct Case {
    int number;
    const char* name;
    const char* kind;
    const char* path;
  };
  const NetworkContext ctx = context_of("{}");
  for (const Case& named : {
           Case{79, "br-lan", "netdev", "/var/run/systemd/network/79-br-lan.netdev"},
           Case{20, "eth0", "network", "/var/run/systemd/network/20-eth0.network"},
           Case{30, "eth0.100", "network", "/var/run/systemd/network/30-eth0.100.network"},
           Case{0, "eth0", "network", "/var/run/systemd/network/0-eth0.network"},
           Case{-1, "eth0", "network", "/var/run/systemd/network/-1-eth0.network"},
       }) {
    SCOPED_TRACE(named.path);
    OpenFile file(open_unit_file(&ctx, named.number, named.name, named.kind));
    ASSERT_TRUE(file);
    std::fputs("[Match]\n", file.get());
    file.close();
    EXPECT_EQ(text_of_file(named.path), "[Match]\n");
  }
}

TEST_F(UnitFileTest, OpeningLogsThePathWithALineEnd) {
  const NetworkContext ctx = context_of("{}");
  const OpenFile file(open_unit_file(&ctx, 79, "br-lan", "netdev"));
  EXPECT_THAT(platform().log,
              ElementsAre("debug write unit file:/var/run/systemd/network/79-br-lan.netdev\n"));
}

TEST_F(UnitFileTest, AnExistingUnitIsTruncated) {
  const NetworkContext ctx = context_of("{}");
  put_file("/var/run/systemd/network/20-eth0.network", "[Match]\nName = old\n");
  OpenFile file(open_unit_file(&ctx, 20, "eth0", "network"));
  ASSERT_TRUE(file);
  std::fputs("new\n", file.get());
  file.close();
  EXPECT_EQ(unit("20-eth0.network"), "new\n");
}

TEST_F(UnitFileTest, AUnitThatCannotBeCreatedIsNullAndLogged) {
  const NetworkContext ctx = context_of("{}");
  std::filesystem::remove_all("/var/run/systemd/network");
  EXPECT_FALSE(open_unit_file(&ctx, 20, "eth0", "network"));
  EXPECT_THAT(
      platform().log,
      ElementsAre("debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                  "notice error creating network unit file: /var/run/systemd/network/20-eth0.network"));
}

TEST_F(UnitFileTest, OpeningPrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { open_unit_file(&ctx, 20, "eth0", "network").close(); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { open_unit_file(&ctx, 20, "eth0", "network").close(); }), "open_unit_file\n");
}

namespace {

class UnitDnsTest : public LanfabTest {};

}  // namespace

static std::string lines(const NetworkContext& ctx, const char* dns1, const char* dns2) {
  return text_written_by([&](std::FILE* file) { write_unit_dns(&ctx, file, dns1, dns2); });
}

constexpr char kConfiguredServer[] = "DNS = 9.9.9.9\n";

TEST_F(UnitDnsTest, TheServersOfTheLinkReplaceTheConfiguredOnes) {
  struct Case {
    const char* dns1;
    const char* dns2;
    const char* lines;
  };
  const NetworkContext ctx = context_of(R"({"dns": {"static": ["9.9.9.9"]}})");
  for (const Case& link : {
           Case{"8.8.8.8", "1.1.1.1", "DNS = 8.8.8.8\nDNS = 1.1.1.1\n"},
           Case{"8.8.8.8", "", "DNS = 8.8.8.8\n"},
           Case{"8.8.8.8", nullptr, "DNS = 8.8.8.8\n"},
           Case{"8.8.8.8", "1.1.11", "DNS = 8.8.8.8\n"},
           Case{"", "1.1.1.1", "DNS = 1.1.1.1\n"},
           Case{nullptr, "1.1.1.1", "DNS = 1.1.1.1\n"},
           Case{"8.8.88", "1.1.1.1", "DNS = 1.1.1.1\n"},
           Case{"", "", kConfiguredServer},
           Case{nullptr, nullptr, kConfiguredServer},
           Case{"8.8.88", "1.1.11", kConfiguredServer},
       }) {
    EXPECT_EQ(lines(ctx, link.dns1, link.dns2), link.lines)
        << (link.dns1 != nullptr ? link.dns1 : "null") << ", " << (link.dns2 != nullptr ? link.dns2 : "null");
  }
}

TEST_F(UnitDnsTest, ASourceOfStaticStillPrefersTheLink) {
  const NetworkContext ctx = context_of(R"({"dns": {"source": "static", "static": ["9.9.9.9"]}})");
  EXPECT_EQ(lines(ctx, "8.8.8.8", ""), "DNS = 8.8.8.8\n");
}

TEST_F(UnitDnsTest, WithoutTheAutomaticModeTheLinkIsIgnored) {
  NetworkContext ctx = context_of(R"({"dns": {"static": ["9.9.9.9"]}})");
  ctx.dns_auto = false;
  EXPECT_EQ(lines(ctx, "8.8.8.8", "1.1.1.1"), "DNS = 9.9.9.9\n");
}

TEST_F(UnitDnsTest, TheConfiguredServersStandInTheirOrder) {
  struct Case {
    const char* config;
    const char* lines;
  };
  for (const Case& servers : {
           Case{R"({"dns": {"static": ["9.9.9.9", "8.8.4.4", "192.168.100.200"]}})",
                "DNS = 9.9.9.9\nDNS = 8.8.4.4\nDNS = 192.168.100.200\n"},
           Case{R"({"dns": {"static": ["1.1.1", "", "1.1.11", "1.1.1.1"]}})", "DNS = 1.1.1.1\n"},
           Case{R"({"dns": {"static": [12345678, true, null, {}, ["9.9.9.9"], "1.1.1.1"]}})",
                "DNS = 12345678\nDNS = 1.1.1.1\n"},
           Case{R"({"dns": {"static": []}})", ""},
           Case{R"({"dns": {"static": "1.1.1.1"}})", ""},
           Case{R"({"dns": {"static": {"first": "1.1.1.1"}}})", ""},
           Case{R"({"dns": {}})", ""},
           Case{R"({"dns": "1.1.1.1"})", ""},
           Case{R"({})", ""},
       }) {
    EXPECT_EQ(lines(context_of(servers.config), nullptr, nullptr), servers.lines) << servers.config;
  }
}

TEST_F(UnitDnsTest, PrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { lines(ctx, nullptr, nullptr); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { lines(ctx, nullptr, nullptr); }), "write_unit_dns\n");
}
