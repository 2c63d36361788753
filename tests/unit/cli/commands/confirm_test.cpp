#include "cli/commands/confirm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli/base/sha256.h"
#include "cli/live/applied.h"
#include "cli/live/installed_file.h"
#include "cli/live/outcome.h"
#include "cli/live/trial_state.h"
#include "failing_call.h"
#include "test_files.h"

using ::testing::HasSubstr;

// The number of calls of unlink() before a rollback is decided; negative for no rollback.
static int removals_until_rollback = -1;
FailingCall failing_unlink;
extern FailingCall failing_fsync;

extern "C" int unlink(const char* path) noexcept {
  const auto next_unlink = next<int (*)(const char*)>("unlink");
  if (removals_until_rollback-- == 0) decide(Decision::kRolledBack);
  return failing_unlink.fails() ? -1 : next_unlink(path);
}

// A trial that is only waiting for its confirmation.
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
    write_state_of(kInstalledConfiguration);
    put_file("/run/.delete_static_routes", "");
  }

  static void write_state_of(const char* entry) {
    ASSERT_TRUE(
        write_state({"anna", "new.json", 0, 0, "7", kInstalledConfiguration, entry, sha256("new\n")}));
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all("/run/lanfab");
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
  EXPECT_EQ(output_,
            "Confirmed. The previous configuration was saved as /etc/lanfab/network.json.previous.\n");
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
  EXPECT_FALSE(read_state() || is_trial_active());
  const auto outcome = read_outcome();
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->ending, Ending::kConfirmed);
  EXPECT_EQ(outcome->trial, "7");
  EXPECT_EQ(outcome->active, sha256("new\n"));
}

TEST_F(ConfirmTest, OnlyTheTrialThatIsMeantIsConfirmed) {
  EXPECT_EQ(confirm_now({"6"}), 1);
  EXPECT_THAT(errors_, HasSubstr("no trial is in progress"));
  EXPECT_TRUE(is_trial_active());
  EXPECT_EQ(confirm_now({"7"}), 0);
}

// The timer waits only a limited time for this process, which may have been stopped.
TEST_F(ConfirmTest, ATrialThatIsRolledBackMeanwhileIsNotInstalled) {
  removals_until_rollback = 0;
  EXPECT_EQ(confirm_now(), 1);
  EXPECT_EQ(output_, "");
  EXPECT_THAT(errors_, HasSubstr("the trial is being rolled back"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "old\n");
  EXPECT_TRUE(read_state()) << "the rollback still needs it";
}

TEST_F(ConfirmTest, OnlyTheTextThatWasAppliedIsInstalled) {
  put_file("/run/.delete_static_routes", "by another one");
  ASSERT_TRUE(record_applied("other\n"));
  EXPECT_EQ(confirm_now(), 1);
  EXPECT_THAT(errors_, HasSubstr("another configuration has been applied since"));
  std::filesystem::remove("/run/.delete_static_routes");
  EXPECT_EQ(confirm_now(), 1);
  EXPECT_THAT(errors_, HasSubstr("nothing has been applied"));
  put_file(kTrialConfiguration, "edited\n");
  EXPECT_EQ(confirm_now(), 1);
  EXPECT_THAT(errors_, HasSubstr("/run/lanfab/network.json was edited during the trial"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "old\n");
}

TEST_F(ConfirmTest, WithoutARecordOfItNothingIsInstalled) {
  std::filesystem::create_directories("/run/lanfab/applied/full");
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_, HasSubstr("the trial continues"));
  EXPECT_TRUE(is_trial_active());
}

TEST_F(ConfirmTest, WhatIsLeftOfTheTrialIsReported) {
  // The first two calls are for the new files; the next two, for the files of the trial, fail.
  failing_unlink.fail(2, EIO, 2);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_,
              HasSubstr("cleaning up the trial failed: /run/lanfab/network.json: Input/output error"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
}

TEST_F(ConfirmTest, WhatTheDiskHasNotConfirmedIsReported) {
  failing_fsync.fail(1, EIO, 3);
  EXPECT_EQ(confirm_now(), 2);
  EXPECT_THAT(errors_, HasSubstr("confirmed, but not yet synced to disk"));
  EXPECT_EQ(text_of_file(kInstalledConfiguration), "new\n");
}

TEST_F(ConfirmTest, WhatCannotBeReadIsReported) {
  write_state_of("/run/missing");
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
