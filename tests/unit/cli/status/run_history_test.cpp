#include "cli/status/run_history.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "run_process.h"
#include "test_files.h"

// A journal with one run of a process.
class RunHistoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories("/run/journal");
    setenv("PATH", ("/run/journal:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
  }

  // `script` is what journalctl does when it is asked for the entries of one process.
  static void set_journal(int process, const std::string& script) {
    const std::string entry = R"({"__CURSOR": "a", "__REALTIME_TIMESTAMP": "5000000", "_UID": "0", )"
                              R"("PRIORITY": "5", "MESSAGE": "lanfab APPLY", "_PID": ")" +
                              std::to_string(process) + "\"}";
    put_file("/run/journal/journalctl", "#!/bin/sh\ncase \"$*\" in\n*' MESSAGE=lanfab APPLY') echo '" +
                                            entry + "' ;;\n*' --cursor=a '*) " + script + " ;;\nesac\n");
    std::filesystem::permissions("/run/journal/journalctl", std::filesystem::perms::owner_all);
  }

  const std::string path_ = std::getenv("PATH");
  std::vector<LastRun> runs_;
};

TEST_F(RunHistoryTest, ARunWithoutAnEndIsRunningWhileItsProcessIsThere) {
  const RunProcess run;
  set_journal(getpid(), "");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  set_journal(run.number(), "");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  ASSERT_EQ(runs_.size(), 2U);
  EXPECT_STREQ(word_for(runs_[0].end), "cut off");
  EXPECT_STREQ(word_for(runs_[1].end), "at work");
  EXPECT_EQ(runs_[1].action, "APPLY");
  EXPECT_EQ(runs_[1].began, 5'000'000);
}

TEST_F(RunHistoryTest, OnlyWholeEntriesCount) {
  set_journal(4000000, R"(printf '%s\n' '{' '[]' '{"__CURSOR": "b"}')");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  ASSERT_EQ(runs_.size(), 1U);
  ASSERT_EQ(runs_[0].messages.size(), 1U);
  EXPECT_EQ(runs_[0].messages[0].text, "lanfab APPLY");
}

TEST_F(RunHistoryTest, AJournalThatCannotBeReadIsAnError) {
  set_journal(4000000, "echo 'No journal files were opened' >&2; exit 1");
  EXPECT_EQ(read_last_runs(runs_), "journalctl: No journal files were opened");
}
