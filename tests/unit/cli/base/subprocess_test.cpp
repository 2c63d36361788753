#include "cli/base/subprocess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "cli/base/file.h"
#include "cli/base/signals.h"
#include "failing_call.h"
#include "test_files.h"

static FailingCall failing_waitpid;

extern "C" pid_t waitpid(pid_t process, int* status, int options) {
  return failing_waitpid.fails() ? -1
                                 : next<pid_t (*)(pid_t, int*, int)>("waitpid")(process, status, options);
}

// Runs a shell line, which must succeed; returns its output.
static std::string output_of(Subprocess shell, const std::string& line) {
  const MemoryFile output;
  shell.command = {"sh", "-c", line};
  shell.output = output.number();
  EXPECT_EQ(run(shell), 0) << line;
  return output.content();
}

TEST(SubprocessTest, FindsProgramsWithoutThePath) {
  const std::string path = std::getenv("PATH");
  setenv("PATH", "/nowhere", 1);
  EXPECT_EQ(find_in_path("ldconfig"), absolute_program("/usr/sbin/ldconfig"));
  EXPECT_FALSE(find_in_path("no-such-program"));
  setenv("PATH", path.c_str(), 1);
  EXPECT_TRUE(absolute_program("/usr/sbin/ldconfig"));
  EXPECT_FALSE(absolute_program("/proc/version"));
}

// After an error such as ELOOP, the program in the next directory may not be the one that PATH selects.
TEST(SubprocessTest, StopsSearchingWhereItCannotSee) {
  const std::string path = std::getenv("PATH");
  unsetenv("PATH");
  EXPECT_TRUE(find_in_path("ldconfig"));
  std::filesystem::create_symlink("loop", "/run/loop");
  std::filesystem::create_directory("/run/dir");
  put_file("/run/dir/ldconfig", "not to be executed");
  for (const auto& [directory, is_found] :
       {std::pair("/nowhere", true), {"/proc/version", true}, {"/run/dir", true}, {"/run/loop", false}}) {
    setenv("PATH", directory, 1);
    EXPECT_EQ(find_in_path("ldconfig").has_value(), is_found) << directory;
  }
  EXPECT_EQ(errno, ELOOP);
  setenv("PATH", path.c_str(), 1);
  std::filesystem::remove("/run/loop");
  std::filesystem::remove_all("/run/dir");
}

TEST(SubprocessTest, WaitsForItsOwnChildrenOnly) {
  const pid_t process = start({{"sh", "-c", "exit 7"}});
  failing_waitpid.fail(2, EINTR);
  EXPECT_EQ(wait_for_child(process), 7 << 8);
  EXPECT_EQ(wait_for_child(process), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(SubprocessTest, TakesItsStreamsAndEnvironment) {
  const MemoryFile input;
  ASSERT_TRUE(input.fill("line\n"));
  Subprocess shell;
  shell.input = input.number();
  shell.environment = {"NAME=value"};
  EXPECT_EQ(output_of(shell, "read -r text; echo $text $NAME ${HOME-none}"), "line value none\n");
}

TEST(SubprocessTest, InheritsNoOtherDescriptor) {
  // dup() does not set FD_CLOEXEC.
  const Descriptor other(dup(STDIN_FILENO));
  EXPECT_EQ(output_of({}, "[ ! -e /proc/$$/fd/" + std::to_string(other.number()) + " ] && echo closed"),
            "closed\n");
}

TEST(SubprocessTest, InheritsBlockedSignalsButDoesNotIgnoreSigpipe) {
  const auto former = signal(SIGPIPE, SIG_IGN);
  const BlockedSignals signals{SIGINT};
  // Without a shell, which would clear the mask.
  std::string masks;
  EXPECT_EQ(capture({"grep", "-E", "SigBlk|SigIgn", "/proc/self/status"}, masks), std::nullopt);
  signal(SIGPIPE, former);
  // Bit 1 is SIGINT, bit 12 SIGPIPE.
  EXPECT_EQ(masks.substr(0, masks.find('\n')), "SigBlk:\t0000000000000002");
  EXPECT_EQ(masks.find("1000\n"), std::string::npos) << masks;
}

TEST(SubprocessTest, WithoutAStreamIsNotStarted) {
  Subprocess shell{{"sh", "-c", "exit 0"}};
  shell.output = -1;
  EXPECT_EQ(run(shell), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(SubprocessTest, CapturesTheOutputOrTheReasonForNone) {
  std::string output;
  EXPECT_EQ(capture({"sh", "-c", "echo one; echo two"}, output), std::nullopt);
  EXPECT_EQ(output, "one\ntwo\n");
  EXPECT_EQ(capture({"sh", "-c", "echo first >&2; echo second >&2; exit 3"}, output), "sh: first");
  EXPECT_EQ(capture({"sh", "-c", "exit 3"}, output), "sh: status 3");
  EXPECT_EQ(capture({"sh", "-c", "kill -KILL $$"}, output), "sh: Killed");
  EXPECT_EQ(capture({"no-such-program"}, output), "no-such-program: No such file or directory");
}

TEST(SubprocessTest, ACommandThatDoesNotEndInTimeIsKilled) {
  std::string output;
  EXPECT_EQ(capture({"sh", "-c", "echo $$; exec sleep 60"}, output, 1),
            "sh: no answer within the time limit");
  EXPECT_EQ(wait_for_child(-1), -1) << "a child is left";
  EXPECT_FALSE(succeeds_within(1, {"sleep", "60"}));
}

TEST(SubprocessTest, ACommandThatEndsInTimeHasItsStatus) {
  std::string output;
  EXPECT_EQ(capture({"echo", "text"}, output, 60), std::nullopt);
  EXPECT_EQ(output, "text\n");
  EXPECT_EQ(capture({"sh", "-c", "exit 3"}, output, 60), "sh: status 3");
  EXPECT_TRUE(succeeds_within(60, {"true"}));
  EXPECT_FALSE(succeeds_within(60, {"no-such-program"}));
}

TEST(SubprocessTest, SucceedsWithStatusZeroOnly) {
  EXPECT_TRUE(succeeds({"sh", "-c", "exit 0"}));
  EXPECT_TRUE(succeeds({"another-name", "-c", "exit 0"}, "/bin/sh"));
  EXPECT_FALSE(succeeds({"sh", "-c", "exit 1"}));
  EXPECT_FALSE(succeeds({"sh", "-c", "kill -KILL $$"}));
  EXPECT_FALSE(succeeds({"no-such-program"}));
}

TEST(SubprocessDeathTest, EndsWithTheInterruptedCommand) {
  EXPECT_EXIT(succeeds({"sh", "-c", "kill -INT $$"}), testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(succeeds({"sh", "-c", "kill -QUIT $$"}), testing::KilledBySignal(SIGQUIT), "");
}
