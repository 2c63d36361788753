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

  // `script` is the shell code that journalctl executes for a query of the entries of one process.
  static void set_journal(int process, const std::string& script) {
    const std::string entry = R"({"__CURSOR": "a", "__REALTIME_TIMESTAMP": "5000000", "_UID": "0", )"
                              R"("PRIORITY": "5", "MESSAGE": "lanfab APPLY", "_PID": ")" +
                              std::to_string(process) + "\"}";
    put_file("/run/journal/journalctl", "#!/bin/sh\ncase \"$*\" in\n*' MESSAGE=lanfab APPLY '*) echo '" +
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
  EXPECT_STREQ(word_for(runs_[0].end), "interrupted");
  EXPECT_STREQ(word_for(runs_[1].end), "running");
  EXPECT_EQ(runs_[1].action, "APPLY");
  EXPECT_EQ(runs_[1].began, 5'000'000);
}

TEST_F(RunHistoryTest, ARunMayEndWhileTheJournalIsRead) {
  constexpr char kProcess[] = R"("_UID": "0", "PRIORITY": "5", "_PID": "4000000"})";
  put_file(
      "/run/journal/later",
      std::string(R"({"__CURSOR": "a", "__REALTIME_TIMESTAMP": "5000000", "MESSAGE": "lanfab APPLY", )") +
          kProcess + "\n" +
          R"({"__CURSOR": "b", "__REALTIME_TIMESTAMP": "6000000", "MESSAGE": "cmd_lanfab clear lock", )" +
          kProcess + "\n");
  set_journal(4000000, "cat /run/journal/now 2>/dev/null; ln -sf later /run/journal/now");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  ASSERT_EQ(runs_.size(), 1U);
  EXPECT_STREQ(word_for(runs_[0].end), "done");
}

TEST_F(RunHistoryTest, OnlyWholeEntriesCount) {
  set_journal(4000000, R"(printf '%s\n' '{' '[]' '{"__CURSOR": "b"}')");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  ASSERT_EQ(runs_.size(), 1U);
  ASSERT_EQ(runs_[0].messages.size(), 1U);
  EXPECT_EQ(runs_[0].messages[0].text, "lanfab APPLY");
}

TEST_F(RunHistoryTest, TheEntriesOfAllRunsAreReadAtOnce) {
  const auto entry = [](const char* cursor, const char* time, const char* process, const char* text) {
    return std::string(R"({"__CURSOR": ")") + cursor + R"(", "__REALTIME_TIMESTAMP": ")" + time +
           R"(", "_UID": "0", "PRIORITY": "5", "_PID": ")" + process + R"(", "MESSAGE": ")" + text + "\"}\n";
  };
  const std::string apply = entry("a", "1000000", "4000001", "lanfab APPLY");
  const std::string dnsmasq = entry("d", "4000000", "4000002", "lanfab DNSMASQ");
  const std::string former = entry("c", "3000000", "4000003", "lanfab DNSMASQ");
  put_file("/run/journal/beginnings", dnsmasq + former + apply);
  put_file("/run/journal/entries", apply + entry("b", "2000000", "4000001", "cmd_lanfab clear lock") +
                                       entry("e", "3500000", "4000002", "cmd lanfab dnsmasq failed") +
                                       dnsmasq + entry("f", "5000000", "4000002", "cmd_lanfab clear lock"));
  put_file("/run/journal/journalctl",
           "#!/bin/sh\necho >>/run/journal/queries\ncase \"$*\" in\n"
           "*' MESSAGE=lanfab APPLY MESSAGE=lanfab WWAN_APPLY MESSAGE=lanfab DNSMASQ') "
           "cat /run/journal/beginnings ;;\n"
           "*' --cursor=a _PID=4000001 _PID=4000002') cat /run/journal/entries ;;\nesac\n");
  std::filesystem::permissions("/run/journal/journalctl", std::filesystem::perms::owner_all);
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  ASSERT_EQ(runs_.size(), 2U);
  EXPECT_EQ(runs_[0].action, "APPLY");
  EXPECT_EQ(runs_[0].lasted, 1'000'000);
  EXPECT_EQ(runs_[1].action, "DNSMASQ");
  EXPECT_EQ(runs_[1].began, 4'000'000);
  EXPECT_STREQ(word_for(runs_[1].end), "done") << "the failure is that of a run before it";
  EXPECT_EQ(text_of_file("/run/journal/queries"), "\n\n") << "there are two queries";
}

TEST_F(RunHistoryTest, AJournalThatHangsIsGivenUp) {
  set_journal(4000000, "exec sleep 60");
  EXPECT_EQ(read_last_runs(runs_), "journalctl: no answer within the time limit");
}

TEST_F(RunHistoryTest, AJournalWithoutRuns) {
  put_file("/run/journal/journalctl", "#!/bin/sh\n");
  EXPECT_EQ(read_last_runs(runs_), std::nullopt);
  EXPECT_TRUE(runs_.empty());
}

TEST_F(RunHistoryTest, AJournalThatCannotBeReadIsAnError) {
  set_journal(4000000, "echo 'No journal files were opened' >&2; exit 1");
  EXPECT_EQ(read_last_runs(runs_), "journalctl: No journal files were opened");
}
