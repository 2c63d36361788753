#include "dnsmasq/passthrough.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

// The fixed texts of a port.
struct PortTexts {
  const char* name;
  const char* mac;
  const char* pair_gateway;
  const char* pair_device;
};

constexpr PortTexts kPorts[] = {
    {"eth0", "02:00:5e:00:00:10", "169.254.0.1", "169.254.0.2"},
    {"eth1", "02:00:5e:00:00:11", "169.254.0.129", "169.254.0.130"},
};

enum class Link { kDown, kUpWithAddress, kUpWithEmptyAddress, kUpWithoutAddress };

// A section, and whether one was written.
struct Outcome {
  bool written;
  std::string text;
};

class PassthroughTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    for (const PortTexts& port : kPorts)
      platform().hardware_addresses[port.name] = port.mac;
  }

  // What the link manager left: 10.20.30.40/30 behind this gateway.
  static void put_link(Link link, const std::string& gateway) {
    platform().database["CELL_CONNECTED"] = link == Link::kDown ? 0 : 1;
    put_file("/var/run/wwan_gw", gateway + "\n");
    put_file("/var/run/wwan_netmask", "255.255.255.252\n");
    put_file("/var/run/wwan_ipv4", link == Link::kUpWithEmptyAddress ? "" : "10.20.30.40\n");
    if (link == Link::kUpWithoutAddress) std::filesystem::remove("/var/run/wwan_ipv4");
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

  // The section of eth0 for this "network" object.
  static std::string section_of_eth0(const std::string& network) {
    const Outcome result = outcome("eth0", json(network));
    EXPECT_TRUE(result.written) << network;
    return result.text;
  }
};

// Whole sections.

TEST_F(PassthroughTest, TheAutomaticSectionHandsOnTheCellularAddress) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  EXPECT_EQ(section_of_eth0(R"({"mode": "pass-through-auto"})"), R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,10.20.30.41
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,1,255.255.255.252
dhcp-option=eth0,3,10.20.30.41
dhcp-option=eth0,6,10.20.30.41

)");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                   "notice dnsmasq_add_eth_interface: wwan link up",
                   "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth0"}));
}

TEST_F(PassthroughTest, TheAutomaticSectionFallsBackWhileTheLinkIsDown) {
  put_link(Link::kDown, "10.20.30.41");
  EXPECT_EQ(section_of_eth0(R"({"mode": "pass-through-auto"})"), R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,169.254.0.1
dhcp-range=eth0,169.254.0.2,169.254.0.2,2m
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                   "notice dnsmasq: wwan link down",
                   "notice dnsmasq: no WWAN connection, using secondary ip 169.254.0.1 and dhcp 169.254.0.2",
                   "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth0"}));
}

TEST_F(PassthroughTest, ALinkWithoutAnAddressIsLoggedAndFallsBack) {
  for (const Link link : {Link::kUpWithEmptyAddress, Link::kUpWithoutAddress}) {
    put_link(link, "10.20.30.41");
    const Outcome result = outcome("eth1", json(R"({"mode": "pass-through-auto"})"));
    EXPECT_TRUE(result.written);
    EXPECT_EQ(result.text, R"(
# pass-through automatic mode DHCP on eth1
dhcp-host=02:00:5e:00:00:11,169.254.0.129
dhcp-range=eth1,169.254.0.130,169.254.0.130,2m
dhcp-option=eth1,1,255.255.255.128
dhcp-option=eth1,3,169.254.0.129
dhcp-option=eth1,6,169.254.0.129

)");
    EXPECT_EQ(platform().log,
              (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                     "notice dnsmasq_add_eth_interface: wwan link up",
                     "notice dnsmasq_add_eth_interface: no WWAN address found, "
                     "using secondary ip 169.254.0.129 and dhcp 169.254.0.130",
                     "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_auto eth1"}));
  }
}

TEST_F(PassthroughTest, WithoutTheDatabasesWordTheLinkCountsAsDown) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  platform().database.clear();
  section_of_eth0(R"({"mode": "pass-through-auto"})");
  EXPECT_EQ(platform().log.at(1), "notice dnsmasq: wwan link down");
}

TEST_F(PassthroughTest, TheStaticSectionServesTheConfiguredPool) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  EXPECT_EQ(section_of_eth0(R"({
              "mode": "pass-through", "ipv4": "192.168.1.1", "netmask": 24,
              "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.200"}})"),
            R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,192.168.1.1
dhcp-range=eth0,192.168.1.100,192.168.1.200,2m
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,1,255.255.255.0
dhcp-option=eth0,6,192.168.1.1

)");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                   "notice dnsmasq_add_eth_interface: wwan link up",
                   "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_static eth0",
                   "notice configure dnsmasq for passthrough_static  eth0"}));
}

TEST_F(PassthroughTest, TheStaticSectionFallsBackWhileTheLinkIsDown) {
  put_link(Link::kDown, "10.20.30.41");
  EXPECT_EQ(section_of_eth0(R"({
              "mode": "pass-through", "ipv4": "192.168.1.1", "netmask": 24,
              "dhcp": {"enable": false, "start": "192.168.1.100", "end": "192.168.1.200"}})"),
            R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,192.168.1.1
dhcp-range=eth0,169.254.0.2,169.254.0.2,2m
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,3,169.254.0.1
dhcp-option=eth0,6,169.254.0.1

)");
  EXPECT_EQ(platform().log,
            (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                   "notice dnsmasq: wwan link down",
                   "notice dnsmasq: no WWAN connection, using secondary ip 169.254.0.1 and dhcp 169.254.0.2",
                   "notice dnsmasq_add_eth_interface: configure dnsmasq for passthrough_static eth0",
                   "notice configure dnsmasq for passthrough_static secondary fallback eth0"}));
}

TEST_F(PassthroughTest, AnOrdinaryPortIsOnlyLogged) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  EXPECT_FALSE(outcome("eth0", json(R"({"mode": "pass-through"})")).written);
  EXPECT_EQ(platform().log, (Lines{"notice dnsmasq_add_eth_interface: update dnsmasq for pass-through mode",
                                   "notice dnsmasq_add_eth_interface: wwan link up"}));
}

TEST_F(PassthroughTest, AnyOtherModeIsStatic) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  for (const char* mode : {"Pass-through-auto", "pass-through-auto ", ""}) {
    Json::Value network = json(R"({"dhcp": {"enable": true}})");
    network["mode"] = mode;
    EXPECT_THAT(outcome("eth0", network).text,
                ::testing::StartsWith("\n# pass-through static mode DHCP on eth0\n"))
        << mode;
  }
}

// The decision: each row is one rule, and together they cover every case once.

enum Answer { kNo, kYes, kEither };
enum class Mode { kStatic, kAutomatic, kAny };
enum class Section { kAutomaticWwan, kAutomaticFallback, kStaticWwan, kStaticFallback, kOrdinaryPort };

struct Rule {
  Answer has_wwan_address;
  Answer disable_dhcp_secondary;
  Answer gateway_is_the_pairs;
  Mode mode;
  Answer dhcp_enable;
  Section section;
};

constexpr Rule kRules[] = {
    {kYes, kYes, kYes, Mode::kAny, kEither, Section::kOrdinaryPort},
    {kYes, kYes, kNo, Mode::kAutomatic, kEither, Section::kAutomaticWwan},
    {kYes, kNo, kEither, Mode::kAutomatic, kEither, Section::kAutomaticWwan},
    {kYes, kYes, kNo, Mode::kStatic, kYes, Section::kStaticWwan},
    {kYes, kNo, kEither, Mode::kStatic, kYes, Section::kStaticWwan},
    {kYes, kYes, kNo, Mode::kStatic, kNo, Section::kOrdinaryPort},
    {kYes, kNo, kEither, Mode::kStatic, kNo, Section::kOrdinaryPort},
    {kNo, kEither, kEither, Mode::kAutomatic, kEither, Section::kAutomaticFallback},
    {kNo, kEither, kEither, Mode::kStatic, kEither, Section::kStaticFallback},
};

// The port's configured pool, and what becomes of it while the cellular address is handed on.
struct Pool {
  const char* dhcp;
  const char* range;
};

constexpr Pool kPools[] = {
    {R"({})", "10.20.30.40,10.20.30.40"},
    {R"({"start": "", "end": ""})", "10.20.30.40,10.20.30.40"},
    {R"({"start": "192.168.1.1", "end": "192.168.1.1"})", "10.20.30.40,10.20.30.40"},
    {R"({"start": "192.168.1.1"})", "10.20.30.40,10.20.30.40"},
    {R"({"end": "192.168.1.1"})", "10.20.30.40,10.20.30.40"},
    {R"({"start": 100, "end": 200})", "10.20.30.40,10.20.30.40"},
    {R"({"start": "192.168.1.100", "end": "192.168.1.200"})", "192.168.1.100,192.168.1.200"},
    {R"({"start": "192.168.1.100"})", "192.168.1.100,"},
    {R"({"end": "192.168.1.200"})", ",192.168.1.200"},
    {R"({"start": "192.168.1.1", "end": "192.168.1.200"})", "192.168.1.1,192.168.1.200"},
    {R"({"start": "192.168.1.100", "end": "192.168.1.1"})", "192.168.1.100,192.168.1.1"},
};

struct Case {
  const PortTexts* port;
  Mode mode;
  Link link;
  Answer gateway_is_the_pairs;
  const char* dhcp_enable;             // as JSON; null for a key that is missing
  const char* disable_dhcp_secondary;  // the same
  const Pool* pool;
};

bool answers(Answer rule, bool value) {
  return rule == kEither || rule == (value ? kYes : kNo);
}

bool is_true(const char* text) {
  return text != nullptr && std::string(text) == "true";
}

bool applies(const Rule& rule, const Case& c) {
  return answers(rule.has_wwan_address, c.link == Link::kUpWithAddress) &&
         answers(rule.disable_dhcp_secondary, is_true(c.disable_dhcp_secondary)) &&
         answers(rule.gateway_is_the_pairs, c.gateway_is_the_pairs == kYes) &&
         (rule.mode == Mode::kAny || rule.mode == c.mode) &&
         answers(rule.dhcp_enable, is_true(c.dhcp_enable));
}

// The one rule that applies.
Section section_of(const Case& c) {
  Section section = Section::kOrdinaryPort;
  int rules = 0;
  for (const Rule& rule : kRules) {
    if (!applies(rule, c)) continue;
    section = rule.section;
    ++rules;
  }
  EXPECT_EQ(rules, 1);
  return section;
}

std::string link_gateway(const Case& c) {
  return c.gateway_is_the_pairs == kYes ? c.port->pair_gateway : "10.20.30.41";
}

// A pool of one address with the options of the device behind it.
std::string one_address(const std::string& port, const std::string& client, const std::string& gateway,
                        const std::string& netmask) {
  return "dhcp-range=" + port + "," + client + "," + client + ",2m\ndhcp-option=" + port + ",1," + netmask +
         "\ndhcp-option=" + port + ",3," + gateway + "\ndhcp-option=" + port + ",6," + gateway + "\n\n";
}

std::string expected_text(const Case& c) {
  const std::string port = c.port->name;
  const std::string automatic =
      "\n# pass-through automatic mode DHCP on " + port + "\ndhcp-host=" + c.port->mac;
  const std::string fixed =
      "\n# pass-through static mode DHCP on " + port + "\ndhcp-host=" + c.port->mac + ",192.168.1.1\n";
  const std::string wwan_gateway = link_gateway(c);
  const std::string fallback =
      one_address(port, c.port->pair_device, c.port->pair_gateway, "255.255.255.128");
  switch (section_of(c)) {
    case Section::kAutomaticWwan:
      return automatic + "," + wwan_gateway + "\n" +
             one_address(port, "10.20.30.40", wwan_gateway, "255.255.255.252");
    case Section::kAutomaticFallback:
      return automatic + "," + c.port->pair_gateway + "\n" + fallback;
    case Section::kStaticFallback:
      return fixed + fallback;
    case Section::kStaticWwan:
      return fixed + "dhcp-range=" + port + "," + c.pool->range + ",2m\ndhcp-option=" + port +
             ",3,192.168.1.1\ndhcp-option=" + port + ",1,255.255.255.0\ndhcp-option=" + port +
             ",6,192.168.1.1\n\n";
    case Section::kOrdinaryPort:
      break;
  }
  return "";
}

Json::Value network_of(const Case& c) {
  Json::Value network = json(R"({"ipv4": "192.168.1.1", "netmask": 24})");
  network["mode"] = c.mode == Mode::kAutomatic ? "pass-through-auto" : "pass-through";
  network["dhcp"] = json(c.pool->dhcp);
  if (c.dhcp_enable != nullptr) network["dhcp"]["enable"] = is_true(c.dhcp_enable);
  if (c.disable_dhcp_secondary != nullptr)
    network["dhcp"]["disable_dhcp_secondary"] = is_true(c.disable_dhcp_secondary);
  return network;
}

std::vector<Case> every_case() {
  std::vector<Case> cases;
  for (const PortTexts& port : kPorts)
    for (const Mode mode : {Mode::kStatic, Mode::kAutomatic})
      for (const Link link :
           {Link::kDown, Link::kUpWithAddress, Link::kUpWithEmptyAddress, Link::kUpWithoutAddress})
        for (const Answer gateway_is_the_pairs : {kNo, kYes})
          for (const char* enable : {static_cast<const char*>(nullptr), "false", "true"})
            for (const char* disable : {static_cast<const char*>(nullptr), "false", "true"})
              for (const Pool& pool : kPools)
                cases.push_back({&port, mode, link, gateway_is_the_pairs, enable, disable, &pool});
  return cases;
}

TEST_F(PassthroughTest, EveryCaseFollowsItsRule) {
  for (const Case& c : every_case()) {
    put_link(c.link, link_gateway(c));
    const Json::Value network = network_of(c);
    const Outcome result = outcome(c.port->name, network);
    const std::string expected = expected_text(c);
    ASSERT_EQ(result.text, expected) << c.port->name << ", link " << static_cast<int>(c.link) << ", gateway "
                                     << link_gateway(c) << "\n"
                                     << network;
    ASSERT_EQ(result.written, !expected.empty());
  }
}

TEST_F(PassthroughTest, TheGatewayOfTheOtherPortsPairIsNoReasonToStepBack) {
  Json::Value network = json(R"({"mode": "pass-through-auto", "dhcp": {"disable_dhcp_secondary": true}})");
  put_link(Link::kUpWithAddress, "169.254.0.129");
  EXPECT_TRUE(outcome("eth0", network).written);
  EXPECT_FALSE(outcome("eth1", network).written);
  put_link(Link::kUpWithAddress, "169.254.0.1");
  EXPECT_FALSE(outcome("eth0", network).written);
  EXPECT_TRUE(outcome("eth1", network).written);
}

TEST_F(PassthroughTest, AFlagOfTheWrongTypeCountsAsMissing) {
  put_link(Link::kUpWithAddress, "169.254.0.1");
  EXPECT_FALSE(outcome("eth0", json(R"({"mode": "pass-through", "dhcp": {"enable": "true"}})")).written);
  EXPECT_TRUE(outcome("eth0", json(R"({"mode": "pass-through-auto", "dhcp": {"disable_dhcp_secondary": 1}})"))
                  .written);
}

// Lease times: the "dhcp" object, the time for the cellular address and that for the fallback.
struct LeaseCase {
  const char* dhcp;
  const char* wwan;
  const char* fallback;
};

constexpr LeaseCase kLeaseCases[] = {
    {R"({"enable": true})", "2m", "2m"},
    {R"({"enable": true, "leasetime": "12h"})", "12h", "2m"},
    {R"({"enable": true, "secondary_leasetime": "45"})", "2m", "45"},
    {R"({"enable": true, "leasetime": "12h", "secondary_leasetime": "45"})", "12h", "45"},
    {R"({"enable": true, "leasetime": "", "secondary_leasetime": ""})", "", ""},
    {R"({"enable": true, "leasetime": 5, "secondary_leasetime": 6})", "2m", "2m"},
};

// The lease time of the one range line.
std::string leasetime_in(const std::string& text) {
  const std::size_t line = text.find("dhcp-range=");
  const std::string range = text.substr(line, text.find('\n', line) - line);
  return range.substr(range.rfind(',') + 1);
}

TEST_F(PassthroughTest, EachAddressHasItsOwnLeaseTime) {
  for (const LeaseCase& c : kLeaseCases) {
    for (const char* mode : {"pass-through", "pass-through-auto"}) {
      Json::Value network;
      network["mode"] = mode;
      network["dhcp"] = json(c.dhcp);
      put_link(Link::kUpWithAddress, "10.20.30.41");
      EXPECT_EQ(leasetime_in(outcome("eth0", network).text), c.wwan) << c.dhcp << mode;
      put_link(Link::kDown, "10.20.30.41");
      EXPECT_EQ(leasetime_in(outcome("eth0", network).text), c.fallback) << c.dhcp << mode;
      put_link(Link::kUpWithEmptyAddress, "10.20.30.41");
      EXPECT_EQ(leasetime_in(outcome("eth0", network).text), c.fallback) << c.dhcp << mode;
    }
  }
}

// Values that are missing.

TEST_F(PassthroughTest, AStaticPortWithoutANetmaskLeavesItsOptionOut) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  for (const char* network : {
           R"({"mode": "pass-through", "ipv4": "192.168.1.1", "dhcp": {"enable": true}})",
           R"({"mode": "pass-through", "ipv4": "192.168.1.1", "netmask": "24", "dhcp": {"enable": true}})",
       }) {
    EXPECT_EQ(section_of_eth0(network), R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,192.168.1.1
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,3,192.168.1.1
dhcp-option=eth0,6,192.168.1.1

)") << network;
  }
}

TEST_F(PassthroughTest, AStaticPortWithoutAnAddressHasEmptyFields) {
  put_link(Link::kUpWithAddress, "10.20.30.41");
  EXPECT_EQ(section_of_eth0(R"({"mode": "pass-through", "netmask": 25, "dhcp": {"enable": true}})"), R"(
# pass-through static mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,3,
dhcp-option=eth0,1,255.255.255.128
dhcp-option=eth0,6,

)");
}

TEST_F(PassthroughTest, ALinkWithoutGatewayAndNetmaskHasEmptyFields) {
  platform().database["CELL_CONNECTED"] = 1;
  put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
  EXPECT_EQ(section_of_eth0(R"({"mode": "pass-through-auto"})"), R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,
dhcp-range=eth0,10.20.30.40,10.20.30.40,2m
dhcp-option=eth0,1,
dhcp-option=eth0,3,
dhcp-option=eth0,6,

)");
}

TEST_F(PassthroughTest, APortWithoutAHardwareAddressHasAnEmptyField) {
  platform().hardware_addresses.clear();
  put_link(Link::kDown, "");
  EXPECT_THAT(
      section_of_eth0(R"({"mode": "pass-through-auto"})"),
      ::testing::StartsWith("\n# pass-through automatic mode DHCP on eth0\ndhcp-host=,169.254.0.1\n"));
}

TEST_F(PassthroughTest, TheLongestAddressesFit) {
  platform().database["CELL_CONNECTED"] = 1;
  put_file("/var/run/wwan_ipv4", "100.100.100.102\n");
  put_file("/var/run/wwan_gw", "100.100.100.101\n");
  put_file("/var/run/wwan_netmask", "255.255.255.252\n");
  EXPECT_EQ(section_of_eth0(R"({"mode": "pass-through-auto"})"), R"(
# pass-through automatic mode DHCP on eth0
dhcp-host=02:00:5e:00:00:10,100.100.100.101
dhcp-range=eth0,100.100.100.102,100.100.100.102,2m
dhcp-option=eth0,1,255.255.255.252
dhcp-option=eth0,3,100.100.100.101
dhcp-option=eth0,6,100.100.100.101

)");
}

}  // namespace
