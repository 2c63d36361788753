#include "cli/live/programs.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>

#include "failing_call.h"
#include "test_files.h"

constexpr char kProgram[] = "/run/cmd_lanfab";

extern FailingCall failing_mount;

class ProgramsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/run/lanfab");
    std::filesystem::create_directory("/run/lanfab");
    put_file(kProgram, "program");
  }

  void TearDown() override {
    std::filesystem::remove(kProgram);
  }
};

TEST_F(ProgramsTest, TheyAreKeptAndRemoved) {
  for (int time = 0; time < 2; ++time)
    EXPECT_EQ(copy_programs(kProgram), std::nullopt);
  EXPECT_EQ(text_of_file("/run/lanfab/programs/cmd_lanfab"), "program");
  EXPECT_EQ(std::filesystem::file_size("/run/lanfab/programs/lanfab"),
            std::filesystem::file_size("/proc/self/exe"));
  remove_programs();
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
}

TEST_F(ProgramsTest, WithoutADirectoryNoneIsKept) {
  std::filesystem::remove("/run/lanfab");
  put_file("/run/lanfab", "");
  EXPECT_EQ(copy_programs(kProgram), "/run/lanfab/programs: Not a directory");
  std::filesystem::remove("/run/lanfab");
}

TEST_F(ProgramsTest, AMissingProgramIsNotKept) {
  EXPECT_EQ(copy_programs("/run/missing"), "/run/lanfab/programs: No such file or directory");
}

TEST_F(ProgramsTest, AFileSystemThatCannotBeMountedKeepsNone) {
  ASSERT_EQ(mount("run", "/run/lanfab", "tmpfs", MS_NOEXEC, nullptr), 0);
  failing_mount.fail(1, EPERM);
  EXPECT_EQ(copy_programs(kProgram), "/run/lanfab/programs: Operation not permitted");
  EXPECT_EQ(copy_programs(kProgram), std::nullopt);
  remove_programs();
  EXPECT_TRUE(std::filesystem::is_empty("/run/lanfab"));
  EXPECT_EQ(umount2("/run/lanfab", 0), 0);
}

TEST_F(ProgramsTest, AServiceRunsTheFirstThatWorks) {
  const std::vector<std::string> command = revert_command_line("--timer");
  const std::string own = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(
      command[2],
      "test -x /run/lanfab/programs/lanfab && exec /run/lanfab/programs/lanfab revert --timer || exec '" +
          own + "' revert --timer");
  EXPECT_EQ(command[2].find_first_of(";$"), std::string::npos);
}
