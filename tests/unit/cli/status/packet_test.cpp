#include "cli/status/packet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using ::testing::ElementsAre;

constexpr unsigned char kBytes[] = {0x01, 0x02, 0x03, 0x04, 0xff};
constexpr Packet kPacket = {kBytes, sizeof kBytes};
constexpr std::size_t kFar = std::numeric_limits<std::size_t>::max();

TEST(Packet, HasNumbersInNetworkByteOrder) {
  EXPECT_EQ(number_at(kPacket, 0, 1), 0x01U);
  EXPECT_EQ(number_at(kPacket, 1, 2), 0x0203U);
  EXPECT_EQ(number_at(kPacket, 1, 4), 0x020304ffU);
}

TEST(Packet, HasNothingBeyondItsEnd) {
  EXPECT_EQ(number_at(kPacket, 2, 4), std::nullopt);
  EXPECT_EQ(number_at(kPacket, 5, 1), std::nullopt);
  EXPECT_EQ(number_at(kPacket, kFar, 2), std::nullopt);
  EXPECT_EQ(number_at({nullptr, 0}, 0, 1), std::nullopt);
  EXPECT_TRUE(has_bytes(kPacket, 3, {0x04, 0xff}));
  EXPECT_FALSE(has_bytes(kPacket, 4, {0xff, 0x00}));
  EXPECT_FALSE(has_bytes(kPacket, 3, {0x04, 0xfe}));
  EXPECT_FALSE(has_bytes(kPacket, kFar, {0x01}));
  EXPECT_EQ(rest_of(kPacket, 4).size, 1U);
  EXPECT_EQ(rest_of(kPacket, kFar).size, 0U);
}

TEST(Packet, IsWrittenInNetworkByteOrder) {
  Bytes bytes;
  append_number(bytes, 0x0a0b0c, 3);
  append_number(bytes, 0x1234, 1);
  EXPECT_THAT(bytes, ElementsAre(0x0a, 0x0b, 0x0c, 0x34));
}

// The example of RFC 1071, an odd number of bytes, and none.
TEST(Packet, HasAChecksum) {
  EXPECT_EQ(internet_checksum({0x00, 0x01, 0xf2, 0x03, 0xf4, 0xf5, 0xf6, 0xf7}), 0x220d);
  EXPECT_EQ(internet_checksum({0x00, 0x01, 0x80}), 0x7ffe);
  EXPECT_EQ(internet_checksum({}), 0xffff);
}

TEST(Packet, RandomNumbersDiffer) {
  EXPECT_FALSE(random_number() == random_number() && random_number() == random_number());
}
