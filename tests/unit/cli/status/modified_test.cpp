#include "cli/status/modified.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>

#include "test_files.h"

static void set_time(const char* path, std::time_t seconds, long nanoseconds) {
  const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path, times, 0), 0);
}

TEST(Modified, IsInMicroseconds) {
  put_file("/run/file", "text");
  set_time("/run/file", 1'795'291'200, 12'345'678);
  EXPECT_EQ(modified_at("/run/file"), 1'795'291'200'012'345);
}

TEST(Modified, AFileThatIsMissingOrFromTheFutureHasNoTime) {
  EXPECT_EQ(modified_at("/run/missing"), 0);
  put_file("/run/file", "text");
  set_time("/run/file", std::time(nullptr) + 3600, 0);
  EXPECT_EQ(modified_at("/run/file"), 0);
}
