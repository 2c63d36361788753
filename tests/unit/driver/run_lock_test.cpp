#include "driver/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>

#include "failing_call.h"
#include "lanfab_test.h"

using ::testing::ElementsAre;
using ::testing::KilledBySignal;

constexpr char kLock[] = "/var/run/LANFAB_LOCKED";

static FailingCall failing_flock;

extern "C" int flock(int file, int operation) noexcept {
  return failing_flock.fails() ? -1 : next<int (*)(int, int)>("flock")(file, operation);
}

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

// Whether somebody else could lock the directory now.
static bool is_directory_free() {
  const int directory = open("/var/run", O_RDONLY | O_DIRECTORY);
  const bool is_free = flock(directory, LOCK_EX | LOCK_NB) == 0;
  close(directory);
  return is_free;
}

TEST_F(RunLockTest, TheLockFileIsThereBetweenTakingAndReleasing) {
  take_run_lock();
  EXPECT_TRUE(exists(kLock));
  release_run_lock();
  EXPECT_FALSE(exists(kLock));
  EXPECT_THAT(platform().log, ElementsAre("notice cmd_lanfab set lock", "notice cmd_lanfab clear lock"));
}

TEST_F(RunLockTest, TheDirectoryIsLockedOverTheTouchAlone) {
  bool was_free = true;
  platform().on_shell = [&](const std::string&) { was_free = is_directory_free(); };
  take_run_lock();
  EXPECT_FALSE(was_free);
  EXPECT_TRUE(is_directory_free());
  release_run_lock();
}

TEST_F(RunLockTest, AnEndingSignalRemovesTheLockAndEndsTheProcess) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
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

TEST_F(RunLockTest, ASignalDoesNotEndTheWaitForTheDirectory) {
  bool was_free = true;
  platform().on_shell = [&](const std::string&) { was_free = is_directory_free(); };
  failing_flock.fail(2, EINTR);
  take_run_lock();
  EXPECT_FALSE(was_free);
  release_run_lock();
}
