#include "cli/lint/fix_words.h"

#include <gtest/gtest.h>

constexpr char kText[] = "{\"a\": \"24\"}";

static std::string advice(TextRange range, const std::string& replacement, const std::string& message = "") {
  return advice_of(kText, {"rule", Severity::kError, {6, 10}, message, {}}, {range, replacement});
}

TEST(FixWords, AdviceSaysWhatToWrite) {
  EXPECT_EQ(advice({6, 10}, "24"), "replace with 24");
  EXPECT_EQ(advice({10, 10}, ",\r\n  \"b\": 5"), "insert \"b\": 5");
  EXPECT_EQ(advice({6, 10}, "\"x\",\n\n  \"b\": 5"), "replace with \"x\", \"b\": 5");
  EXPECT_EQ(advice({10, 10}, ","), "insert \",\"");
  EXPECT_EQ(advice({7, 8}, ""), "remove \"2\"");
}

TEST(FixWords, NoAdviceRepeatsTheMessage) {
  EXPECT_EQ(advice({1, 4}, "\"b\"", "\"a\": did you mean \"b\"?"), "");
  EXPECT_EQ(advice({1, 4}, "\"b\"", "\"a\" is read in \"b\""), "replace with \"b\"");
}

TEST(FixWords, AChangeSaysWhatWasThere) {
  EXPECT_EQ(change_of(kText, {{{1, 4}, "\"b\""}, {{6, 10}, "24"}, {{10, 10}, ", \"c\": 1"}}),
            "\"a\" is now \"b\", \"24\" is now 24, inserted \"c\": 1");
  EXPECT_EQ(change_of(kText, {{{8, 9}, ""}}), "removed \"4\"");
}
