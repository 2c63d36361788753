#include <climits>

#include "platform/libvantor.h"
#include "platform_test.h"

// --- cidr_to_netmask

static std::string netmask_of(int prefix) {
  const auto buffer = dirty_buffer(16);
  EXPECT_EQ(cidr_to_netmask(prefix, buffer.get()), buffer.get());
  return buffer.get();
}

TEST(AddressesTest, APrefixLengthHasItsNetmask) {
  EXPECT_EQ(netmask_of(0), "0.0.0.0");
  EXPECT_EQ(netmask_of(1), "128.0.0.0");
  EXPECT_EQ(netmask_of(7), "254.0.0.0");
  EXPECT_EQ(netmask_of(8), "255.0.0.0");
  EXPECT_EQ(netmask_of(12), "255.240.0.0");
  EXPECT_EQ(netmask_of(16), "255.255.0.0");
  EXPECT_EQ(netmask_of(24), "255.255.255.0");
  EXPECT_EQ(netmask_of(25), "255.255.255.128");
  EXPECT_EQ(netmask_of(30), "255.255.255.252");
  EXPECT_EQ(netmask_of(31), "255.255.255.254");
  EXPECT_EQ(netmask_of(32), "255.255.255.255");
}

TEST(AddressesTest, AnyOtherPrefixLengthHasNoNetmask) {
  for (const int prefix : {-1, 33, 64, INT_MIN, INT_MAX})
    EXPECT_EQ(netmask_of(prefix), "") << prefix;
}

// --- netmask_to_cidr

TEST(AddressesTest, ANetmaskHasItsPrefixLength) {
  EXPECT_EQ(netmask_to_cidr("0.0.0.0"), 0);
  EXPECT_EQ(netmask_to_cidr("255.255.255.128"), 25);
  EXPECT_EQ(netmask_to_cidr("255.255.255.255"), 32);
  for (int prefix = 0; prefix <= 32; ++prefix)
    EXPECT_EQ(netmask_to_cidr(netmask_of(prefix).c_str()), prefix);
}

TEST(AddressesTest, ATextThatIsNoNetmaskHasNoPrefixLength) {
  for (const char* text : {"255.0.255.0", "0.0.0.1", "255.255.255.127", "10.0.0.1", "255.255.255",
                           "255.255.255.256", "255.255.255.0 ", "24", "/24", "ffffff00", "::", ""})
    EXPECT_EQ(netmask_to_cidr(text), -1) << text;
}

// --- get_cidr_subnet

namespace {

struct Subnet {
  int result;
  std::string text;
};

}  // namespace

static Subnet subnet(const char* address, int prefix) {
  const auto buffer = dirty_buffer(24);
  const int result = get_cidr_subnet(address, prefix, buffer.get());
  return {result, buffer.get()};
}

TEST(AddressesTest, ASubnetIsNetworkAddressSlashPrefixLength) {
  struct Case {
    const char* address;
    int prefix;
    const char* subnet;
  };
  for (const Case& c : {
           Case{"192.168.1.77", 24, "192.168.1.0/24"},
           Case{"192.168.1.200", 25, "192.168.1.128/25"},
           Case{"10.20.30.40", 8, "10.0.0.0/8"},
           Case{"10.20.30.40", 30, "10.20.30.40/30"},
           Case{"10.20.30.43", 30, "10.20.30.40/30"},
           Case{"172.31.255.255", 12, "172.16.0.0/12"},
           Case{"255.255.255.255", 32, "255.255.255.255/32"},
           Case{"255.255.255.255", 0, "0.0.0.0/0"},
           Case{"0.0.0.0", 0, "0.0.0.0/0"},
       }) {
    const Subnet made = subnet(c.address, c.prefix);
    EXPECT_EQ(made.result, 0) << c.subnet;
    EXPECT_EQ(made.text, c.subnet);
  }
}

TEST(AddressesTest, WithoutAnAddressOrAPrefixLengthThereIsNoSubnet) {
  for (const int prefix : {-1, 33, INT_MIN, INT_MAX}) {
    EXPECT_EQ(subnet("10.0.0.1", prefix).result, -1) << prefix;
    EXPECT_EQ(subnet("10.0.0.1", prefix).text, "") << prefix;
  }
  for (const char* address :
       {"", "10.0.0", "10.0.0.256", "10.0.0.1/24", " 10.0.0.1", "10.0.0.1\n", "host", "fe80::1"}) {
    EXPECT_EQ(subnet(address, 24).result, -1) << address;
    EXPECT_EQ(subnet(address, 24).text, "") << address;
  }
}
