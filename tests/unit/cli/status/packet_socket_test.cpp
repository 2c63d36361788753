#include "cli/status/packet_socket.h"

#include <gtest/gtest.h>
#include <net/ethernet.h>
#include <net/if.h>

#include "network.h"

static void set_flags(const char* interface, int flags) {
  ifreq change{};
  change.ifr_flags = static_cast<short>(flags);
  set_interface(SIOCSIFFLAGS, interface, change);
}

TEST(PacketSocket, AnEthernetInterfaceHasAnIndexAndAnAddress) {
  const auto eth0 = find_ethernet("eth0");
  ASSERT_TRUE(eth0);
  EXPECT_EQ(eth0->index, static_cast<int>(if_nametoindex("eth0")));
  EXPECT_EQ(eth0->address, (EthernetAddress{0x02, 0x00, 0x5e, 0x00, 0x00, 0x10}));
}

TEST(PacketSocket, OthersHaveNone) {
  EXPECT_FALSE(find_ethernet("lo"));
  EXPECT_FALSE(find_ethernet("eth9"));
  EXPECT_FALSE(find_ethernet("a-name-with-more-than-15-characters"));
  set_flags("eth0", IFF_NOARP);
  EXPECT_FALSE(find_ethernet("eth0"));
  set_flags("eth0", 0);
  EXPECT_TRUE(find_ethernet("eth0"));
}

TEST(PacketSocket, IsOpenForAnInterfaceThatIsThere) {
  EXPECT_TRUE(open_packet_socket(*find_ethernet("eth0"), ETH_P_ARP).is_open());
  EXPECT_FALSE(open_packet_socket({4000000, {}}, ETH_P_ARP).is_open());
}
