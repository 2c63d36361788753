#include "driver/run_lock.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "driver/run_lock_guard.h"
#include "lanfab_test.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::KilledBySignal;

constexpr char kLock[] = "/var/run/LANFAB_LOCKED";

class RunLockTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    platform().on_shell = [](const std::string& line) {
      if (line == "/bin/touch /var/run/LANFAB_LOCKED") put_file(kLock, "");
    };
  }
};

static void (*handler_of(int signal))(int) {
  struct sigaction present {};
  sigaction(signal, nullptr, &present);
  return present.sa_handler;
}

TEST_F(RunLockTest, TheLockFileIsThereBetweenTakingAndReleasing) {
  take_run_lock();
  EXPECT_TRUE(exists(kLock));
  release_run_lock();
  EXPECT_FALSE(exists(kLock));
  EXPECT_THAT(platform().log, ElementsAre("notice cmd_lanfab set lock", "notice cmd_lanfab clear lock"));
}

TEST_F(RunLockTest, TheGuardIsHeldOverTheTouchAlone) {
  bool was_taken = false;
  platform().on_shell = [&](const std::string&) { was_taken = RunLockGuard::is_taken(); };
  take_run_lock();
  EXPECT_TRUE(was_taken);
  EXPECT_FALSE(exists(kRunLockGuard));
  release_run_lock();
}

TEST_F(RunLockTest, AnEndingSignalRemovesTheLockAndEndsTheProcess) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGABRT, SIGXFSZ}) {
    EXPECT_EXIT(
        {
          take_run_lock();
          raise(signal);
        },
        testing::KilledBySignal(signal), "");
    EXPECT_FALSE(exists(kLock)) << signal;
  }
}

TEST_F(RunLockTest, ASignalWhileTheLockIsTakenWaitsUntilItIs) {
  platform().on_shell = [](const std::string&) {
    raise(SIGTERM);
    put_file(kLock, "");
  };
  EXPECT_EXIT(take_run_lock(), testing::KilledBySignal(SIGTERM), "");
  EXPECT_FALSE(exists(kLock));
}

TEST_F(RunLockTest, AnotherRunsLockIsLeftAlone) {
  EXPECT_EXIT(
      {
        take_run_lock();
        release_run_lock();
        put_file(kLock, "");
        raise(SIGTERM);
      },
      testing::KilledBySignal(SIGTERM), "");
  EXPECT_TRUE(exists(kLock));
}

TEST_F(RunLockTest, ACrashLeavesTheLock) {
  EXPECT_EXIT(
      {
        take_run_lock();
        raise(SIGKILL);
      },
      testing::KilledBySignal(SIGKILL), "");
  EXPECT_TRUE(exists(kLock));
}

TEST_F(RunLockTest, ALockThatTouchDoesNotMakeIsMadeNevertheless) {
  platform().on_shell = [](const std::string&) {};
  platform().shell_status = 1;
  take_run_lock();
  EXPECT_TRUE(exists(kLock));
  release_run_lock();
}

TEST_F(RunLockTest, ATouchThatOutlivesItsShellIsWaitedFor) {
  pid_t touch = 0;
  platform().shell_status = SIGTERM;
  platform().on_shell = [&touch](const std::string&) {
    touch = fork();
    if (touch == 0) _exit(0);
  };
  take_run_lock();
  EXPECT_EQ(kill(touch, 0), -1);
  EXPECT_EQ(errno, ESRCH);
  release_run_lock();
}

TEST_F(RunLockTest, ALockThatCannotBeMadeIsLogged) {
  platform().shell_status = 1;
  platform().on_shell = [](const std::string&) { std::filesystem::create_directory(kLock); };
  take_run_lock();
  EXPECT_THAT(platform().log,
              Contains("err error opening /var/run/LANFAB_LOCKED: other runs will not wait for this one"));
  release_run_lock();
  std::filesystem::remove(kLock);
}

TEST_F(RunLockTest, AnIgnoredSignalStaysIgnored) {
  const auto former = std::signal(SIGHUP, SIG_IGN);
  take_run_lock();
  raise(SIGHUP);
  EXPECT_TRUE(exists(kLock));
  release_run_lock();
  EXPECT_EQ(handler_of(SIGHUP), SIG_IGN);
  std::signal(SIGHUP, former);
}

TEST_F(RunLockTest, ReleasingRestoresTheSignals) {
  take_run_lock();
  EXPECT_NE(handler_of(SIGTERM), SIG_DFL);
  release_run_lock();
  EXPECT_EQ(handler_of(SIGTERM), SIG_DFL);
}

TEST_F(RunLockTest, AnAbortLeavesNoLock) {
  EXPECT_EXIT(
      {
        take_run_lock();
        std::abort();
      },
      testing::KilledBySignal(SIGABRT), "");
  EXPECT_FALSE(exists(kLock));
}
