#include "driver/run_lock_guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <utility>

#include "failing_call.h"
#include "lanfab_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static FailingCall failing_flock;
static std::function<void()> before_flock;
static int pauses = 0;

extern "C" int flock(int file, int operation) noexcept {
  if (before_flock) std::exchange(before_flock, nullptr)();
  return failing_flock.fails() ? -1 : next<int (*)(int, int)>("flock")(file, operation);
}

extern "C" int usleep(useconds_t /*microseconds*/) {
  ++pauses;
  return 0;
}

class RunLockGuardTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    pauses = 0;
  }
};

TEST_F(RunLockGuardTest, ItIsAFileOfRootsWhileItIsHeld) {
  EXPECT_FALSE(RunLockGuard::is_taken());
  {
    const RunLockGuard guard;
    EXPECT_TRUE(guard.is_held());
    EXPECT_TRUE(RunLockGuard::is_taken());
    struct stat status {};
    ASSERT_EQ(stat(kRunLockGuard, &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
  }
  EXPECT_FALSE(exists(kRunLockGuard));
}

TEST_F(RunLockGuardTest, WhatAnybodyMayLockIsNoHindrance) {
  const int directory = open("/var/run", O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(directory, LOCK_EX), 0);
  EXPECT_TRUE(RunLockGuard().is_held());
  close(directory);
}

TEST_F(RunLockGuardTest, AFileThatIsLeftBehindIsUsed) {
  put_file(kRunLockGuard, "");
  EXPECT_FALSE(RunLockGuard::is_taken());
  EXPECT_TRUE(RunLockGuard().is_held());
  EXPECT_FALSE(exists(kRunLockGuard));
}

TEST_F(RunLockGuardTest, ItIsWaitedFor) {
  failing_flock.fail(3, EWOULDBLOCK);
  EXPECT_TRUE(RunLockGuard().is_held());
  EXPECT_EQ(pauses, 3);
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(RunLockGuardTest, TheWaitHasAnEnd) {
  failing_flock.fail(1000, EWOULDBLOCK);
  EXPECT_FALSE(RunLockGuard().is_held());
  EXPECT_THAT(platform().log,
              ElementsAre("warning /var/run/.LANFAB_LOCKED.guard: another process has kept it "
                          "for 10 seconds, going on without it"));
}

TEST_F(RunLockGuardTest, AFileThatWasRemovedMeanwhileIsNoGuard) {
  // The holder releases the guard after this process has opened it and before this process locks it.
  before_flock = [] { unlink(kRunLockGuard); };
  const RunLockGuard guard;
  EXPECT_TRUE(guard.is_held());
  EXPECT_EQ(pauses, 1);
  EXPECT_TRUE(exists(kRunLockGuard));
}

TEST_F(RunLockGuardTest, ALinkIsNotFollowed) {
  put_file("/run/target", "");
  ASSERT_EQ(symlink("/run/target", kRunLockGuard), 0);
  EXPECT_FALSE(RunLockGuard().is_held());
  unlink(kRunLockGuard);
}
