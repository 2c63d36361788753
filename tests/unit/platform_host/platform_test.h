#pragma once

// The fixture of the host platform's tests: empty runtime directories, no recorded commands, and an
// environment without the variables for paths of the platform's files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "failing_call.h"
#include "test_files.h"

// Matchers for the tests.
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// The platform's log in this test.
inline std::vector<std::string> log_of_test;

// For the whole test program; waitpid is defined in the tests of the tools.
inline FailingCall failing_waitpid;

class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    log_of_test.clear();
    ASSERT_TRUE(exists("/dev/sandbox")) << "start the tests through tests/support/sandbox or ctest";
    empty_directory("/run");
    put_file("/dev/sandbox/commands", "");
    put_file("/dev/sandbox/services", "");
    unsetenv("LANFAB_CONFIG_DIR");
    unsetenv("LANFAB_SYSDB");
  }
};

// A buffer of exactly this size, filled with garbage, whose bounds the address sanitizer checks.
inline std::unique_ptr<char[]> dirty_buffer(std::size_t size) {
  std::unique_ptr<char[]> buffer(new char[size]);
  std::fill_n(buffer.get(), size, '\x7f');
  return buffer;
}

// Returns the standard error of `action`.
template <typename Action>
std::string standard_error_of(Action action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}
