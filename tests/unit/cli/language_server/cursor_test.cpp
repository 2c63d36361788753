#include "cli/language_server/cursor.h"

#include <gmock/gmock.h>

#include "cursor_in.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The kind of the location and the path to the value, or to the object of the key, such as "key a [] b".
static std::string location_in(const std::string& text) {
  const Cursor cursor = cursor_in(text);
  std::string location = cursor.kind == Cursor::Kind::kKey ? "key" : "value";
  if (cursor.kind == Cursor::Kind::kElsewhere) location = "elsewhere";
  for (const PathStep& step : cursor.path)
    location += " " + step.value_or("[]");
  return location;
}

TEST(Cursor, IsAtAKeyOrAValue) {
  EXPECT_EQ(location_in(R"({"a": {"b|c": 1}})"), "key a");
  EXPECT_EQ(location_in(R"({"a": {|"b": 1}})"), "key a");
  EXPECT_EQ(location_in(R"({"a": {"b"|: 1}})"), "key a");
  EXPECT_EQ(location_in(R"({"a": {"b": 1|}})"), "value a b");
  EXPECT_EQ(location_in(R"({"a": {"b": "x|y"}})"), "value a b");
  EXPECT_EQ(location_in(R"({"a": [{"b": 1}, {"c": tr|ue}]})"), "value a [] c");
  EXPECT_EQ(location_in(R"({"a": ["x", "|y"]})"), "value a []");
}

TEST(Cursor, IsElsewhereBetweenThem) {
  EXPECT_EQ(location_in(R"(|{"a": 1})"), "elsewhere");
  EXPECT_EQ(location_in(R"({"a": 1}|)"), "elsewhere");
  EXPECT_EQ(location_in(R"({"a": 1 |})"), "elsewhere a");
  EXPECT_EQ(location_in(R"({"a" |: 1})"), "elsewhere a");
  EXPECT_EQ(location_in("|"), "elsewhere");
  EXPECT_EQ(location_in("tr|ue"), "elsewhere");
}

TEST(Cursor, IsFoundInATextThatIsNotComplete) {
  EXPECT_EQ(location_in(R"({"a": {|)"), "key a");
  EXPECT_EQ(location_in(R"({"a": {"b|)"), "key a");
  EXPECT_EQ(location_in(R"({"a": |)"), "value a");
  EXPECT_EQ(location_in(R"({"a": |})"), "value a");
  EXPECT_EQ(location_in("{\"a\": {\"b|\n\"c\": 1}}"), "key a");
  EXPECT_EQ(location_in(R"({"a": [|)"), "value a []");
  EXPECT_EQ(location_in(R"({"a": {"b": 1 "c|": 2}})"), "key a");
  EXPECT_EQ(location_in(R"(]{"a": |)"), "value a");
}

TEST(Cursor, CommentsAreNoPartOfTheText) {
  EXPECT_EQ(location_in("{\"a\": { // \"b\": {\n|"), "key a");
  EXPECT_EQ(location_in("{\"a\": /* { */ |1}"), "value a");
  EXPECT_EQ(location_in("{\"a\": {} /* |"), "elsewhere a");
}

TEST(Cursor, TheOtherKeysOfTheObjectAreKnown) {
  const Cursor cursor = cursor_in(R"({"z": {"a": 1, "b": {"y": 1}, "c|", "d": {"x": 1}}, "w": 1})");
  EXPECT_THAT(cursor.other_keys, ElementsAre("a", "b", "d"));
  EXPECT_EQ(cursor.key, "c");
  EXPECT_FALSE(cursor.has_colon);
  EXPECT_TRUE(cursor_in(R"({"c|" : 1})").has_colon);
  EXPECT_THAT(cursor_in(R"({"c|" : 1})").other_keys, IsEmpty());
}

TEST(Cursor, TheTokenIsWhatIsWrittenThere) {
  const auto token_in = [](const std::string& text) {
    const TextRange token = cursor_in(text).token;
    return std::make_pair(token.begin, token.end);
  };
  EXPECT_EQ(token_in(R"({"a|b": 1})"), std::make_pair(1L, 5L));
  EXPECT_EQ(token_in("{\"a|b\n}"), std::make_pair(1L, 4L));
  EXPECT_EQ(token_in(R"({"a": 12|3})"), std::make_pair(6L, 9L));
  EXPECT_EQ(token_in(R"({"a": "\"|\\"})"), std::make_pair(6L, 12L));
  EXPECT_EQ(token_in(R"({"a": |})"), std::make_pair(6L, 6L));
}

TEST(Cursor, EveryPlaceOfEveryBeginningHasOne) {
  const std::string text = "{\"a\": [1, \"\\\"\", {\"b\" : null}], // c\n \"d\": {} /* e */ ]}, \"f\\";
  for (std::size_t size = 0; size <= text.size(); ++size) {
    for (std::size_t offset = 0; offset <= size; ++offset) {
      const TextRange token = cursor_at(text.substr(0, size), static_cast<std::ptrdiff_t>(offset)).token;
      EXPECT_LE(token.begin, token.end);
      EXPECT_LE(token.end, static_cast<std::ptrdiff_t>(size));
    }
  }
}
