#include "cli/base/text.h"

#include <gtest/gtest.h>

TEST(Text, TheBeginningAndTheEnd) {
  for (const char* beginning : {"", "e", "eth0"})
    EXPECT_TRUE(begins_with("eth0", beginning)) << beginning;
  for (const char* other : {"t", "eth0.1", "ETH"})
    EXPECT_FALSE(begins_with("eth0", other)) << other;
  for (const char* end : {"", "0", "eth0"})
    EXPECT_TRUE(ends_with("eth0", end)) << end;
  for (const char* other : {"h", "veth0", "TH0"})
    EXPECT_FALSE(ends_with("eth0", other)) << other;
}

TEST(Text, BlanksInsideStay) {
  EXPECT_EQ(trimmed(" \ta \t b\t "), "a \t b");
  EXPECT_EQ(trimmed("a"), "a");
  EXPECT_EQ(trimmed(" \t"), "");
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed(" a\r"), "a\r");
  EXPECT_EQ(trimmed(" a\r", " \r"), "a");
}

TEST(Text, WordsAreSeparatedBySpaces) {
  EXPECT_EQ(joined({"ip", "route", "del"}), "ip route del");
  EXPECT_EQ(joined({"ip"}), "ip");
  EXPECT_EQ(joined({}), "");
}
