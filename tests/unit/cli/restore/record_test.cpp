#include "cli/restore/record.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cli/live/trial_state.h"
#include "kernel_tools.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kForwarding[] = "net/ipv4/conf/eth0/forwarding";

class RecordTest : public KernelTools {};

TEST_F(RecordTest, WhatIsWrittenIsRead) {
  answer("link.json", R"([{"ifname": "eth0", "mtu": 1430}])");
  answer("address.json", R"([{"ifname": "eth0", "addr_info": []}])");
  answer("route.json", R"([{"dst": "default"}])");
  answer("rule.json", R"([{"priority": 0}])");
  put_file("/run/systemd/network/20-eth0.network", "");
  EXPECT_EQ(write_record(), std::nullopt);
  Json::Value record;
  EXPECT_EQ(read_record(record), std::nullopt);
  EXPECT_EQ(record["links"], json(R"([{"ifname": "eth0", "mtu": 1430}])"));
  EXPECT_EQ(record["addresses"], json(R"([{"ifname": "eth0", "addr_info": []}])"));
  EXPECT_EQ(record["routes"], json(R"([{"dst": "default"}])"));
  EXPECT_EQ(record["rules"], json(R"([{"priority": 0}])"));
  EXPECT_EQ(record["sysctls"][kForwarding].asString() + "\n",
            text_of_file(std::string("/proc/sys/") + kForwarding));
  EXPECT_EQ(record["units"], json(R"(["eth0"])"));
}

TEST_F(RecordTest, OnlyItsOwnerReadsIt) {
  EXPECT_EQ(write_record(), std::nullopt);
  struct stat status {};
  ASSERT_EQ(stat(kKernelRecord, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(RecordTest, ThereIsNoneIfTheKernelCannotBeRead) {
  for (const char* object : {"link", "address", "route", "rule"}) {
    const std::string file = std::string(object) + ".fails";
    answer(file, "");
    EXPECT_EQ(write_record(), "ip: " + std::string(object) + " is broken");
    std::filesystem::remove("/run/answers/" + file);
  }
  for (const std::string& text : {std::string("no JSON"), std::string(2000, '[')}) {
    answer("link.json", text);
    EXPECT_EQ(write_record(), "ip: invalid JSON output");
  }
  EXPECT_FALSE(exists(kKernelRecord));
}

TEST_F(RecordTest, ThereIsNoneOfAKernelWithTooMuch) {
  answer("link.json", "[\"" + std::string(4'000'000, 'a') + "\"]");
  EXPECT_EQ(write_record(), "/run/lanfab/kernel.json: too large");
  EXPECT_FALSE(exists(kKernelRecord));
}

TEST_F(RecordTest, ThereIsNoneWithoutItsDirectory) {
  std::filesystem::remove("/run/lanfab");
  EXPECT_EQ(write_record(), "/run/lanfab/kernel.json: No such file or directory");
  ::testing::internal::CaptureStderr();
  note_trial_links();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "/run/lanfab/kernel.links: No such file or directory\n");
}

TEST_F(RecordTest, OneThatCannotBeUsed) {
  Json::Value record;
  EXPECT_EQ(read_record(record), "/run/lanfab/kernel.json: No such file or directory");
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[]"), std::string(2000, '[')}) {
    put_file(kKernelRecord, text);
    EXPECT_EQ(read_record(record), "/run/lanfab/kernel.json: damaged") << text.substr(0, 5);
  }
  put_file(kKernelRecord, std::string(4'000'001, ' '));
  EXPECT_EQ(read_record(record), "/run/lanfab/kernel.json: too large");
  std::filesystem::remove(kKernelRecord);
  std::filesystem::create_directory(kKernelRecord);
  EXPECT_EQ(read_record(record), "/run/lanfab/kernel.json: Is a directory");
}

TEST_F(RecordTest, UnitsNameLinks) {
  for (const char* file : {"20-eth0.network", "30-eth0.100.netdev", "30-eth0.100.network", "79-br-lan.netdev",
                           "README", "a-file", "a.dot-file"})
    put_file(std::string(kUnits) + "/" + file, "");
  const UnitNames names = read_unit_names();
  EXPECT_THAT(names.links, ElementsAre("br-lan", "eth0", "eth0.100"));
  EXPECT_THAT(names.made, ElementsAre("br-lan", "eth0.100"));
}

TEST_F(RecordTest, WithoutTheirDirectoryThereAreNoUnits) {
  std::filesystem::remove_all(kUnits);
  EXPECT_THAT(read_unit_names().links, IsEmpty());
  std::filesystem::create_directories(kUnits);
}

TEST_F(RecordTest, TheLinksOfEveryConfigurationAreNamed) {
  put_file("/run/systemd/network/21-eth1.network", "");
  note_trial_links();
  std::filesystem::remove("/run/systemd/network/21-eth1.network");
  put_file("/run/systemd/network/70-gre-tun1.netdev", "");
  // An interrupted rollback starts again.
  note_trial_links();
  std::filesystem::remove("/run/systemd/network/70-gre-tun1.netdev");
  put_file("/run/systemd/network/79-br-lan.network", "");
  EXPECT_THAT(named_links(json(R"({"units": ["eth0", 7]})")),
              ElementsAre("br-lan", "eth0", "eth1", "gre-tun1"));
  std::filesystem::remove(kTrialLinks);
  EXPECT_THAT(named_links(json("{}")), ElementsAre("br-lan"));
}
