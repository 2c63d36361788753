#include "cli/base/file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "failing_call.h"
#include "test_files.h"

using ::testing::ElementsAre;

constexpr char kDirectory[] = "/run/files";
constexpr char kFile[] = "/run/files/file";

// Not static: other test files use these, too.
FailingCall failing_fchmod;
FailingCall failing_flock;
FailingCall failing_write;
static FailingCall failing_read;

extern "C" int fchmod(int file, mode_t mode) noexcept {
  return failing_fchmod.fails() ? -1 : next<int (*)(int, mode_t)>("fchmod")(file, mode);
}

extern "C" int flock(int file, int operation) noexcept {
  return failing_flock.fails() ? -1 : next<int (*)(int, int)>("flock")(file, operation);
}

extern "C" ssize_t read(int file, void* bytes, std::size_t size) {
  return failing_read.fails() ? -1 : next<ssize_t (*)(int, void*, std::size_t)>("read")(file, bytes, size);
}

extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
  return failing_write.fails() ? -1
                               : next<ssize_t (*)(int, const void*, std::size_t)>("write")(file, bytes, size);
}

class FileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(kDirectory);
    std::filesystem::create_directory(kDirectory);
  }

  static mode_t mode_of(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }
};

TEST_F(FileTest, AFileIsReadWithItsMode) {
  // Longer than a block, with a zero byte.
  const std::string content = std::string(100000, 'x') + '\0' + "end";
  ASSERT_TRUE(write_file({kFile, 0604, content}));
  File file;
  ASSERT_TRUE(read_file(kFile, file));
  EXPECT_EQ(file.path, kFile);
  EXPECT_EQ(file.mode, 0604U);
  EXPECT_EQ(file.content, content);
}

TEST_F(FileTest, OnlyRegularFilesAreRead) {
  const std::string pipe = std::string(kDirectory) + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  struct {
    std::string path;
    int error;
  } const cases[] = {{kFile, ENOENT}, {kDirectory, EISDIR}, {pipe, EINVAL}};
  for (const auto& [path, error] : cases) {
    File file;
    EXPECT_FALSE(read_file(path, file)) << path;
    EXPECT_EQ(errno, error) << path;
  }
}

TEST_F(FileTest, AFullDiskIsReported) {
  EXPECT_FALSE(write_file({"/dev/full", 0666, "text"}));
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(write_file({"/run/files/missing/file", 0666, "text"}));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FileTest, AnInterruptedCallIsRepeated) {
  failing_write.fail(2, EINTR);
  ASSERT_TRUE(write_file({kFile, 0644, "text"}));
  failing_read.fail(2, EINTR);
  File file;
  ASSERT_TRUE(read_file(kFile, file));
  EXPECT_EQ(file.content, "text");
}

TEST_F(FileTest, ADescriptorThatIsMovedHasOneOwner) {
  Descriptor first(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = first.number();
  Descriptor second(std::move(first));
  EXPECT_EQ(second.number(), number);
  Descriptor third(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int other = third.number();
  third = std::move(second);
  EXPECT_EQ(third.number(), number);
  EXPECT_EQ(fcntl(other, F_GETFD), -1) << "what it held is closed";
  EXPECT_EQ(third.release(), number);
  EXPECT_FALSE(third.is_open());
  EXPECT_EQ(close(number), 0);
}

TEST_F(FileTest, AFailedCallIsReported) {
  put_file(kFile, "old");
  File file;
  failing_read.fail(1, EIO);
  EXPECT_FALSE(read_file(kFile, file));
  EXPECT_EQ(errno, EIO);
  failing_fchmod.fail(1, EPERM);
  EXPECT_FALSE(write_file({kFile, 0640, "new"}));
  EXPECT_EQ(errno, EPERM);
  failing_write.fail(1, ENOMEM);
  EXPECT_FALSE(MemoryFile().fill("text"));
  EXPECT_EQ(errno, ENOMEM);
}

TEST_F(FileTest, ALockIsHeldUntilItsEnd) {
  const int other = open(kDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  {
    const ExclusiveLock lock(kDirectory);
    EXPECT_TRUE(lock.is_held());
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
  }
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
}

TEST_F(FileTest, ALockIsAwaitedThroughSignals) {
  failing_flock.fail(3, EINTR);
  EXPECT_TRUE(ExclusiveLock(kDirectory).is_held());
}

TEST_F(FileTest, WhatCannotBeLockedIsNotHeld) {
  EXPECT_EQ(ExclusiveLock("/run/files/missing").error(), "/run/files/missing: No such file or directory");
  failing_flock.fail(1, ENOLCK);
  const ExclusiveLock lock(kDirectory);
  EXPECT_FALSE(lock.is_held());
  EXPECT_EQ(lock.error(), std::string(kDirectory) + ": No locks available");
}

// The pauses between attempts take no time.
extern "C" int usleep(useconds_t /*microseconds*/) {
  return 0;
}

// A process that has been stopped may hold the lock indefinitely.
TEST_F(FileTest, TheWaitForALockIsLimited) {
  failing_flock.fail(250, EWOULDBLOCK);
  EXPECT_TRUE(ExclusiveLock(kDirectory, 5).is_held()) << "the last attempt";
  failing_flock.fail(251, EWOULDBLOCK);
  const ExclusiveLock lock(kDirectory, 5);
  EXPECT_FALSE(lock.is_held());
  EXPECT_EQ(lock.error(), std::string(kDirectory) + ": another process has held its lock for 5 s");
}

TEST_F(FileTest, AMemoryFileIsReadFromItsStart) {
  const MemoryFile file;
  ASSERT_TRUE(file.fill("text"));
  char first = 0;
  EXPECT_EQ(read(file.number(), &first, 1), 1);
  EXPECT_EQ(first, 't');
  EXPECT_EQ(file.content(), "text");
}

TEST_F(FileTest, DirectoriesAreMadeWithThoseAboveThem) {
  EXPECT_TRUE(make_directories("/run/files/a/b/c", 0711));
  EXPECT_EQ(mode_of("/run/files/a/b/c"), 0711U);
  EXPECT_TRUE(make_directories("/run/files/a/b/c", 0700)) << "it is there already";
  EXPECT_EQ(mode_of("/run/files/a/b/c"), 0700U);
  put_file(kFile, "");
  for (const char* below : {"/run/files/file/d", "/run/files/file/d/e"}) {
    EXPECT_FALSE(make_directories(below, 0700));
    EXPECT_EQ(errno, ENOTDIR);
  }
}

TEST_F(FileTest, TheNamesOfADirectoryAreSorted) {
  for (const char* name : {"b", "a", ".c"})
    put_file(std::string(kDirectory) + "/" + name, "");
  EXPECT_THAT(list_directory(kDirectory).value(), ElementsAre(".c", "a", "b"));
  EXPECT_FALSE(list_directory("/run/files/missing"));
}

TEST_F(FileTest, AFileMayHaveSeveralPaths) {
  ASSERT_TRUE(write_file({kFile, 0644, "content"}));
  const std::string link = std::string(kDirectory) + "/link";
  ASSERT_EQ(symlink(kFile, link.c_str()), 0);
  EXPECT_TRUE(is_same_file(kFile, kFile));
  EXPECT_TRUE(is_same_file(kFile, link));
  EXPECT_FALSE(is_same_file(kFile, kDirectory));
  EXPECT_FALSE(is_same_file("/run/missing", "/run/missing"));
}
