#include "cli/status/service_health.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "network.h"
#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr char kUnit[] = "/run/systemd/network/20-eth0.network";

// A gateway with one port, whose services have read the latest files; each test changes something.
static Snapshot healthy_gateway() {
  Snapshot snapshot;
  snapshot.wants_dnsmasq = true;
  snapshot.services[kNetworkd] = {"active", "running", "success", 0, "100", 2000};
  snapshot.services[kDnsmasq] = {"active", "running", "success", 0, "200", 2000};
  snapshot.network_files["eth0"] = kUnit;
  snapshot.units["eth0"] = {{{kUnit, 1000}}, {}, 3000};
  snapshot.wanted.servers["eth0"];
  snapshot.dnsmasq = DnsmasqHealth{1000, "", {}, true};
  return snapshot;
}

// Each difference as "subject: what (fix)".
static Texts service_drift_of(const Snapshot& snapshot) {
  std::vector<Drift> drift;
  add_service_drift(snapshot, drift);
  Texts texts;
  for (const Drift& one : drift)
    texts.push_back(one.subject + ": " + one.what + (one.fix.empty() ? "" : " (" + one.fix + ")"));
  return texts;
}

TEST(ServiceHealth, ServicesWithTheFilesOfTheRun) {
  EXPECT_THAT(service_drift_of(healthy_gateway()), IsEmpty());
}

TEST(ServiceHealth, SystemdNetworkdThatHangs) {
  Snapshot snapshot = healthy_gateway();
  snapshot.setup_error = "networkctl: no answer within the time limit";
  EXPECT_THAT(
      service_drift_of(snapshot),
      ElementsAre("systemd-networkd: it does not answer (networkctl: no answer within the time limit) "
                  "(systemctl restart systemd-networkd)"));
}

TEST(ServiceHealth, ALinkWithAnotherFile) {
  Snapshot snapshot = healthy_gateway();
  snapshot.network_files["eth0"] = "/etc/systemd/network/10 mine.network";
  EXPECT_THAT(service_drift_of(snapshot),
              ElementsAre("eth0: systemd-networkd uses /etc/systemd/network/10 mine.network for it, not "
                          "/run/systemd/network/20-eth0.network "
                          "(mv '/etc/systemd/network/10 mine.network' "
                          "'/etc/systemd/network/10 mine.network.disabled' && networkctl reload)"));
  snapshot.network_files.clear();
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty()) << "another finding says that it has none";
}

TEST(ServiceHealth, TheSameFileByAnotherName) {
  std::filesystem::create_directories("/run/systemd/network");
  put_file(kUnit, "");
  Snapshot snapshot = healthy_gateway();
  snapshot.network_files["eth0"] = "/var/run/systemd/network/20-eth0.network";
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, ALinkWithoutAnOwnNetworkFile) {
  Snapshot snapshot = healthy_gateway();
  snapshot.units["eth0"].own = {{"/run/systemd/network/20-eth0.netdev", 1000}};
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, FilesThatChangeOrReplaceAUnit) {
  Snapshot snapshot = healthy_gateway();
  const std::string replacement = "/etc/systemd/network/20-eth0.network";
  snapshot.units["eth0"].overrides = {{replacement, 1000},
                                      {"/etc/systemd/network/20-eth0.network.d/a.conf", 1000},
                                      {"/etc/systemd/network/20-eth0.netdev", 1000}};
  EXPECT_THAT(
      service_drift_of(snapshot),
      ElementsAre("eth0: /etc/systemd/network/20-eth0.network replaces its unit "
                  "(mv /etc/systemd/network/20-eth0.network /etc/systemd/network/20-eth0.network.disabled && "
                  "networkctl reload)",
                  "eth0: /etc/systemd/network/20-eth0.network.d/a.conf changes its unit "
                  "(mv /etc/systemd/network/20-eth0.network.d/a.conf "
                  "/etc/systemd/network/20-eth0.network.d/a.conf.disabled && networkctl reload)",
                  "eth0: /etc/systemd/network/20-eth0.netdev replaces its unit "
                  "(mv /etc/systemd/network/20-eth0.netdev /etc/systemd/network/20-eth0.netdev.disabled && "
                  "cmd_lanfab apply)"));
  snapshot.units["eth0"].overrides.resize(1);
  snapshot.network_files["eth0"] = replacement;
  EXPECT_THAT(service_drift_of(snapshot), ::testing::SizeIs(1)) << "it is named once";
}

TEST(ServiceHealth, FilesThatSystemdNetworkdHasNotRead) {
  Snapshot snapshot = healthy_gateway();
  snapshot.units["eth0"].own = {{kUnit, 3001}, {"/run/systemd/network/20-eth0.netdev", 3001}};
  EXPECT_THAT(
      service_drift_of(snapshot),
      ElementsAre("eth0: systemd-networkd has not read /run/systemd/network/20-eth0.network since it was "
                  "changed (networkctl reload)",
                  "eth0: systemd-networkd has not read /run/systemd/network/20-eth0.netdev since it was "
                  "changed (cmd_lanfab apply)"));
  snapshot.services[kNetworkd].started = 3002;
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, WithoutALinkOrAStartNothingIsOlder) {
  Snapshot snapshot = healthy_gateway();
  snapshot.units["eth0"] = {{{kUnit, 5000}}, {}, 0};
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
  snapshot.units["eth0"].saved = 3000;
  snapshot.services[kNetworkd].started = 0;
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, ServicesThatAreNotActiveHaveNoFiles) {
  Snapshot snapshot = healthy_gateway();
  snapshot.services[kNetworkd].state = "failed";
  snapshot.network_files["eth0"] = "/etc/systemd/network/10.network";
  snapshot.dnsmasq.reset();
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, DnsmasqWithOlderOrOtherFiles) {
  Snapshot snapshot = healthy_gateway();
  snapshot.dnsmasq->files_modified = 2001;
  snapshot.dnsmasq->configuration = "/etc/dnsmasq.conf";
  EXPECT_THAT(service_drift_of(snapshot),
              ElementsAre("dnsmasq: it runs with older files than those of the last run "
                          "(systemctl restart dnsmasq)",
                          "dnsmasq: it was started with /etc/dnsmasq.conf, not with /var/run/dnsmasq.conf "
                          "(systemctl daemon-reload && systemctl restart dnsmasq)"));
  snapshot.dnsmasq->configuration = "";
  snapshot.services[kDnsmasq].started = 0;
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty()) << "its start is not known";
}

TEST(ServiceHealth, DnsmasqThatDoesNotAnswer) {
  Snapshot snapshot = healthy_gateway();
  snapshot.dnsmasq->silent = {"127.0.0.1", "192.168.1.1"};
  EXPECT_THAT(service_drift_of(snapshot),
              ElementsAre("dnsmasq: it does not answer DNS queries within 2 s at 127.0.0.1, "
                          "192.168.1.1 (systemctl restart dnsmasq)"));
}

TEST(ServiceHealth, DnsmasqWithoutADhcpSocket) {
  Snapshot snapshot = healthy_gateway();
  snapshot.dnsmasq->has_dhcp_socket = false;
  const Texts found = {"dnsmasq: it does not listen for DHCP clients (systemctl restart dnsmasq)"};
  EXPECT_EQ(service_drift_of(snapshot), found);
  snapshot.wanted.servers.clear();
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty()) << "the configuration has no use for it";
  snapshot.wanted.relays["eth0"];
  EXPECT_EQ(service_drift_of(snapshot), found);
  snapshot.dnsmasq->has_dhcp_socket = std::nullopt;
  EXPECT_THAT(service_drift_of(snapshot), IsEmpty());
}

TEST(ServiceHealth, DuringARunItIsPending) {
  Snapshot snapshot = healthy_gateway();
  snapshot.dnsmasq->files_modified = 2001;
  snapshot.lock = RunLockState{0, true, 1};
  std::vector<Drift> drift;
  add_service_drift(snapshot, drift);
  ASSERT_EQ(drift.size(), 1U);
  EXPECT_TRUE(drift[0].is_pending);
  EXPECT_EQ(drift[0].fix, "");
  snapshot.lock->is_held = false;
  EXPECT_THAT(service_drift_of(snapshot), ::testing::SizeIs(1));
  drift.clear();
  add_service_drift(snapshot, drift);
  EXPECT_FALSE(drift[0].is_pending);
}

TEST(ServiceHealth, DnsmasqIsAskedWhereItServes) {
  set_interface_up("lo");
  Snapshot snapshot = healthy_gateway();
  snapshot.dnsmasq.reset();
  snapshot.wanted.servers["eth9"];
  snapshot.services[kDnsmasq].process = std::to_string(getpid());
  snapshot.kernel.links["eth0"].addresses = {{"127.0.0.9/8", false}};
  read_service_health(snapshot);
  ASSERT_TRUE(snapshot.dnsmasq);
  EXPECT_THAT(snapshot.dnsmasq->silent, ElementsAre("127.0.0.1", "127.0.0.9"));
}

TEST(ServiceHealth, DnsmasqIsNotAskedWithoutUse) {
  const auto is_asked = [](Snapshot snapshot) {
    snapshot.dnsmasq.reset();
    read_service_health(snapshot);
    return snapshot.dnsmasq.has_value();
  };
  Snapshot snapshot = healthy_gateway();
  snapshot.wants_dnsmasq = false;
  EXPECT_FALSE(is_asked(snapshot));
  snapshot = healthy_gateway();
  snapshot.services[kDnsmasq].state = "inactive";
  EXPECT_FALSE(is_asked(snapshot));
  snapshot = healthy_gateway();
  snapshot.services[kDnsmasq].process = "";
  EXPECT_FALSE(is_asked(snapshot));
}
