#include <sys/mount.h>

#include <filesystem>
#include <vector>

#include "platform/libvantor.h"
#include "platform_test.h"
#include "recorded_log.h"

namespace fs = std::filesystem;

// For the whole test program.
std::vector<std::string>& recorded_log() {
  return log_of_test;
}

namespace {

class FilesTest : public PlatformTest {};

}  // namespace

// --- file_exists

TEST_F(FilesTest, AnythingAtAPathExists) {
  put_file("/run/file", "");
  fs::create_directory("/run/directory");
  fs::create_symlink("/run/file", "/run/link");
  EXPECT_NE(file_exists("/run/file"), 0);
  EXPECT_NE(file_exists("/run/directory"), 0);
  EXPECT_NE(file_exists("/run/link"), 0);
  EXPECT_EQ(file_exists("/run/missing"), 0);
  EXPECT_EQ(file_exists("/run/missing/file"), 0);
  EXPECT_EQ(file_exists(""), 0);
}

TEST_F(FilesTest, WhatCannotBeLookedForIsLogged) {
  fs::create_symlink("/run/loop", "/run/loop");
  EXPECT_EQ(file_exists("/run/loop"), 0);
  EXPECT_THAT(log_of_test,
              ElementsAre("notice cannot look for /run/loop: Too many levels of symbolic links"));
}

// --- delete_file

TEST_F(FilesTest, AFileIsDeletedOnce) {
  put_file("/run/file", "text");
  EXPECT_EQ(delete_file("/run/file"), 0);
  EXPECT_FALSE(exists("/run/file"));
  EXPECT_NE(delete_file("/run/file"), 0);
}

TEST_F(FilesTest, ADirectoryIsNoFileToDelete) {
  fs::create_directory("/run/directory");
  EXPECT_NE(delete_file("/run/directory"), 0);
  EXPECT_TRUE(exists("/run/directory"));
  EXPECT_THAT(log_of_test, IsEmpty());
}

TEST_F(FilesTest, AFileThatCannotBeDeletedIsLogged) {
  put_file("/run/file", "");
  ASSERT_EQ(mount("/run/file", "/run/file", nullptr, MS_BIND, nullptr), 0);
  EXPECT_NE(delete_file("/run/file"), 0);
  umount("/run/file");
  EXPECT_THAT(log_of_test, ElementsAre("notice cannot remove /run/file: Device or resource busy"));
}

// --- read_var_file

namespace {

struct Value {
  int result;
  std::string text;
};

}  // namespace

// Returns the result of reading a file with these bytes into a buffer of this size.
static Value read_value(const std::string& bytes, std::size_t size) {
  put_file("/run/value", bytes);
  const auto buffer = dirty_buffer(size);
  const int result = read_var_file("/run/value", buffer.get(), size);
  return {result, buffer.get()};
}

TEST_F(FilesTest, AValueIsTheFirstLineWithoutItsLineEnd) {
  struct Case {
    std::string bytes;
    const char* value;
  };
  for (const Case& c : {
           Case{"10.20.30.40\n", "10.20.30.40"},
           Case{"10.20.30.40", "10.20.30.40"},
           Case{"10.20.30.40\nsecond\n", "10.20.30.40"},
           Case{"1\nthe rest of the file is longer than the buffer\n", "1"},
           Case{" 1 \n", " 1 "},
           Case{"", ""},
           Case{"\n", ""},
           Case{"\nsecond\n", ""},
       }) {
    SCOPED_TRACE(c.bytes);
    const Value value = read_value(c.bytes, 16);
    EXPECT_EQ(value.result, 0);
    EXPECT_EQ(value.text, c.value);
  }
}

TEST_F(FilesTest, AValueThatJustFitsIsRead) {
  for (const char* end : {"", "\n", "\nsecond"}) {
    const Value value = read_value(std::string("255.255.255.255") + end, 16);
    EXPECT_EQ(value.result, 0);
    EXPECT_EQ(value.text, "255.255.255.255");
  }
  EXPECT_EQ(read_value("", 1).result, 0);
}

TEST_F(FilesTest, AValueThatDoesNotFitIsRefusedWhole) {
  for (const std::string& bytes :
       {std::string("255.255.255.2550"), std::string("255.255.255.2550\n"), std::string(100000, '1')}) {
    const Value value = read_value(bytes, 16);
    EXPECT_EQ(value.result, -1);
    EXPECT_EQ(value.text, "");
  }
  EXPECT_EQ(read_value("1", 1).result, -1);
}

TEST_F(FilesTest, AControlCharacterRefusesTheValue) {
  for (const char* bytes : {"1.1.1.1\rDHCP=y\n", "\r\n", "1\x1b[31m", "\x7f", "\x01"}) {
    const Value value = read_value(bytes, 16);
    EXPECT_EQ(value.result, -1) << testing::PrintToString(bytes);
    EXPECT_EQ(value.text, "") << testing::PrintToString(bytes);
  }
  EXPECT_EQ(read_value("1\t2\n", 16).text, "1\t2");
  EXPECT_EQ(read_value("1\n\r", 16).text, "1");
}

TEST_F(FilesTest, AZeroByteEndsTheText) {
  const Value value = read_value(std::string("10\0.20\n", 7), 16);
  EXPECT_EQ(value.result, 0);
  EXPECT_EQ(value.text, "10");
}

TEST_F(FilesTest, WhatCannotBeReadIsAFailureWithAnEmptyValue) {
  fs::create_directory("/run/directory");
  for (const char* path : {"/run/missing", "/run/directory", ""}) {
    const auto buffer = dirty_buffer(16);
    EXPECT_EQ(read_var_file(path, buffer.get(), 16), -1) << path;
    EXPECT_STREQ(buffer.get(), "") << path;
  }
  EXPECT_THAT(log_of_test, IsEmpty());
}

TEST_F(FilesTest, AValueThatIsThereAndCannotBeReadIsLogged) {
  fs::create_symlink("/run/loop", "/run/loop");
  const auto buffer = dirty_buffer(16);
  EXPECT_EQ(read_var_file("/run/loop", buffer.get(), 16), -1);
  EXPECT_THAT(log_of_test, ElementsAre("notice cannot read /run/loop: Too many levels of symbolic links"));
}
