#include "cli/status/allowances.h"

#include <gtest/gtest.h>

TEST(AllowedDrift, AStarStandsForAnyCharacters) {
  EXPECT_TRUE(matches_pattern("", ""));
  EXPECT_TRUE(matches_pattern("eth0", "eth0"));
  EXPECT_TRUE(matches_pattern("*", ""));
  EXPECT_TRUE(matches_pattern("*", "anything: at all"));
  EXPECT_TRUE(matches_pattern("the address 10.* is *", "the address 10.1.2.3/32 is not configured"));
  EXPECT_TRUE(matches_pattern("*ab*ab", "aababab"));
  EXPECT_TRUE(matches_pattern("eth0**", "eth0"));
  EXPECT_FALSE(matches_pattern("", "eth0"));
  EXPECT_FALSE(matches_pattern("eth0", "eth01"));
  EXPECT_FALSE(matches_pattern("eth01", "eth0"));
  EXPECT_FALSE(matches_pattern("*ab", "abc"));
  EXPECT_FALSE(matches_pattern("[a-z]?", "b1")) << "no other character is special";
}

TEST(AllowedDrift, AMatchTakesNoExponentialTime) {
  std::string pattern;
  for (int i = 0; i < 1000; ++i)
    pattern += "*a";
  EXPECT_FALSE(matches_pattern(pattern + "b", std::string(10000, 'a')));
}

TEST(AllowedDrift, ALineIsASubjectAndAText) {
  const AllowedDrift allowances =
      parse_allowances("# VRRP\n\n \t eth0: the address 10.0.0.1/32 *  \r\n/run/a:b: it is: missing\neth1: ");
  ASSERT_EQ(allowances.patterns.size(), 2U);
  EXPECT_EQ(allowances.patterns[0].subject, "eth0");
  EXPECT_EQ(allowances.patterns[0].what, "the address 10.0.0.1/32 *");
  EXPECT_EQ(allowances.patterns[1].subject, "/run/a:b");
  EXPECT_EQ(allowances.patterns[1].what, "it is: missing");
  ASSERT_EQ(allowances.errors.size(), 1U);
  EXPECT_EQ(allowances.errors[0].what, "line 5 is not \"SUBJECT: TEXT\"");
}

TEST(AllowedDrift, AnyOtherLineIsAnError) {
  const std::string bytes("eth0\n: text\neth0:text\n\0\377\n", 25);
  const AllowedDrift allowances = parse_allowances(bytes);
  EXPECT_TRUE(allowances.patterns.empty());
  ASSERT_EQ(allowances.errors.size(), 4U);
  EXPECT_EQ(allowances.errors[3].subject, "/etc/lanfab/status.allow");
  EXPECT_EQ(allowances.errors[3].what, "line 4 is not \"SUBJECT: TEXT\"");
  EXPECT_EQ(allowances.errors[3].why, "it is ignored");
}
