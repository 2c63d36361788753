#include "cli/config_file/edit.h"

#include <gtest/gtest.h>

#include "test_files.h"

static TextRange range(std::ptrdiff_t begin, std::ptrdiff_t end) {
  return {begin, end};
}

TEST(Edit, ReplacesAValueOrAKeyOnly) {
  const std::string text = "{ \"a\" :  [1, 2],\r\n\t\"b\":\"x\" }";
  const Json::Value root = json(text);
  EXPECT_EQ(apply_edits(text, {replace_value(root["a"][1], "\"three\""), rename_key(text, root["b"], "c\"")}),
            "{ \"a\" :  [1, \"three\"],\r\n\t\"c\\\"\":\"x\" }");
}

TEST(Edit, ALiteralIsUtf8) {
  EXPECT_EQ(string_literal("ü\n"), "\"ü\\n\"");
}

// The text with a member "n" inserted after "a".
static std::string with_member(const std::string& text) {
  const Json::Value root = json(text);
  return apply_edits(text, {insert_member(text, root["a"], "n", "24")});
}

TEST(Edit, InsertsAMemberInTheStyleOfItsNeighbor) {
  struct {
    const char* text;
    const char* expected;
  } const cases[] = {
      {"{\"a\": 1}", "{\"a\": 1, \"n\": 24}"},
      {"{\"a\":1}", "{\"a\":1,\"n\":24}"},
      {"{\"a\":1, \"b\":2}", "{\"a\":1, \"n\":24, \"b\":2}"},
      {"{\"b\": 2,  \"a\" : 1}", "{\"b\": 2,  \"a\" : 1,  \"n\" : 24}"},
      {"{\n  \"a\": 1\n}", "{\n  \"a\": 1,\n  \"n\": 24\n}"},
      {"{\n\t\"b\": 2,\n\n\t\"a\": 1,\n\t\"c\": 3\n}",
       "{\n\t\"b\": 2,\n\n\t\"a\": 1,\n\t\"n\": 24,\n\t\"c\": 3\n}"},
      {"{\r\n  \"a\": 1\r\n}\r\n", "{\r\n  \"a\": 1,\r\n  \"n\": 24\r\n}\r\n"},
      {"{\"a\": 1,\n \"b\": 2}", "{\"a\": 1, \"n\": 24,\n \"b\": 2}"},
      {"{\"a\": 1,\r\n \"b\": 2}", "{\"a\": 1, \"n\": 24,\r\n \"b\": 2}"},
      {"{\"a\":\n  1}", "{\"a\":\n  1, \"n\": 24}"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(with_member(text), expected) << text;
}

TEST(Edit, TwoEditsOfOnePieceOverlap) {
  const auto overlap = [](TextRange a, TextRange b) {
    EXPECT_EQ(do_overlap({b, ""}, {a, ""}), do_overlap({a, ""}, {b, ""}));
    return do_overlap({a, ""}, {b, ""});
  };
  EXPECT_TRUE(overlap(range(1, 3), range(2, 4)));
  EXPECT_TRUE(overlap(range(1, 5), range(2, 3)));
  EXPECT_TRUE(overlap(range(1, 1), range(1, 1)));
  EXPECT_TRUE(overlap(range(1, 3), range(2, 2)));
  EXPECT_FALSE(overlap(range(1, 2), range(2, 3)));
  EXPECT_FALSE(overlap(range(1, 2), range(2, 2)));
  EXPECT_TRUE(any_overlap({{range(5, 6), ""}, {range(1, 2), ""}, {range(5, 7), ""}}));
  EXPECT_FALSE(any_overlap({{range(5, 6), ""}, {range(1, 2), ""}}));
}

TEST(EditedText, RemembersAllChangesAsOne) {
  const std::string before = "abcdef";
  EditedText text(before);
  EXPECT_TRUE(text.edits().empty());
  text.apply({{range(4, 5), "E!"}, {range(0, 1), ""}});
  EXPECT_EQ(text.text(), "bcdE!f");
  text.apply({{range(3, 4), "e"}, {range(6, 6), "gh"}, {range(1, 2), "C"}});
  EXPECT_EQ(text.text(), "bCde!fgh");
  const std::vector<Edit> edits = text.edits();
  EXPECT_EQ(apply_edits(before, edits), text.text());
  ASSERT_EQ(edits.size(), 4U);
  EXPECT_EQ(edits[2].range.begin, 4);
  EXPECT_EQ(edits[2].replacement, "e!");
}

TEST(EditedText, KnowsWhereItsBytesWere) {
  EditedText text("abcdef");
  text.apply({{range(1, 2), "XYZ"}, {range(3, 4), ""}});
  EXPECT_EQ(text.text(), "aXYZcef");
  EXPECT_EQ(text.origin_of(0), 0);
  EXPECT_EQ(text.origin_of(1), 1);
  EXPECT_EQ(text.origin_of(3), 1);
  EXPECT_EQ(text.origin_of(4), 2);
  EXPECT_EQ(text.origin_of(5), 4);
}

TEST(EditedText, KnowsWhereWhatIsInFrontWasWritten) {
  EditedText text("abc");
  text.apply({{range(0, 2), "XY"}});
  EXPECT_EQ(text.origin_of(1), 0);
  EXPECT_EQ(text.origin_of(2), 2);
}
