// Calls each function of src/platform through the adapter: the C libraries in this directory return their
// arguments.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <utility>

#include "platform/libcmd.h"
#include "platform/libsysdb.h"
#include "platform/libvantor.h"

TEST(AdapterTest, Configuration) {
  Json::Value network;
  EXPECT_EQ(cmd_get_value_json("network", network), 0);
  std::string address;
  EXPECT_TRUE(config_get_string(network, address, "wired.eth0.network.ipv4"));
  EXPECT_EQ(address, "192.0.2.1");
}

TEST(AdapterTest, ConfigurationThatCannotBeFetched) {
  Json::Value value;
  EXPECT_EQ(cmd_get_value_json("missing", value), 3);
  EXPECT_EQ(cmd_get_value_json("nothing", value), -1);
}

TEST(AdapterTest, ReasonsOfInvalidJson) {
  const std::pair<const char*, const char*> reasons[] = {
      {"half", "configuration \"half\": invalid JSON: * Line 1, Column 10\n"},
      {"deep", "configuration \"deep\": invalid JSON: Exceeded stackLimit"},
  };
  for (const auto& [name, reason] : reasons) {
    Json::Value value;
    testing::internal::CaptureStderr();
    EXPECT_EQ(cmd_get_value_json(name, value), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, std::strlen(reason)), reason);
  }
}

TEST(AdapterTest, CommandLine) {
  char program[] = "cmd_lanfab";
  char action[] = "apply";
  char* argv[] = {program, action, nullptr};
  int index = 0;
  EXPECT_EQ(get_cmd_command_action_index(2, argv, &index), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(return_input_string_as_all_uppercase("wwan_apply"), "WWAN_APPLY");
}

TEST(AdapterTest, SystemDatabase) {
  int value = 0;
  EXPECT_EQ(sysdb_read_int(8, "CELL_CONNECTED", &value), 8);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(sysdb_write_str(1, "22", "333", 4), 1234);
  EXPECT_EQ(sysdb_namedb_write_str(1, "22", "333", "4444", 5), 12345);
}

TEST(AdapterTest, ShellAndFiles) {
  EXPECT_EQ(WEXITSTATUS(qelsys("exit %d", 7)), 7);
  EXPECT_EQ(qelsys("test '%s' = '%%d %%s'", "%d %s"), 0);
  const std::string path = testing::TempDir() + "adapter_test." + std::to_string(getpid());
  EXPECT_EQ(qelsys("touch '%s'", path.c_str()), 0);
  EXPECT_EQ(file_exists(path.c_str()), 1);
  EXPECT_EQ(delete_file(path.c_str()), 0);
  EXPECT_EQ(file_exists(path.c_str()), 0);
  EXPECT_EQ(delete_file(path.c_str()), -1);
  char buffer[16] = "";
  EXPECT_EQ(read_var_file("/file", buffer, sizeof buffer), 4);
  EXPECT_STREQ(buffer, "16 of /file");
}

TEST(AdapterTest, ServicesAndInterfaces) {
  EXPECT_EQ(execute_systemctl_start("four"), 104);
  EXPECT_EQ(execute_systemctl_restart("three"), 205);
  EXPECT_EQ(is_service_active("systemd-networkd"), 1);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
  EXPECT_EQ(ip_link_set_interface_down("eth0"), 304);
  char plain[16] = "";
  EXPECT_EQ(get_if_hw_addr("eth0", plain), 5);
  EXPECT_STREQ(plain, "plain eth0");
  char formatted[18] = "";
  EXPECT_EQ(get_if_hw_addr_formatted("eth0", formatted), 6);
  EXPECT_STREQ(formatted, "formatted eth0");
}

TEST(AdapterTest, Addresses) {
  char netmask[16] = "";
  EXPECT_EQ(cidr_to_netmask(24, netmask), netmask);
  EXPECT_STREQ(netmask, "mask 24");
  EXPECT_EQ(netmask_to_cidr("12345"), 5);
  char subnet[24] = "";
  EXPECT_EQ(get_cidr_subnet("192.0.2.0", 24, subnet), 7);
  EXPECT_STREQ(subnet, "192.0.2.0/24");
  char address[16] = "";
  EXPECT_EQ(domain_ip_to_ip_str("name", address, 15, 1, 2), 15);
  EXPECT_STREQ(address, "name 1 2");
}
