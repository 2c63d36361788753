#include "cli/config_file/characters.h"

#include <gtest/gtest.h>

using Kind = DeceptiveCharacter::Kind;

TEST(Characters, EachKindHasANameAndAMeaning) {
  struct {
    char32_t code;
    Kind kind;
    const char* description;
    const char* meant;
  } const cases[] = {
      {0x200b, Kind::kInvisible, "U+200B ZERO WIDTH SPACE", ""},
      {0xa0, Kind::kSpace, "U+00A0 NO-BREAK SPACE", " "},
      {0x85, Kind::kSpace, "U+0085 NEXT LINE", " "},
      {0xffa0, Kind::kInvisible, "U+FFA0 HALFWIDTH HANGUL FILLER", ""},
      {0x2013, Kind::kLookalike, "U+2013 EN DASH", "-"},
      {0x201c, Kind::kQuote, "U+201C LEFT DOUBLE QUOTATION MARK", "\""},
      {0x435, Kind::kLookalike, "Cyrillic е (U+0435)", "e"},
      {0x51d, Kind::kLookalike, "Cyrillic ԝ (U+051D)", "w"},
      {0x391, Kind::kLookalike, "Greek Α (U+0391)", "A"},
      {0xff01, Kind::kLookalike, "fullwidth ！ (U+FF01)", "!"},
      {0xff5e, Kind::kLookalike, "fullwidth ～ (U+FF5E)", "~"},
  };
  for (const auto& [code, kind, description, meant] : cases) {
    const auto character = find_deception(code);
    ASSERT_TRUE(character) << description;
    EXPECT_EQ(character->kind, kind) << description;
    EXPECT_EQ(character->description, description);
    EXPECT_EQ(character->meant, meant) << description;
  }
}

TEST(Characters, OthersAreWhatTheySeemToBe) {
  for (const char32_t code : {U'\0', U' ', U'e', U'~', U'ü', U'ß', U'б', U'Ж', U'ψ', U'東', U'👨'})
    EXPECT_FALSE(find_deception(code)) << code_point(code);
}

TEST(Characters, TheCharactersOfAStringHaveTheirPlaces) {
  const std::string text = R"("a\u200bä\t\"\\\/\n")";
  const auto characters = string_characters(text, {0, static_cast<std::ptrdiff_t>(text.size())});
  const std::u32string expected = {U'a', U'\u200b', U'ä', U'\t', U'"', U'\\', U'/', U'\0'};
  ASSERT_EQ(characters.size(), expected.size());
  for (std::size_t i = 0; i < characters.size(); ++i)
    EXPECT_EQ(characters[i].code, expected[i]) << i;
  EXPECT_EQ(characters[1].range.begin, 2);
  EXPECT_EQ(characters[1].range.end, 8);
  EXPECT_EQ(characters[2].range.end, 10);
}

TEST(Characters, AStringIsMadePlain) {
  EXPECT_EQ(plain_text(" \u00a0еna\u200bble\t"), "enable");
  EXPECT_EQ(plain_text("pass–through"), "pass-through");
  EXPECT_EQ(plain_text("“Büro” 東京"), "“Büro” 東京");
  EXPECT_EQ(plain_text(" \u200b "), "");
  EXPECT_EQ(plain_text(""), "");
}
