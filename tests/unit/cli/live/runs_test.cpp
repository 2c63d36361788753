#include "cli/live/runs.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "cli/base/file.h"
#include "driver/run_lock.h"
#include "failing_call.h"
#include "test_files.h"

extern FailingCall failing_flock;

// A process that has the name of a run and handles no signal.
class WaitingRun {
 public:
  WaitingRun() {
    std::filesystem::copy_file("/bin/sleep", kProgram);
    const char* const words[] = {kProgram, "infinity", nullptr};
    posix_spawn(&process_, kProgram, nullptr, nullptr, const_cast<char* const*>(words), environ);
  }
  WaitingRun(const WaitingRun&) = delete;
  WaitingRun& operator=(const WaitingRun&) = delete;
  ~WaitingRun() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    std::filesystem::remove(kProgram);
  }

 private:
  static constexpr char kProgram[] = "/run/cmd_lanfab";
  pid_t process_ = 0;
};

// While the lock file is there, this process is a run of cmd_lanfab or is none.
class RunsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    prctl(PR_GET_NAME, name_);
    put_file(kLockFile, "");
  }

  void TearDown() override {
    prctl(PR_SET_NAME, name_);
    std::signal(SIGTERM, SIG_DFL);
    std::filesystem::remove(kLockFile);
  }

  static void become_run() {
    prctl(PR_SET_NAME, "cmd_lanfab");
  }

  char name_[16] = "";
};

TEST_F(RunsTest, ARunIsKnownByItsName) {
  const std::string process = std::to_string(getpid());
  EXPECT_FALSE(is_run(process));
  become_run();
  EXPECT_TRUE(is_run(process));
  EXPECT_FALSE(is_run("4000000")) << "there is no such process";
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
  // Not this process: an emulator handles the signals of the program that it runs.
  const WaitingRun run;
  EXPECT_FALSE(read_run_lock()->is_held);
  EXPECT_EQ(read_run_lock()->runs, 1);
  remove_stale_lock();
  EXPECT_FALSE(exists(kLockFile));
}

TEST_F(RunsTest, ARunThatHandlesOrIgnoresSigtermMayHoldIt) {
  become_run();
  for (const sighandler_t handler : {sighandler_t([](int) {}), SIG_IGN}) {
    std::signal(SIGTERM, handler);
    EXPECT_TRUE(read_run_lock()->is_held);
    remove_stale_lock();
    EXPECT_TRUE(exists(kLockFile));
  }
}

TEST_F(RunsTest, ALockIsHeldWhileARunTakesOrReleasesIt) {
  const ExclusiveLock run(std::filesystem::path(kLockFile).parent_path());
  EXPECT_TRUE(read_run_lock()->is_held);
  failing_flock.fail(1, ENOLCK);
  EXPECT_FALSE(read_run_lock()->is_held) << "nobody has locked it as far as is known";
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

TEST_F(RunsTest, WhatCannotBeRemovedStays) {
  std::filesystem::remove(kLockFile);
  std::filesystem::create_directory(kLockFile);
  remove_stale_lock();
  EXPECT_TRUE(exists(kLockFile));
}
