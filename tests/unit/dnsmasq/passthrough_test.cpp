#include "dnsmasq/passthrough.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

enum class Mode { kStatic, kAutomatic };
enum class Link { kDown, kUp, kAddressEmpty, kAddressMissing };
// The gateway of the link: the provider's, or the one of the port's own link-local pair.
enum class Gateway { kLinks, kPairs };

// A port and its sections. The port is 192.168.1.1/24 with a pool from .100 to .200.
struct Port {
  const char* name;
  const char* pair_gateway;
  const char* automatic_wwan;
  const char* automatic_wwan_pairs_gateway;
  const char* automatic_pair;
  const char* static_wwan;
  const char* static_pair;
};

// A section, and whether one was written.
struct Outcome {
  bool written;
  std::string text;
};

class PassthroughTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().mac_addresses = {{"eth0", "02:00:5e:00:00:10"}, {"eth1", "02:00:5e:00:00:11"}};
  }
};

}  // namespace

constexpr char kEth0AutomaticWwan[] = R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,10.20.30.41
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,1,255.255.255.252
dhcp-option=eth0,3,10.20.30.41
dhcp-option=eth0,6,10.20.30.41

)";
constexpr char kEth0AutomaticWwanPairsGateway[] = R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,169.254.0.1
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,1,255.255.255.252
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)";
constexpr char kEth0AutomaticPair[] = R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,169.254.0.1
dhcp-range=eth0,169.254.0.2,169.254.0.2,2m
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)";
constexpr char kEth0StaticWwan[] = R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,192.168.1.1
dhcp-range=eth0,192.168.1.100,192.168.1.200,2m
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)";
constexpr char kEth0StaticPair[] = R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,192.168.1.1
dhcp-range=eth0,169.254.0.2,169.254.0.2,2m
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)";
constexpr Port kEth0 = {
    "eth0",          "169.254.0.1",  kEth0AutomaticWwan, kEth0AutomaticWwanPairsGateway, kEth0AutomaticPair,
    kEth0StaticWwan, kEth0StaticPair};

constexpr char kEth1AutomaticWwan[] = R"(
# pass-through automatic mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,10.20.30.41
dhcp-range=eth1,10.20.30.40,10.20.30.40,2m
dhcp-option=eth1,1,255.255.255.252
dhcp-option=eth1,3,10.20.30.41
dhcp-option=eth1,6,10.20.30.41

)";
constexpr char kEth1AutomaticWwanPairsGateway[] = R"(
# pass-through automatic mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,169.254.0.129
dhcp-range=eth1,10.20.30.40,10.20.30.40,2m
dhcp-option=eth1,1,255.255.255.252
dhcp-option=eth1,3,169.254.0.129
dhcp-option=eth1,6,169.254.0.129

)";
constexpr char kEth1AutomaticPair[] = R"(
# pass-through automatic mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,169.254.0.129
dhcp-range=eth1,169.254.0.130,169.254.0.130,2m
dhcp-option=eth1,1,255.255.255.128
dhcp-option=eth1,3,169.254.0.129
dhcp-option=eth1,6,169.254.0.129

)";
constexpr char kEth1StaticWwan[] = R"(
# pass-through static mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,192.168.1.1
dhcp-range=eth1,192.168.1.100,192.168.1.200,2m
dhcp-option=eth1,3,192.168.1.1
dhcp-option=eth1,1,255.255.255.0
dhcp-option=eth1,6,192.168.1.1

)";
constexpr char kEth1StaticPair[] = R"(
# pass-through static mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,192.168.1.1
dhcp-range=eth1,169.254.0.130,169.254.0.130,2m
dhcp-option=eth1,1,255.255.255.128
dhcp-option=eth1,3,169.254.0.129
dhcp-option=eth1,6,169.254.0.129

)";
constexpr Port kEth1 = {
    "eth1",          "169.254.0.129", kEth1AutomaticWwan, kEth1AutomaticWwanPairsGateway, kEth1AutomaticPair,
    kEth1StaticWwan, kEth1StaticPair};

// The values of the link manager: 10.20.30.40/30 with this gateway.
static void put_link(Link link, const std::string& gateway = "10.20.30.41") {
  platform().database["CELL_CONNECTED"] = link == Link::kDown ? 0 : 1;
  put_file("/var/run/wwan_gw", gateway + "\n");
  put_file("/var/run/wwan_netmask", "255.255.255.252\n");
  put_file("/var/run/wwan_ipv4", link == Link::kAddressEmpty ? "" : "10.20.30.40\n");
  if (link == Link::kAddressMissing) std::filesystem::remove("/var/run/wwan_ipv4");
}

// The "network" object of a port, with these "dhcp" settings in addition to its pool.
static Json::Value network(Mode mode, const std::string& dhcp = "{}") {
  Json::Value object = json(R"({"ipv4": "192.168.1.1", "netmask": 24})");
  object["mode"] = mode == Mode::kStatic ? "pass-through" : "pass-through-auto";
  object["dhcp"] = json(dhcp);
  object["dhcp"]["start"] = "192.168.1.100";
  object["dhcp"]["end"] = "192.168.1.200";
  return object;
}

static Outcome outcome(const std::string& port, const Json::Value& network) {
  Json::Value config;
  config["wired"][port]["network"] = network;
  const NetworkContext ctx = context_of(config.toStyledString());
  Outcome result{};
  result.text = text_written_by(
      [&](std::FILE* file) { result.written = dnsmasq_add_passthrough(&ctx, file, port.c_str()); });
  return result;
}

static std::string section_of(const std::string& port, const Json::Value& network) {
  const Outcome result = outcome(port, network);
  EXPECT_TRUE(result.written) << network;
  return result.text;
}

static std::string section_of_eth0(const std::string& network) {
  return section_of("eth0", json(network));
}

// --- The log before a section

TEST_F(PassthroughTest, TheAutomaticSectionHandsOnTheCellularAddress) {
  put_link(Link::kUp);
  EXPECT_EQ(section_of("eth0", network(Mode::kAutomatic)), kEth0.automatic_wwan);
  EXPECT_THAT(platform().log,
              ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                          "notice dnsmasq_add_eth_interface: wwan link up",
                          "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth0"));
}

TEST_F(PassthroughTest, TheAutomaticSectionFallsBackWhileTheLinkIsDown) {
  put_link(Link::kDown);
  EXPECT_EQ(section_of("eth0", network(Mode::kAutomatic)), kEth0.automatic_pair);
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                  "notice dnsmasq: wwan link down",
                  "notice dnsmasq: no WWAN connection, using secondary ip 169.254.0.1 and dhcp 169.254.0.2",
                  "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth0"));
}

TEST_F(PassthroughTest, ALinkWithoutAnAddressIsLoggedAndFallsBack) {
  for (const Link link : {Link::kAddressEmpty, Link::kAddressMissing}) {
    put_link(link);
    EXPECT_EQ(section_of("eth1", network(Mode::kAutomatic)), kEth1.automatic_pair);
    EXPECT_THAT(platform().log,
                ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                            "notice dnsmasq_add_eth_interface: wwan link up",
                            "notice dnsmasq_add_eth_interface: no WWAN address found, "
                            "using secondary ip 169.254.0.129 and dhcp 169.254.0.130",
                            "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth1"));
  }
}

TEST_F(PassthroughTest, WithoutTheDatabasesWordTheLinkCountsAsDown) {
  put_link(Link::kUp);
  platform().database.clear();
  EXPECT_EQ(section_of("eth0", network(Mode::kAutomatic)), kEth0.automatic_pair);
  EXPECT_EQ(platform().log.at(1), "notice dnsmasq: wwan link down");
}

TEST_F(PassthroughTest, TheStaticSectionServesTheConfiguredPool) {
  put_link(Link::kUp);
  EXPECT_EQ(section_of("eth0", network(Mode::kStatic, R"({"enable": true})")), kEth0.static_wwan);
  EXPECT_THAT(platform().log,
              ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                          "notice dnsmasq_add_eth_interface: wwan link up",
                          "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_static eth0",
                          "notice configure dnsmasq for passthrough_static  eth0"));
}

TEST_F(PassthroughTest, TheStaticSectionFallsBackWhileTheLinkIsDown) {
  put_link(Link::kDown);
  EXPECT_EQ(section_of("eth0", network(Mode::kStatic, R"({"enable": false})")), kEth0.static_pair);
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                  "notice dnsmasq: wwan link down",
                  "notice dnsmasq: no WWAN connection, using secondary ip 169.254.0.1 and dhcp 169.254.0.2",
                  "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_static eth0",
                  "notice configure dnsmasq for passthrough_static secondary fallback eth0"));
}

TEST_F(PassthroughTest, AnOrdinaryPortIsOnlyLogged) {
  put_link(Link::kUp);
  EXPECT_FALSE(outcome("eth0", network(Mode::kStatic)).written);
  EXPECT_THAT(platform().log,
              ElementsAre("notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                          "notice dnsmasq_add_eth_interface: wwan link up"));
}

TEST_F(PassthroughTest, AnyOtherModeIsStatic) {
  put_link(Link::kUp);
  for (const char* mode : {"Pass-through-auto", "pass-through-auto ", ""}) {
    SCOPED_TRACE(mode);
    Json::Value odd = network(Mode::kStatic, R"({"enable": true})");
    odd["mode"] = mode;
    EXPECT_EQ(section_of("eth0", odd), kEth0.static_wwan);
  }
}

// --- The decision

namespace {

// The address of the device behind the port, one letter for each combination of settings: "w" for the
// cellular address, "p" for the address of the port's pair, "-" for none, since the port is an ordinary one.
// The three groups are for "enable" true, false and missing; the three letters of each group are for the same
// values of "disable_dhcp_secondary".
struct Decision {
  Mode mode;
  Link link;
  Gateway gateway;
  const char* given;
};

}  // namespace

constexpr Decision kDecisions[] = {
    {Mode::kStatic, Link::kUp, Gateway::kLinks, "www --- ---"},
    {Mode::kStatic, Link::kUp, Gateway::kPairs, "-ww --- ---"},
    {Mode::kStatic, Link::kDown, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kStatic, Link::kDown, Gateway::kPairs, "ppp ppp ppp"},
    {Mode::kStatic, Link::kAddressEmpty, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kStatic, Link::kAddressEmpty, Gateway::kPairs, "ppp ppp ppp"},
    {Mode::kStatic, Link::kAddressMissing, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kStatic, Link::kAddressMissing, Gateway::kPairs, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kUp, Gateway::kLinks, "www www www"},
    {Mode::kAutomatic, Link::kUp, Gateway::kPairs, "-ww -ww -ww"},
    {Mode::kAutomatic, Link::kDown, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kDown, Gateway::kPairs, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kAddressEmpty, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kAddressEmpty, Gateway::kPairs, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kAddressMissing, Gateway::kLinks, "ppp ppp ppp"},
    {Mode::kAutomatic, Link::kAddressMissing, Gateway::kPairs, "ppp ppp ppp"},
};

// The "dhcp" settings of each of the nine letters.
constexpr const char* kSettings[] = {
    R"({"enable": true, "disable_dhcp_secondary": true})",
    R"({"enable": true, "disable_dhcp_secondary": false})",
    R"({"enable": true})",
    R"({"enable": false, "disable_dhcp_secondary": true})",
    R"({"enable": false, "disable_dhcp_secondary": false})",
    R"({"enable": false})",
    R"({"disable_dhcp_secondary": true})",
    R"({"disable_dhcp_secondary": false})",
    R"({})",
};

static const char* expected_section(const Port& port, const Decision& decision, char given) {
  const bool is_static = decision.mode == Mode::kStatic;
  if (given == '-') return "";
  if (given == 'p') return is_static ? port.static_pair : port.automatic_pair;
  if (is_static) return port.static_wwan;
  return decision.gateway == Gateway::kPairs ? port.automatic_wwan_pairs_gateway : port.automatic_wwan;
}

TEST_F(PassthroughTest, EveryCaseHasItsSection) {
  for (const Port& port : {kEth0, kEth1}) {
    for (const Decision& decision : kDecisions) {
      put_link(decision.link, decision.gateway == Gateway::kPairs ? port.pair_gateway : "10.20.30.41");
      for (std::size_t i = 0; i < std::size(kSettings); ++i) {
        const char given = decision.given[i + i / 3];  // after i letters and the spaces of their groups
        const Json::Value config = network(decision.mode, kSettings[i]);
        const Outcome result = outcome(port.name, config);
        ASSERT_EQ(result.text, expected_section(port, decision, given))
            << port.name << ", row " << &decision - kDecisions << "\n"
            << config;
        ASSERT_EQ(result.written, given != '-');
      }
    }
  }
}

TEST_F(PassthroughTest, TheGatewayOfTheOtherPortsPairIsNoReasonToStepBack) {
  const Json::Value disabled = network(Mode::kAutomatic, R"({"disable_dhcp_secondary": true})");
  put_link(Link::kUp, "169.254.0.129");
  EXPECT_TRUE(outcome("eth0", disabled).written);
  EXPECT_FALSE(outcome("eth1", disabled).written);
  put_link(Link::kUp, "169.254.0.1");
  EXPECT_FALSE(outcome("eth0", disabled).written);
  EXPECT_TRUE(outcome("eth1", disabled).written);
}

TEST_F(PassthroughTest, AFlagOfTheWrongTypeCountsAsMissing) {
  put_link(Link::kUp, "169.254.0.1");
  EXPECT_FALSE(outcome("eth0", network(Mode::kStatic, R"({"enable": "true"})")).written);
  EXPECT_TRUE(outcome("eth0", network(Mode::kAutomatic, R"({"disable_dhcp_secondary": 1})")).written);
}

// --- The pool

TEST_F(PassthroughTest, AStaticPortWithoutAPoolOfItsOwnHandsOnTheCellularAddress) {
  struct Case {
    const char* dhcp;
    const char* line;
  };
  put_link(Link::kUp);
  for (const Case& c : {
           Case{R"({})", "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"start": "", "end": ""})", "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"start": "192.168.1.1", "end": "192.168.1.1"})",
                "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"start": "192.168.1.1"})", "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"end": "192.168.1.1"})", "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"start": 100, "end": 200})", "\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"},
           Case{R"({"start": "192.168.1.100", "end": "192.168.1.200"})",
                "\ndhcp-range=eth0,192.168.1.100,192.168.1.200,2m\n"},
           Case{R"({"start": "192.168.1.100"})", "\ndhcp-range=eth0,192.168.1.100,,2m\n"},
           Case{R"({"end": "192.168.1.200"})", "\ndhcp-range=eth0,,192.168.1.200,2m\n"},
           Case{R"({"start": "192.168.1.1", "end": "192.168.1.200"})",
                "\ndhcp-range=eth0,192.168.1.1,192.168.1.200,2m\n"},
           Case{R"({"start": "192.168.1.100", "end": "192.168.1.1"})",
                "\ndhcp-range=eth0,192.168.1.100,192.168.1.1,2m\n"},
       }) {
    SCOPED_TRACE(c.dhcp);
    Json::Value config = network(Mode::kStatic);
    config["dhcp"] = json(c.dhcp);
    config["dhcp"]["enable"] = true;
    EXPECT_THAT(section_of("eth0", config), HasSubstr(c.line));
  }
}

// --- Lease times

// The lease time in the only dhcp-range line.
static std::string leasetime_in(const std::string& text) {
  const std::size_t line = text.find("dhcp-range=");
  const std::string range = text.substr(line, text.find('\n', line) - line);
  return range.substr(range.rfind(',') + 1);
}

TEST_F(PassthroughTest, EachAddressHasItsOwnLeaseTime) {
  struct Case {
    const char* dhcp;
    const char* wwan;
    const char* pair;
  };
  for (const Case& c : {
           Case{R"({"enable": true})", "2m", "2m"},
           Case{R"({"enable": true, "leasetime": "12h"})", "12h", "2m"},
           Case{R"({"enable": true, "secondary_leasetime": "45"})", "2m", "45"},
           Case{R"({"enable": true, "leasetime": "12h", "secondary_leasetime": "45"})", "12h", "45"},
           Case{R"({"enable": true, "leasetime": "", "secondary_leasetime": ""})", "", ""},
           Case{R"({"enable": true, "leasetime": 5, "secondary_leasetime": 6})", "2m", "2m"},
       }) {
    for (const Mode mode : {Mode::kStatic, Mode::kAutomatic}) {
      const Json::Value config = network(mode, c.dhcp);
      put_link(Link::kUp);
      EXPECT_EQ(leasetime_in(section_of("eth0", config)), c.wwan) << config;
      put_link(Link::kDown);
      EXPECT_EQ(leasetime_in(section_of("eth0", config)), c.pair) << config;
      put_link(Link::kAddressEmpty);
      EXPECT_EQ(leasetime_in(section_of("eth0", config)), c.pair) << config;
    }
  }
}

// --- Missing values

TEST_F(PassthroughTest, AStaticPortWithoutANetmaskLeavesItsOptionOut) {
  put_link(Link::kUp);
  for (const char* network : {
           R"({"mode": "pass-through", "ipv4": "192.168.1.1", "dhcp": {"enable": true}})",
           R"({"mode": "pass-through", "ipv4": "192.168.1.1", "netmask": "24", "dhcp": {"enable": true}})",
       }) {
    EXPECT_THAT(section_of_eth0(network),
                AllOf(HasSubstr("\ndhcp-option=eth0,3,192.168.1.1\n"), Not(HasSubstr("dhcp-option=eth0,1,")),
                      HasSubstr("\ndhcp-option=eth0,6,192.168.1.1\n")))
        << network;
  }
}

TEST_F(PassthroughTest, AStaticPortWithoutAnAddressHasEmptyFields) {
  put_link(Link::kUp);
  EXPECT_THAT(
      section_of_eth0(R"({"mode": "pass-through", "netmask": 25, "dhcp": {"enable": true}})"),
      AllOf(HasSubstr("\ndhcp-host=02:00:5e:00:00:10,\n"),
            HasSubstr("\ndhcp-range=eth0,10.20.30.40,10.20.30.40,2m\n"), HasSubstr("\ndhcp-option=eth0,3,\n"),
            HasSubstr("\ndhcp-option=eth0,1,255.255.255.128\n"), HasSubstr("\ndhcp-option=eth0,6,\n")));
}

TEST_F(PassthroughTest, ALinkWithoutGatewayAndNetmaskHasEmptyFields) {
  platform().database["CELL_CONNECTED"] = 1;
  put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
  EXPECT_THAT(section_of("eth0", network(Mode::kAutomatic)),
              AllOf(HasSubstr("\ndhcp-host=02:00:5e:00:00:10,\n"), HasSubstr("\ndhcp-option=eth0,1,\n"),
                    HasSubstr("\ndhcp-option=eth0,3,\n"), HasSubstr("\ndhcp-option=eth0,6,\n")));
}

TEST_F(PassthroughTest, APortWithoutAMacAddressHasAnEmptyField) {
  platform().mac_addresses.clear();
  put_link(Link::kDown);
  EXPECT_THAT(section_of("eth0", network(Mode::kAutomatic)), HasSubstr("\ndhcp-host=,169.254.0.1\n"));
  EXPECT_THAT(section_of("eth0", network(Mode::kStatic)), HasSubstr("\ndhcp-host=,192.168.1.1\n"));
}

TEST_F(PassthroughTest, TheLongestAddressesFit) {
  platform().database["CELL_CONNECTED"] = 1;
  put_file("/var/run/wwan_ipv4", "100.100.100.102\n");
  put_file("/var/run/wwan_gw", "100.100.100.101\n");
  put_file("/var/run/wwan_netmask", "255.255.255.252\n");
  EXPECT_THAT(section_of("eth0", network(Mode::kAutomatic)),
              AllOf(HasSubstr("\ndhcp-range=eth0,100.100.100.102,100.100.100.102,2m\n"),
                    HasSubstr("\ndhcp-option=eth0,1,255.255.255.252\n"),
                    HasSubstr("\ndhcp-option=eth0,6,100.100.100.101\n")));
}

// --- Decisions without output

TEST_F(PassthroughTest, TheSectionIsChosenWithoutALogLine) {
  const auto chosen = [](const char* network, const char* gateway) {
    const NetworkContext ctx =
        context_of(R"({"wired": {"eth0": {"network": )" + std::string(network) + "}}}");
    return choose_passthrough_section(&ctx, "eth0", gateway);
  };
  const char* automatic = R"({"mode": "pass-through-auto", "dhcp": {"disable_dhcp_secondary": true}})";
  EXPECT_EQ(chosen(automatic, nullptr), PassthroughSection::kAutomatic);
  EXPECT_EQ(chosen(automatic, ""), PassthroughSection::kAutomatic);
  EXPECT_EQ(chosen(automatic, "169.254.0.1"), PassthroughSection::kOrdinaryPort);
  const char* fixed = R"({"mode": "pass-through", "dhcp": {"enable": true}})";
  EXPECT_EQ(chosen(fixed, nullptr), PassthroughSection::kStaticFallback);
  EXPECT_EQ(chosen(fixed, ""), PassthroughSection::kStaticWwan);
  EXPECT_EQ(chosen(R"({"mode": "pass-through"})", ""), PassthroughSection::kOrdinaryPort);
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(PassthroughTest, ARangeHasAnEndThatIsNotThePortsOwnAddress) {
  const auto range = [](const char* dhcp) {
    static Json::Value network;
    network["dhcp"] = json(dhcp);
    return read_passthrough_range(network, "192.168.1.1");
  };
  EXPECT_FALSE(range("{}"));
  EXPECT_FALSE(range(R"({"start": "", "end": 5})"));
  EXPECT_FALSE(range(R"({"start": "192.168.1.1", "end": "192.168.1.1"})"));
  const std::optional<PassthroughRange> half = range(R"({"end": "192.168.1.9"})");
  EXPECT_EQ(half.value().start, "");
  EXPECT_EQ(half.value().end, "192.168.1.9");
  EXPECT_EQ(range(R"({"start": "192.168.1.8", "end": "192.168.1.1"})").value().start, "192.168.1.8");
}
