#include "cli/status/networkd_units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>

#include <filesystem>

#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kRoot[] = "/run/root";

class NetworkdUnitsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(kRoot);
  }

  static void put(const std::string& path, const std::string& text = "[Match]\nName = eth0\n") {
    const std::filesystem::path file = kRoot + path;
    std::filesystem::create_directories(file.parent_path());
    put_file(file, text);
  }

  static std::vector<std::string> paths(const std::vector<UnitFile>& files) {
    std::vector<std::string> paths;
    for (const UnitFile& file : files)
      paths.push_back(file.path.substr(std::string(kRoot).size()));
    return paths;
  }
};

TEST_F(NetworkdUnitsTest, FindsTheUnitsOfARunAlone) {
  for (const char* name : {"20-eth0.network", "30-eth0.100.netdev", "30-eth0.100.network", "eth1.network",
                           "20eth1.network", "20", "20-eth1.conf", "90-wl-an.network"})
    put(std::string("/run/systemd/network/") + name);
  const auto units = read_networkd_units(kRoot);
  ASSERT_EQ(units.size(), 3U);
  EXPECT_THAT(paths(units.at("eth0").own), ElementsAre("/run/systemd/network/20-eth0.network"));
  EXPECT_THAT(paths(units.at("eth0.100").own), ElementsAre("/run/systemd/network/30-eth0.100.netdev",
                                                           "/run/systemd/network/30-eth0.100.network"));
  EXPECT_EQ(units.at("eth0.100").network_file(), "/run/root/run/systemd/network/30-eth0.100.network");
  EXPECT_THAT(paths(units.at("wl-an").own), ElementsAre("/run/systemd/network/90-wl-an.network"));
  EXPECT_THAT(units.at("eth0").overrides, IsEmpty());
  EXPECT_EQ(InterfaceUnits().network_file(), "");
}

TEST_F(NetworkdUnitsTest, FindsTheFilesThatReplaceOrChangeThem) {
  put("/run/systemd/network/20-eth0.network");
  put("/etc/systemd/network/20-eth0.network");
  put("/etc/systemd/network/20-eth0.network.d/mtu.conf");
  put("/run/systemd/network/20-eth0.network.d/dns.conf");
  put("/usr/lib/systemd/network/20-eth0.network.d/note.txt");
  EXPECT_THAT(
      paths(read_networkd_units(kRoot).at("eth0").overrides),
      ElementsAre("/etc/systemd/network/20-eth0.network", "/etc/systemd/network/20-eth0.network.d/mtu.conf",
                  "/run/systemd/network/20-eth0.network.d/dns.conf"));
}

TEST_F(NetworkdUnitsTest, ADropInThatIsMaskedHasNoEffect) {
  put("/run/systemd/network/20-eth0.network");
  put("/usr/lib/systemd/network/20-eth0.network.d/mtu.conf");
  put("/etc/systemd/network/20-eth0.network.d/mtu.conf", "");
  std::filesystem::create_symlink("/nowhere",
                                  std::string(kRoot) + "/etc/systemd/network/20-eth0.network.d/a.conf");
  EXPECT_THAT(read_networkd_units(kRoot).at("eth0").overrides, IsEmpty());
}

TEST_F(NetworkdUnitsTest, HasTheTimesOfTheFilesAndOfTheLinkState) {
  put("/run/systemd/network/20-eth0.network");
  put("/run/systemd/network/21-no-link.network");
  const std::string state = "/run/systemd/netif/links/" + std::to_string(if_nametoindex("eth0"));
  put(state);
  const auto an_hour_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::filesystem::last_write_time(kRoot + state, an_hour_ago);
  const auto units = read_networkd_units(kRoot);
  constexpr std::int64_t kHour = 3'600'000'000;
  EXPECT_NEAR(static_cast<double>(units.at("eth0").own.front().modified - units.at("eth0").saved), kHour,
              60e6);
  EXPECT_EQ(units.at("no-link").saved, 0);
}

TEST_F(NetworkdUnitsTest, AMachineWithoutUnits) {
  EXPECT_THAT(read_networkd_units(kRoot), IsEmpty());
}
