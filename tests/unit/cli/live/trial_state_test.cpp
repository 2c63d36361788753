#include "cli/live/trial_state.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "test_files.h"

constexpr char kStateFile[] = "/run/lanfab/trial.json";
constexpr char kStaged[] = "/run/lanfab/network.json.new";
constexpr char kCopy[] = "/run/lanfab/network.json.installed";
constexpr char kInstalledPath[] = "/run/installed.json";

class TrialStateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directory("/run/lanfab");
    put_file(kInstalledPath, "old");
    unsetenv("SUDO_USER");
    unsetenv("SSH_CONNECTION");
  }
};

TEST_F(TrialStateTest, WhatIsWrittenIsRead) {
  ASSERT_TRUE(write_state({"anna from 192.0.2.7", "new \"1\".json", 100, 5'000'000'000}));
  const std::optional<TrialState> state = read_state();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->who, "anna from 192.0.2.7");
  EXPECT_EQ(state->file, "new \"1\".json");
  EXPECT_EQ(state->began, 100);
  EXPECT_EQ(state->ends, 5'000'000'000);
}

TEST_F(TrialStateTest, OnlyItsOwnerReadsIt) {
  ASSERT_TRUE(write_state({"anna", "new.json", 100, 160}));
  struct stat status {};
  ASSERT_EQ(stat(kStateFile, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(TrialStateTest, WithoutAStateThereIsNoTrial) {
  EXPECT_FALSE(read_state());
  std::filesystem::remove("/run/lanfab");
  EXPECT_FALSE(read_state());
}

TEST_F(TrialStateTest, AStateThatWasNotWrittenWholeIsNotATrial) {
  ASSERT_TRUE(write_state({"anna", "new.json", 100, 160}));
  const std::string whole = text_of_file(kStateFile);
  for (std::size_t size = 0; size < whole.size() - 1; ++size) {
    put_file(kStateFile, whole.substr(0, size));
    EXPECT_FALSE(read_state()) << size;
  }
  put_file(kStateFile, "[]");
  EXPECT_FALSE(read_state());
}

TEST_F(TrialStateTest, WithoutADirectoryItCannotBeWritten) {
  std::filesystem::remove("/run/lanfab");
  EXPECT_FALSE(write_state({"anna", "new.json", 100, 160}));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(TrialStateTest, TheConfigurationIsRemovedWithTheState) {
  ASSERT_TRUE(write_state({"anna", "new.json", 100, 160}));
  ASSERT_TRUE(stage_trial("{}", kInstalledPath) && activate_trial());
  ASSERT_TRUE(stage_trial("{}", kInstalledPath));
  EXPECT_TRUE(remove_state());
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
  EXPECT_TRUE(remove_state()) << "nothing is there";
}

TEST_F(TrialStateTest, WhatStaysIsReported) {
  for (const char* path : {kStateFile, kTrialConfiguration, kStaged, kCopy}) {
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directories(path);
    EXPECT_FALSE(remove_state()) << path;
    EXPECT_EQ(errno, EISDIR) << path;
  }
  for (const char* path : {"/run/lanfab/decision", kTarget}) {
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directories(path);
    EXPECT_FALSE(remove_state()) << path;
  }
  std::filesystem::remove(kTarget);
  put_file("/run/lanfab/target/foreign", "");
  EXPECT_FALSE(remove_state());
  EXPECT_EQ(errno, ENOTEMPTY);
  std::filesystem::remove_all("/run/lanfab");
  std::filesystem::create_directories("/run/lanfab/network.json");
  std::filesystem::create_directories("/run/lanfab/network.json.new");
  EXPECT_FALSE(remove_state()) << "two of them";
  std::filesystem::create_directories(kStateFile);
  std::filesystem::create_directories(kCopy);
  EXPECT_FALSE(remove_state()) << "four of them";
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(TrialStateTest, AStagedConfigurationIsActiveOnlyAfterwards) {
  ASSERT_EQ(chmod(kInstalledPath, 0640), 0);
  EXPECT_EQ(active_configuration(), kInstalledConfiguration);
  ASSERT_TRUE(stage_trial("new", kInstalledPath));
  EXPECT_FALSE(is_trial_active());
  ASSERT_TRUE(activate_trial());
  EXPECT_TRUE(is_trial_active());
  EXPECT_EQ(active_configuration(), kTrialConfiguration);
  EXPECT_EQ(text_of_file(kTrialConfiguration), "new");
  struct stat status {};
  ASSERT_EQ(stat(kTrialConfiguration, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U) << "whoever may read the installed one";
  EXPECT_TRUE(deactivate_trial());
  EXPECT_FALSE(is_trial_active());
}

TEST_F(TrialStateTest, AStagedConfigurationThatARollbackHasRemovedIsNotActivated) {
  ASSERT_TRUE(stage_trial("new", kInstalledPath) && deactivate_trial());
  EXPECT_FALSE(activate_trial());
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(TrialStateTest, ATrialNeedsTheInstalledFile) {
  EXPECT_FALSE(stage_trial("new", "/run/missing"));
  EXPECT_FALSE(stage_trial("new", "/run"));
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(TrialStateTest, WhatCannotBeStagedIsReported) {
  for (const char* path : {kCopy, kStaged}) {
    std::filesystem::create_directory(path);
    EXPECT_FALSE(stage_trial("new", kInstalledPath)) << path;
    EXPECT_EQ(errno, EISDIR) << path;
    std::filesystem::remove(path);
  }
}

TEST_F(TrialStateTest, ATrialThatPerhapsExistsIsNotPassedOver) {
  std::filesystem::remove("/run/lanfab");
  put_file("/run/lanfab", "no directory");
  EXPECT_EQ(active_configuration(), kInstalledConfiguration);
  std::filesystem::remove("/run/lanfab");
  std::filesystem::create_symlink("/run/lanfab", "/run/lanfab");
  EXPECT_EQ(active_configuration(), kTrialConfiguration);
}

TEST_F(TrialStateTest, AChangeOfTheInstalledFileIsNoticed) {
  ASSERT_TRUE(stage_trial("new", kInstalledPath));
  EXPECT_FALSE(is_installed_changed("old"));
  EXPECT_TRUE(is_installed_changed("older"));
  std::filesystem::remove(kCopy);
  EXPECT_TRUE(is_installed_changed("old")) << "not known";
}

TEST_F(TrialStateTest, AConfigurationIsInstalledOnceItWasNot) {
  TrialState state;
  state.entry = kInstalledPath;
  ASSERT_TRUE(stage_trial("new", kInstalledPath));
  EXPECT_FALSE(is_trial_installed(state));
  ASSERT_TRUE(activate_trial());
  EXPECT_FALSE(is_trial_installed(state));
  put_file(kInstalledPath, "new");
  EXPECT_TRUE(is_trial_installed(state));
  ASSERT_TRUE(stage_trial("new", kInstalledPath) && activate_trial());
  EXPECT_FALSE(is_trial_installed(state)) << "it was the same from the beginning";
}

TEST_F(TrialStateTest, EachTrialHasAnIdOfItsOwn) {
  EXPECT_NE(new_trial_id(), new_trial_id());
  TrialState state;
  state.id = new_trial_id();
  ASSERT_TRUE(write_state(state));
  EXPECT_EQ(read_state()->id, state.id);
}

TEST_F(TrialStateTest, TheCallerIsTheUserAndTheirAddress) {
  EXPECT_EQ(caller(), "root");
  setenv("SSH_CONNECTION", "192.0.2.7 50022 192.168.1.1 22", 1);
  EXPECT_EQ(caller(), "root from 192.0.2.7");
  setenv("SUDO_USER", "anna", 1);
  EXPECT_EQ(caller(), "anna from 192.0.2.7");
}

// The description of a trial that began and ends at these times, in seconds relative to now. Repeats if the
// clock advances to the next second meanwhile.
static std::string description(std::int64_t began, std::int64_t ends) {
  std::int64_t now = 0;
  std::string text;
  do {
    now = monotonic_seconds();
    text = describe({"anna", "new.json", now + began, now + ends});
  } while (monotonic_seconds() != now);
  return text;
}

TEST_F(TrialStateTest, TheDescriptionCountsFromNow) {
  EXPECT_EQ(description(-40, 80), "new.json on trial by anna for 40 s, 80 s left");
  EXPECT_EQ(description(-140, -20), "new.json on trial by anna for 140 s, 0 s left");
}

TEST_F(TrialStateTest, WhoeverDecidesFirstHasDecided) {
  EXPECT_EQ(read_decision(), Decision::kNone);
  EXPECT_EQ(decide(Decision::kConfirmed), Decision::kConfirmed);
  EXPECT_EQ(decide(Decision::kConfirmed), Decision::kConfirmed);
  EXPECT_EQ(decide(Decision::kRolledBack), Decision::kConfirmed);
  ASSERT_TRUE(remove_state());
  EXPECT_EQ(decide(Decision::kRolledBack), Decision::kRolledBack);
  EXPECT_EQ(decide(Decision::kConfirmed), Decision::kRolledBack);
  std::filesystem::remove_all("/run/lanfab");
  EXPECT_EQ(decide(Decision::kConfirmed), Decision::kNone) << "it cannot be written";
}

TEST_F(TrialStateTest, TheFirstReasonCounts) {
  EXPECT_EQ(requested_rollback(), "");
  request_rollback("by anna");
  request_rollback("by bob");
  EXPECT_EQ(requested_rollback(), "by anna");
  ASSERT_TRUE(remove_state());
  EXPECT_EQ(requested_rollback(), "");
}

TEST_F(TrialStateTest, TheTargetIsKeptForItsOwner) {
  ASSERT_TRUE(stage_target("target"));
  EXPECT_EQ(text_of_file(kTarget), "target");
  struct stat status {};
  ASSERT_EQ(stat(kTarget, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  ASSERT_TRUE(remove_state());
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
  put_file(kTargetDirectory, "");
  EXPECT_FALSE(stage_target("target"));
  std::filesystem::remove(kTargetDirectory);
  std::filesystem::create_directories(kTarget);
  EXPECT_FALSE(stage_target("target"));
}

TEST_F(TrialStateTest, AStateWithValuesOfOtherTypesIsRead) {
  put_file(kStateFile, R"({"who": [], "began": "now", "ends": 1e300, "id": 7})");
  const auto state = read_state();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->who + state->id, "");
  EXPECT_EQ(state->began + state->ends, 0);
}
