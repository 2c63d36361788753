#include "cli/status/dns_query.h"

#include <gtest/gtest.h>

static Packet packet_of(const Bytes& bytes) {
  return {bytes.data(), bytes.size()};
}

// An ID, flags, a question and no records.
static const Bytes kQuery = {0x12, 0x34, 0x01, 0x00, 0,   1,   0,   0,   0, 0, 0, 0, 9, 'l',
                             'o',  'c',  'a',  'l',  'h', 'o', 's', 't', 0, 0, 1, 0, 1};

static Bytes response(unsigned char code) {
  Bytes bytes = kQuery;
  bytes[2] = 0x81;
  bytes[3] = code;
  return bytes;
}

TEST(DnsQuery, HasANameAndAType) {
  EXPECT_EQ(dns_query(0x1234, "localhost", DnsType::kAddress), kQuery);
  EXPECT_EQ(dns_query(0xabcd, "", DnsType::kNameServer),
            Bytes({0xab, 0xcd, 0x01, 0x00, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1}));
  EXPECT_EQ(dns_query(1, "a.bc", DnsType::kAddress),
            Bytes({0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 'a', 2, 'b', 'c', 0, 0, 1, 0, 1}));
}

TEST(DnsQuery, AResponseHasACode) {
  EXPECT_EQ(response_code(packet_of(response(0)), kQuery), 0);
  EXPECT_EQ(response_code(packet_of(response(0x83)), kQuery), 3);
  Bytes with_records = response(0);
  with_records.insert(with_records.end(), 100, 0xc0);
  EXPECT_EQ(response_code(packet_of(with_records), kQuery), 0);
}

TEST(DnsQuery, AServerThatCannotReadTheQueryDoesNotRepeatIt) {
  EXPECT_EQ(response_code(packet_of({0x12, 0x34, 0x81, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}), kQuery), 1);
}

TEST(DnsQuery, WhatIsNoResponseIsPassedOver) {
  EXPECT_EQ(response_code(packet_of(kQuery), kQuery), std::nullopt) << "the query itself";
  EXPECT_EQ(response_code(packet_of({0x12, 0x34, 0x81, 0x00, 0, 0, 0, 0, 0, 0, 0, 0}), kQuery), std::nullopt)
      << "no error, and no question";
  Bytes bytes = response(0);
  bytes[1] = 0x35;
  EXPECT_EQ(response_code(packet_of(bytes), kQuery), std::nullopt) << "another ID";
  bytes = response(2);
  bytes[13] = 'L';
  EXPECT_EQ(response_code(packet_of(bytes), kQuery), std::nullopt) << "another name";
}

TEST(DnsQuery, AResponseThatIsCutOffIsPassedOver) {
  for (std::size_t size = 0; size < kQuery.size(); ++size)
    EXPECT_EQ(response_code({response(0).data(), size}, kQuery), std::nullopt) << size;
}

TEST(DnsQuery, WithoutARouteNothingIsAsked) {
  std::optional<int> code;
  EXPECT_FALSE(query_dns(0xc0000235, "localhost", DnsType::kAddress, &code).socket.is_open());
}
