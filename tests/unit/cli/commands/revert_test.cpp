#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cstdlib>
#include <filesystem>

#include "cli/commands/commands.h"
#include "cli/live/outcome.h"
#include "cli/live/trial_state.h"
#include "test_files.h"

// The service that ends a trial, on a gateway where an apply fails once for each line of /run/failures.
class RevertTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mount("etc", "/etc", "tmpfs", 0, nullptr), 0);
    for (const char* directory : {"/etc/lanfab", "/run/lanfab", "/run/tools", "/run/systemd/system"})
      std::filesystem::create_directories(directory);
    put_file("/etc/lanfab/network.json", "old\n");
    put_tool("cmd_lanfab", "");
    put_tool("systemctl", "echo inactive");
    put_tool("timeout",
             "if [ -s /run/failures ]; then sed -i 1d /run/failures; exit 1; fi\n"
             "cat /etc/lanfab/network.json >>/run/applied\n: >/run/.delete_static_routes");
    put_tool("wall", "echo \"$*\" >>/run/told");
    for (const char* file : {"/run/applied", "/run/told"})
      put_file(file, "");
    ASSERT_TRUE(write_state({"anna", "new.json", 0, 0}));
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    EXPECT_EQ(umount2("/etc", MNT_DETACH), 0);
  }

  static void put_tool(const std::string& name, const std::string& script) {
    put_file("/run/tools/" + name, "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions("/run/tools/" + name, std::filesystem::perms::owner_all);
  }

  // Runs the service; returns its exit status, and sets `errors_` to its standard error.
  int revert() {
    std::string words[] = {"lanfab", "revert", "--timer"};
    char* argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = run_command_line(3, argv);
    testing::internal::GetCapturedStdout();
    errors_ = testing::internal::GetCapturedStderr();
    return status;
  }

  const std::string path_ = std::getenv("PATH");
  std::string errors_;
};

TEST_F(RevertTest, AnApplyThatFailsIsForTheNextAttemptAndEverybodyIsToldOnce) {
  constexpr char kAlert[] = "rolling back the trial failed; retrying: see 'journalctl -u lanfab-revert'\n";
  put_file("/run/failures", "1\n2\n");
  for (const std::string& errors : {"<1>" + std::string(kAlert), std::string()}) {
    EXPECT_EQ(revert(), 1);
    EXPECT_EQ(errors_, errors);
    EXPECT_EQ(text_of_file("/run/told"), std::string("lanfab: ") + kAlert);
    EXPECT_TRUE(read_state()) << "the trial has not ended";
    EXPECT_EQ(read_outcome()->ending, Ending::kStuck);
  }
  EXPECT_EQ(revert(), 0);
  EXPECT_EQ(text_of_file("/run/applied"), "old\n");
  EXPECT_FALSE(read_state());
  EXPECT_EQ(read_outcome()->ending, Ending::kRolledBack);
}
