#include "cli/restore/restore.h"

#include <gmock/gmock.h>

#include "cli/live/trial_state.h"
#include "cli/restore/record.h"
#include "kernel_tools.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kBefore[] = R"([{"ifname": "eth1", "flags": ["UP"], "mtu": 1500}])";
constexpr char kLeft[] = R"([{"ifname": "eth1", "flags": ["UP"], "mtu": 1430},
                             {"ifname": "gre-tun1", "linkinfo": {"info_kind": "gre"}}])";
constexpr char kProxyArp[] = "/proc/sys/net/ipv4/conf/eth1/proxy_arp";

// A trial with the port eth1 and a tunnel.
class RestoreTest : public KernelTools {
 protected:
  void SetUp() override {
    KernelTools::SetUp();
    answer("link.json", kBefore);
    wait_for_links();
    record_kernel();
    put_file("/run/systemd/network/21-eth1.network", "");
    put_file("/run/systemd/network/70-gre-tun1.netdev", "");
    note_trial_links();
    empty_directory(kUnits);
  }

  // Restores the kernel; returns the remaining differences, and sets `said` to the output.
  static std::vector<std::string> restore(std::string& said) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    auto differences = restore_kernel();
    said = ::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr();
    return differences;
  }

  std::string said_;
};

TEST_F(RestoreTest, NothingIsDoneInTheSameKernel) {
  EXPECT_THAT(restore(said_), IsEmpty());
  EXPECT_EQ(said_, "");
  EXPECT_EQ(calls(), "");
}

TEST_F(RestoreTest, RemovesWhatTheTrialHasAddedAndRestoresWhatItHasChanged) {
  answer("link.json", kLeft);
  answer("next/link.json", kBefore);
  put_file(kProxyArp, "1\n");
  EXPECT_THAT(restore(said_), IsEmpty());
  EXPECT_EQ(calls(), "link del dev gre-tun1\n");
  EXPECT_EQ(text_of_file(kProxyArp), "0\n");
  EXPECT_EQ(said_,
            "gre-tun1 still exists; restored\n"
            "net/ipv4/conf/eth1/proxy_arp is 1 instead of 0; restored\n");
}

TEST_F(RestoreTest, AStepThatFailsIsReportedAndTheRestContinues) {
  answer("link.json", kLeft);
  answer("refuses", "");
  EXPECT_THAT(restore(said_), ElementsAre("gre-tun1 still exists", "eth1 has MTU 1430 instead of 1500"));
  EXPECT_EQ(calls(), "link del dev gre-tun1\nlink set dev eth1 mtu 1500\n");
  EXPECT_EQ(said_,
            "lanfab: gre-tun1 still exists; could not restore it: ip: Operation not supported\n"
            "lanfab: eth1 has MTU 1430 instead of 1500; could not restore it: ip: Operation not supported\n");
}

TEST_F(RestoreTest, WhatCannotBeChangedIsReported) {
  answer("link.json", "[]");
  record_kernel();
  Json::Value record;
  ASSERT_EQ(read_record(record), std::nullopt);
  record["links"] = json(R"([{"ifname": "eth0.100", "linkinfo": {"info_kind": "vlan"}}])");
  // The kernel rejects this value, too.
  record["sysctls"]["net/ipv4/conf/eth1/proxy_arp"] = "\x1b[2J";
  put_file(kKernelRecord, Json::writeString(Json::StreamWriterBuilder(), record));
  put_file("/run/systemd/network/30-eth0.100.netdev", "");
  EXPECT_THAT(restore(said_),
              ElementsAre("eth0.100 is missing", "net/ipv4/conf/eth1/proxy_arp is 0 instead of ?[2J"));
  EXPECT_EQ(said_,
            "lanfab: eth0.100 is missing; could not restore it: it cannot be changed\n"
            "lanfab: net/ipv4/conf/eth1/proxy_arp is 0 instead of ?[2J; could not restore it: "
            "/proc/sys/net/ipv4/conf/eth1/proxy_arp: Invalid argument\n");
}

TEST_F(RestoreTest, WaitsUntilNetworkdIsDone) {
  answer("networkd.json", R"({"Interfaces": [{"AdministrativeState": "configuring"}]})");
  answer("networkd.next", R"({"Interfaces": [{"AdministrativeState": "configured"}]})");
  EXPECT_THAT(restore(said_), IsEmpty());
  EXPECT_THAT(text_of_file("/run/answers/networkd.json"), HasSubstr("configured"));
}

TEST_F(RestoreTest, WaitsForNoCarrierBeforeATrial) {
  answer("networkd.json",
         R"({"Interfaces": [{"AdministrativeState": "configuring", "CarrierState": "off"}]})");
  answer("networkd.next", "{}");
  wait_for_links();
  // It has called networkctl once.
  EXPECT_EQ(text_of_file("/run/answers/networkd.json"), "{}");
  EXPECT_FALSE(exists("/run/answers/networkd.next"));
}

TEST_F(RestoreTest, ContinuesIfNetworkdDoesNotAnswer) {
  for (const std::string& text : {std::string("no JSON"), std::string("[]"), std::string(2000, '[')}) {
    answer("networkd.json", text);
    EXPECT_THAT(restore(said_), IsEmpty());
  }
  put_tool("networkctl", "exit 1");
  EXPECT_THAT(restore(said_), IsEmpty());
  EXPECT_EQ(said_, "");
}

TEST_F(RestoreTest, ADamagedRecordIsReported) {
  answer("link.json", kLeft);
  put_file(kKernelRecord, "{");
  EXPECT_THAT(restore(said_), ElementsAre("could not determine the kernel's state before the trial"));
  EXPECT_EQ(said_, "lanfab: /run/lanfab/kernel.json: damaged\n");
  EXPECT_EQ(calls(), "");
}

TEST_F(RestoreTest, AKernelThatCannotBeReadIsReported) {
  answer("link.fails", "");
  EXPECT_THAT(restore(said_), ElementsAre("could not determine the kernel's state"));
  EXPECT_EQ(said_, "lanfab: ip: link is broken\n");
  ::testing::internal::CaptureStderr();
  record_kernel();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "lanfab: could not record the kernel state, so a rollback will not restore it: "
            "ip: link is broken\n");
}
