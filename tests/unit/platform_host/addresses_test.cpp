#include <gtest/gtest.h>

#include "platform/libvantor.h"

TEST(AddressesTest, Netmasks) {
  char buffer[16];
  EXPECT_STREQ(cidr_to_netmask(24, buffer), "255.255.255.0");
}
