#include "cli/lint/ipv4.h"

#include <gtest/gtest.h>

static Ipv4 address(const std::string& text) {
  const std::optional<Ipv4> parsed = parse_ipv4(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(0);
}

static Subnet subnet(const std::string& text, int prefix) {
  const std::optional<Subnet> found = subnet_with(address(text), prefix);
  EXPECT_TRUE(found) << text << "/" << prefix;
  return found.value_or(Subnet{});
}

TEST(Ipv4, AnAddressIsANumber) {
  EXPECT_EQ(parse_ipv4("0.0.0.0"), 0U);
  EXPECT_EQ(parse_ipv4("192.168.1.2"), 0xc0a80102);
  EXPECT_EQ(parse_ipv4("255.255.255.255"), 0xffffffff);
}

TEST(Ipv4, OtherStringsAreNotAddresses) {
  using namespace std::string_literals;
  for (const std::string& text :
       {""s, "192.168.1"s, "192.168.1.2.3"s, "192.168.1.256"s, "192.168.1.-1"s, "192.168.1.2 "s,
        " 192.168.1.2"s, "192.168.1.2/24"s, "0x7f.0.0.1"s, "192.168.1.2\0.3"s, "::1"s, "localhost"s}) {
    EXPECT_EQ(parse_ipv4(text), std::nullopt) << text;
  }
}

TEST(Ipv4, AnAddressKeepsItsNumberThroughItsString) {
  for (const Ipv4 number : {0x0U, 0x1U, 0x7f000001U, 0xc0a80102U, 0xfffffffeU, 0xffffffffU})
    EXPECT_EQ(parse_ipv4(to_text(number)), number) << to_text(number);
}

TEST(Subnet, TheBitsOfTheHostAreCleared) {
  EXPECT_EQ(to_text(subnet("192.168.1.200", 24)), "192.168.1.0/24");
  EXPECT_EQ(to_text(subnet("192.168.1.200", 25)), "192.168.1.128/25");
  EXPECT_EQ(to_text(subnet("192.168.1.200", 32)), "192.168.1.200/32");
  EXPECT_EQ(to_text(subnet("192.168.1.200", 0)), "0.0.0.0/0");
}

TEST(Subnet, APrefixHas0To32Bits) {
  EXPECT_FALSE(subnet_with(address("192.168.1.1"), -1));
  EXPECT_FALSE(subnet_with(address("192.168.1.1"), 33));
}

TEST(Subnet, TheLastAddressIsTheBroadcastAddress) {
  EXPECT_EQ(to_text(subnet("192.168.1.1", 24).broadcast()), "192.168.1.255");
  EXPECT_EQ(to_text(subnet("10.0.0.1", 30).broadcast()), "10.0.0.3");
  EXPECT_EQ(to_text(subnet("10.0.0.1", 0).broadcast()), "255.255.255.255");
}

// Compares all addresses in and around small subnets with the definition: those from the first to the last
// are inside, and all but these two can belong to a host.
TEST(Subnet, ContainsItsAddressesAndHasItsHosts) {
  for (int prefix = 26; prefix <= 32; ++prefix) {
    const Ipv4 size = 1U << (32 - prefix);
    for (const Ipv4 own : {address("192.168.1.77"), address("192.168.1.128"), address("192.168.1.191")}) {
      const Ipv4 first = own / size * size;
      const Ipv4 last = first + size - 1;
      const Subnet found = *subnet_with(own, prefix);
      for (Ipv4 other = first - 70; other != last + 70; ++other) {
        const bool is_inside = first <= other && other <= last;
        const bool is_host = is_inside && (size <= 2 || (other != first && other != last));
        EXPECT_EQ(found.contains(other), is_inside) << to_text(found) << " " << to_text(other);
        EXPECT_EQ(found.has_host(other), is_host) << to_text(found) << " " << to_text(other);
      }
    }
  }
}

TEST(Subnet, TheWholeAddressSpaceContainsEveryAddress) {
  for (const char* text : {"0.0.0.0", "10.1.2.3", "255.255.255.255"})
    EXPECT_TRUE(subnet("0.0.0.0", 0).contains(address(text))) << text;
}

// Compares the result with the definition: overlapping subnets share an address.
TEST(Subnet, TwoSubnetsOverlapWhenTheyShareAnAddress) {
  for (int a_prefix = 28; a_prefix <= 32; ++a_prefix) {
    for (int b_prefix = 28; b_prefix <= 32; ++b_prefix) {
      for (Ipv4 begin = 0; begin < 48; ++begin) {
        const Subnet a = *subnet_with(address("10.0.0.20"), a_prefix);
        const Subnet b = *subnet_with(address("10.0.0.0") + begin, b_prefix);
        bool is_shared = false;
        for (Ipv4 one = address("10.0.0.0"); one != address("10.0.0.64"); ++one)
          is_shared = is_shared || (a.contains(one) && b.contains(one));
        EXPECT_EQ(a.overlaps(b), is_shared) << to_text(a) << " " << to_text(b);
      }
    }
  }
}

TEST(Subnet, TheObstacleNamesTheAddressAndTheSubnet) {
  const Subnet lan = subnet("192.168.1.0", 24);
  EXPECT_EQ(obstacle(lan, address("192.168.2.9")), "192.168.2.9 is outside 192.168.1.0/24");
  EXPECT_EQ(obstacle(lan, address("192.168.1.0")), "192.168.1.0 is the network address of 192.168.1.0/24");
  EXPECT_EQ(obstacle(lan, address("192.168.1.255")),
            "192.168.1.255 is the broadcast address of 192.168.1.0/24");
}

TEST(Ipv4, TheClassOfAnAddressHasAPrefixLength) {
  EXPECT_EQ(prefix_of_class(address("127.255.255.255")), 8);
  EXPECT_EQ(prefix_of_class(address("128.0.0.0")), 16);
  EXPECT_EQ(prefix_of_class(address("191.255.255.255")), 16);
  EXPECT_EQ(prefix_of_class(address("192.0.0.0")), 24);
}

TEST(Ipv4, PrivateNetworksEndWhereTheInternetBegins) {
  for (const char* text :
       {"10.0.0.0", "10.255.255.255", "100.64.0.0", "100.127.255.255", "169.254.0.0", "169.254.255.255",
        "172.16.0.0", "172.31.255.255", "192.168.0.0", "192.168.255.255"})
    EXPECT_TRUE(is_private(address(text))) << text;
  for (const char* text : {"9.255.255.255", "11.0.0.0", "100.63.255.255", "100.128.0.0", "169.253.255.255",
                           "169.255.0.0", "172.15.255.255", "172.32.0.0", "192.167.255.255", "192.169.0.0"})
    EXPECT_FALSE(is_private(address(text))) << text;
}
