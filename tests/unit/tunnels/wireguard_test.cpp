#include "tunnels/wireguard.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "file_size_limit.h"
#include "lanfab_test.h"

namespace {

// Whether the system has the group of systemd-networkd, and the recorded file owners.
struct Ownership {
  bool has_networkd = false;
  std::vector<std::pair<uid_t, gid_t>> owners;
};

}  // namespace

static Ownership& ownership() {
  static Ownership instance;
  return instance;
}

constexpr gid_t kNetworkdGroup = 998;
constexpr uid_t kSameUser = static_cast<uid_t>(-1);

// Replace the C library's functions at link time.
extern "C" {

struct group* getgrnam(const char* name) {
  static struct group networkd {};
  networkd.gr_gid = kNetworkdGroup;
  const bool known = ownership().has_networkd && std::strcmp(name, "systemd-network") == 0;
  return known ? &networkd : nullptr;
}

int fchown(int /*fd*/, uid_t owner, gid_t group) noexcept {
  ownership().owners.emplace_back(owner, group);
  return -1;
}

}  // extern "C"

constexpr char kKey[] = "cPRIVATEkeyPRIVATEkeyPRIVATEkeyPRIVATEkey01=";
constexpr char kPresharedKey[] = "cSHAREDkeySHAREDkeySHAREDkeySHAREDkeySHARE2=";

namespace {

class WireguardTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    ownership() = Ownership();
  }
};

}  // namespace

static void put_key(const std::string& link, const std::string& key = kKey) {
  put_file("/var/data/qel/.wg/" + link + "-private.key", key + "\n");
}

// Applies this "network.tunnels.wireguard" object.
static int apply(const std::string& wireguard) {
  const NetworkContext ctx = context_of("{}");
  platform().configuration["network.tunnels.wireguard"] = json(wireguard);
  return wireguard_apply(&ctx);
}

// Writes the units of wg0 from its object.
static int write_wg0(const std::string& interface_config) {
  const NetworkContext ctx = context_of("{}");
  return write_wireguard_network_unit_files(&ctx, 0, json(interface_config));
}

static std::string peers(const std::string& list) {
  return R"({"peers": )" + list + "}";
}

static mode_t mode_of(const std::string& name) {
  struct stat status {};
  EXPECT_EQ(stat(("/var/run/systemd/network/" + name).c_str(), &status), 0);
  return status.st_mode & 07777;
}

// The beginning of the netdev unit of wg0.
constexpr char kNetdevHead[] = R"([NetDev]
Name = wg0
Kind = wireguard

[WireGuard]
PrivateKey = cPRIVATEkeyPRIVATEkeyPRIVATEkeyPRIVATEkey01=
FirewallMark = 3006
)";

// The beginning and the end of the network unit of wg0.
constexpr char kNetworkHead[] = R"([Match]
Name = wg0

[Network]
)";
constexpr char kRules[] = R"(
[RoutingPolicyRule]
Family = both
InvertRule = true
FirewallMark = 3006
Table = 3006

[RoutingPolicyRule]
Family = both
Table = main
SuppressPrefixLength = 0
)";

// --- The list of interfaces

TEST_F(WireguardTest, AnInterfaceHasTwoUnitsAndALink) {
  put_key("wg0");
  EXPECT_EQ(apply(R"({"enable": true, "interfaces": [{
              "enable": true, "local_addrs": "10.9.0.1/24",
              "peers": [{"public_key": "peer", "allowed_ips": "0.0.0.0/0"}]}]})"),
            0);
  EXPECT_EQ(unit("44-wireguard.netdev"), R"([NetDev]
Name = wg0
Kind = wireguard

[WireGuard]
PrivateKey = cPRIVATEkeyPRIVATEkeyPRIVATEkeyPRIVATEkey01=
FirewallMark = 3006

[WireGuardPeer]
PublicKey = peer
AllowedIPs = 0.0.0.0/0
)");
  EXPECT_EQ(unit("44-wireguard.network"), R"([Match]
Name = wg0

[Network]
Address = 10.9.0.1/24

[Route]
Destination = 0.0.0.0/0
Table = 3006

[RoutingPolicyRule]
Family = both
InvertRule = true
FirewallMark = 3006
Table = 3006

[RoutingPolicyRule]
Family = both
Table = main
SuppressPrefixLength = 0
)");
  EXPECT_THAT(unit_names(), ElementsAre("44-wireguard.netdev", "44-wireguard.network"));
  EXPECT_THAT(platform().calls, ElementsAre("ip link add dev wg0 type wireguard"));
  EXPECT_THAT(recorded_interfaces(), IsEmpty());
  EXPECT_THAT(platform().log,
              ElementsAre("info configure Wireguard interface wg0",
                          "debug write unit file:/var/run/systemd/network/44-wireguard.netdev\n",
                          "debug write unit file:/var/run/systemd/network/44-wireguard.network\n"));
}

TEST_F(WireguardTest, ADisabledInterfaceKeepsItsPosition) {
  put_key("wg0");
  put_key("wg2", "another key");
  EXPECT_EQ(apply(R"({"enable": true, "interfaces": [
              {"enable": true}, {"enable": false},
              {"enable": true, "peers": [{"public_key": "peer", "allowed_ips": "10.0.0.0/8"}]}]})"),
            0);
  EXPECT_THAT(unit_names(), ElementsAre("44-wireguard.netdev", "44-wireguard.network", "46-wireguard.netdev",
                                        "46-wireguard.network"));
  EXPECT_EQ(unit("46-wireguard.netdev"), R"([NetDev]
Name = wg2
Kind = wireguard

[WireGuard]
PrivateKey = another key
FirewallMark = 3008

[WireGuardPeer]
PublicKey = peer
AllowedIPs = 10.0.0.0/8
)");
  EXPECT_EQ(unit("46-wireguard.network"), R"([Match]
Name = wg2

[Network]

[Route]
Destination = 10.0.0.0/8
Table = 3008

[RoutingPolicyRule]
Family = both
InvertRule = true
FirewallMark = 3008
Table = 3008

[RoutingPolicyRule]
Family = both
Table = main
SuppressPrefixLength = 0
)");
  EXPECT_THAT(platform().calls,
              ElementsAre("ip link add dev wg0 type wireguard", "ip link add dev wg2 type wireguard"));
}

TEST_F(WireguardTest, PositionsHaveNoEnd) {
  put_key("wg10");
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(write_wireguard_network_unit_files(&ctx, 10, json("{}")), 0);
  EXPECT_EQ(unit("54-wireguard.network"), R"([Match]
Name = wg10

[Network]

[RoutingPolicyRule]
Family = both
InvertRule = true
FirewallMark = 3016
Table = 3016

[RoutingPolicyRule]
Family = both
Table = main
SuppressPrefixLength = 0
)");
}

TEST_F(WireguardTest, WithoutItsConfigurationNothingIsDone) {
  const NetworkContext ctx = context_of(R"({"tunnels": {"wireguard": {"enable": true, "interfaces": [
    {"enable": true}]}}})");
  EXPECT_EQ(wireguard_apply(&ctx), 0);
  EXPECT_THAT(platform().log, ElementsAre("notice error reading config network.tunnels.wireguard"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(WireguardTest, NothingIsDoneUnlessEverythingIsEnabled) {
  put_key("wg0");
  for (const char* wireguard :
       {R"({"enable": false, "interfaces": [{"enable": true}]})", R"({"interfaces": [{"enable": true}]})",
        R"({"enable": "true", "interfaces": [{"enable": true}]})", R"({"enable": true})",
        R"({"enable": true, "interfaces": {"enable": true}})", R"({"enable": true, "interfaces": []})",
        R"({"enable": true, "interfaces": [{}, {"enable": false}, {"enable": 1}, "text", 5, null]})",
        R"([{"enable": true}])"}) {
    EXPECT_EQ(apply(wireguard), 0) << wireguard;
    EXPECT_THAT(platform().log, IsEmpty()) << wireguard;
    EXPECT_THAT(platform().calls, IsEmpty()) << wireguard;
    EXPECT_THAT(unit_names(), IsEmpty()) << wireguard;
  }
}

TEST_F(WireguardTest, AFailingInterfaceIsLoggedAndStopsNothing) {
  put_key("wg1");
  EXPECT_EQ(apply(R"({"enable": true, "interfaces": [{"enable": true}, {"enable": true}]})"), 0);
  EXPECT_THAT(
      platform().log,
      ElementsAre("info configure Wireguard interface wg0", "notice error reading wireguard private key file",
                  "info lanfab failed creating wireguard interface wg0",
                  "info configure Wireguard interface wg1",
                  "debug write unit file:/var/run/systemd/network/45-wireguard.netdev\n",
                  "debug write unit file:/var/run/systemd/network/45-wireguard.network\n"));
  EXPECT_THAT(platform().calls, ElementsAre("ip link add dev wg1 type wireguard"));
  EXPECT_THAT(unit_names(), ElementsAre("45-wireguard.netdev", "45-wireguard.network"));
}

// --- Units that cannot be written

TEST_F(WireguardTest, WithoutItsKeyAnInterfaceHasNoUnit) {
  EXPECT_EQ(write_wg0("{}"), -1);
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(WireguardTest, EitherUnitThatCannotBeOpenedIsReported) {
  put_key("wg0");
  for (const char* name : {"44-wireguard.netdev", "44-wireguard.network"}) {
    empty_directory("/var/run/systemd/network");
    block_unit(name);
    EXPECT_EQ(write_wg0("{}"), -1) << name;
  }
}

TEST_F(WireguardTest, ANetdevUnitThatIsNotWholeFails) {
  put_key("wg0");
  const FileSizeLimit limit(20);
  EXPECT_EQ(write_wg0("{}"), -1);
  EXPECT_THAT(log_of("notice"),
              ElementsAre("notice error writing /var/run/systemd/network/44-wireguard.netdev: File too large",
                          "notice wireguard error writing wireguard netdev unit file"));
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(WireguardTest, ANetworkUnitThatIsNotWholeFails) {
  put_key("wg0");
  fill_disk_for_unit("44-wireguard.network");
  EXPECT_EQ(write_wg0("{}"), -1);
  EXPECT_THAT(unit_names(), ElementsAre("44-wireguard.netdev"));
}

TEST_F(WireguardTest, ThePrivateKeyReachesNoReaderOfAnOlderUnit) {
  put_key("wg0");
  put_file("/var/run/systemd/network/44-wireguard.netdev", "older\n");
  std::ifstream older("/var/run/systemd/network/44-wireguard.netdev");
  EXPECT_EQ(write_wg0("{}"), 0);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(older), {}), "older\n");
}

TEST_F(WireguardTest, ANetdevUnitThatCannotBeOpenedFails) {
  put_key("wg0");
  block_unit("44-wireguard.netdev");
  EXPECT_EQ(apply(R"({"enable": true, "interfaces": [{"enable": true}]})"), 0);
  EXPECT_THAT(
      platform().log,
      ElementsAre("info configure Wireguard interface wg0",
                  "debug write unit file:/var/run/systemd/network/44-wireguard.netdev\n",
                  "notice error creating network unit file: /var/run/systemd/network/44-wireguard.netdev",
                  "notice wireguard error writing wireguard netdev unit file",
                  "info lanfab failed creating wireguard interface wg0"));
  EXPECT_THAT(unit_names(), ElementsAre("44-wireguard.netdev"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(WireguardTest, ANetworkUnitThatCannotBeOpenedLeavesTheNetdevUnit) {
  put_key("wg0");
  block_unit("44-wireguard.network");
  EXPECT_EQ(apply(R"({"enable": true, "interfaces": [{"enable": true}]})"), 0);
  EXPECT_THAT(
      platform().log,
      ElementsAre("info configure Wireguard interface wg0",
                  "debug write unit file:/var/run/systemd/network/44-wireguard.netdev\n",
                  "debug write unit file:/var/run/systemd/network/44-wireguard.network\n",
                  "notice error creating network unit file: /var/run/systemd/network/44-wireguard.network",
                  "notice error writing wireguard network unit file",
                  "info lanfab failed creating wireguard interface wg0"));
  EXPECT_EQ(unit("44-wireguard.netdev"), kNetdevHead);
  EXPECT_THAT(platform().calls, IsEmpty());
}

// --- Secrets

TEST_F(WireguardTest, TheKeyFileIsNamedAfterTheLink) {
  EXPECT_EQ(wireguard_private_key_file("wg3"), "/var/data/qel/.wg/wg3-private.key");
}

TEST_F(WireguardTest, TheBufferOfTheKeyIsWipedWhenTheKeyIsWritten) {
  std::string buffer = kKey;
  buffer.resize(64, 'x');
  buffer[sizeof kKey - 1] = '\0';
  const std::string text = text_written_by(
      [&](std::FILE* file) { write_wireguard_private_key(file, buffer.data(), buffer.size()); });
  EXPECT_EQ(text, "[WireGuard]\nPrivateKey = cPRIVATEkeyPRIVATEkeyPRIVATEkeyPRIVATEkey01=\n");
  EXPECT_EQ(buffer, std::string(64, '\0'));
}

TEST_F(WireguardTest, OnlyTheServicesMayReadTheUnitWithTheKey) {
  put_key("wg0");
  for (const mode_t mask : {0000U, 0022U, 0077U}) {
    const mode_t previous = umask(mask);
    EXPECT_EQ(write_wg0("{}"), 0);
    umask(previous);
    EXPECT_EQ(mode_of("44-wireguard.netdev"), 0640U) << mask;
    std::filesystem::remove("/var/run/systemd/network/44-wireguard.netdev");
  }
}

TEST_F(WireguardTest, AnEarlierUnitThatAllCouldReadIsRestrictedToo) {
  put_key("wg0");
  put_file("/var/run/systemd/network/44-wireguard.netdev", "of the previous run\n");
  chmod("/var/run/systemd/network/44-wireguard.netdev", 0666);
  EXPECT_EQ(write_wg0("{}"), 0);
  EXPECT_EQ(mode_of("44-wireguard.netdev"), 0640U);
}

TEST_F(WireguardTest, TheUnitWithTheKeyAndNoOtherGoesToTheGroupOfNetworkd) {
  put_key("wg0");
  ownership().has_networkd = true;
  EXPECT_EQ(write_wg0("{}"), 0);
  EXPECT_THAT(ownership().owners, ElementsAre(std::make_pair(kSameUser, kNetworkdGroup)));
}

TEST_F(WireguardTest, WithoutThatGroupTheUnitStaysWithItsOwner) {
  put_key("wg0");
  EXPECT_EQ(write_wg0("{}"), 0);
  EXPECT_THAT(ownership().owners, IsEmpty());
}

// Whether a string contains a key or a revealing part of one.
static bool gives_away_a_key(const std::string& text) {
  return text.find("PRIVATE") != std::string::npos || text.find("SHARED") != std::string::npos;
}

TEST_F(WireguardTest, NoKeyIsLoggedPrintedOrPassedToACommand) {
  put_key("wg0");
  const std::string config = R"({"enable": true, "interfaces": [{"enable": true, "peers": [
    {"public_key": "peer", "preshared_key": ")" +
                             std::string(kPresharedKey) + R"("},
    {"preshared_key": ")" + kPresharedKey +
                             R"("}]}]})";
  for (const char* blocked : {"", "44-wireguard.netdev", "44-wireguard.network"}) {
    if (*blocked != '\0') {
      empty_directory("/var/run/systemd/network");
      block_unit(blocked);
    }
    NetworkContext ctx = context_of("{}");
    ctx.trace = true;
    platform().configuration["network.tunnels.wireguard"] = json(config);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(gives_away_a_key(printed_by([&] { wireguard_apply(&ctx); }))) << blocked;
    EXPECT_FALSE(gives_away_a_key(testing::internal::GetCapturedStderr())) << blocked;
    for (const Lines& record : {platform().log, platform().calls})
      for (const std::string& line : record)
        EXPECT_FALSE(gives_away_a_key(line)) << line;
  }
}

TEST_F(WireguardTest, NoKeyStandsInTheNetworkUnit) {
  put_key("wg0");
  EXPECT_EQ(write_wg0(peers(R"([{"public_key": "peer", "preshared_key": ")" + std::string(kPresharedKey) +
                            R"(", "allowed_ips": "10.0.0.0/8"}])")),
            0);
  EXPECT_FALSE(gives_away_a_key(unit("44-wireguard.network")));
}

// --- Peers

TEST_F(WireguardTest, EachPeerWithAPublicKeyHasASectionAndEachNetworkARoute) {
  // The list, its part of each unit, and the number of peers without a public key.
  struct Case {
    const char* peers;
    const char* netdev;
    const char* network;
    int without_key;
  };
  put_key("wg0");
  for (const Case& c : {
           Case{
               R"([{"public_key": "A", "endpoint": "198.51.100.1:51820",
          "allowed_ips": "10.0.0.0/8,172.16.0.0/12", "preshared_key": "S", "keep_alive": 25},
         {"public_key": "B"}])",
               "\n[WireGuardPeer]\nPublicKey = A\nEndpoint = 198.51.100.1:51820\n"
               "AllowedIPs = 10.0.0.0/8,172.16.0.0/12\n"
               "PresharedKey = S\nPersistentKeepalive = 25\n\n[WireGuardPeer]\nPublicKey = B\n",
               "\n[Route]\nDestination = 10.0.0.0/8\nTable = 3006\n"
               "\n[Route]\nDestination = 172.16.0.0/12\nTable = 3006\n",
               0},
           Case{
               R"([{"endpoint": "198.51.100.1:51820", "allowed_ips": "10.0.0.0/8"},
         {"public_key": "", "allowed_ips": "172.16.0.0/12"},
         {"public_key": 5, "allowed_ips": "192.168.0.0/16"},
         {"public_key": "B", "allowed_ips": "10.9.0.0/16"}])",
               "\n[WireGuardPeer]\nPublicKey = B\nAllowedIPs = 10.9.0.0/16\n",
               "\n[Route]\nDestination = 10.0.0.0/8\nTable = 3006\n"
               "\n[Route]\nDestination = 172.16.0.0/12\nTable = 3006\n"
               "\n[Route]\nDestination = 192.168.0.0/16\nTable = 3006\n"
               "\n[Route]\nDestination = 10.9.0.0/16\nTable = 3006\n",
               3},
           Case{R"([{"public_key": "A", "allowed_ips": "10.0.0.0/8, 192.168.0.0/16"}])",
                "\n[WireGuardPeer]\nPublicKey = A\nAllowedIPs = 10.0.0.0/8, 192.168.0.0/16\n",
                "\n[Route]\nDestination = 10.0.0.0/8\nTable = 3006\n"
                "\n[Route]\nDestination =  192.168.0.0/16\nTable = 3006\n",
                0},
           Case{R"([{"public_key": "A", "allowed_ips": "10.0.0.0/8,,10.9.0.0/16"}])",
                "\n[WireGuardPeer]\nPublicKey = A\nAllowedIPs = 10.0.0.0/8,,10.9.0.0/16\n",
                "\n[Route]\nDestination = 10.0.0.0/8\nTable = 3006\n"
                "\n[Route]\nDestination = \nTable = 3006\n"
                "\n[Route]\nDestination = 10.9.0.0/16\nTable = 3006\n",
                0},
           Case{R"([{"public_key": "A", "endpoint": "", "preshared_key": "", "keep_alive": 0}])",
                "\n[WireGuardPeer]\nPublicKey = A\n", "", 0},
           Case{R"([{"public_key": "A", "keep_alive": -1}])", "\n[WireGuardPeer]\nPublicKey = A\n", "", 0},
           Case{R"([{"public_key": "A", "keep_alive": 1}])",
                "\n[WireGuardPeer]\nPublicKey = A\nPersistentKeepalive = 1\n", "", 0},
           Case{
               R"([{"public_key": "A", "endpoint": 5, "allowed_ips": 5, "preshared_key": 5,
                      "keep_alive": "25"}])",
               "\n[WireGuardPeer]\nPublicKey = A\n", "", 0},
           Case{R"(["text", null])", "", "", 2},
           Case{R"([])", "", "", 0},
           Case{R"({"public_key": "A"})", "", "", 0},
       }) {
    EXPECT_EQ(write_wg0(peers(c.peers)), 0) << c.peers;
    EXPECT_EQ(unit("44-wireguard.netdev"), std::string(kNetdevHead) + c.netdev) << c.peers;
    EXPECT_EQ(unit("44-wireguard.network"), std::string(kNetworkHead) + c.network + kRules) << c.peers;
    EXPECT_EQ(log_of("notice"), Lines(static_cast<std::size_t>(c.without_key),
                                      "notice error, wireguard peer public key is required"))
        << c.peers;
  }
}

TEST_F(WireguardTest, AllowedNetworksStandInThePeerEvenWhenEmpty) {
  put_key("wg0");
  EXPECT_EQ(write_wg0(peers(R"([{"public_key": "A", "allowed_ips": ""}])")), 0);
  EXPECT_EQ(unit("44-wireguard.netdev"),
            std::string(kNetdevHead) + "\n[WireGuardPeer]\nPublicKey = A\nAllowedIPs = \n");
}

TEST_F(WireguardTest, TheAddressIsWrittenAsItIs) {
  put_key("wg0");
  EXPECT_EQ(write_wg0(R"({"local_addrs": "10.9.0.1/24,fd00::1/64"})"), 0);
  EXPECT_EQ(unit("44-wireguard.network"),
            std::string(kNetworkHead) + "Address = 10.9.0.1/24,fd00::1/64\n" + kRules);
  EXPECT_EQ(write_wg0(R"({"local_addrs": ""})"), 0);
  EXPECT_EQ(unit("44-wireguard.network"), std::string(kNetworkHead) + "Address = \n" + kRules);
  EXPECT_EQ(write_wg0(R"({"local_addrs": ["10.9.0.1/24"]})"), 0);
  EXPECT_EQ(unit("44-wireguard.network"), std::string(kNetworkHead) + kRules);
}

// --- The trace

TEST_F(WireguardTest, PrintsItsTraceLines) {
  put_key("wg0");
  NetworkContext ctx = context_of("{}");
  platform().configuration["network.tunnels.wireguard"] =
      json(R"({"enable": true, "interfaces": [{"enable": true}]})");
  EXPECT_EQ(printed_by([&] { wireguard_apply(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { wireguard_apply(&ctx); }),
            "wireguard_apply\n"
            "write_wireguard_network_unit_files\n"
            "open_unit_file\n"
            "open_unit_file\n");
}

// --- Reading the configuration of an interface

TEST_F(WireguardTest, TheEnabledInterfacesOfAnEnabledWireguardAreRead) {
  Json::Value wireguard = json(R"({"enable": true, "interfaces": [
    {"local_addrs": "10.7.0.1/24"}, "text", {"enable": true, "local_addrs": "10.8.0.1/24"},
    {"enable": true}]})");
  const std::vector<WireguardInterface> interfaces = read_wireguard_interfaces(wireguard);
  ASSERT_EQ(interfaces.size(), 2U);
  EXPECT_EQ(interfaces[0].settings, &wireguard["interfaces"][2]);
  EXPECT_EQ(interfaces[0].index, 2U);
  EXPECT_EQ(interfaces[0].address, "10.8.0.1/24");
  EXPECT_EQ(interfaces[1].address, std::nullopt);
  wireguard["enable"] = false;
  EXPECT_THAT(read_wireguard_interfaces(wireguard), IsEmpty());
}

TEST_F(WireguardTest, AnEmptyTextOfAPeerCountsAsMissing) {
  const Json::Value wireguard = json(R"({"enable": true, "interfaces": [{"enable": true, "peers": [
    {"public_key": "", "endpoint": "", "preshared_key": "", "allowed_ips": "", "keep_alive": 0},
    {"public_key": "key", "endpoint": "host:1", "preshared_key": "psk", "allowed_ips": "a, b,",
     "keep_alive": 1}, {}]}]})");
  const std::vector<WireguardInterface> interfaces = read_wireguard_interfaces(wireguard);
  const std::vector<WireguardPeer>& peers = interfaces.at(0).peers;
  ASSERT_EQ(peers.size(), 3U);
  EXPECT_FALSE(peers[0].is_written());
  EXPECT_FALSE(peers[0].public_key || peers[0].endpoint || peers[0].preshared_key || peers[0].keep_alive);
  EXPECT_THAT(peers[0].networks(), ElementsAre(""));
  EXPECT_TRUE(peers[1].is_written());
  EXPECT_EQ(peers[1].public_key, "key");
  EXPECT_EQ(peers[1].endpoint, "host:1");
  EXPECT_EQ(peers[1].preshared_key, "psk");
  EXPECT_EQ(peers[1].keep_alive, 1);
  EXPECT_THAT(peers[1].networks(), ElementsAre("a", " b", ""));
  EXPECT_THAT(peers[2].networks(), IsEmpty());
}
