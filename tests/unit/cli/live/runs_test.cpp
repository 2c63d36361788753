#include "cli/live/runs.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "driver/run_lock.h"
#include "driver/run_lock_guard.h"
#include "failing_call.h"
#include "run_process.h"
#include "test_files.h"

extern FailingCall failing_flock;

class RunsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    put_file(kLockFile, "");
  }

  void TearDown() override {
    std::filesystem::remove_all(kLockFile);
  }
};

TEST_F(RunsTest, ARunIsKnownByItsProgram) {
  EXPECT_TRUE(is_run(std::to_string(RunProcess().number())));
  EXPECT_FALSE(is_run(std::to_string(RunProcess(":", "/run/other").number())));
  EXPECT_FALSE(is_run("4000000")) << "there is no such process";
}

TEST_F(RunsTest, ARunContinuesWhenItsProgramIsReplaced) {
  const RunProcess run;
  run.remove_program();
  EXPECT_TRUE(is_run(std::to_string(run.number())));
}

TEST_F(RunsTest, ANameAloneMakesNoRun) {
  char name[16] = "";
  prctl(PR_GET_NAME, name);
  prctl(PR_SET_NAME, "cmd_lanfab");
  EXPECT_FALSE(is_run(std::to_string(getpid())));
  prctl(PR_SET_NAME, name);
}

TEST_F(RunsTest, WithoutALockFileThereIsNoLock) {
  std::filesystem::remove(kLockFile);
  EXPECT_FALSE(read_run_lock());
  remove_stale_lock();
  EXPECT_FALSE(exists(kLockFile));
}

TEST_F(RunsTest, ALockIsStaleWithoutARun) {
  const std::optional<RunLockState> lock = read_run_lock();
  ASSERT_TRUE(lock);
  EXPECT_FALSE(lock->is_held);
  EXPECT_EQ(lock->runs, 0);
  remove_stale_lock();
  EXPECT_FALSE(exists(kLockFile));
}

TEST_F(RunsTest, ALockIsStaleWhileRunsOnlyWaitForIt) {
  const RunProcess run;
  EXPECT_FALSE(read_run_lock()->is_held);
  EXPECT_EQ(read_run_lock()->runs, 1);
  remove_stale_lock();
  EXPECT_FALSE(exists(kLockFile));
}

TEST_F(RunsTest, AStoppedRunIsKilledAndItsLockStale) {
  const RunProcess run("trap : TERM");
  end_stopped_runs();
  EXPECT_TRUE(read_run_lock()->is_held) << "it is not stopped";
  kill(run.number(), SIGSTOP);
  ASSERT_EQ(waitpid(run.number(), nullptr, WUNTRACED), run.number());
  end_stopped_runs();
  EXPECT_FALSE(is_run(std::to_string(run.number())));
  remove_stale_lock();
  EXPECT_FALSE(exists(kLockFile));
}

TEST_F(RunsTest, ARunThatHandlesOrIgnoresSigtermMayHoldIt) {
  for (const char* orders : {"trap : TERM", "trap '' TERM"}) {
    const RunProcess run(orders);
    EXPECT_TRUE(read_run_lock()->is_held);
    remove_stale_lock();
    EXPECT_TRUE(exists(kLockFile));
  }
}

TEST_F(RunsTest, ALockIsHeldWhileARunTakesIt) {
  const RunLockGuard run;
  EXPECT_TRUE(read_run_lock()->is_held);
  failing_flock.fail(1, ENOLCK);
  EXPECT_FALSE(read_run_lock()->is_held) << "nobody has it as far as is known";
}

TEST_F(RunsTest, ALockWhoseRunsCannotBeListedMayBeHeld) {
  rlimit files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none{0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::optional<RunLockState> lock = read_run_lock();
  remove_stale_lock();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(lock->is_held);
  EXPECT_EQ(lock->runs, 0);
  EXPECT_TRUE(exists(kLockFile));
}

// Otherwise a run that acquires the lock at this moment would lose it.
TEST_F(RunsTest, WithoutTheGuardNoLockIsRemoved) {
  std::filesystem::create_directory(kRunLockGuard);
  remove_stale_lock();
  EXPECT_TRUE(exists(kLockFile));
  std::filesystem::remove(kRunLockGuard);
}

TEST_F(RunsTest, WhatCannotBeRemovedStays) {
  std::filesystem::remove(kLockFile);
  std::filesystem::create_directory(kLockFile);
  remove_stale_lock();
  EXPECT_TRUE(exists(kLockFile));
}
