#include "platform/libvantor.h"
#include "platform_test.h"

// The sandbox has no network, and a hosts file that knows `localhost` alone.
class ResolverTest : public PlatformTest {};

struct Answer {
  int result;
  std::string text;
};

// Asks with room for `size` characters and the terminator.
static Answer ask(const char* name, int size = 15) {
  const auto buffer = dirty_buffer(static_cast<std::size_t>(size) + 1);
  const int result = domain_ip_to_ip_str(name, buffer.get(), size, 0, 0);
  return {result, buffer.get()};
}

TEST_F(ResolverTest, ADottedAddressIsItsOwnAnswer) {
  for (const char* address : {"10.1.1.1", "0.0.0.0", "255.255.255.255"}) {
    EXPECT_EQ(ask(address).result, 0) << address;
    EXPECT_EQ(ask(address).text, address);
  }
}

TEST_F(ResolverTest, ANameIsLookedUp) {
  EXPECT_EQ(ask("localhost").result, 0);
  EXPECT_EQ(ask("localhost").text, "127.0.0.1");
}

TEST_F(ResolverTest, WhatCannotBeResolvedIsAFailureWithEmptyText) {
  for (const char* name : {"no-such-host.invalid", "", "fe80::1", "10.1.1.256", "not a name"}) {
    EXPECT_NE(ask(name).result, 0) << name;
    EXPECT_EQ(ask(name).text, "") << name;
  }
}

TEST_F(ResolverTest, AnAnswerThatDoesNotFitIsRefused) {
  EXPECT_EQ(ask("127.0.0.1", 9).result, 0);
  EXPECT_EQ(ask("127.0.0.1", 9).text, "127.0.0.1");
  EXPECT_NE(ask("127.0.0.1", 8).result, 0);
  EXPECT_EQ(ask("127.0.0.1", 8).text, "");
  EXPECT_NE(ask("localhost", 0).result, 0);
  const auto buffer = dirty_buffer(16);
  EXPECT_NE(domain_ip_to_ip_str("127.0.0.1", buffer.get(), -1, 0, 0), 0);
}
