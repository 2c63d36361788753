#include "cli/status/dhcp_probe.h"

#include <gtest/gtest.h>

#include "dhcp_offer.h"

constexpr std::uint32_t kTransaction = 0x12345678;
constexpr EthernetAddress kClient = {0x02, 0x00, 0x5e, 0x00, 0x00, 0x10};

static std::optional<Ipv4> server_in(const Bytes& packet) {
  return dhcp_offer({packet.data(), packet.size()}, kTransaction);
}

TEST(DhcpProbe, ADiscoverIsForAllHosts) {
  const Bytes packet = dhcp_discover(kClient, kTransaction);
  ASSERT_EQ(packet.size(), 328U);
  // The checksum of the header is 0x79a6.
  EXPECT_EQ(Bytes(packet.begin(), packet.begin() + 20),
            Bytes({0x45, 0, 0x01, 0x48, 0, 0, 0, 0, 64, 17, 0x79, 0xa6, 0, 0, 0, 0, 255, 255, 255, 255}));
  EXPECT_EQ(Bytes(packet.begin() + 20, packet.begin() + 28), Bytes({0, 68, 0, 67, 0x01, 0x34, 0, 0}));
  EXPECT_EQ(Bytes(packet.begin() + 28, packet.begin() + 40),
            Bytes({1, 1, 6, 0, 0x12, 0x34, 0x56, 0x78, 0, 0, 0x80, 0}));
  EXPECT_EQ(Bytes(packet.begin() + 56, packet.begin() + 62), Bytes(kClient.begin(), kClient.end()));
  EXPECT_EQ(Bytes(packet.begin() + 264, packet.begin() + 272), Bytes({99, 130, 83, 99, 53, 1, 1, 255}));
}

TEST(DhcpProbe, AnOfferNamesItsServer) {
  EXPECT_EQ(server_in(offer_of(kTransaction)), 0xc0a801fdU);
}

TEST(DhcpProbe, OptionsMayComeInAnyOrderWithOthersBetweenThem) {
  EXPECT_EQ(server_in(offer_of(kTransaction, {0, 0, 51, 4, 0, 0, 0, 9, 54, 4, 10, 0, 0, 1, 12, 0, 53, 1, 2})),
            0x0a000001U);
}

TEST(DhcpProbe, AnIpHeaderMayHaveOptions) {
  Bytes packet = offer_of(kTransaction);
  packet[0] = 0x46;
  packet.insert(packet.begin() + 20, {1, 1, 1, 1});
  EXPECT_EQ(server_in(packet), 0xc0a801fdU);
}

TEST(DhcpProbe, OtherPacketsArePassedOver) {
  // Offsets of the version and the header's size, the protocol, the port, the kind of message, the
  // transaction and the magic cookie.
  for (const std::size_t changed : {0U, 9U, 22U, 23U, 28U, 32U, 35U, 264U, 267U}) {
    Bytes packet = offer_of(kTransaction);
    packet[changed] = 0x42;
    EXPECT_EQ(server_in(packet), std::nullopt) << changed;
  }
}

TEST(DhcpProbe, AnotherMessageOrOneWithoutAServerIsPassedOver) {
  const std::vector<Bytes> options = {
      {53, 1, 5, 54, 4, 10, 0, 0, 1},          // an acknowledgement
      {54, 4, 10, 0, 0, 1},                    // no kind of message
      {53, 1, 2},                              // no server
      {53, 1, 2, 54, 3, 10, 0, 0},             // a truncated server address
      {53, 1, 2, 255, 0, 54, 4, 10, 0, 0, 1},  // a server after the end of the options
      {53, 1, 2, 12, 200, 54, 4, 10, 0, 0, 1},
      {53},
      {53, 1},
      {0, 0, 0},
      {},
  };
  for (const Bytes& some : options) {
    const Bytes packet = offer_of(kTransaction, some);
    EXPECT_EQ(server_in(packet), std::nullopt) << some.size();
  }
}

TEST(DhcpProbe, APacketThatIsCutOffIsPassedOver) {
  const Bytes packet = offer_of(kTransaction);
  for (std::size_t size = 0; size < packet.size(); ++size)
    EXPECT_EQ(dhcp_offer({packet.data(), size}, kTransaction), std::nullopt) << size;
}

TEST(DhcpProbe, DamagedPacketsDoNoHarm) {
  for (std::size_t location = 0; location < offer_of(kTransaction).size(); ++location) {
    for (const unsigned char value : Bytes{0x00, 0x4f, 0x80, 0xff}) {
      Bytes packet = offer_of(kTransaction);
      packet[location] = value;
      packet.shrink_to_fit();
      server_in(packet);
    }
  }
}
