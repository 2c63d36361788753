#include "cli/lint/excerpt.h"

#include <gtest/gtest.h>

// The excerpt for the range from the first '<' to the last '>', on a terminal of 44 columns.
static std::string excerpt_of(const std::string& text) {
  const auto begin = static_cast<std::ptrdiff_t>(text.find('<'));
  const auto end = static_cast<std::ptrdiff_t>(text.rfind('>')) + 1;
  return excerpt_at(text, {begin, end}, {44, false});
}

TEST(Excerpt, TheRangeIsUnderlined) {
  EXPECT_EQ(excerpt_of("{\n  \"a\": <b>,\n}\n"),
            "      \"a\": <b>,\n"
            "           ^~~\n");
  EXPECT_EQ(excerpt_at("!", {0, 1}, {44, false}),
            "    !\n"
            "    ^\n");
}

TEST(Excerpt, OfARangeOfSeveralLinesTheBeginningIsMarked) {
  EXPECT_EQ(excerpt_of("  <b\n>"),
            "      <b\n"
            "      ^\n");
}

TEST(Excerpt, AnEmptyRangeHasACaretEvenBehindTheLine) {
  EXPECT_EQ(excerpt_at("a\nbc", {3, 3}, {44, false}), "    bc\n     ^\n");
  EXPECT_EQ(excerpt_at("a\nbc", {1, 1}, {44, false}), "    a\n     ^\n");
  EXPECT_EQ(excerpt_at("", {0, 0}, {44, false}), "    \n    ^\n");
}

TEST(Excerpt, TheCaretStandsRightBelowWideAndCombinedCharacters) {
  EXPECT_EQ(excerpt_of("中文: <中>"),
            "    中文: <中>\n"
            "          ^~~~\n");
  EXPECT_EQ(excerpt_of("😀a\u0301: <>"),
            "    😀a\u0301: <>\n"
            "         ^~\n");
  EXPECT_EQ(excerpt_at("a中b", {1, 4}, {44, false}),
            "    a中b\n"
            "     ^~\n");
}

TEST(Excerpt, WhatIsUnprintableTakesOneColumn) {
  EXPECT_EQ(excerpt_of("a\u200b\xff<>"),
            "    a?\?<>\n"
            "       ^~\n");
}

TEST(Excerpt, ATabBecomesFourSpaces) {
  EXPECT_EQ(excerpt_of("\ta\t<>"),
            "        a    <>\n"
            "             ^~\n");
}

TEST(Excerpt, TheEndOfALineOfWindowsIsNotShown) {
  EXPECT_EQ(excerpt_of("<>\r\n"),
            "    <>\n"
            "    ^~\n");
}

TEST(Excerpt, ALineThatJustFitsIsWhole) {
  const std::string line = "<>" + std::string(38, 'a');
  EXPECT_EQ(excerpt_of(line), "    " + line + "\n    ^~\n");
}

TEST(Excerpt, OfALongerLineThePartAroundTheRangeIsShown) {
  EXPECT_EQ(excerpt_of("<>" + std::string(39, 'a')), "    <>" + std::string(36, 'a') + "…\n    ^~\n");
  EXPECT_EQ(excerpt_of(std::string(39, 'a') + "<>"),
            "    …" + std::string(36, 'a') + "<>\n" + std::string(41, ' ') + "^~\n");
  // Two thirds of the width are for the range and the text after it.
  const std::string shown = "…" + std::string(13, 'a') + "<>" + std::string(23, 'b') + "…";
  EXPECT_EQ(excerpt_of(std::string(500, 'a') + "<>" + std::string(500, 'b')),
            "    " + shown + "\n" + std::string(18, ' ') + "^~\n");
}

TEST(Excerpt, OfALongRangeTheBeginningIsUnderlined) {
  EXPECT_EQ(excerpt_of("a<" + std::string(1000, 'b') + ">"),
            "    a<" + std::string(36, 'b') + "…\n     ^" + std::string(36, '~') + "\n");
}

TEST(Excerpt, ALongLineIsCutBetweenCharacters) {
  std::string wide;
  for (int i = 0; i < 400; ++i)
    wide += "中";
  const std::string excerpt = excerpt_of(wide + "<>" + wide);
  EXPECT_EQ(excerpt.substr(0, 10), "    …中");
  EXPECT_EQ(excerpt.find('?'), std::string::npos);
  EXPECT_EQ(excerpt.substr(excerpt.find('\n') + 1), std::string(19, ' ') + "^~\n");
}
