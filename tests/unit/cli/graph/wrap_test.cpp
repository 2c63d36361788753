#include "cli/graph/wrap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using ::testing::ElementsAre;

using Texts = std::vector<std::string>;

TEST(Wrap, LinesAreBrokenBetweenWords) {
  struct {
    const char* text;
    std::size_t columns;
    Texts expected;
  } const cases[] = {
      {"", 10, {""}},
      {"one", 10, {"one"}},
      {"one two", 7, {"one two"}},
      {"one two", 6, {"one", "two"}},
      {"one two three", 9, {"one two", "three"}},
      {"incomprehensible", 6, {"incomp", "rehens", "ible"}},  // a word that fits on no line
      {"an incomprehensible", 6, {"an", "incomp", "rehens", "ible"}},
      {"one  two", 10, {"one  two"}},  // two blanks
      {"one\ttwo", 10, {"one two"}},
  };
  for (const auto& [text, columns, expected] : cases)
    EXPECT_EQ(wrapped(text, columns, Charset::kUtf8), expected) << text;
}

TEST(Wrap, NoWordIsAloneOnTheLastLineWithoutNeed) {
  EXPECT_THAT(wrapped("DHCP 10.0.0.100 to 10.0.0.199, for 12h", 34, Charset::kUtf8),
              ElementsAre("DHCP 10.0.0.100 to", "10.0.0.199, for 12h"));
  EXPECT_THAT(wrapped("aaaa bb cc dd ee", 15, Charset::kUtf8), ElementsAre("aaaa bb", "cc dd ee"));
}

TEST(Wrap, ALineOfATableStaysWhole) {
  EXPECT_EQ(shown("a\tlong\x1b line " + std::string(60, 'x'), Charset::kUtf8),
            "a long? line " + std::string(60, 'x'));
  EXPECT_EQ(shown("Büro", Charset::kAscii), "B?ro");
  EXPECT_EQ(width_of("Büro 語"), 7U);
}

TEST(Wrap, WhatCannotBeShownBecomesAQuestionMark) {
  using namespace std::string_literals;
  struct {
    std::string text;
    const char* utf8;
    const char* ascii;
  } const cases[] = {
      {"Büro"s, "Büro", "B?ro"},
      {"日本"s, "日本", "??"},
      {"\033[31m\x07"s, "?[31m?", "?[31m?"},
      {"a\0b"s, "a?b", "a?b"},
      {"a\nb"s, "a?b", "a?b"},
      {"\xff\xe6\x97"s, "???", "???"},  // an invalid byte and a truncated character
      {"\u202eabc"s, "?abc", "?abc"},   // a bidirectional control
      {"\u2067abc\u200f"s, "?abc?", "?abc?"},
      {"a\u0378"s, "a?", "a?"},  // an unassigned code point
  };
  for (const auto& [text, utf8, ascii] : cases) {
    EXPECT_THAT(wrapped(text, 40, Charset::kUtf8), ElementsAre(utf8)) << text;
    EXPECT_THAT(wrapped(text, 40, Charset::kAscii), ElementsAre(ascii)) << text;
  }
}

TEST(Wrap, AWideCharacterTakesTwoColumns) {
  EXPECT_THAT(wrapped("日本語", 4, Charset::kUtf8), ElementsAre("日本", "語"));
  EXPECT_THAT(wrapped("日本語", 5, Charset::kUtf8), ElementsAre("日本", "語"));
}

TEST(Wrap, AVeryLongTextIsCut) {
  EXPECT_THAT(wrapped(std::string(200, 'a'), 300, Charset::kUtf8), ElementsAre(std::string(200, 'a')));
  EXPECT_THAT(wrapped(std::string(201, 'a'), 300, Charset::kUtf8),
              ElementsAre(std::string(200, 'a') + "..."));
}

// In random texts of narrow and wide characters, no line is too wide or empty, and no character is missing.
TEST(Wrap, NoLineIsTooWideAndNothingIsLost) {
  std::mt19937 random(7);
  const Texts characters = {"a", "b", " ", " ", "ö", "語"};
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (std::size_t length = random() % 60; length > 0; --length)
      text += characters[random() % characters.size()];
    const std::size_t columns = 2 + random() % 20;
    std::string all;
    for (const std::string& line : wrapped(text, columns, Charset::kUtf8)) {
      std::size_t width = 0;
      for (std::size_t i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line[i]);
        // The first byte of a character determines its length; the characters of three bytes are wide.
        if (byte >= 0xe0) {
          width += 2;
        } else if (byte < 0x80 || byte >= 0xc0) {
          width += 1;
        }
        if (byte != ' ') all += line[i];
      }
      EXPECT_LE(width, columns) << text;
    }
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    EXPECT_EQ(all, text);
  }
}

TEST(Wrap, AFindingIsShownWithSeverityAndRule) {
  EXPECT_EQ(text_of({"some-rule", Severity::kError, {}, "message", {}}), "error: message [some-rule]");
  EXPECT_EQ(text_of({"some-rule", Severity::kWarning, {}, "message", {}}), "warning: message [some-rule]");
}
