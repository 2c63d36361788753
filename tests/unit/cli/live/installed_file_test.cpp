#include "cli/live/installed_file.h"

#include <gtest/gtest.h>
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

TEST_F(InstalledFileTest, AContentThatTheDiskHasNotConfirmedIsNotInstalled) {
  failing_fsync.fail(1, EIO);
  EXPECT_EQ(install("new", kInstalled, error_), Installation::kFailed);
  EXPECT_EQ(error_, std::string(kPrevious) + ".new: Input/output error");
  EXPECT_EQ(text_of_file(kInstalled), "old");
  EXPECT_EQ(files(), 1U);
}
