#include "dnsmasq/dnsmasq_conf.h"

#include <cstring>
#include <filesystem>

#include "dnsmasq/hosts.h"
#include "lanfab_test.h"

// All interfaces disabled, so that the file only contains its fixed parts.
constexpr char kAllOff[] = R"({"wired": {"eth0": {"enable": false}}})";

// The text before and after the sections of the interfaces.
constexpr char kHead[] = R"(# Configuration file for dnsmasq

# Never forward plain names (with a dot or domain port)
domain-needed
# dnsmasq user
user=admin
# Never forward addresses in the non-routed address space
bogus-priv
bind-dynamic
local-service
no-hosts
dhcp-authoritative
quiet-dhcp
# dnsmasq will read /etc/ethers
read-ethers

dhcp-leasefile=/var/run/dnsmasq.leases
resolv-file=/var/run/resolv.conf

)";
constexpr char kTrailer[] = R"(
# For dynhost support
no-hosts
addn-hosts=/var/run/hosts

)";

constexpr char kStaging[] = "/var/volatile/qel/.dnsmasq_conf";
constexpr char kCopyHosts[] = "/bin/cp -f  /etc/hosts /var/run/hosts";
constexpr char kCopyConf[] = "/bin/cp -f /var/volatile/qel/.dnsmasq_conf /var/run/dnsmasq.conf";

namespace {

class DnsmasqConfTest : public LanfabTest {
 protected:
  // Executes the two copy commands.
  void SetUp() override {
    LanfabTest::SetUp();
    platform().on_shell = [](const std::string& line) {
      if (line == kCopyHosts) put_file("/var/run/hosts", "127.0.0.1 localhost\n");
      if (line == kCopyConf) put_file("/var/run/dnsmasq.conf", text_of_file(kStaging));
    };
  }
};

}  // namespace

static std::string hosts_after_apply(const std::string& config) {
  const NetworkContext ctx = context_of(config);
  EXPECT_EQ(dnsmasq_apply(&ctx), 0);
  return text_of_file("/var/run/hosts");
}

TEST_F(DnsmasqConfTest, WithEveryInterfaceOffTheFixedPartsRemain) {
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_EQ(text_of_file(kStaging), std::string(kHead) + kTrailer);
}

TEST_F(DnsmasqConfTest, TheFileIsCompleteWhenItIsCopiedIntoPlace) {
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_EQ(text_of_file("/var/run/dnsmasq.conf"), std::string(kHead) + kTrailer);
  EXPECT_THAT(platform().calls, ElementsAre(kCopyHosts, kCopyConf));
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(DnsmasqConfTest, EachRunRewritesTheStagingFile) {
  put_file(kStaging, std::string(4096, 'x'));
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_EQ(text_of_file(kStaging), std::string(kHead) + kTrailer);
}

TEST_F(DnsmasqConfTest, TheResolverFileIsWrittenToo) {
  const NetworkContext ctx = context_of(R"({"dns": {"static": ["9.9.9.9"]}})");
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_THAT(text_of_file("/var/run/resolv.conf"), HasSubstr("nameserver 9.9.9.9\n"));
}

TEST_F(DnsmasqConfTest, AResolverFileThatCannotBeWrittenIsStillNamed) {
  std::filesystem::create_directory("/var/run/resolv.conf");
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_EQ(text_of_file("/var/run/dnsmasq.conf"), std::string(kHead) + kTrailer);
}

TEST_F(DnsmasqConfTest, ApplyingIsLogged) {
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_apply(&ctx), 0);
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq apply"));
  EXPECT_EQ(text_of_file("/var/run/dnsmasq.conf"), std::string(kHead) + kTrailer);
}

// --- The sections of the interfaces

// The bridge of eth0 and both access points; eth1 alone, with a relay; a VLAN; names.
constexpr char kEveryInterface[] = R"({
  "hostnames": [{"name": "printer", "ipv4": "192.168.1.9"}],
  "wired": {
    "bridge": {"enable": true, "interfaces": ["eth0"], "primary_interface": "eth0"},
    "eth0": {"enable": true, "network": {
      "mode": "router", "protocol": "static", "ipv4": "192.168.1.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.1.100", "end": "192.168.1.200",
               "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}},
      "advanced": {"vlan": {"enable": true, "networks": [
        {"vid": 10, "network": {"ipv4": "10.10.0.1", "netmask": 24, "dhcp": {
          "enable": true, "start": "10.10.0.100", "end": "10.10.0.200"}}}]}}}},
    "eth1": {"enable": true, "network": {
      "mode": "router", "protocol": "static", "ipv4": "192.168.2.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.2.100", "end": "192.168.2.200",
               "dhcp_relay": {"enable": true, "relay_server1": "10.1.1.1"}}}}},
  "wireless": {"wifi": {
    "wlan0": {"ap": {"enable": true, "network": {
      "ipv4": "192.168.3.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.3.100", "end": "192.168.3.200"}}}},
    "wlan1": {"ap": {"enable": true, "network": {
      "ipv4": "192.168.4.1", "netmask": 24,
      "dhcp": {"enable": true, "start": "192.168.4.100", "end": "192.168.4.200"}}}}}}})";

TEST_F(DnsmasqConfTest, TheSectionsStandBetweenTheFixedPartsInTheirOrder) {
  platform().resolvable["10.1.1.1"] = "10.1.1.1";
  const NetworkContext ctx = context_of(kEveryInterface);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  const std::string text = text_of_file("/var/run/dnsmasq.conf");
  ASSERT_THAT(text, AllOf(StartsWith(kHead), EndsWith(kTrailer)));
  const std::size_t head = std::strlen(kHead);
  EXPECT_THAT(heads(text.substr(head, text.size() - head - std::strlen(kTrailer))),
              ElementsAre("# DHCP server on br-lan", "# DHCP relay on br-lan", "# DHCP server on wlan0",
                          "# DHCP server on wlan1", "# DHCP server on eth0.10", "# DHCP server on eth1",
                          "# DHCP relay on eth1"));
}

TEST_F(DnsmasqConfTest, TheInterfacesNamesFollowTheConfiguredOnes) {
  EXPECT_EQ(hosts_after_apply(kEveryInterface), R"(127.0.0.1 localhost
192.168.1.9 printer
192.168.3.1 qel
192.168.4.1 qel2
192.168.1.1 qele
)");
}

TEST_F(DnsmasqConfTest, ADisabledBridgeHasNoSection) {
  NetworkContext ctx = context_of(kEveryInterface);
  ctx.bridge_enabled = false;
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_EQ(text_of_file(kStaging).find("br-lan"), std::string::npos);
}

TEST_F(DnsmasqConfTest, PrintsItsTraceLines) {
  NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(printed_by([&] { dnsmasq_apply(&ctx); }), "");
  ctx.trace = true;
  ctx.bridge_enabled = true;
  EXPECT_EQ(printed_by([&] { dnsmasq_apply(&ctx); }),
            "dnsmasq_write_dnsmasq_conf\n"
            "dnsmasq_write_resolv_conf\n"
            "dnsmasq_add_dhcp_server\n"
            "get_interface_network_node\n"
            "dnsmasq_add_dhcp_relay\n"
            "get_interface_network_node\n"
            "dnsmasq_add_wlan_interface\n"
            "is_wlan_ap_enabled\n"
            "dnsmasq_add_wlan_interface\n"
            "is_wlan_ap_enabled\n"
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n"
            "dnsmasq_add_eth_interface\n"
            "is_eth_interface_enabled\n");
}

// --- Failures

TEST_F(DnsmasqConfTest, AStagingFileThatCannotBeOpenedLeavesTheLiveFile) {
  put_file("/var/run/dnsmasq.conf", "of the previous run\n");
  std::filesystem::remove_all("/var/volatile/qel");
  const NetworkContext ctx = context_of(R"({"hostnames": [{"name": "printer", "ipv4": "192.168.1.9"}]})");
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), -1);
  EXPECT_THAT(platform().log,
              ElementsAre("notice failed to open /var/volatile/qel/.dnsmasq_conf, errno:2\n"));
  EXPECT_THAT(platform().calls, ElementsAre(kCopyHosts));
  EXPECT_EQ(text_of_file("/var/run/dnsmasq.conf"), "of the previous run\n");
  EXPECT_EQ(text_of_file("/var/run/hosts"), "127.0.0.1 localhost\n192.168.1.9 printer\n");
  EXPECT_FALSE(exists("/var/run/resolv.conf"));
}

TEST_F(DnsmasqConfTest, TheReasonWhyTheStagingFileCannotBeOpenedIsLogged) {
  std::filesystem::create_directories(kStaging);
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), -1);
  EXPECT_THAT(platform().log,
              ElementsAre("notice failed to open /var/volatile/qel/.dnsmasq_conf, errno:21\n"));
}

TEST_F(DnsmasqConfTest, ACopyThatFailsIsLogged) {
  const NetworkContext ctx = context_of(kAllOff);
  platform().shell_status = 256;
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_THAT(platform().log, Contains("notice error writing /var/run/dnsmasq.conf"));
}

TEST_F(DnsmasqConfTest, AStagingFileThatIsNotWholeIsNotCopied) {
  fill_disk_for(kStaging);
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), -1);
  EXPECT_THAT(platform().log,
              ElementsAre("notice error writing /var/volatile/qel/.dnsmasq_conf: No space left on device"));
  EXPECT_THAT(platform().calls, ElementsAre(kCopyHosts));
}

TEST_F(DnsmasqConfTest, AFailureIsLoggedAndTheRunContinues) {
  std::filesystem::remove_all("/var/volatile/qel");
  const NetworkContext ctx = context_of(kAllOff);
  EXPECT_EQ(dnsmasq_apply(&ctx), 0);
  EXPECT_THAT(platform().log, ElementsAre("notice dnsmasq apply",
                                          "notice failed to open /var/volatile/qel/.dnsmasq_conf, errno:2\n",
                                          "notice error on dnsmasq apply"));
}

TEST_F(DnsmasqConfTest, AHostsFileThatCannotBeOpenedIsPassedOverInSilence) {
  platform().on_shell = [](const std::string&) {};
  std::filesystem::create_directory("/var/run/hosts");
  const NetworkContext ctx = context_of(
      R"({"wired": {"eth0": {"enable": false}}, "hostnames": [{"name": "printer", "ipv4": "192.168.1.9"}]})");
  EXPECT_EQ(dnsmasq_write_dnsmasq_conf(&ctx), 0);
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_EQ(text_of_file(kStaging), std::string(kHead) + kTrailer);
}

// --- The hosts file

TEST_F(DnsmasqConfTest, ConfiguredNamesFollowTheBaseFile) {
  EXPECT_EQ(hosts_after_apply(R"({"hostnames": [{"name": "nas", "ipv4": "192.168.1.8"}]})"),
            "127.0.0.1 localhost\n192.168.1.8 nas\n");
}

TEST_F(DnsmasqConfTest, WithoutConfiguredNamesTheHostsFileIsTheBaseFile) {
  EXPECT_EQ(hosts_after_apply("{}"), "127.0.0.1 localhost\n");
}

TEST_F(DnsmasqConfTest, TheHostsFileIsRebuiltOnEveryRun) {
  const char* config = R"({"hostnames": [{"name": "nas", "ipv4": "192.168.1.8"}]})";
  hosts_after_apply(config);
  EXPECT_EQ(hosts_after_apply(config), "127.0.0.1 localhost\n192.168.1.8 nas\n");
}
