#include "cli/live/installed_file.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "cli/live/trial_state.h"
#include "failing_call.h"
#include "test_files.h"

constexpr char kInstalled[] = "/run/etc/network.json";
constexpr char kPrevious[] = "/run/etc/network.json.previous";

static FailingCall failing_fsync;

extern "C" int fsync(int file) {
  return failing_fsync.fails() ? -1 : next<int (*)(int)>("fsync")(file);
}

extern FailingCall failing_fchmod;
static FailingCall failing_fchown;
static FailingCall failing_mount;
static FailingCall failing_umount;

extern "C" int fchown(int file, uid_t user, gid_t group) noexcept {
  return failing_fchown.fails() ? -1 : next<int (*)(int, uid_t, gid_t)>("fchown")(file, user, group);
}

extern "C" int mount(const char* source, const char* target, const char* type, unsigned long flags,
                     const void* data) noexcept {
  using Mount = int (*)(const char*, const char*, const char*, unsigned long, const void*);
  return failing_mount.fails() ? -1 : next<Mount>("mount")(source, target, type, flags, data);
}

extern "C" int umount2(const char* target, int flags) noexcept {
  return failing_umount.fails() ? -1 : next<int (*)(const char*, int)>("umount2")(target, flags);
}

class InstalledFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* directory : {"/run/lanfab", "/run/etc"}) {
      std::filesystem::remove_all(directory);
      std::filesystem::create_directory(directory);
    }
    put_file(kInstalled, "old");
    put_file(kTrialFile, "trial");
  }

  void TearDown() override {
    EXPECT_TRUE(deactivate_trial(kInstalled));
  }

  static std::size_t files() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/run/etc"))
      ++count;
    return count;
  }

  std::string error_;
};

TEST_F(InstalledFileTest, TheTrialLiesOverTheInstalledFileUntilItIsDeactivated) {
  EXPECT_FALSE(is_trial_active(kInstalled));
  ASSERT_TRUE(activate_trial(kInstalled));
  EXPECT_TRUE(is_trial_active(kInstalled));
  EXPECT_EQ(text_of_file(kInstalled), "trial");
  EXPECT_NE(access(kInstalled, W_OK), 0) << "what somebody writes now would be lost";
  ASSERT_TRUE(deactivate_trial(kInstalled));
  EXPECT_FALSE(is_trial_active(kInstalled));
  EXPECT_EQ(text_of_file(kInstalled), "old");
}

TEST_F(InstalledFileTest, ATrialThatIsActiveTwiceIsDeactivatedTwice) {
  ASSERT_TRUE(activate_trial(kInstalled) && activate_trial(kInstalled));
  ASSERT_TRUE(deactivate_trial(kInstalled));
  EXPECT_EQ(text_of_file(kInstalled), "old");
}

TEST_F(InstalledFileTest, WithoutAFileATrialCannotBeActive) {
  EXPECT_FALSE(activate_trial("/run/etc/missing"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(is_trial_active("/run/etc/missing"));
}

TEST_F(InstalledFileTest, ATrialThatCannotBeDeactivatedIsStillActive) {
  failing_mount.fail(1, EPERM, 1);
  EXPECT_FALSE(activate_trial(kInstalled)) << "somebody could write to it";
  failing_umount.fail(1, EBUSY);
  EXPECT_FALSE(deactivate_trial(kInstalled));
  EXPECT_EQ(errno, EBUSY);
  EXPECT_TRUE(is_trial_active(kInstalled));
}

// In another process, since there is no way back to the common view.
TEST_F(InstalledFileTest, AViewWithoutTheTrialIsThatOfOneProcess) {
  ASSERT_TRUE(activate_trial(kInstalled));
  const auto view_of_child = [] {
    if (!enter_view_without_trial(kInstalled)) _exit(errno);
    _exit(text_of_file(kInstalled) == "old" ? 0 : 1);
  };
  EXPECT_EXIT(view_of_child(), testing::ExitedWithCode(0), "");
  EXPECT_EXIT((failing_mount.fail(1, EINVAL), view_of_child()), testing::ExitedWithCode(EINVAL), "");
  EXPECT_EXIT((failing_umount.fail(1, EBUSY), view_of_child()), testing::ExitedWithCode(EBUSY), "");
  EXPECT_TRUE(is_trial_active(kInstalled));
}

TEST_F(InstalledFileTest, TheFormerContentBecomesThePreviousOne) {
  ASSERT_EQ(chmod(kInstalled, 0640), 0);
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file(kPrevious), "old");
  EXPECT_EQ(install("newer", kInstalled, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "new");
  struct stat status {};
  ASSERT_EQ(stat(kInstalled, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, WhatAKilledOneLeftIsReplaced) {
  put_file(std::string(kInstalled) + ".new", "half");
  put_file(std::string(kPrevious) + ".new", "half");
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kDurable);
  EXPECT_EQ(text_of_file(kPrevious), "old");
  EXPECT_EQ(files(), 2U);
}

TEST_F(InstalledFileTest, WhatIsMissingIsReported) {
  EXPECT_EQ(install("new", "/run/etc/missing", error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc/missing: No such file or directory");
  EXPECT_EQ(install("new", "/run/etc", error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc: Is a directory");
}

// Whichever call fails before the new content is in its place, the former one stays, and nothing else.
TEST_F(InstalledFileTest, AFailureLeavesTheInstalledFileAsItWas) {
  for (const char* blocked : {"/run/etc/network.json.previous", "/run/etc/network.json.previous.new",
                              "/run/etc/network.json.new"}) {
    std::filesystem::create_directory(blocked);
    put_file(std::string(blocked) + "/file", "");
    EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed) << blocked;
    EXPECT_EQ(error_, std::string(blocked) + ": Is a directory");
    std::filesystem::remove_all(blocked);
    EXPECT_EQ(text_of_file(kInstalled), "old");
    EXPECT_EQ(files(), 1U) << blocked;
  }
}

TEST_F(InstalledFileTest, AFileKeepsItsOwnerAndModeOrIsNotInstalled) {
  for (FailingCall* call : {&failing_fchown, &failing_fchmod}) {
    call->fail(1, EPERM);
    EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed);
    EXPECT_EQ(error_, std::string(kPrevious) + ".new: Operation not permitted");
    EXPECT_EQ(files(), 1U);
  }
}

// The disk has room for the previous one, but for no third file.
TEST_F(InstalledFileTest, AFullDiskLeavesTheInstalledFileAsItWas) {
  const long page = sysconf(_SC_PAGESIZE);
  ASSERT_EQ(mount("disk", "/run/etc", "tmpfs", 0, ("size=" + std::to_string(2 * page)).c_str()), 0);
  put_file(kInstalled, "old");
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc/network.json.new: No space left on device");
  EXPECT_EQ(text_of_file(kInstalled), "old");
  EXPECT_EQ(files(), 1U);
  EXPECT_EQ(umount2("/run/etc", MNT_DETACH), 0);
}

// The file, the previous one and their directory.
TEST_F(InstalledFileTest, AContentThatTheDiskHasNotConfirmedIsNotInstalled) {
  for (const auto& [confirmed, path] : {std::pair(0, "/run/etc/network.json.previous.new"),
                                        {1, "/run/etc/network.json.new"},
                                        {2, kInstalled}}) {
    failing_fsync.fail(1, EIO, confirmed);
    EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed);
    EXPECT_EQ(error_, std::string(path) + ": Input/output error");
    EXPECT_EQ(text_of_file(kInstalled), "old");
    EXPECT_EQ(files(), 1U);
  }
}

TEST_F(InstalledFileTest, AnInstalledContentMayNotBeOnTheDiskYet) {
  failing_fsync.fail(1, EIO, 3);
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kPlaced);
  EXPECT_EQ(error_, "/run/etc/network.json: Input/output error");
  EXPECT_EQ(text_of_file(kInstalled), "new");
  EXPECT_EQ(text_of_file(kPrevious), "old");
}

TEST_F(InstalledFileTest, WhereTheTrialIsSeenNothingIsInstalled) {
  ASSERT_TRUE(activate_trial(kInstalled));
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed);
  EXPECT_EQ(error_, "/run/etc/network.json: Device or resource busy");
  ASSERT_TRUE(deactivate_trial(kInstalled));
  EXPECT_EQ(text_of_file(kInstalled), "old");
}
