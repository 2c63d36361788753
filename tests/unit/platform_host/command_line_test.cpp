#include "platform/libcmd.h"
#include "platform_test.h"

TEST(CommandLineTest, TheActionWordFollowsTheProgramsName) {
  char program[] = "cmd_lanfab";
  char action[] = "apply";
  char* argv[] = {program, action, action, nullptr};
  for (const int argc : {2, 3}) {
    int index = 0;
    EXPECT_EQ(get_cmd_command_action_index(argc, argv, &index), 0);
    EXPECT_EQ(index, 1);
  }
}

TEST(CommandLineTest, WithoutAnArgumentThereIsNoActionWord) {
  char program[] = "cmd_lanfab";
  char* argv[] = {program, nullptr};
  for (const int argc : {0, 1}) {
    int index = 0;
    EXPECT_NE(get_cmd_command_action_index(argc, argv, &index), 0) << argc;
  }
}

TEST(CommandLineTest, LettersBecomeCapitalsAndTheRestStays) {
  const std::string text = "wwan_Apply-2 z{`a\xe4\n";
  EXPECT_EQ(return_input_string_as_all_uppercase(text), "WWAN_APPLY-2 Z{`A\xe4\n");
  EXPECT_EQ(text, "wwan_Apply-2 z{`a\xe4\n");
  EXPECT_EQ(return_input_string_as_all_uppercase(""), "");
  EXPECT_EQ(return_input_string_as_all_uppercase(std::string("a\0b", 3)), std::string("A\0B", 3));
}
