#include "cli/live/guard.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "cli/live/reserve.h"
#include "test_files.h"

// In these tests, a unit is active if there is a file with its name in /run/units.
class GuardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* directory : {"/run/lanfab", "/run/tools", "/run/units"}) {
      std::filesystem::remove_all(directory);
      std::filesystem::create_directories(directory);
    }
    put_systemctl(
        "for unit; do :; done; if [ -e /run/units/$unit ]; then echo active; else echo inactive; fi");
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
  }

  static void put_systemctl(const std::string& script) {
    put_file("/run/tools/systemctl", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions("/run/tools/systemctl", std::filesystem::perms::owner_all);
  }

  // The safeguards of a trial that ends in this number of seconds.
  Safeguards safeguards(std::int64_t seconds) {
    TrialState state;
    state.ends = monotonic_seconds() + seconds;
    Safeguards found;
    error_ = read_safeguards(state, found);
    return found;
  }

  const std::string path_ = std::getenv("PATH");
  std::optional<std::string> error_;
};

TEST_F(GuardTest, TheSafeguardsAreItsTimerAndItsGuard) {
  EXPECT_FALSE(safeguards(60).has_timer);
  EXPECT_FALSE(safeguards(60).has_guard);
  put_file("/run/units/lanfab-revert.timer", "");
  EXPECT_TRUE(safeguards(60).has_timer);
  EXPECT_FALSE(safeguards(60).has_guard);
  put_file("/run/units/lanfab-guard.service", "");
  EXPECT_TRUE(safeguards(60).has_guard);
  EXPECT_EQ(error_, std::nullopt);
}

TEST_F(GuardTest, ATrialThatIsNotRolledBackIsOverdue) {
  EXPECT_FALSE(safeguards(60).is_overdue);
  EXPECT_FALSE(safeguards(-5).is_overdue) << "the timer and its service need some seconds";
  EXPECT_TRUE(safeguards(-60).is_overdue);
  put_file("/run/units/lanfab-revert.service", "");
  EXPECT_TRUE(safeguards(-60).is_rolling_back);
  EXPECT_FALSE(safeguards(-60).is_overdue);
}

TEST_F(GuardTest, AFailedRollbackIsKnown) {
  EXPECT_FALSE(safeguards(-60).has_failed);
  EXPECT_TRUE(mark_failure());
  EXPECT_FALSE(mark_failure()) << "the second one";
  EXPECT_TRUE(safeguards(-60).has_failed);
  remove_marks();
  EXPECT_FALSE(safeguards(-60).has_failed);
}

TEST_F(GuardTest, WithoutSystemdATrialIsStillOverdue) {
  put_systemctl("echo gone >&2; exit 1");
  EXPECT_FALSE(safeguards(60).is_overdue);
  EXPECT_TRUE(safeguards(-60).is_overdue);
  EXPECT_EQ(error_, "lanfab: systemctl: gone");
}

TEST_F(GuardTest, ASystemdThatDoesNotAnswerIsNotAwaited) {
  put_systemctl("exec sleep 60");
  EXPECT_TRUE(safeguards(-60).is_overdue);
  EXPECT_EQ(error_, "lanfab: systemctl: no answer within the time limit");
}

class ReserveTest : public GuardTest {};

TEST_F(ReserveTest, TheSpaceIsFreeWhenTheEndBegins) {
  EXPECT_FALSE(has_reserve());
  EXPECT_TRUE(reserve_space());
  EXPECT_EQ(std::filesystem::file_size("/run/lanfab/reserve"), 1024U * 1024);
  EXPECT_FALSE(is_end_marked());
  mark_end();
  EXPECT_TRUE(is_end_marked());
  EXPECT_FALSE(has_reserve());
  EXPECT_EQ(std::filesystem::file_size("/run/lanfab/end"), 0U);
  remove_marks();
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
}

TEST_F(ReserveTest, TheEndIsMarkedWithoutAReserve) {
  mark_end();
  EXPECT_TRUE(is_end_marked());
}

TEST_F(ReserveTest, WithoutADirectoryThereIsNone) {
  std::filesystem::remove_all("/run/lanfab");
  EXPECT_FALSE(reserve_space());
  EXPECT_EQ(errno, ENOENT);
  mark_end();
  EXPECT_FALSE(is_end_marked());
  EXPECT_TRUE(mark_failure()) << "nobody knows of an earlier one";
}
