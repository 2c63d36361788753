#include "cli/language_server/lines.h"

#include <gtest/gtest.h>

// "é" is two bytes and one UTF-16 code unit, "😀" four bytes and two code units.
static constexpr char kText[] = "a\r\né😀b\n";

static Json::Value position(Json::Value line, Json::Value character) {
  Json::Value value(Json::objectValue);
  value["line"] = std::move(line);
  value["character"] = std::move(character);
  return value;
}

TEST(Lines, PositionsCountUtf16CodeUnits) {
  const Lines lines(kText);
  EXPECT_EQ(lines.position_of(0), position(Json::UInt64{0}, Json::UInt64{0}));
  EXPECT_EQ(lines.position_of(3), position(Json::UInt64{1}, Json::UInt64{0}));
  EXPECT_EQ(lines.position_of(5), position(Json::UInt64{1}, Json::UInt64{1}));
  EXPECT_EQ(lines.position_of(9), position(Json::UInt64{1}, Json::UInt64{3}));
  EXPECT_EQ(lines.position_of(11), position(Json::UInt64{2}, Json::UInt64{0}));
  EXPECT_EQ(lines.position_of(99), position(Json::UInt64{2}, Json::UInt64{0}));
}

TEST(Lines, OffsetsAreFoundAgain) {
  const Lines lines(kText);
  for (const std::ptrdiff_t offset : {0, 1, 3, 5, 9, 10, 11})
    EXPECT_EQ(lines.offset_of(lines.position_of(offset)), offset);
}

TEST(Lines, APositionBehindTheEndIsTheEnd) {
  const Lines lines(kText);
  EXPECT_EQ(lines.offset_of(position(0, 99)), 1);
  EXPECT_EQ(lines.offset_of(position(1, 99)), 10);
  EXPECT_EQ(lines.offset_of(position(99, 0)), 11);
}

TEST(Lines, APositionThatIsNotOneIsTheBeginning) {
  const Lines lines(kText);
  EXPECT_EQ(lines.offset_of(position(-1, -1)), 0);
  EXPECT_EQ(lines.offset_of(position("1", "1")), 0);
  EXPECT_EQ(lines.offset_of(Json::Value()), 0);
}
