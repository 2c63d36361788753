#include "cli/live/outcome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "test_files.h"

constexpr char kOutcome[] = "/run/lanfab/outcome.json";
// 2026-11-21 20:00:00 UTC
constexpr std::int64_t kTime = 1795291200;

class OutcomeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directory("/run/lanfab");
    setenv("TZ", "UTC", 1);
    tzset();
  }

  static Outcome outcome(Ending ending, const std::string& why) {
    TrialState state;
    state.id = "7";
    state.who = "anna";
    state.file = "new.json";
    Outcome made = outcome_of(state, ending, why);
    made.ended = kTime;
    return made;
  }
};

TEST_F(OutcomeTest, WhatIsWrittenIsReadByEverybody) {
  Outcome written = outcome(Ending::kRolledBack, "by bob");
  written.note = "and more";
  written.active = "abc";
  ASSERT_TRUE(write_outcome(written));
  const auto read = read_outcome();
  ASSERT_TRUE(read);
  EXPECT_EQ(read->trial, "7");
  EXPECT_EQ(read->ending, Ending::kRolledBack);
  EXPECT_EQ(read->active, "abc");
  EXPECT_EQ(describe(*read),
            "new.json, tried by anna, was rolled back at 2026-11-21 20:00:00 by bob; and more");
  struct stat status {};
  ASSERT_EQ(stat(kOutcome, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(OutcomeTest, EachEndingHasItsWords) {
  EXPECT_EQ(describe(outcome(Ending::kConfirmed, "by anna")),
            "new.json, tried by anna, was confirmed at 2026-11-21 20:00:00 by anna");
  EXPECT_EQ(describe(outcome(Ending::kStuck, kNotConfirmedInTime)),
            "new.json, tried by anna, is being rolled back since it was not confirmed in time, but applying "
            "the previous configuration has failed since 2026-11-21 20:00:00");
  Outcome unknown = outcome(Ending::kRolledBack, kNotApplied);
  unknown.file = "";
  EXPECT_EQ(describe(unknown),
            "an unknown trial was rolled back at 2026-11-21 20:00:00 since its APPLY failed or was stopped");
}

TEST_F(OutcomeTest, NothingThatATerminalWouldExecuteIsShown) {
  Outcome hostile = outcome(Ending::kConfirmed, "by \033[2Janna");
  hostile.file = "a\nb";
  EXPECT_EQ(describe(hostile), "a?b, tried by anna, was confirmed at 2026-11-21 20:00:00 by ?[2Janna");
}

TEST_F(OutcomeTest, AMalformedOutcomeIsIgnored) {
  EXPECT_FALSE(read_outcome());
  for (const char* text : {"", "{", "[]", "{}", R"({"ending": "eaten"})", R"({"ending": ["confirmed"]})"}) {
    put_file(kOutcome, text);
    EXPECT_FALSE(read_outcome()) << text;
  }
  put_file(kOutcome, R"({"ending": "confirmed", "who": 1, "ended": "now"})");
  ASSERT_TRUE(read_outcome());
  EXPECT_EQ(read_outcome()->who, "");
  EXPECT_EQ(read_outcome()->ended, 0);
}

TEST_F(OutcomeTest, WithoutADirectoryItCannotBeWritten) {
  std::filesystem::create_directory(kOutcome);
  EXPECT_FALSE(write_outcome(outcome(Ending::kConfirmed, "")));
  std::filesystem::remove_all("/run/lanfab");
  EXPECT_FALSE(write_outcome(outcome(Ending::kConfirmed, "")));
}

TEST_F(OutcomeTest, TheNextTrialForgetsIt) {
  ASSERT_TRUE(write_outcome(outcome(Ending::kConfirmed, "")));
  forget_outcome();
  EXPECT_FALSE(read_outcome());
}
