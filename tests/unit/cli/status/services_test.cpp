#include "cli/status/services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class ServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories("/run/stubs");
    setenv("PATH", ("/run/stubs:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
  }

  static void set_tool(const char* name, const std::string& script) {
    const std::string path = std::string("/run/stubs/") + name;
    put_file(path, "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }

  const std::string path_ = std::getenv("PATH");
  std::map<std::string, Service> services_;
  std::map<std::string, std::string> setup_;
  std::map<std::string, std::string> files_;
};

TEST_F(ServicesTest, AServiceHasAStateAndAMainProcess) {
  set_tool("systemctl", R"(
    echo ActiveState=active
    echo SubState=running
    echo Result=success
    echo MainPID=783
    echo 'StateChangeTimestamp=Sat 2026-11-21 20:00:01 UTC'
    echo 'ExecMainStartTimestamp=Sat 2026-11-21 20:00:00.880756 UTC')");
  EXPECT_EQ(read_services(services_), std::nullopt);
  const Service& service = services_.at(kNetworkd);
  EXPECT_TRUE(service.is_active());
  EXPECT_EQ(service.detail, "running");
  EXPECT_EQ(service.result, "success");
  EXPECT_EQ(service.process, "783");
  EXPECT_EQ(service.since, 1'795'291'201);
  EXPECT_EQ(service.started, 1'795'291'200'880'756);
}

TEST_F(ServicesTest, AServiceThatNeverRanHasNone) {
  set_tool("systemctl", R"(
    echo ActiveState=active
    echo
    echo no property
    echo ActiveState=inactive
    echo MainPID=0
    echo StateChangeTimestamp=
    echo ExecMainStartTimestamp=some day)");
  EXPECT_EQ(read_services(services_), std::nullopt);
  EXPECT_EQ(services_.at(kNetworkd).state, "active");
  const Service& service = services_.at(kDnsmasq);
  EXPECT_EQ(service.state, "inactive");
  EXPECT_EQ(service.process, "");
  EXPECT_EQ(service.since, 0);
  EXPECT_EQ(service.started, 0);
}

TEST_F(ServicesTest, AServiceThatReadsItsFilesAgainIsActive) {
  EXPECT_TRUE((Service{"reloading", "reload", "success", 0}).is_active());
  EXPECT_FALSE((Service{"failed", "failed", "exit-code", 0}).is_active());
}

TEST_F(ServicesTest, SystemdThatCannotBeAsked) {
  set_tool("systemctl", "echo no bus >&2; exit 1");
  EXPECT_EQ(read_services(services_), "systemctl: no bus");
}

TEST_F(ServicesTest, ALinkHasASetupAndPerhapsAFile) {
  set_tool("networkctl", R"(echo '{"Interfaces": [1,
      {"Name": "eth0", "AdministrativeState": "configured",
       "NetworkFile": "/run/systemd/network/20-eth0.network"},
      {"Name": "eth1", "AdministrativeState": "unmanaged"},
      {"Name": ["eth2"], "AdministrativeState": 1}]}')");
  EXPECT_EQ(read_setup(setup_, files_), std::nullopt);
  EXPECT_THAT(setup_, ElementsAre(Pair("", ""), Pair("eth0", "configured"), Pair("eth1", "unmanaged")));
  EXPECT_THAT(files_, ElementsAre(Pair("eth0", "/run/systemd/network/20-eth0.network")));
}

TEST_F(ServicesTest, AnAnswerThatIsNoObject) {
  for (const char* answer : {"[]", "{", ""}) {
    set_tool("networkctl", std::string("echo '") + answer + "'");
    EXPECT_EQ(read_setup(setup_, files_), "networkctl: invalid JSON output") << answer;
  }
  EXPECT_THAT(setup_, IsEmpty());
}

TEST_F(ServicesTest, AToolThatHangsIsGivenUp) {
  set_tool("networkctl", "exec sleep 60");
  EXPECT_EQ(read_setup(setup_, files_), "networkctl: no answer within the time limit");
}
