#include "cli/status/ping_probe.h"

#include <gtest/gtest.h>

static const Bytes kEchoReply = {0x45, 0, 0,   28, 0, 0, 0, 0, 64,   1,    0,    0,    127, 0,
                                 0,    1, 127, 0,  0, 1, 0, 0, 0xee, 0xfe, 0x11, 0x00, 0,   1};

TEST(PingProbe, ARequestHasAnIdAndAChecksum) {
  EXPECT_EQ(echo_request(0x1100), Bytes({8, 0, 0xe6, 0xfe, 0x11, 0x00, 0, 1}));
}

TEST(PingProbe, AReplyHasTheSameId) {
  EXPECT_TRUE(is_echo_reply({kEchoReply.data(), kEchoReply.size()}, 0x1100));
  EXPECT_FALSE(is_echo_reply({kEchoReply.data(), kEchoReply.size()}, 0x1101));
}

TEST(PingProbe, OtherPacketsArePassedOver) {
  Bytes unreachable = kEchoReply;
  unreachable[20] = 3;
  EXPECT_FALSE(is_echo_reply({unreachable.data(), unreachable.size()}, 0x1100));
  Bytes without_header = kEchoReply;
  without_header[0] = 0x44;
  EXPECT_FALSE(is_echo_reply({without_header.data(), without_header.size()}, 0x1100));
  Bytes long_header = kEchoReply;
  long_header[0] = 0x4f;
  EXPECT_FALSE(is_echo_reply({long_header.data(), long_header.size()}, 0x1100));
  for (std::size_t size = 0; size < 26; ++size)
    EXPECT_FALSE(is_echo_reply({kEchoReply.data(), size}, 0x1100)) << size;
}
