#include "cli/base/terminal.h"

#include <gtest/gtest.h>

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
  EXPECT_EQ(printable("a\tb\n", '\t'), "a\tb?");
  EXPECT_EQ(printable("\u00e9"), "\u00e9");
}

TEST(TerminalTest, CountsInEnglish) {
  EXPECT_EQ(counted(0, "file"), "0 files");
  EXPECT_EQ(counted(1, "file"), "1 file");
  EXPECT_EQ(counted(2, "file"), "2 files");
}
