#include "cli/live/applied.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli/base/sha256.h"
#include "libcmd/configuration_file.h"
#include "test_files.h"

using ::testing::HasSubstr;

constexpr char kMark[] = "/run/.delete_static_routes";
constexpr char kRecord[] = "/run/lanfab/applied";

class AppliedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mount("etc", "/etc", "tmpfs", 0, nullptr), 0);
    for (const char* directory : {"/etc/lanfab", "/run/tools"})
      std::filesystem::create_directories(directory);
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directory("/run/lanfab");
    put_file(kInstalledConfiguration, "old");
    std::filesystem::remove(kMark);
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    EXPECT_EQ(umount2("/etc", MNT_DETACH), 0);
  }

  static void put_tool(const std::string& name, const std::string& script) {
    put_file("/run/tools/" + name, "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions("/run/tools/" + name, std::filesystem::perms::owner_all);
  }

  // Creates the mark of an APPLY, which differs from that of the previous one.
  static void put_mark() {
    std::filesystem::remove(kMark);
    put_file(kMark, "");
  }

  static std::string error() {
    Applied applied;
    return read_applied(applied).value_or("");
  }

  const std::string path_ = std::getenv("PATH");
};

TEST_F(AppliedTest, WithoutAnApplyNothingIsApplied) {
  EXPECT_EQ(error(), "nothing has been applied since the machine was started");
  EXPECT_FALSE(record_applied("old"));
}

TEST_F(AppliedTest, AMarkThatCannotBeReadIsReported) {
  std::filesystem::create_symlink(kMark, kMark);
  EXPECT_THAT(error(), HasSubstr("/run/.delete_static_routes: Too many levels"));
}

TEST_F(AppliedTest, AFileThatIsOlderThanAnApplyByHandIsWhatItApplied) {
  put_mark();
  Applied applied;
  EXPECT_FALSE(read_applied(applied));
  EXPECT_EQ(applied.text, "old");
  EXPECT_EQ(applied.sha256, sha256("old"));
  EXPECT_TRUE(is_applied(sha256("old")));
  EXPECT_FALSE(is_applied(sha256("new")));
}

// Changes the file as soon as the clock of the file system has advanced since the mark.
static void change_later(const char* path, const struct stat& mark) {
  struct stat status {};
  do {
    put_file(path, "changed");
    ASSERT_EQ(stat(path, &status), 0);
  } while (status.st_ctim.tv_sec == mark.st_mtim.tv_sec && status.st_ctim.tv_nsec == mark.st_mtim.tv_nsec);
}

TEST_F(AppliedTest, AFileThatWasChangedAfterwardsIsNot) {
  put_mark();
  struct stat mark {};
  ASSERT_EQ(stat(kMark, &mark), 0);
  change_later(kInstalledConfiguration, mark);
  EXPECT_EQ(error(), "/etc/lanfab/network.json was changed after the last APPLY");
  // A copy may keep the modification time.
  const timespec times[] = {{0, 0}, {0, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, kInstalledConfiguration, times, 0), 0);
  EXPECT_EQ(error(), "/etc/lanfab/network.json was changed after the last APPLY");
  std::filesystem::remove(kInstalledConfiguration);
  EXPECT_EQ(error(), "/etc/lanfab/network.json was changed after the last APPLY") << "it is missing";
  std::filesystem::create_directory(kInstalledConfiguration);
  put_mark();
  EXPECT_EQ(error(), "/etc/lanfab/network.json: Is a directory");
}

TEST_F(AppliedTest, ARecordHoldsUntilTheNextApply) {
  put_mark();
  const std::string text("new\n\xff\0 text", 11);
  ASSERT_TRUE(record_applied(text));
  Applied applied;
  EXPECT_FALSE(read_applied(applied));
  EXPECT_EQ(applied.text, text);
  struct stat status {};
  ASSERT_EQ(stat(kRecord, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  // The next APPLY changes the time of the mark.
  const timespec times[] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, kMark, times, 0), 0);
  EXPECT_FALSE(is_applied(sha256(text)));
}

TEST_F(AppliedTest, AMalformedRecordIsIgnored) {
  put_mark();
  ASSERT_TRUE(record_applied("new"));
  const std::string whole = text_of_file(kRecord);
  for (const std::string& text : {std::string(), whole.substr(0, 5), std::string("[]\nnew"),
                                  std::string("{}\nnew"), std::string("{\"apply\": []}\nnew")}) {
    put_file(kRecord, text);
    EXPECT_TRUE(is_applied(sha256("old"))) << text;
  }
  const std::string header = whole.substr(0, whole.find(','));
  for (const std::string& text :
       {header + "}\nnew", header + ", \"sha256\": 7}\nnew", std::string("{\nnew")}) {
    put_file(kRecord, text);
    EXPECT_TRUE(is_applied(sha256("old"))) << text;
  }
  put_file(kRecord, whole + "er");
  EXPECT_EQ(error(), "the configuration was changed during the last APPLY");
}

TEST_F(AppliedTest, WhatCannotBeRecordedLeavesNothing) {
  put_mark();
  std::filesystem::create_directories(std::string(kRecord) + "/full");
  EXPECT_FALSE(record_applied("new"));
  EXPECT_EQ(errno, EISDIR);
  std::filesystem::remove_all(kRecord);
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
  std::filesystem::remove("/run/lanfab");
  EXPECT_FALSE(record_applied("new"));
  EXPECT_FALSE(note_configuration());
  std::filesystem::remove(kInstalledConfiguration);
  EXPECT_FALSE(note_configuration());
}

TEST_F(AppliedTest, TheServiceRecordsWhatItFoundBefore) {
  ASSERT_TRUE(note_configuration());
  put_mark();
  ASSERT_TRUE(record_noted_configuration());
  EXPECT_TRUE(is_applied(sha256("old")));
  EXPECT_FALSE(record_noted_configuration()) << "nothing was noted";
}

TEST_F(AppliedTest, AConfigurationThatChangesDuringTheApplyOfTheServiceIsNotRecorded) {
  ASSERT_TRUE(note_configuration());
  put_mark();
  put_file(kTrialConfiguration, "new");
  ASSERT_TRUE(record_noted_configuration());
  EXPECT_EQ(error(), "the configuration was changed during the last APPLY");
}

TEST_F(AppliedTest, AnApplyIsRecordedIfItSucceeds) {
  put_tool("timeout", "echo \"$*\" >/run/called; : >/run/.delete_static_routes; exit $(cat /run/status)");
  put_file("/run/status", "1");
  EXPECT_FALSE(apply_and_record("/usr/bin/cmd_lanfab"));
  EXPECT_FALSE(std::filesystem::exists(kRecord));
  put_file("/run/status", "0");
  EXPECT_TRUE(apply_and_record("/usr/bin/cmd_lanfab"));
  EXPECT_EQ(text_of_file("/run/called"), "--kill-after=10 170 /usr/bin/cmd_lanfab apply\n");
  EXPECT_TRUE(is_applied(sha256("old")));
}

TEST_F(AppliedTest, AnApplyOfAnotherDirectoryIsRecorded) {
  put_tool("timeout", "echo \"$*\" >/run/called; : >/run/.delete_static_routes");
  std::filesystem::create_directory("/run/lanfab/target");
  put_file("/run/lanfab/target/network.json", "target");
  EXPECT_TRUE(apply_and_record("/usr/bin/cmd_lanfab", "/run/lanfab/target"));
  EXPECT_EQ(text_of_file("/run/called"),
            "--kill-after=10 170 env LANFAB_CONFIG_DIR=/run/lanfab/target /usr/bin/cmd_lanfab apply\n");
  EXPECT_TRUE(is_applied(sha256("target")));
}

TEST_F(AppliedTest, AnApplyThatCannotBeRecordedHasSucceeded) {
  put_tool("timeout", ": >/run/.delete_static_routes");
  std::filesystem::create_directories(std::string(kRecord) + "/full");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(apply_and_record("/usr/bin/cmd_lanfab"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "/run/lanfab/applied: Is a directory\n");
  std::filesystem::remove(kInstalledConfiguration);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(apply_and_record("/usr/bin/cmd_lanfab"));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("/run/lanfab/applied: "));
}
