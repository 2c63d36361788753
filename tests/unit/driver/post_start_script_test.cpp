#include "driver/post_start_script.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

class PostStartScriptTest : public LanfabTest {};

}  // namespace

constexpr char kMakeExecutable[] = "/bin/chmod +x /var/run/post_networkd_start_actions_script";

TEST_F(PostStartScriptTest, ThePostStartScriptHoldsItsOneCommand) {
  NetworkContext ctx = context_of("{}");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { write_post_networkd_start_actions_script(&ctx, "/sbin/ip route delete %d"); }),
            "");
  EXPECT_EQ(text_of_file("/var/run/post_networkd_start_actions_script"),
            "#!/bin/sh\n/sbin/ip route delete %d\n");
  EXPECT_THAT(platform().calls, ElementsAre(kMakeExecutable));
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(PostStartScriptTest, ThePostStartScriptIsCompleteWhenItIsMadeExecutable) {
  const NetworkContext ctx = context_of("{}");
  std::string text;
  platform().on_shell = [&](const std::string&) {
    text = text_of_file("/var/run/post_networkd_start_actions_script");
  };
  write_post_networkd_start_actions_script(&ctx, "true");
  EXPECT_EQ(text, "#!/bin/sh\ntrue\n");
}

TEST_F(PostStartScriptTest, APostStartScriptThatCannotBeOpenedIsPassedOverInSilence) {
  std::filesystem::create_directory("/var/run/post_networkd_start_actions_script");
  const NetworkContext ctx = context_of("{}");
  write_post_networkd_start_actions_script(&ctx, "true");
  EXPECT_THAT(platform().calls, ElementsAre(kMakeExecutable));
  EXPECT_THAT(platform().log, IsEmpty());
}
