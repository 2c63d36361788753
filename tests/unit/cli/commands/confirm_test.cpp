#include "cli/commands/confirm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli/live/installed_file.h"
#include "cli/live/trial_state.h"
#include "failing_call.h"
#include "test_files.h"

using ::testing::HasSubstr;

// Whether the next file that is removed takes the configuration on trial along.
static bool is_rolled_back = false;
FailingCall failing_unlink;
extern FailingCall failing_fsync;

extern "C" int unlink(const char* path) noexcept {
  const auto next_unlink = next<int (*)(const char*)>("unlink");
  if (is_rolled_back) next_unlink(kTrialConfiguration);
  is_rolled_back = false;
  return failing_unlink.fails() ? -1 : next_unlink(path);
}

// A trial of which only its confirmation is missing.
class ConfirmTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mount("etc", "/etc", "tmpfs", 0, nullptr), 0);
    for (const char* directory : {"/etc/lanfab", "/run/lanfab", "/run/tools", "/run/systemd/system"})
      std::filesystem::create_directories(directory);
    put_file(kInstalledConfiguration, "old\n");
    put_file("/run/tools/systemctl", "#!/bin/sh\necho inactive\n");
    std::filesystem::permissions("/run/tools/systemctl", std::filesystem::perms::owner_all);
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
    ASSERT_TRUE(stage_trial("new\n", kInstalledConfiguration) && activate_trial());
    ASSERT_TRUE(
        write_state({"anna", "new.json", 0, 0, "7", kInstalledConfiguration, kInstalledConfiguration}));
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    EXPECT_EQ(umount2("/etc", MNT_DETACH), 0);
  }

  int confirm_now(const ConfirmOptions& options = {}) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = confirm(options);
    output_ = testing::internal::GetCapturedStdout();
    errors_ = testing::internal::GetCapturedStderr();
    return status;
  }

  const std::string path_ = std::getenv("PATH");
  std::string output_;
  std::string errors_;
};

TEST_F(ConfirmTest, TheConfigurationOnTrialIsInstalled) {
  EXPECT_EQ(confirm_now(), 0);
  EXPECT_EQ(output_, "Kept. The configuration before it is /etc/lanfab/network.json.previous.\n");
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
}

TEST_F(ConfirmTest, OnlyTheTrialThatIsMeantIsConfirmed) {
  EXPECT_EQ(confirm_now({"6"}), 1);
  EXPECT_THAT(errors_, HasSubstr("no trial is under way"));
  EXPECT_TRUE(is_trial_active());
  EXPECT_EQ(confirm_now({"7"}), 0);
}

// By the timer, after this process was stopped for long.
TEST_F(ConfirmTest, ATrialThatIsRolledBackMeanwhileIsNotReportedAsKept) {
  is_rolled_back = true;
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_EQ(output_, "");
  EXPECT_THAT(errors_, HasSubstr("the trial was rolled back meanwhile"));
  EXPECT_TRUE(read_state()) << "the rollback still needs it";
}

TEST_F(ConfirmTest, WhatIsLeftOfTheTrialIsReported) {
  // Those of the two new files, then those of the trial.
  failing_unlink.fail(2, EIO, 2);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_, HasSubstr("still there: /run/lanfab/network.json: Input/output error"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
}

TEST_F(ConfirmTest, WhatTheDiskHasNotConfirmedIsReported) {
  failing_fsync.fail(1, EIO, 3);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_, HasSubstr("kept, but a loss of power may undo it"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
}

TEST_F(ConfirmTest, WhatCannotBeReadIsReported) {
  ASSERT_TRUE(write_state({"anna", "new.json", 0, 0, "7", kInstalledConfiguration, "/run/missing"}));
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_EQ(errors_, "/run/missing: No such file or directory\n");
  std::filesystem::remove(kTrialConfiguration);
  std::filesystem::create_directory(kTrialConfiguration);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_EQ(errors_, "/run/lanfab/network.json: Is a directory\n");
  std::filesystem::remove(kTrialConfiguration);
}

TEST_F(ConfirmTest, AnInstalledFileThatIsMissingIsNotReplaced) {
  std::filesystem::remove(kInstalledConfiguration);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_, HasSubstr("/etc/lanfab/network.json: No such file or directory"));
  EXPECT_TRUE(is_trial_active());
}
