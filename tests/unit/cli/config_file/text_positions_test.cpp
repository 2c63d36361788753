#include "cli/config_file/text_positions.h"

#include <gtest/gtest.h>

#include <ostream>

static bool operator==(const TextPosition& a, const TextPosition& b) {
  return a.line == b.line && a.column == b.column;
}

static std::ostream& operator<<(std::ostream& stream, const TextPosition& position) {
  return stream << position.line << ":" << position.column;
}

static TextPosition position_in(const std::string& text, std::ptrdiff_t offset) {
  return TextPositions(text).at(offset);
}

TEST(TextPositions, BothCountFromOne) {
  EXPECT_EQ(position_in("ab\ncd", 0), (TextPosition{1, 1}));
  EXPECT_EQ(position_in("ab\ncd", 2), (TextPosition{1, 3}));
  EXPECT_EQ(position_in("ab\ncd", 3), (TextPosition{2, 1}));
  EXPECT_EQ(position_in("", 0), (TextPosition{1, 1}));
}

TEST(TextPositions, ColumnsCountCharactersOfOneToFourBytes) {
  EXPECT_EQ(position_in("aä中😀!", 10), (TextPosition{1, 5}));
}

TEST(TextPositions, TheBytesOfACharacterAreAtItsPosition) {
  EXPECT_EQ(position_in("a中!", 2), (TextPosition{1, 2}));
  EXPECT_EQ(position_in("a中!", 3), (TextPosition{1, 2}));
}

TEST(TextPositions, AByteThatIsNotUtf8IsACharacter) {
  EXPECT_EQ(position_in("\xff\x80!", 2), (TextPosition{1, 3}));
}

TEST(TextPositions, BehindTheTextIsItsEnd) {
  EXPECT_EQ(position_in("ab\n", 3), (TextPosition{2, 1}));
  EXPECT_EQ(position_in("ab\n", 9), (TextPosition{2, 1}));
}

TEST(TextPositions, OfALongTextTheyAreThoseOfAShortOne) {
  std::string text;
  for (int line = 1; line <= 500; ++line)
    text += "中中中" + std::string(static_cast<std::size_t>(line), 'a') + "\n";
  const TextPositions positions(text);
  for (int line = 1, offset = 0; line <= 500; offset += 9 + line + 1, ++line) {
    EXPECT_EQ(positions.at(offset), (TextPosition{line, 1}));
    EXPECT_EQ(positions.at(offset + 6), (TextPosition{line, 3}));
    EXPECT_EQ(positions.at(offset + 9 + line), (TextPosition{line, 4 + line}));
  }
}
