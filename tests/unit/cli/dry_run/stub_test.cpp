#include "cli/dry_run/stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "cli/base/file.h"
#include "cli/dry_run/stub_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Words = std::vector<std::string>;

constexpr char kRoot[] = "/run/root";

// noexcept, so that an exception ends the process: otherwise it would run the tests that follow.
[[noreturn]] static void run_and_exit(const std::function<void()>& test) noexcept {
  if (chroot(kRoot) != 0 || chdir("/") != 0) _exit(2);
  test();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

// Makes the system's libraries, which the stub needs, available at the same paths below kRoot.
static void show_libraries() {
  for (const std::string directory : {"/lib", "/lib64", "/usr"}) {
    const std::string shown = kRoot + directory;
    if (std::filesystem::is_symlink(directory)) {
      std::filesystem::copy_symlink(directory, shown);
    } else if (std::filesystem::create_directory(shown)) {
      ASSERT_EQ(mount(directory.c_str(), shown.c_str(), nullptr, MS_BIND | MS_REC, nullptr), 0) << shown;
    }
  }
}

// Runs a test in a process whose root is that of a sandbox; fails if the test fails.
static void in_sandbox(const std::function<void()>& test) {
  std::filesystem::remove_all(kRoot);
  std::filesystem::create_directories(std::string(kRoot) + "/.sandbox");
  const pid_t process = fork();
  ASSERT_GE(process, 0);
  if (process == 0) {
    if (unshare(CLONE_NEWNS) != 0) _exit(2);
    show_libraries();
    run_and_exit(test);
  }
  int status = 0;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
}

static std::vector<Words> calls() {
  Meter meter;
  return recorded_calls(meter);
}

// Runs the stub with this command line; returns its exit status.
static int call(Words words) {
  std::vector<char*> argv;
  for (std::string& word : words)
    argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    execv(kStub, argv.data());
    _exit(126);
  }
  int status = 0;
  return waitpid(process, &status, 0) == process && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Stub, EveryCallIsRecordedWordByWord) {
  in_sandbox([] {
    ASSERT_TRUE(prepare_stubs({}));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(call({"/sbin/ip", "link", "del", "eth0 7"}), 0);
    EXPECT_EQ(call({"telnet-init"}), 0);
    EXPECT_EQ(call({"ip", "", "a\nb"}), 0);
    EXPECT_THAT(calls(), ElementsAre(Words{"/sbin/ip", "link", "del", "eth0 7"}, Words{"telnet-init"},
                                     Words{"ip", "", "a\nb"}));
  });
}

TEST(Stub, SystemctlAnswersForTheServicesThatAreActive) {
  in_sandbox([] {
    ASSERT_TRUE(prepare_stubs({"dnsmasq", "systemd-networkd.service"}));
    EXPECT_EQ(call({"systemctl", "is-active", "dnsmasq"}), 0);
    EXPECT_EQ(call({"systemctl", "is-active", "dnsmasq.service"}), 0);
    EXPECT_EQ(call({"systemctl", "is-active", "--quiet", "systemd-networkd.service"}), 0);
    EXPECT_EQ(call({"/bin/systemctl", "is-active", "sshd"}), 3);
    EXPECT_EQ(call({"systemctl", "restart", "sshd"}), 0);
    EXPECT_EQ(call({"ip", "is-active", "sshd"}), 0);
  });
}

TEST(Stub, WhatCannotBeReadOrWrittenIsNotActiveAndNotRecorded) {
  in_sandbox([] {
    ASSERT_TRUE(prepare_stubs({"dnsmasq"}));
    std::filesystem::remove("/.sandbox/services");
    EXPECT_EQ(call({"systemctl", "is-active", "dnsmasq"}), 3);
    std::filesystem::create_directory("/.sandbox/services");
    EXPECT_FALSE(prepare_stubs({"dnsmasq"}));
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    EXPECT_EQ(call({"ip", "link"}), 127);
  });
}

TEST(Stub, AnyRecordIsReadAsCalls) {
  in_sandbox([] {
    using namespace std::string_literals;
    ASSERT_TRUE(write_file({"/.sandbox/commands", 0644,
                            "x\0"
                            "2\0ip\0link\0"
                            "4294967295\0a"s}));
    EXPECT_THAT(calls(), ElementsAre(Words{}, Words{"ip", "link"}, Words{"a"}));
    std::filesystem::remove("/.sandbox/commands");
    EXPECT_THAT(calls(), IsEmpty());
    std::filesystem::create_directory("/.sandbox/commands");
    EXPECT_THAT(calls(), IsEmpty());
  });
}

TEST(Stub, CallsCountBeforeTheyAreRead) {
  in_sandbox([] {
    // The file is far smaller than the limit, but a string for each byte would exceed it.
    ASSERT_TRUE(write_file({"/.sandbox/commands", 0644, std::string(10'000'000, '\0')}));
    EXPECT_THROW(calls(), std::runtime_error);
  });
}

TEST(Stub, WithoutTheFilesOfTheSandboxNothingIsRecorded) {
  in_sandbox([] {
    ASSERT_TRUE(prepare_stubs({}));
    std::filesystem::remove("/.sandbox/commands");
    EXPECT_EQ(call({"ip", "link"}), 127);
    std::filesystem::remove_all("/.sandbox");
    EXPECT_FALSE(prepare_stubs({}));
  });
}

TEST(Stub, WithoutItsDirectoryNoneIsMade) {
  in_sandbox([] {
    std::filesystem::remove("/.sandbox");
    EXPECT_FALSE(prepare_stubs({}));
    // A directory in place of the file of calls.
    std::filesystem::create_directories(kStubCalls);
    EXPECT_FALSE(prepare_stubs({}));
  });
}
