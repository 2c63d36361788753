#include "cli/history/history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "cli/base/file.h"
#include "failing_call.h"
#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kTop[] = "/run/var";
constexpr char kDirectory[] = "/run/var/lib/history";
// The directory of this machine's history.
constexpr char kSystemDirectory[] = "/var/lib/lanfab/history";

extern FailingCall failing_fsync;
extern FailingCall failing_rename;
extern FailingCall failing_unlink;

class HistoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(kTop);
    std::filesystem::create_directory(kTop);
  }

  std::vector<std::string> files() const {
    return list_directory(kDirectory).value_or(std::vector<std::string>{"missing"});
  }

  // The configurations, the latest first; a damaged one shows as "damaged".
  std::vector<std::string> configurations() const {
    std::vector<HistoryEntry> entries;
    EXPECT_EQ(history_.read(entries), std::nullopt);
    std::vector<std::string> texts;
    for (const HistoryEntry& entry : entries)
      texts.push_back(entry.damage.empty() ? entry.configuration : "damaged");
    return texts;
  }

  static std::string error_of(const std::optional<std::string>& error) {
    return error.value_or("none");
  }

  const History history_{kDirectory, {3, 1000}};
  HistoryEntry entry_;
};

TEST_F(HistoryTest, HasAnEntryOfEachConfiguration) {
  const std::time_t before = std::time(nullptr);
  setenv("SUDO_USER", "anna", 1);
  EXPECT_EQ(history_.add("one\n", "first"), std::nullopt);
  unsetenv("SUDO_USER");
  EXPECT_EQ(history_.add("two\n", ""), std::nullopt);
  EXPECT_THAT(configurations(), ElementsAre("two\n", "one\n"));
  EXPECT_THAT(files(), ElementsAre("1.txt", "2.txt"));
  ASSERT_EQ(history_.find("1", entry_), std::nullopt);
  EXPECT_EQ(entry_.number, 1);
  EXPECT_EQ(entry_.comment, "first");
  EXPECT_EQ(entry_.who, "anna");
  EXPECT_GE(entry_.time, before);
  EXPECT_LE(entry_.time, std::time(nullptr));
}

TEST_F(HistoryTest, IsForRootAlone) {
  ASSERT_EQ(history_.add("one\n", ""), std::nullopt);
  struct stat status {};
  ASSERT_EQ(stat(kDirectory, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  ASSERT_EQ(stat("/run/var/lib/history/1.txt", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(HistoryTest, DoesNotRepeatTheLatestOne) {
  for (const char* text : {"one\n", "one\n", "two\n", "one\n"})
    EXPECT_EQ(history_.add(text, ""), std::nullopt);
  EXPECT_THAT(configurations(), ElementsAre("one\n", "two\n", "one\n"));
}

TEST_F(HistoryTest, KeepsTheLatestOnes) {
  for (const char* text : {"1", "2", "3", "4", "5"})
    EXPECT_EQ(history_.add(text, ""), std::nullopt);
  EXPECT_THAT(files(), ElementsAre("3.txt", "4.txt", "5.txt"));
}

TEST_F(HistoryTest, KeepsWhatHasRoom) {
  for (const char letter : {'a', 'b', 'c'})
    EXPECT_EQ(history_.add(std::string(300, letter), ""), std::nullopt);
  EXPECT_THAT(files(), ElementsAre("2.txt", "3.txt"));
  EXPECT_EQ(history_.add(std::string(2000, 'd'), ""), std::nullopt);
  EXPECT_THAT(files(), ElementsAre("4.txt"));
}

TEST_F(HistoryTest, IsEmptyWithoutItsDirectory) {
  EXPECT_TRUE(configurations().empty());
  EXPECT_EQ(error_of(history_.find("1", entry_)), "the history has no entry 1; 'lanfab history' lists them");
}

TEST_F(HistoryTest, HasNoEntryOfAnotherName) {
  ASSERT_EQ(history_.add("one\n", ""), std::nullopt);
  for (const char* name : {"0.txt", "-1.txt", "02.txt", "2.txt.bak", "2", "a.txt", ".txt", "1000000000.txt",
                           "99999999999999999999.txt"})
    put_file(std::string(kDirectory) + "/" + name, "x");
  EXPECT_THAT(configurations(), ElementsAre("one\n"));
  for (const char* number : {"0", "-1", "01", "2", "1.txt", "", "a\nb"}) {
    EXPECT_THAT(error_of(history_.find(number, entry_)), HasSubstr("the history has no entry ")) << number;
  }
  EXPECT_THAT(error_of(history_.find("a\nb", entry_)), HasSubstr("no entry a?b;"));
}

TEST_F(HistoryTest, ShowsDamagedEntriesAsDamaged) {
  for (const char* text : {"one\n", "two\n", "three\n"})
    ASSERT_EQ(history_.add(text, ""), std::nullopt);
  put_file("/run/var/lib/history/1.txt", "");
  std::filesystem::remove("/run/var/lib/history/3.txt");
  std::filesystem::create_directory("/run/var/lib/history/3.txt");
  EXPECT_THAT(configurations(), ElementsAre("damaged", "two\n", "damaged"));
  EXPECT_EQ(error_of(history_.find("1", entry_)), "/run/var/lib/history/1.txt: corrupted");
  EXPECT_EQ(error_of(history_.find("3", entry_)), "/run/var/lib/history/3.txt: Is a directory");
}

TEST_F(HistoryTest, ContinuesAfterADamagedEntry) {
  ASSERT_EQ(history_.add("one\n", ""), std::nullopt);
  put_file("/run/var/lib/history/1.txt", text_of_file("/run/var/lib/history/1.txt") + "x");
  EXPECT_EQ(history_.add("one\n", ""), std::nullopt);
  EXPECT_THAT(configurations(), ElementsAre("one\n", "damaged"));
}

TEST_F(HistoryTest, OverwritesWhatAKilledOneLeft) {
  ASSERT_EQ(history_.add("one\n", ""), std::nullopt);
  put_file("/run/var/lib/history/new", "half");
  EXPECT_EQ(history_.add("two\n", ""), std::nullopt);
  EXPECT_THAT(files(), ElementsAre("1.txt", "2.txt"));
}

TEST_F(HistoryTest, IsNotReadFromAnythingElse) {
  put_file("/run/var/lib", "");
  EXPECT_EQ(error_of(history_.add("one\n", "")), "/run/var/lib/history: Not a directory");
  std::vector<HistoryEntry> entries;
  EXPECT_EQ(error_of(history_.read(entries)), "/run/var/lib/history: Not a directory");
  EXPECT_EQ(error_of(history_.find("1", entry_)), "/run/var/lib/history: Not a directory");
  std::filesystem::remove("/run/var/lib");
  std::filesystem::create_directory("/run/var/lib");
  put_file(kDirectory, "");
  EXPECT_EQ(error_of(history_.add("one\n", "")), "/run/var/lib/history: Not a directory");
}

TEST_F(HistoryTest, IsAsBeforeWhenAnEntryCannotBeWritten) {
  ASSERT_EQ(history_.add("one\n", ""), std::nullopt);
  failing_fsync.fail(1, EIO);
  EXPECT_EQ(error_of(history_.add("two\n", "")), "/run/var/lib/history: Input/output error");
  failing_rename.fail(1, EIO);
  EXPECT_EQ(error_of(history_.add("two\n", "")), "/run/var/lib/history: Input/output error");
  failing_unlink.fail(1, EIO);
  EXPECT_EQ(error_of(history_.add("two\n", "")), "/run/var/lib/history: Input/output error");
  EXPECT_THAT(files(), ElementsAre("1.txt"));
  std::filesystem::create_directory("/run/var/lib/history/new");
  EXPECT_EQ(error_of(history_.add("two\n", "")), "/run/var/lib/history: Is a directory");
}

TEST_F(HistoryTest, IsAsBeforeWhenTheDiskIsFull) {
  std::filesystem::create_directories(kDirectory);
  ASSERT_EQ(mount("full", kDirectory, "tmpfs", 0, "size=4096"), 0);
  EXPECT_EQ(error_of(history_.add(std::string(5000, 'x'), "")),
            "/run/var/lib/history: No space left on device");
  EXPECT_TRUE(files().empty());
  EXPECT_EQ(umount2(kDirectory, MNT_DETACH), 0);
}

TEST_F(HistoryTest, MayHaveARelativePath) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(kTop);
  EXPECT_EQ(History("lib/history", {3, 1000}).add("one\n", ""), std::nullopt);
  std::filesystem::current_path(before);
  EXPECT_THAT(configurations(), ElementsAre("one\n"));
}

TEST_F(HistoryTest, IsOnlyAddedToWhenItIsOnTheDisk) {
  failing_fsync.fail(1, EIO);
  EXPECT_EQ(error_of(history_.add("one\n", "")), "/run/var/lib/history: Input/output error");
  EXPECT_TRUE(files().empty());
  failing_fsync.fail(1, EIO, 1);
  EXPECT_EQ(error_of(history_.add("one\n", "")), "/run/var/lib/history: Input/output error");
}

TEST_F(HistoryTest, OfThisMachineIsBelowVar) {
  std::filesystem::remove_all(kSystemDirectory);
  record_in_history("one\n", "first");
  EXPECT_THAT(text_of_file("/var/lib/lanfab/history/1.txt"), HasSubstr("\ncomment: first\n\none\n"));
}

TEST_F(HistoryTest, AFailureIsOnlyAWarning) {
  std::filesystem::remove_all(kSystemDirectory);
  std::filesystem::create_directories("/var/lib/lanfab");
  put_file(kSystemDirectory, "");
  testing::internal::CaptureStderr();
  record_in_history("one\n", "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "lanfab: warning: could not add it to the history: /var/lib/lanfab/history: Not a directory\n");
  std::filesystem::remove(kSystemDirectory);
}
