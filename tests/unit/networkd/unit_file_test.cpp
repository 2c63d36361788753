#include "networkd/unit_file.h"

#include <filesystem>

#include "lanfab_test.h"
#include "util/open_file.h"

namespace {

class UnitFileTest : public LanfabTest {};

// The name of the unit that is opened, and whether it is there afterwards.
struct NamedUnit {
  int number;
  const char* name;
  const char* kind;
  const char* path;
};

constexpr NamedUnit kNamedUnits[] = {
    {79, "br-lan", "netdev", "/var/run/systemd/network/79-br-lan.netdev"},
    {20, "eth0", "network", "/var/run/systemd/network/20-eth0.network"},
    {30, "eth0.100", "network", "/var/run/systemd/network/30-eth0.100.network"},
    {0, "eth0", "network", "/var/run/systemd/network/0-eth0.network"},
    {-1, "eth0", "network", "/var/run/systemd/network/-1-eth0.network"},
};

TEST_F(UnitFileTest, AUnitIsNamedByNumberNameAndKind) {
  const NetworkContext ctx = context_of("{}");
  for (const NamedUnit& named : kNamedUnits) {
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
  EXPECT_EQ(platform().log, (Lines{"debug write unit file:/var/run/systemd/network/79-br-lan.netdev\n"}));
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
  EXPECT_EQ(platform().log,
            (Lines{"debug write unit file:/var/run/systemd/network/20-eth0.network\n",
                   "notice error creating network unit file: /var/run/systemd/network/20-eth0.network"}));
}

TEST_F(UnitFileTest, OpeningPrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { OpenFile(open_unit_file(&ctx, 20, "eth0", "network")); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { OpenFile(open_unit_file(&ctx, 20, "eth0", "network")); }), "open_unit_file\n");
}

class UnitDnsTest : public LanfabTest {
 protected:
  static std::string lines(const NetworkContext& ctx, const char* dns1, const char* dns2) {
    return text_written_by([&](std::FILE* file) { write_unit_dns(&ctx, file, dns1, dns2); });
  }
};

struct LinkServers {
  const char* dns1;
  const char* dns2;
  const char* lines;
};

constexpr char kConfiguredServer[] = "DNS = 9.9.9.9\n";

constexpr LinkServers kLinkServers[] = {
    {"8.8.8.8", "1.1.1.1", "DNS = 8.8.8.8\nDNS = 1.1.1.1\n"},
    {"8.8.8.8", "", "DNS = 8.8.8.8\n"},
    {"8.8.8.8", nullptr, "DNS = 8.8.8.8\n"},
    {"8.8.8.8", "1.1.11", "DNS = 8.8.8.8\n"},
    {"", "1.1.1.1", "DNS = 1.1.1.1\n"},
    {nullptr, "1.1.1.1", "DNS = 1.1.1.1\n"},
    {"8.8.88", "1.1.1.1", "DNS = 1.1.1.1\n"},
    {"", "", kConfiguredServer},
    {nullptr, nullptr, kConfiguredServer},
    {"8.8.88", "1.1.11", kConfiguredServer},
};

TEST_F(UnitDnsTest, TheServersOfTheLinkReplaceTheConfiguredOnes) {
  const NetworkContext ctx = context_of(R"({"dns": {"static": ["9.9.9.9"]}})");
  for (const LinkServers& link : kLinkServers) {
    EXPECT_EQ(lines(ctx, link.dns1, link.dns2), link.lines)
        << (link.dns1 != nullptr ? link.dns1 : "null") << ", " << (link.dns2 != nullptr ? link.dns2 : "null");
  }
}

TEST_F(UnitDnsTest, ASourceOfStaticPrefersTheLinkAllTheSame) {
  const NetworkContext ctx = context_of(R"({"dns": {"source": "static", "static": ["9.9.9.9"]}})");
  EXPECT_EQ(lines(ctx, "8.8.8.8", ""), "DNS = 8.8.8.8\n");
}

TEST_F(UnitDnsTest, WithoutTheAutomaticModeTheLinkIsIgnored) {
  NetworkContext ctx = context_of(R"({"dns": {"static": ["9.9.9.9"]}})");
  ctx.dns_auto = false;
  EXPECT_EQ(lines(ctx, "8.8.8.8", "1.1.1.1"), "DNS = 9.9.9.9\n");
}

struct ConfiguredServers {
  const char* config;
  const char* lines;
};

constexpr ConfiguredServers kConfiguredServers[] = {
    {R"({"dns": {"static": ["9.9.9.9", "8.8.4.4", "192.168.100.200"]}})",
     "DNS = 9.9.9.9\nDNS = 8.8.4.4\nDNS = 192.168.100.200\n"},
    {R"({"dns": {"static": ["1.1.1", "", "1.1.11", "1.1.1.1"]}})", "DNS = 1.1.1.1\n"},
    {R"({"dns": {"static": [12345678, true, null, {}, ["9.9.9.9"], "1.1.1.1"]}})", "DNS = 1.1.1.1\n"},
    {R"({"dns": {"static": []}})", ""},
    {R"({"dns": {"static": "1.1.1.1"}})", ""},
    {R"({"dns": {"static": {"first": "1.1.1.1"}}})", ""},
    {R"({"dns": {}})", ""},
    {R"({"dns": "1.1.1.1"})", ""},
    {R"({})", ""},
};

TEST_F(UnitDnsTest, TheConfiguredServersStandInTheirOrder) {
  for (const ConfiguredServers& servers : kConfiguredServers) {
    EXPECT_EQ(lines(context_of(servers.config), nullptr, nullptr), servers.lines) << servers.config;
  }
}

TEST_F(UnitDnsTest, PrintsItsTraceLine) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { lines(ctx, nullptr, nullptr); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { lines(ctx, nullptr, nullptr); }), "write_unit_dns\n");
}

}  // namespace
