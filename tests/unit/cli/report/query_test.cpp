#include "cli/report/query.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "test_files.h"

using ::testing::StartsWith;

static std::string text_;

static std::string asked(const std::string& script, int seconds = 10) {
  text_.clear();
  return run_query({{"sh", "-c", script}, seconds}, text_).value_or("");
}

TEST(QuestionTest, HasAnAnswer) {
  text_ = "before\n";
  EXPECT_EQ(run_query({{"sh", "-c", "echo yes; echo hint >&2"}}, text_), std::nullopt);
  EXPECT_EQ(text_, "before\nyes\n");
  EXPECT_EQ(asked("echo no; exit 1"), "");
  EXPECT_EQ(text_, "no\n");
}

TEST(QuestionTest, MayFail) {
  EXPECT_EQ(asked("echo half; printf 'no\\033\\nmore' >&2; exit 3"), "sh: no?");
  EXPECT_EQ(text_, "half\n");
  EXPECT_EQ(asked("kill -9 $$"), "sh: Killed");
  EXPECT_EQ(run_query({{"no-such-program"}}, text_), "no-such-program: No such file or directory");
  EXPECT_EQ(run_query({{"/no/such/program"}}, text_), "/no/such/program: No such file or directory");
}

TEST(QuestionTest, IsGivenUp) {
  EXPECT_EQ(asked("echo begun; exec sleep 1000", 1), "sh: no answer within the time limit");
  EXPECT_EQ(text_, "begun\n");
}

TEST(QuestionTest, HasAnAnswerOfLimitedSize) {
  EXPECT_EQ(asked("exec cat /dev/zero 2>/dev/null"), "sh: only its beginning, for its size");
  EXPECT_EQ(text_.size(), kLargestText);
}

static std::string read_text(const std::string& path) {
  text_.clear();
  return read_beginning(path, text_).value_or("");
}

TEST(QuestionTest, ReadsAFile) {
  put_file("/run/text", "one\ntwo\n");
  EXPECT_EQ(read_text("/run/text"), "");
  EXPECT_EQ(text_, "one\ntwo\n");
}

TEST(QuestionTest, ReadsNothingElse) {
  EXPECT_EQ(read_text("/run/missing"), "/run/missing: No such file or directory");
  errno = 0;
  EXPECT_EQ(read_text("/run"), "/run: Is a directory");
  EXPECT_EQ(errno, EISDIR);
  ASSERT_EQ(mkfifo("/run/pipe", 0600), 0);
  EXPECT_EQ(read_text("/run/pipe"), "/run/pipe: Invalid argument");
  EXPECT_EQ(read_text("/proc/self/mem"), "/proc/self/mem: Input/output error");
  std::filesystem::remove("/run/pipe");
}

TEST(QuestionTest, ReadsWholeLinesOfALargeFile) {
  put_file("/run/text", std::string(kLargestText - 2, 'a') + "\nsecret\n");
  EXPECT_EQ(read_text("/run/text"), "/run/text: only its beginning, for its size");
  EXPECT_EQ(text_, std::string(kLargestText - 2, 'a') + "\n");
  put_file("/run/text", std::string(kLargestText + 100000, 'a'));
  EXPECT_THAT(read_text("/run/text"), StartsWith("/run/text: only"));
  EXPECT_EQ(text_.size(), 0);
  std::filesystem::remove("/run/text");
}
