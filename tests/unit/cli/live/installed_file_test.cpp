#include "cli/live/installed_file.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "failing_call.h"
#include "test_files.h"

constexpr char kInstalled[] = "/run/etc/network.json";
constexpr char kPrevious[] = "/run/etc/network.json.previous";
constexpr char kWaiting[] = "/run/etc/network.json.previous.new";
static const InstalledFile kFile = {kInstalled, kInstalled};

FailingCall failing_fsync;

extern "C" int fsync(int file) {
  return failing_fsync.fails() ? -1 : next<int (*)(int)>("fsync")(file);
}

extern FailingCall failing_fchmod;
extern FailingCall failing_fchown;
extern FailingCall failing_unlink;
FailingCall failing_rename;
FailingCall failing_mount;
static FailingCall failing_umount;

extern "C" int mount(const char* source, const char* target, const char* type, unsigned long flags,
                     const void* data) noexcept {
  using Mount = int (*)(const char*, const char*, const char*, unsigned long, const void*);
  return failing_mount.fails() ? -1 : next<Mount>("mount")(source, target, type, flags, data);
}

extern "C" int umount2(const char* target, int flags) noexcept {
  return failing_umount.fails() ? -1 : next<int (*)(const char*, int)>("umount2")(target, flags);
}

extern "C" int rename(const char* from, const char* to) noexcept {
  return failing_rename.fails() ? -1 : next<int (*)(const char*, const char*)>("rename")(from, to);
}

static bool allow() {
  return true;
}

static Installation install(const std::string& content, const InstalledFile& installed, std::string& error) {
  return install(content, installed, {allow, allow}, error);
}

class InstalledFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/run/etc");
    std::filesystem::create_directory("/run/etc");
    put_file(kInstalled, "old");
  }

  static std::size_t files() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/run/etc"))
      ++count;
    return count;
  }

  std::string error_;
};

TEST_F(InstalledFileTest, TheFormerContentBecomesThePreviousOne) {
  ASSERT_EQ(chmod(kInstalled, 0640), 0);
  EXPECT_EQ(install("new", kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file(kPrevious), "old");
  EXPECT_EQ(install("newer", kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "new");
  struct stat status {};
  ASSERT_EQ(stat(kInstalled, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, WhatAKilledOneLeftIsReplaced) {
  put_file(std::string(kInstalled) + ".new", "half");
  put_file(std::string(kPrevious) + ".new", "half");
  EXPECT_EQ(install("new", kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "old");
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, WhatIsMissingIsReported) {
  EXPECT_EQ(install("new", {"/run/etc/missing", "/run/etc/missing"}, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc/missing: No such file or directory");
  EXPECT_EQ(install("new", {"/run/etc", "/run/etc"}, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc: Is a directory");
}

// Whichever call fails before the new content is installed, the old file stays, and no other file is left.
TEST_F(InstalledFileTest, AFailureLeavesTheInstalledFileAsItWas) {
  for (const char* blocked : {"/run/etc/network.json.previous", "/run/etc/network.json.previous.new",
                              "/run/etc/network.json.new"}) {
    std::filesystem::create_directory(blocked);
    put_file(std::string(blocked) + "/file", "");
    EXPECT_EQ(install("new", kFile, error_), Installation::kFailed) << blocked;
    EXPECT_EQ(error_, std::string(blocked) + ": Is a directory");
    std::filesystem::remove_all(blocked);
    EXPECT_EQ(text_of_file(kInstalled), "old");
    EXPECT_EQ(files(), 1U) << blocked;
  }
}

TEST_F(InstalledFileTest, AFileKeepsItsOwnerAndModeOrIsNotInstalled) {
  for (FailingCall* call : {&failing_fchown, &failing_fchmod}) {
    call->fail(1, EPERM);
    EXPECT_EQ(install("new", kFile, error_), Installation::kFailed);
    EXPECT_EQ(error_, std::string(kWaiting) + ".half: Operation not permitted");
    EXPECT_EQ(files(), 1U);
  }
}

// The disk has space for a copy of the old file, but not for the new file.
TEST_F(InstalledFileTest, AFullDiskLeavesTheInstalledFileAsItWas) {
  const long page = sysconf(_SC_PAGESIZE);
  ASSERT_EQ(mount("disk", "/run/etc", "tmpfs", 0, ("size=" + std::to_string(2 * page)).c_str()), 0);
  put_file(kInstalled, "old");
  EXPECT_EQ(install("new", kFile, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc/network.json.new: No space left on device");
  EXPECT_EQ(text_of_file(kInstalled), "old");
  EXPECT_EQ(files(), 1U);
  EXPECT_EQ(umount2("/run/etc", MNT_DETACH), 0);
}

// Synchronization fails for the copy of the old file, for the new file, or for their directory.
TEST_F(InstalledFileTest, AContentThatTheDiskHasNotConfirmedIsNotInstalled) {
  for (const auto& [confirmed, path] : {std::pair(0, "/run/etc/network.json.previous.new.half"),
                                        {1, "/run/etc/network.json.new"},
                                        {2, kInstalled}}) {
    failing_fsync.fail(1, EIO, confirmed);
    EXPECT_EQ(install("new", kFile, error_), Installation::kFailed);
    EXPECT_EQ(error_, std::string(path) + ": Input/output error");
    EXPECT_EQ(text_of_file(kInstalled), "old");
    EXPECT_EQ(files(), 1U);
  }
}

TEST_F(InstalledFileTest, AnInstalledContentMayNotBeOnTheDiskYet) {
  failing_fsync.fail(1, EIO, 3);
  EXPECT_EQ(install("new", kFile, error_), Installation::kPlaced);
  EXPECT_EQ(error_, "/run/etc/network.json: Input/output error");
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file(kPrevious), "old");
}

// The rename of the copy that waits to become the previous file fails, or the rename of the new file.
TEST_F(InstalledFileTest, ARenameThatFailsLeavesBothAsTheyWere) {
  for (const int error : {EBUSY, EXDEV, ENOSPC}) {
    for (const bool has_previous : {false, true}) {
      for (const int renamed : {0, 1}) {
        if (has_previous) put_file(kPrevious, "older");
        failing_rename.fail(1, error, renamed);
        EXPECT_EQ(install("new", kFile, error_), Installation::kFailed);
        EXPECT_EQ(error_,
                  (renamed == 0 ? kWaiting : kInstalled) + (": " + std::string(std::strerror(error))));
        EXPECT_EQ(text_of_file(kInstalled), "old");
        EXPECT_EQ(exists(kPrevious), has_previous);
        if (has_previous) {
          EXPECT_EQ(text_of_file(kPrevious), "older");
        }
        EXPECT_EQ(files(), has_previous ? 2U : 1U);
        std::filesystem::remove(kPrevious);
      }
    }
  }
}

// As after a power failure between the last two renames.
TEST_F(InstalledFileTest, APreviousOneThatWaitsIsCompletedLater) {
  put_file(kPrevious, "older");
  failing_rename.fail(1, EIO, 2);
  EXPECT_EQ(install("new", kFile, error_), Installation::kPlaced);
  EXPECT_EQ(error_, std::string(kWaiting) + ": Input/output error");
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file(kPrevious), "older");
  EXPECT_EQ(text_of_file(kWaiting), "old");
  EXPECT_EQ(complete_installation(kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "old");
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, APreviousOneMayNotBeOnTheDiskYet) {
  put_file(kWaiting, "older");
  failing_fsync.fail(1, EIO, 1);
  EXPECT_EQ(complete_installation(kFile, error_), Installation::kPlaced);
  EXPECT_EQ(text_of_file(kPrevious), "older");
  put_file(kWaiting, "older");
  std::filesystem::remove(kInstalled);
  EXPECT_EQ(complete_installation(kFile, error_), Installation::kPlaced);
}

TEST_F(InstalledFileTest, OneThatWaitsForAFileThatWasNeverInstalledIsRemoved) {
  put_file(kPrevious, "older");
  put_file(kWaiting, "old");
  EXPECT_EQ(complete_installation(kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "older");
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, TheSameContentTwiceKeepsThePreviousOne) {
  EXPECT_EQ(install("new", kFile, error_), Installation::kDurable);
  EXPECT_EQ(install("new", kFile, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "old");
  const auto refuse = [] { return false; };
  EXPECT_EQ(install("new", kFile, {allow, refuse}, error_), Installation::kRefused);
  EXPECT_EQ(install("new", kFile, {refuse, allow}, error_), Installation::kRefused);
  EXPECT_EQ(install("new", {"/run/missing", kInstalled}, error_), Installation::kPlaced);
  EXPECT_EQ(error_, "/run/missing: No such file or directory");
}

// The first predicate runs before the file is replaced, the second one afterwards. A refusal leaves no files.
TEST_F(InstalledFileTest, WhatIsRefusedChangesNothing) {
  put_file(kPrevious, "older");
  const auto sees = [](const char* content) {
    return [content] { return text_of_file(kInstalled) != content; };
  };
  EXPECT_EQ(install("new", kFile, {sees("old"), allow}, error_), Installation::kRefused);
  EXPECT_EQ(install("new", kFile, {sees("new"), sees("new")}, error_), Installation::kRefused);
  EXPECT_EQ(text_of_file(kInstalled), "old");
  EXPECT_EQ(text_of_file(kPrevious), "older");
  EXPECT_EQ(files(), 2U);
  failing_rename.fail(1, EIO, 2);
  EXPECT_EQ(install("new", kFile, {allow, sees("new")}, error_), Installation::kFailed);
  EXPECT_EQ(error_, std::string(kInstalled) + ": Input/output error");
  EXPECT_EQ(text_of_file(kWaiting), "old") << "needed to undo the installation";
}

TEST_F(InstalledFileTest, ItCanBeReplacedWhereARenameSucceeds) {
  EXPECT_EQ(why_not_replaceable(kFile), std::nullopt);
  failing_rename.fail(1, EPERM);
  EXPECT_EQ(why_not_replaceable(kFile).value_or("").rfind("/run/etc/: Operation not permitted: ", 0), 0U);
  std::filesystem::create_directory("/run/etc/network.json.test");
  EXPECT_EQ(why_not_replaceable(kFile).value_or("").rfind("/run/etc/: Is a directory: ", 0), 0U);
  std::filesystem::remove("/run/etc/network.json.test");
  EXPECT_EQ(files(), 1U) << "nothing is left of the test";
}

class MountedFileTest : public InstalledFileTest {
 protected:
  void SetUp() override {
    InstalledFileTest::SetUp();
    put_file("/run/mounted", "below");
    ASSERT_EQ(mount(kInstalled, "/run/mounted", nullptr, MS_BIND, nullptr), 0);
  }

  void TearDown() override {
    while (umount2("/run/mounted", MNT_DETACH) == 0) {
    }
  }

  const InstalledFile mounted_ = {"/run/mounted", kInstalled};
};

TEST_F(MountedFileTest, TheNewFileIsMountedInsteadOfTheFormerOne) {
  for (const char* text : {"new", "newer"}) {
    EXPECT_EQ(install(text, mounted_, error_), Installation::kDurable);
    EXPECT_EQ(text_of_file("/run/mounted"), text);
    EXPECT_EQ(text_of_file(kInstalled), text);
  }
  EXPECT_EQ(text_of_file(kPrevious), "new");
  EXPECT_EQ(umount2("/run/mounted", 0), 0);
  EXPECT_EQ(text_of_file("/run/mounted"), "below") << "mounts pile up";
}

TEST_F(MountedFileTest, AFileThatCannotBeMountedIsNotInstalled) {
  put_file(kPrevious, "older");
  for (FailingCall* call : {&failing_umount, &failing_mount}) {
    call->fail(1, EPERM);
    EXPECT_EQ(install("new", mounted_, error_), Installation::kFailed);
    EXPECT_EQ(error_, "/run/mounted: Operation not permitted");
    EXPECT_EQ(text_of_file(kInstalled), "old");
    EXPECT_EQ(text_of_file("/run/mounted"), "old");
    EXPECT_EQ(text_of_file(kPrevious), "older");
    EXPECT_EQ(files(), 2U);
  }
}

// If the old file is mounted read-only, so is the new one, or it is not installed.
TEST_F(MountedFileTest, TheOptionsOfTheMountAreKept) {
  ASSERT_EQ(mount(nullptr, "/run/mounted", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(install("new", mounted_, error_), Installation::kDurable);
  EXPECT_NE(access("/run/mounted", W_OK), 0);
  failing_mount.fail(1, EPERM, 1);
  EXPECT_EQ(install("newer", mounted_, error_), Installation::kFailed);
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file("/run/mounted"), "new");
}

TEST_F(MountedFileTest, WithoutAPreviousOneThereIsNoneAfterwards) {
  failing_mount.fail(1, EPERM);
  EXPECT_EQ(install("new", mounted_, error_), Installation::kFailed);
  EXPECT_EQ(text_of_file("/run/mounted"), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(MountedFileTest, WhatCannotBeUndoneIsReported) {
  failing_mount.fail(2, EPERM);
  EXPECT_EQ(install("new", mounted_, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/mounted: Operation not permitted; " +
                        (kInstalled + std::string(": Operation not permitted")));
  EXPECT_EQ(text_of_file(kInstalled), "old");
  ASSERT_EQ(mount(kInstalled, "/run/mounted", nullptr, MS_BIND, nullptr), 0);
  failing_mount.fail(1, EPERM);
  failing_rename.fail(1, EIO, 2);
  EXPECT_EQ(install("new", mounted_, error_), Installation::kFailed);
  EXPECT_EQ(error_,
            "/run/mounted: Operation not permitted; " + (kInstalled + std::string(": Input/output error")));
  EXPECT_EQ(text_of_file(kWaiting), "old") << "needed to undo the installation";
}

TEST_F(MountedFileTest, AFileThatIsNotShownIsReported) {
  EXPECT_EQ(complete_installation(mounted_, error_), Installation::kDurable);
  EXPECT_EQ(complete_installation({"/run/missing", kInstalled}, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/missing: No such file or directory");
}
