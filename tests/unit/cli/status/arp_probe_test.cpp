#include "cli/status/arp_probe.h"

#include <gtest/gtest.h>

constexpr Ipv4 kProbedAddress = 0xc0a80101;  // 192.168.1.1
constexpr EthernetAddress kOwn = {0x02, 0x00, 0x5e, 0x00, 0x00, 0x10};
constexpr EthernetAddress kOther = {0x02, 0x00, 0x5e, 0x00, 0x53, 0x01};

// A reply to kOwn from kOther, which has the address.
static const Bytes kReply = {0,    1,    8,    0,    6,    4,    0,   2,           // Ethernet, IPv4, reply
                             0x02, 0x00, 0x5e, 0x00, 0x53, 0x01, 192, 168, 1, 1,   // sender
                             0x02, 0x00, 0x5e, 0x00, 0x00, 0x10, 0,   0,   0, 0};  // target

static std::optional<EthernetAddress> owner_in(const Bytes& packet) {
  return arp_owner({packet.data(), packet.size()}, kProbedAddress);
}

TEST(ArpProbe, AProbeAnnouncesNoAddress) {
  EXPECT_EQ(arp_request(kOwn, 0, kProbedAddress),
            Bytes({0, 1, 8, 0, 6, 4, 0, 1, 0x02, 0x00, 0x5e, 0x00, 0x00, 0x10,
                   0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    192,  168,  1,    1}));
}

TEST(ArpProbe, AQuestionForAGatewayNamesItsSender) {
  const Bytes request = arp_request(kOwn, 0x0a000002, kProbedAddress);
  EXPECT_EQ(Bytes(request.begin() + 14, request.begin() + 18), Bytes({10, 0, 0, 2}));
}

TEST(ArpProbe, AReplyOrARequestShowsTheOwner) {
  EXPECT_EQ(owner_in(kReply), kOther);
  Bytes request = kReply;
  request[7] = 1;
  EXPECT_EQ(owner_in(request), kOther);
  Bytes padded = kReply;
  padded.resize(46);
  EXPECT_EQ(owner_in(padded), kOther);
  EXPECT_EQ(to_text(kOther), "02:00:5e:00:53:01");
}

TEST(ArpProbe, OtherPacketsArePassedOver) {
  for (const std::size_t changed : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 14U, 17U}) {
    Bytes packet = kReply;
    packet[changed] = 99;
    EXPECT_EQ(owner_in(packet), std::nullopt) << changed;
  }
}

TEST(ArpProbe, APacketThatIsCutOffIsPassedOver) {
  for (std::size_t size = 0; size < 18; ++size)
    EXPECT_EQ(arp_owner({kReply.data(), size}, kProbedAddress), std::nullopt) << size;
}
