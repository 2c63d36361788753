#include "config/ports.h"

#include "lanfab_test.h"

TEST(PortsTest, APortIsFoundByItsName) {
  ASSERT_NE(find_ethernet_port("eth1"), nullptr);
  EXPECT_STREQ(find_ethernet_port("eth1")->name, "eth1");
  for (const char* name : {"eth2", "eth0.100", "wlan0", ""})
    EXPECT_EQ(find_ethernet_port(name), nullptr) << name;
}

TEST(PortsTest, ARadioIsFoundByItsName) {
  ASSERT_NE(find_radio("wlan1"), nullptr);
  EXPECT_STREQ(find_radio("wlan1")->name, "wlan1");
  for (const char* name : {"wlan2", "eth0", ""})
    EXPECT_EQ(find_radio(name), nullptr) << name;
}

TEST(PortsTest, EachPortHasItsSecondaryPair) {
  EXPECT_STREQ(secondary_pair_of("eth0")->gateway, "169.254.0.1");
  EXPECT_STREQ(secondary_pair_of("eth0")->device, "169.254.0.2");
  EXPECT_STREQ(secondary_pair_of("eth1")->gateway, "169.254.0.129");
  EXPECT_STREQ(secondary_pair_of("eth1")->device, "169.254.0.130");
  EXPECT_EQ(secondary_pair_of("br-lan"), nullptr);
}
