#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "platform/libvantor.h"
#include "platform_test.h"

namespace {

// The tools are stubs in the sandbox. PATH is restored after each test.
class ToolsTest : public PlatformTest {
 protected:
  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
  }

  // Creates a shell script with this name, which precedes all other tools on PATH.
  void put_first_on_path(const std::string& tool, const std::string& script) {
    put_file("/run/" + tool, "#!/bin/sh\n" + script);
    std::filesystem::permissions("/run/" + tool, std::filesystem::perms::owner_all);
    setenv("PATH", ("/run:" + path_).c_str(), 1);
  }

 private:
  static std::string path() {
    const char* value = std::getenv("PATH");
    return value != nullptr ? value : "";
  }

  const std::string path_ = path();
};

}  // namespace

extern "C" pid_t waitpid(pid_t process, int* status, int options) {
  if (failing_waitpid.fails()) return -1;
  return next<pid_t (*)(pid_t, int*, int)>("waitpid")(process, status, options);
}

// Whether posix_spawn() reports that a program is missing; under an emulator, only the child's exit status
// does.
static bool is_start_seen() {
  pid_t child = 0;
  char* const words[] = {nullptr};
  return posix_spawn(&child, "/run/nowhere/program", nullptr, nullptr, words, environ) != 0;
}

static std::string commands() {
  return text_of_file("/dev/sandbox/commands");
}

// --- qelsys

TEST_F(ToolsTest, AShellLineIsFormattedAndRun) {
  qelsys("echo %s-%d > %s; echo second >> %s", "text", 7, "/run/out", "/run/out");
  EXPECT_EQ(text_of_file("/run/out"), "text-7\nsecond\n");
}

TEST_F(ToolsTest, AShellLineMayHoldPercentSignsInItsArguments) {
  qelsys("printf %s > /run/out", "'100%%'");
  EXPECT_EQ(text_of_file("/run/out"), "100%");
}

TEST_F(ToolsTest, TheResultIsTheShellsStatus) {
  EXPECT_EQ(qelsys("exit %d", 0), 0);
  const int status = qelsys("exit %d", 3);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(ToolsTest, AShellLineMayBeLongerThanAnyFixedBuffer) {
  const std::string text(100000, 'x');
  EXPECT_EQ(qelsys("echo %s > /run/out", text.c_str()), 0);
  EXPECT_EQ(text_of_file("/run/out"), text + "\n");
}

TEST_F(ToolsTest, AToolThatTheKeyboardEndsEndsTheProcess) {
  EXPECT_EXIT(qelsys("kill -INT $$"), testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(qelsys("kill -QUIT $$"), testing::KilledBySignal(SIGQUIT), "");
}

TEST_F(ToolsTest, AToolThatAnotherSignalEndsIsAFailure) {
  const int status = qelsys("kill -TERM $$");
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

// --- Services

TEST_F(ToolsTest, AServiceIsStartedAndRestartedThroughSystemctl) {
  EXPECT_EQ(execute_systemctl_start("systemd-networkd"), 0);
  EXPECT_EQ(execute_systemctl_restart("dnsmasq"), 0);
  EXPECT_EQ(commands(), "systemctl start systemd-networkd\nsystemctl restart dnsmasq\n");
}

TEST_F(ToolsTest, AServiceIsActiveWhenSystemctlSaysSo) {
  put_file("/dev/sandbox/services", "systemd-networkd\n");
  EXPECT_NE(is_service_active("systemd-networkd"), 0);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
  EXPECT_EQ(commands(),
            "systemctl is-active --quiet systemd-networkd\n"
            "systemctl is-active --quiet dnsmasq\n");
}

TEST_F(ToolsTest, AToolThatCannotBeRunIsAFailure) {
  setenv("PATH", "/run/nowhere", 1);
  EXPECT_NE(execute_systemctl_start("dnsmasq"), 0);
  EXPECT_NE(execute_systemctl_restart("dnsmasq"), 0);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
  EXPECT_THAT(log_of_test, Each("err cannot run systemctl (dnsmasq): No such file or directory"));
  EXPECT_EQ(log_of_test.size(), is_start_seen() ? 3U : 0U);
}

TEST_F(ToolsTest, AServicesNameIsOneWordAndNoShellReadsIt) {
  execute_systemctl_restart("a b; touch /run/touched $HOME");
  EXPECT_EQ(commands(), "systemctl restart a b; touch /run/touched $HOME\n");
  EXPECT_FALSE(exists("/run/touched"));
}

TEST_F(ToolsTest, TheResultIsTheToolsExitStatus) {
  put_first_on_path("systemctl", "exit 5\n");
  EXPECT_EQ(execute_systemctl_start("dnsmasq"), 5);
  EXPECT_EQ(execute_systemctl_restart("dnsmasq"), 5);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
}

TEST_F(ToolsTest, AToolThatIsKilledIsAFailure) {
  put_first_on_path("systemctl", "kill -KILL $$\n");
  EXPECT_NE(execute_systemctl_start("dnsmasq"), 0);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
}

// --- Links

TEST_F(ToolsTest, ALinkIsSetDownThroughTheIpTool) {
  EXPECT_EQ(ip_link_set_interface_down("eth0"), 0);
  EXPECT_EQ(commands(), "/sbin/ip link set dev eth0 down\n");
}

// --- Ctrl-C

TEST_F(ToolsTest, CtrlCIsNotIgnoredWhileAToolRuns) {
  EXPECT_EXIT(qelsys("kill -INT $%s", "PPID"), testing::KilledBySignal(SIGINT), "");
}

// --- Waiting

TEST_F(ToolsTest, ASignalDoesNotEndTheWaitForATool) {
  put_first_on_path("systemctl", "exit 5\n");
  failing_waitpid.fail(2, EINTR);
  EXPECT_EQ(execute_systemctl_start("dnsmasq"), 5);
}

TEST_F(ToolsTest, AToolWhoseResultIsLostIsAFailure) {
  const auto former = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(execute_systemctl_start("dnsmasq"), -1);
  EXPECT_EQ(is_service_active("dnsmasq"), 0);
  std::signal(SIGCHLD, former);
}
