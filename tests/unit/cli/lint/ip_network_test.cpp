#include "cli/lint/ip_network.h"

#include <gtest/gtest.h>

static IpNetwork network(const std::string& text) {
  const std::optional<IpNetwork> parsed = parse_ip_network(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(IpNetwork{});
}

TEST(IpNetwork, ANetworkHasAnAddressAndAPrefixLength) {
  EXPECT_EQ(to_text(network("10.8.0.2/24")), "10.8.0.2/24");
  EXPECT_EQ(to_text(network("fd00::2/64")), "fd00::2/64");
  EXPECT_EQ(to_text(network("0.0.0.0/0")), "0.0.0.0/0");
}

TEST(IpNetwork, AnAddressAloneIsAHost) {
  EXPECT_EQ(to_text(network("10.8.0.2")), "10.8.0.2/32");
  EXPECT_EQ(to_text(network("fd00::2")), "fd00::2/128");
  EXPECT_TRUE(network("10.8.0.2").is_host());
  EXPECT_TRUE(network("fd00::2/128").is_host());
  EXPECT_FALSE(network("fd00::2/32").is_host());
}

TEST(IpNetwork, OtherStringsAreNotNetworks) {
  using namespace std::string_literals;
  for (const std::string& text :
       {""s, "10.8.0.0/33"s, "10.8.0.0/"s, "10.8.0.0/-1"s, "10.8.0.0/000008"s, "10.8.0/24"s, "::/129"s,
        ":/0"s, "10.8.0.0\0.1"s, "any"s, "10.8.0.0/8/8"s}) {
    EXPECT_FALSE(parse_ip_network(text)) << text;
  }
}

TEST(IpNetwork, TheBitsOfTheHostAreCleared) {
  EXPECT_EQ(to_text(network("10.8.255.255/20").masked()), "10.8.240.0/20");
  EXPECT_EQ(to_text(network("10.8.255.255/0").masked()), "0.0.0.0/0");
  EXPECT_EQ(to_text(network("10.8.255.255/32").masked()), "10.8.255.255/32");
  EXPECT_EQ(to_text(network("fd00:0:0:ffff::1/49").masked()), "fd00:0:0:8000::/49");
}

TEST(IpNetwork, ANetworkContainsItselfAndItsParts) {
  EXPECT_TRUE(network("10.8.0.1/16").contains(network("10.8.9.0/24")));
  EXPECT_TRUE(network("10.8.0.1/16").contains(network("10.8.0.2/16")));
  EXPECT_FALSE(network("10.8.0.0/16").contains(network("10.0.0.0/8")));
  EXPECT_FALSE(network("10.8.0.0/16").contains(network("10.9.0.0/24")));
  EXPECT_TRUE(network("fd00::/8").contains(network("fd12::/16")));
}

TEST(IpNetwork, TheFamiliesHaveNothingInCommon) {
  EXPECT_FALSE(network("0.0.0.0/0").contains(network("::/0")));
  EXPECT_FALSE(network("::/0").contains(network("10.0.0.0/8")));
}

TEST(IpNetwork, TwoNotationsOfANetworkAreTheSame) {
  EXPECT_TRUE(network("10.8.0.2/24").is_same(network("10.8.0.3/24")));
  EXPECT_FALSE(network("10.8.0.0/24").is_same(network("10.8.0.0/25")));
}

TEST(IpNetwork, ANetworkComesBeforeItsParts) {
  EXPECT_LT(network("10.0.0.0/8"), network("10.0.0.0/9"));
  EXPECT_LT(network("10.255.0.0/16"), network("11.0.0.0/8"));
  EXPECT_LT(network("255.0.0.0/8"), network("::/0"));
}

TEST(IpNetwork, AnAddressHasNoPrefixLength) {
  for (const char* text : {"10.8.0.2", "fd00::2", "::"})
    EXPECT_TRUE(is_ip_address(text)) << text;
  for (const char* text : {"", "10.8.0", "10.8.0.2/32", "fd00::2/128", "fe80::1%eth0", "gateway"})
    EXPECT_FALSE(is_ip_address(text)) << text;
}

TEST(IpNetwork, OneOfIpv4IsASubnet) {
  EXPECT_EQ(to_text(network("10.8.0.2/24").ipv4().value()), "10.8.0.0/24");
  EXPECT_FALSE(network("::/0").ipv4());
}

TEST(ParseNumber, ANumberHasUpToFiveDigitsAndALimit) {
  EXPECT_EQ(parse_number("65535", 65535), 65535);
  EXPECT_EQ(parse_number("00001", 65535), 1);
  for (const char* text : {"", "65536", "000001", "-1", "1x"})
    EXPECT_FALSE(parse_number(text, 65535)) << text;
}
