#include "cli/report/archive.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cstdlib>
#include <filesystem>

#include "test_files.h"

// Tests may replace the program tar with a script.
class ArchiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mount("tmp", "/tmp", "tmpfs", 0, nullptr), 0);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
    EXPECT_EQ(umount2("/tmp", MNT_DETACH), 0);
  }

  void put_tar(const std::string& script) const {
    std::filesystem::create_directories("/run/tools");
    put_file("/run/tools/tar", "#!/bin/sh\n" + script);
    std::filesystem::permissions("/run/tools/tar", std::filesystem::perms::owner_all);
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
  }

  const std::string path_ = std::getenv("PATH");
  std::string archive_;
};

TEST_F(ArchiveTest, HasTheFilesInADirectory) {
  ASSERT_EQ(pack({{"/a", 0600, "one"}, {"/etc/b", 0600, "two"}}, "report", archive_), std::nullopt);
  put_file("/run/archive", archive_);
  EXPECT_EQ(std::system("tar -xzf /run/archive -C /run"), 0);
  EXPECT_EQ(text_of_file("/run/report/a"), "one");
  EXPECT_EQ(text_of_file("/run/report/etc/b"), "two");
  std::filesystem::remove_all("/run/report");
}

TEST_F(ArchiveTest, IsNotMadeWithoutTar) {
  put_tar("exit 2");
  EXPECT_EQ(pack({}, "report", archive_), "tar: status 2");
  put_tar("kill -9 $$");
  EXPECT_EQ(pack({}, "report", archive_), "tar: Killed");
}

TEST_F(ArchiveTest, IsNotMadeWithoutSpace) {
  ASSERT_EQ(mount("tmp", "/tmp", "tmpfs", 0, "size=4096"), 0);
  EXPECT_NE(pack({{"/a", 0600, std::string(8192, 'a')}}, "report", archive_), std::nullopt);
  EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
  EXPECT_EQ(umount2("/tmp", MNT_DETACH), 0);
  ASSERT_EQ(mount("tmp", "/tmp", "tmpfs", MS_RDONLY, nullptr), 0);
  EXPECT_EQ(pack({}, "report", archive_), "/tmp: Read-only file system");
  EXPECT_EQ(umount2("/tmp", MNT_DETACH), 0);
}

TEST_F(ArchiveTest, IsNotMadeOfAPathThatIsNone) {
  EXPECT_NE(pack({}, "no/report", archive_), std::nullopt);
}
