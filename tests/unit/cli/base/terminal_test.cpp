#include "cli/base/terminal.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

TEST(TerminalTest, FailsWithTheMessageOnStandardError) {
  testing::internal::CaptureStderr();
  errno = EACCES;
  EXPECT_EQ(fail(with_errno("network.json")), 2);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "network.json: Permission denied\n");
}

TEST(TerminalTest, ColorsOnlyATerminalThatMayBeColored) {
  unsetenv("NO_COLOR");
  EXPECT_TRUE(wants_color(true));
  EXPECT_FALSE(wants_color(false));
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(wants_color(true));
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(wants_color(true));
  unsetenv("NO_COLOR");
}

TEST(TerminalTest, StylesWithACodeIfWanted) {
  EXPECT_EQ(styled("text", "1;31", true), "\033[1;31mtext\033[0m");
  EXPECT_EQ(styled("text", "1;31", false), "text");
  EXPECT_EQ(styled("text", "", true), "text");
}

TEST(TerminalTest, ReplacesWhatATerminalWouldExecute) {
  EXPECT_EQ(printable("a\033[2Jb\tc\n\x7f"), "a?[2Jb?c??");
  EXPECT_EQ(printable("a\tb\n", "\t"), "a\tb?");
  EXPECT_EQ(printable("a\tb\n\r", "\t\n"), "a\tb\n?");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a?b");
  EXPECT_EQ(printable("\u0080\u009b2J\u009f"), "??2J?");
}

TEST(TerminalTest, ReplacesWhatIsHiddenOrTurnsTheLineRound) {
  for (const char* text :
       {"\u00ad", "\u061c", "\u200b", "\u200d",     "\u200e",     "\u200f",     "\u2028",    "\u2029",
        "\u202a", "\u202e", "\u2060", "\u2066",     "\u2069",     "\u206f",     "\u3164",    "\ufe0f",
        "\ufeff", "\ufff9", "\uffff", "\U0001fffe", "\U000e0041", "\U0001d173", "\U000110cd"})
    EXPECT_EQ(printable(text), "?") << text;
}

TEST(TerminalTest, ReplacesEachByteThatIsNotUtf8) {
  for (const char* text :
       {"\x80", "\xbf", "\xc0\x80", "\xc1\xbf", "\xc3", "\xc3(", "\xe0\x80\x80", "\xe2\x80", "\xed\xa0\x80",
        "\xf0\x80\x80\x80", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "\xf0\x9f\x98"}) {
    const std::string expected =
        std::string(text) == "\xc3(" ? "?(" : std::string(std::string(text).size(), '?');
    EXPECT_EQ(printable(text), expected);
  }
}

TEST(TerminalTest, LeavesTheRest) {
  for (const char* text : {"", "abc ~", "\u00a0\u00e9\u00ff", "\u0627\u05d0", "\u2027\u2030",
                           "\u4e2d\ufdcf\ufffd", "\U0001f600\U0010fffd"})
    EXPECT_EQ(printable(text), text);
}

TEST(TerminalTest, AMessageKeepsItsLinesAndNothingElse) {
  testing::internal::CaptureStderr();
  report("a\n\tb\033\u009b");
  errno = ENOENT;
  fail(with_errno("a\nb"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\n\tb??\na?b: No such file or directory\n");
}

TEST(TerminalTest, AWideCharacterTakesTwoColumnsAndACombinedOneNone) {
  EXPECT_EQ(columns_of('a'), 1);
  EXPECT_EQ(columns_of(U'ä'), 1);
  EXPECT_EQ(columns_of(U'中'), 2);
  EXPECT_EQ(columns_of(U'Ａ'), 2);
  EXPECT_EQ(columns_of(U'😀'), 2);
  EXPECT_EQ(columns_of(U'\u0301'), 0);
  EXPECT_LT(columns_of(7), 0);
}

TEST(TerminalTest, KnowsTheColumnsOfATerminal) {
  int keyboard = -1;
  int terminal = -1;
  ASSERT_EQ(openpty(&keyboard, &terminal, nullptr, nullptr, nullptr), 0);
  const auto columns_at = [&](unsigned short columns) {
    const winsize size{24, columns, 0, 0};
    EXPECT_EQ(ioctl(keyboard, TIOCSWINSZ, &size), 0);
    return terminal_columns(terminal);
  };
  EXPECT_EQ(columns_at(0), 80U);
  EXPECT_EQ(columns_at(20), 40U);
  EXPECT_EQ(columns_at(132), 132U);
  close(keyboard);
  close(terminal);
  EXPECT_EQ(terminal_columns(-1), 80U);
}

TEST(TerminalTest, CountsInEnglish) {
  EXPECT_EQ(counted(0, "file"), "0 files");
  EXPECT_EQ(counted(1, "file"), "1 file");
  EXPECT_EQ(counted(2, "file"), "2 files");
}
