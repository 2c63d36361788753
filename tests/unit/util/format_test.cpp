#include "util/format.h"

#include <gtest/gtest.h>

TEST(FormatTest, ATextIsPutTogetherAsPrintfDoesIt) {
  EXPECT_EQ(format("%d-%s.%s", 20, "eth0", "network"), "20-eth0.network");
  EXPECT_EQ(format("100 %%"), "100 %");
  EXPECT_EQ(format("%s", ""), "");
}

TEST(FormatTest, ATextMayBeLong) {
  const std::string name(100000, 'x');
  EXPECT_EQ(format("<%s>", name.c_str()), "<" + name + ">");
}
