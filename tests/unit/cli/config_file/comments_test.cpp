#include "cli/config_file/comments.h"

#include <gtest/gtest.h>

static std::string piece(const std::string& text, TextRange range) {
  return text.substr(static_cast<std::size_t>(range.begin),
                     static_cast<std::size_t>(range.end - range.begin));
}

// The part of the text to which each comment that begins with "note:" applies.
static std::vector<std::string> scopes_in(const std::string& text) {
  std::vector<std::string> scopes;
  for (const Comment& comment : marked_comments(text, "note:"))
    scopes.push_back(piece(text, comment.scope));
  return scopes;
}

using Strings = std::vector<std::string>;

TEST(Comments, OfBothKindsAreFound) {
  const std::string text = "{ // note: a \n /* note:b\n * c */ \"d\": 1 /*note:*/}";
  const std::vector<Comment> comments = marked_comments(text, "note:");
  ASSERT_EQ(comments.size(), 3U);
  EXPECT_EQ(piece(text, comments[0].range), "// note: a ");
  EXPECT_EQ(piece(text, comments[0].content), " a ");
  EXPECT_EQ(piece(text, comments[1].range), "/* note:b\n * c */");
  EXPECT_EQ(piece(text, comments[1].content), "b\n * c ");
  EXPECT_EQ(piece(text, comments[2].range), "/*note:*/");
  EXPECT_EQ(piece(text, comments[2].content), "");
}

TEST(Comments, WithoutTheMarkTheyAreNot) {
  EXPECT_TRUE(marked_comments("{\"a\": 1} ", "note:").empty());
  EXPECT_TRUE(
      marked_comments("{ // a note: b\n\"a\": \"// note:\", \"b\\\"/* note: */\": 1}", "note:").empty());
}

TEST(Comments, AboveASettingTheyAreAboutAllOfIt) {
  EXPECT_EQ(scopes_in("{\n  // note:\n  \"a\": {\"b\": [1, 2],\n  \"c\": {}},\n  \"d\": 3\n}"),
            (Strings{"\"a\": {\"b\": [1, 2],\n  \"c\": {}}"}));
  EXPECT_EQ(scopes_in("{\n /* note: */ \"a\": 1}"), (Strings{"\"a\": 1"}));
  EXPECT_EQ(scopes_in("{\n // note:\n \"a\": \"}\\\"\" // end\n}"), (Strings{"\"a\": \"}\\\"\" // end\n"}));
}

TEST(Comments, OtherCommentsMayStandBetween) {
  EXPECT_EQ(scopes_in("{\n// note: 1\n// why\n// note: 2\n\"a\": 1}"), (Strings{"\"a\": 1", "\"a\": 1"}));
}

TEST(Comments, TheyCanBeNested) {
  EXPECT_EQ(scopes_in("{\n//note:\n\"a\": {\n//note:\n\"b\": 1}, \"c\": 2}"),
            (Strings{"\"a\": {\n//note:\n\"b\": 1}", "\"b\": 1"}));
}

TEST(Comments, AboveACommaTheyAreAboutTheNextItem) {
  EXPECT_EQ(scopes_in("{\"a\": [{}\n// note:\n, {\"b\": 1}, 2]}"), (Strings{"{\"b\": 1}"}));
}

TEST(Comments, BeforeABracketTheyAreAboutNothing) {
  EXPECT_EQ(scopes_in("{\"a\": {\"b\": 1\n// note:\n}, \"c\": 1}"), (Strings{""}));
}

TEST(Comments, BehindSomethingTheyAreAboutItsLine) {
  EXPECT_EQ(scopes_in("{\n\"a\": 1, \"b\": [2, // note:\n3]}"), (Strings{"\"a\": 1, \"b\": [2, // note:"}));
  EXPECT_EQ(scopes_in("{ /* note:\n */ \"a\": 1}"), (Strings{"{ /* note:"}));
  EXPECT_EQ(scopes_in("{\"a\": 1 /* note: */}"), (Strings{"{\"a\": 1 /* note: */}"}));
}

TEST(Comments, ALineOfWindowsEndsBeforeItsCarriageReturn) {
  const std::string text = "{\r\n// note: a\r\n\"b\": 1\r\n}\r\n";
  const std::vector<Comment> comments = marked_comments(text, "note:");
  ASSERT_EQ(comments.size(), 1U);
  EXPECT_EQ(piece(text, comments[0].content), " a");
  EXPECT_EQ(piece(text, comments[0].scope), "\"b\": 1\r\n");
}

TEST(Comments, ATextThatEndsTooEarlyDoesNotMatter) {
  for (const char* text :
       {"{// note:", "{/* note:", "{/* note: *", "{\n//note:\n\"a\": \"", "]//note:", "{\"note:\\"})
    EXPECT_LE(marked_comments(text, "note:").size(), 1U) << text;
}
