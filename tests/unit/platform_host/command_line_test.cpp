#include <string>
#include <vector>

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

// Returns the standard error for these arguments, none of which is an action word.
static std::string answer_to(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  return standard_error_of([&] {
    int index = 7;
    EXPECT_NE(get_cmd_command_action_index(static_cast<int>(arguments.size()), argv.data(), &index), 0);
    EXPECT_EQ(index, 7);
  });
}

TEST(CommandLineTest, WithoutAnActionWordTheUsageIsShown) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"cmd_lanfab"},
                                             {"cmd_lanfab", "--help"},
                                             {"cmd_lanfab", "-h"},
                                             {"cmd_lanfab", "-"},
                                             {"cmd_lanfab", "--versions"},
                                             {"cmd_lanfab", "--pulse-ethernet", "apply"}}) {
    EXPECT_EQ(answer_to(arguments),
              "usage: cmd_lanfab ACTION [--pulse-ethernet]\n"
              "\n"
              "  apply       regenerate everything: at boot and after a change of the configuration\n"
              "  wwan_apply  regenerate what depends on the cellular link\n"
              "  dnsmasq     regenerate the configuration of dnsmasq alone\n"
              "\n"
              "An action changes the network of this machine. See cmd_lanfab(8).\n");
  }
}

TEST(CommandLineTest, TheVersionIsShownInOneLine) {
  EXPECT_THAT(answer_to({"cmd_lanfab", "--version"}),
              MatchesRegex("cmd_lanfab [0-9]+\\.[0-9]+\\.[0-9]+(~dev)?\n"));
}

TEST(CommandLineTest, AnEmptyWordIsAnActionWord) {
  char program[] = "cmd_lanfab";
  char action[] = "";
  char* argv[] = {program, action, nullptr};
  int index = 0;
  EXPECT_EQ(get_cmd_command_action_index(2, argv, &index), 0);
  EXPECT_EQ(index, 1);
}

TEST(CommandLineTest, LettersBecomeCapitalsAndTheRestStays) {
  const std::string text = "wwan_Apply-2 z{`a\xe4\n";
  EXPECT_EQ(return_input_string_as_all_uppercase(text), "WWAN_APPLY-2 Z{`A\xe4\n");
  EXPECT_EQ(text, "wwan_Apply-2 z{`a\xe4\n");
  EXPECT_EQ(return_input_string_as_all_uppercase(""), "");
  EXPECT_EQ(return_input_string_as_all_uppercase(std::string("a\0b", 3)), std::string("A\0B", 3));
}
