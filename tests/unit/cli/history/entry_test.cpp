#include "cli/history/entry.h"

#include <gtest/gtest.h>

#include "cli/base/sha256.h"

// `tail --lines=+2 FILE | sha256sum` prints the sum.
constexpr char kText[] =
    "lanfab-history 1 58e309032746a5f86a5065b4021425829ea5ed5c39721bee333ba2b5f7c21d7c\n"
    "time: 1795291200\n"
    "who: anna from 192.0.2.7\n"
    "comment: second uplink\n"
    "\n"
    "{\"dns\": {}}\n";

TEST(HistoryEntryTest, IsATextWithAChecksum) {
  EXPECT_EQ(file_text({7, 1795291200, "anna from 192.0.2.7", "second uplink", "{\"dns\": {}}\n"}), kText);
}

TEST(HistoryEntryTest, IsReadAsItWasWritten) {
  HistoryEntry entry;
  ASSERT_TRUE(read_file_text(kText, entry));
  EXPECT_EQ(entry.time, 1795291200);
  EXPECT_EQ(entry.who, "anna from 192.0.2.7");
  EXPECT_EQ(entry.comment, "second uplink");
  EXPECT_EQ(entry.configuration, "{\"dns\": {}}\n");
}

TEST(HistoryEntryTest, KeepsEveryByteOfTheConfiguration) {
  for (const std::string& configuration : {std::string(), std::string("{\"a\0\xff\": 1}\r\n\n", 14)}) {
    HistoryEntry entry;
    ASSERT_TRUE(read_file_text(file_text({1, 1, "", "", configuration}), entry));
    EXPECT_EQ(entry.configuration, configuration);
  }
}

TEST(HistoryEntryTest, HasNoControlCharactersInItsLines) {
  EXPECT_EQ(file_text({1, 1, "a\nb", "\x1b[31mred\n", ""}),
            "lanfab-history 1 708502c9baa123cd8e01703b86dd06a2de6d075970ed74e125e459646d3d4c98\n"
            "time: 1\n"
            "who: a?b\n"
            "comment: ?[31mred?\n"
            "\n");
}

TEST(HistoryEntryTest, IsDamagedIfAnyByteIsAnother) {
  const std::string text = kText;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string changed = text;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    HistoryEntry entry;
    EXPECT_FALSE(read_file_text(changed, entry)) << changed;
    EXPECT_FALSE(read_file_text(text.substr(0, i), entry)) << i;
  }
}

TEST(HistoryEntryTest, IsDamagedIfALineIsMissingOrWrong) {
  for (const std::string rest :
       {"", "time: 1\nwho: a\ncomment: b\n{}\n", "time: 1x\nwho: a\ncomment: b\n\n",
        "time: \nwho: a\ncomment: b\n\n", "time: 99999999999999999999\nwho: a\ncomment: b\n\n",
        "Time: 1\nwho: a\ncomment: b\n\n", "time: 1\ncomment: b\n\n", "time: 1\nwho: a\n\n",
        "time: 1\nwho: a\ncomment: b", "time: 1\nwho: a\ncomment: b\n"}) {
    HistoryEntry entry;
    EXPECT_FALSE(read_file_text("lanfab-history 1 " + sha256(rest) + "\n" + rest, entry)) << rest;
  }
}
