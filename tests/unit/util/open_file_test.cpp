#include "util/open_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <new>

#include "failing_call.h"
#include "file_size_limit.h"
#include "lanfab_test.h"

constexpr char kFile[] = "/var/run/file";

class OpenFileTest : public LanfabTest {};

// Larger allocations fail.
static std::size_t largest_allocation = SIZE_MAX;

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return size > largest_allocation ? nullptr : std::malloc(size);
}

void* operator new(std::size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

static FailingCall failing_fopencookie;

extern "C" std::FILE* fopencookie(void* cookie, const char* mode, cookie_io_functions_t functions) noexcept {
  using Function = std::FILE* (*)(void*, const char*, cookie_io_functions_t);
  if (failing_fopencookie.fails()) return nullptr;
  return next<Function>("fopencookie")(cookie, mode, functions);
}

static int lowest_free_descriptor() {
  const int descriptor = open("/dev/null", O_RDONLY);
  close(descriptor);
  return descriptor;
}

TEST_F(OpenFileTest, TheContentReachesTheFileWhenItIsClosed) {
  put_file(kFile, "old\n");
  OpenFile file(kFile, "w");
  ASSERT_TRUE(file);
  std::fprintf(file.get(), "one\n");
  std::fflush(file.get());
  EXPECT_EQ(text_of_file(kFile), "");
  std::fprintf(file.get(), "two\n");
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(text_of_file(kFile), "one\ntwo\n");
  EXPECT_FALSE(file);
  EXPECT_EQ(platform().log, Lines{});
}

TEST_F(OpenFileTest, TheEndOfTheOwnerClosesTheFile) {
  {
    OpenFile file(kFile, "w");
    std::fprintf(file.get(), "text\n");
    const OpenFile owner = std::move(file);
  }
  EXPECT_EQ(text_of_file(kFile), "text\n");
}

TEST_F(OpenFileTest, AFileCanBeAppendedTo) {
  for (const char* line : {"one\n", "two\n"}) {
    OpenFile file(kFile, "a");
    std::fputs(line, file.get());
    EXPECT_EQ(file.close(), 0);
  }
  EXPECT_EQ(text_of_file(kFile), "one\ntwo\n");
}

TEST_F(OpenFileTest, ALongContentIsWrittenWhole) {
  const std::string line(99, 'x');
  OpenFile file(kFile, "w");
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    std::fprintf(file.get(), "%s\n", line.c_str());
    expected += line + "\n";
  }
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(text_of_file(kFile), expected);
}

TEST_F(OpenFileTest, WithoutAFileErrnoSaysWhy) {
  EXPECT_FALSE(OpenFile("/var/run/missing/file", "w"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(OpenFile("/var/run", "a"));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(platform().log, Lines{});
}

TEST_F(OpenFileTest, WhatTheMachineLacksIsLogged) {
  rlimit files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none{0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool is_open = static_cast<bool>(OpenFile(kFile, "w"));
  const int error = errno;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
  EXPECT_FALSE(is_open);
  EXPECT_EQ(error, EMFILE);
  EXPECT_EQ(platform().log, Lines{"notice error opening /var/run/file: Too many open files"});
}

TEST_F(OpenFileTest, ToolsDoNotInheritTheFile) {
  const OpenFile file(kFile, "w");
  EXPECT_EQ(fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(OpenFileTest, ANewFileThatIsNotWholeIsRemoved) {
  put_file(kFile, "old content\n");
  OpenFile file(kFile, "w");
  std::fprintf(file.get(), "0123456789\n");
  {
    const FileSizeLimit limit(10);
    EXPECT_EQ(file.close(), -1);
  }
  EXPECT_FALSE(exists(kFile));
  EXPECT_EQ(platform().log, (Lines{"notice error writing /var/run/file: File too large"}));
}

TEST_F(OpenFileTest, AnAppendedFileThatIsNotWholeHasItsFormerLength) {
  put_file(kFile, "first line\n");
  {
    OpenFile file(kFile, "a");
    std::fprintf(file.get(), "second line\n");
    const FileSizeLimit limit(20);
    EXPECT_EQ(file.close(), -1);
  }
  EXPECT_EQ(text_of_file(kFile), "first line\n");
  EXPECT_EQ(platform().log, (Lines{"notice error writing /var/run/file: File too large"}));
}

TEST_F(OpenFileTest, AContentThatJustFitsIsWhole) {
  OpenFile file(kFile, "w");
  std::fprintf(file.get(), "0123456789");
  const FileSizeLimit limit(10);
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(text_of_file(kFile), "0123456789");
}

TEST_F(OpenFileTest, AFailureThatTheCallerIgnoresIsLogged) {
  std::filesystem::create_symlink("/dev/full", kFile);
  {
    const OpenFile file(kFile, "w");
    std::fprintf(file.get(), "text\n");
  }
  EXPECT_FALSE(exists(kFile));
  EXPECT_EQ(platform().log, (Lines{"notice error writing /var/run/file: No space left on device"}));
}

TEST_F(OpenFileTest, AFileWhoseContentFindsNoMemoryIsRemoved) {
  const std::string text(100000, 'x');
  OpenFile file(kFile, "w");
  largest_allocation = text.size() / 2;
  std::fputs(text.c_str(), file.get());
  largest_allocation = SIZE_MAX;
  EXPECT_EQ(file.close(), -1);
  EXPECT_FALSE(exists(kFile));
  EXPECT_EQ(platform().log, (Lines{"notice error writing /var/run/file: Cannot allocate memory"}));
}

TEST_F(OpenFileTest, WithoutMemoryForItsStreamThereIsNoFile) {
  const int descriptor = lowest_free_descriptor();
  failing_fopencookie.fail(1, EINVAL);
  const OpenFile file(kFile, "w");
  const int reason = errno;
  EXPECT_FALSE(file);
  EXPECT_EQ(reason, ENOMEM);
  EXPECT_EQ(lowest_free_descriptor(), descriptor);
}
