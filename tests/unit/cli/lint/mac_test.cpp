#include "cli/lint/mac.h"

#include <gtest/gtest.h>

TEST(Mac, EverySpellingOfAnAddressBecomesTheOneInLowerCase) {
  struct {
    const char* text;
    const char* expected;
  } const cases[] = {
      {"02:00:5e:00:53:01", "02:00:5e:00:53:01"},
      {"02:00:5E:00:53:0A", "02:00:5e:00:53:0a"},
      {"2:0:5e:0:53:1", "02:00:5e:00:53:01"},
      {"02:00:5e:00:53:*", "02:00:5e:00:53:*"},
      {"*:*:*:*:*:*", "*:*:*:*:*:*"},
      {"01-02:00:5e:00:53:01", "02:00:5e:00:53:01"},  // with the type of Ethernet
      {"1-02:00:5e:00:53:01", "02:00:5e:00:53:01"},
      {"00-02:00:5e:00:53:01", "02:00:5e:00:53:01"},  // with type 0: any
      {"06-02:00:5e:00:53:01", "06-02:00:5e:00:53:01"},
      {"6-02:00:5e:00:53:01", "06-02:00:5e:00:53:01"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(normal_mac(text), expected) << text;
}

TEST(Mac, OtherStringsAreNotAddresses) {
  for (const char* text : {"", "02:00:5e:00:53", "02:00:5e:00:53:01:02", "02:00:5e:00:53:", ":02:00:5e:00:53",
                           "002:00:5e:00:53:01", "0g:00:5e:00:53:01", "02:00:5e:00:53:**",
                           "02-00-5e-00-53-01", "02:00:5e:00:53:01 ", "xy-02:00:5e:00:53:01",
                           "-02:00:5e:00:53:01", "006-02:00:5e:00:53:01", "printer"}) {
    EXPECT_EQ(normal_mac(text), std::nullopt) << text;
  }
}

TEST(Mac, TheUsualSpellingStaysAsItIs) {
  for (const char* text : {"02:00:5E:00:53:0A", "2:0:5e:0:53:*", "6-2:0:5e:0:53:1"}) {
    const std::string usual = normal_mac(text).value();
    EXPECT_EQ(normal_mac(usual), usual);
  }
}

TEST(Mac, AnAddressWithoutColonsIsRecognized) {
  for (const char* text : {"02-00-5e-00-53-01", "0200.5e00.5301", "02005E005301", "02 00 5e 00 53 01"})
    EXPECT_TRUE(is_mac_without_colons(text)) << text;
  for (const char* text :
       {"", "02:00:5e:00:53:01", "02-00-5e-00-53-0", "02-00-5e-00-53-012", "02-00-5e-00-53-0x"})
    EXPECT_FALSE(is_mac_without_colons(text)) << text;
}
