#include "cli/commands/commands.h"

#include <gtest/gtest.h>

#include "test_files.h"

// The description of one command, from `lanfab describe`.
static Json::Value description_of(const std::string& name) {
  char program[] = "lanfab";
  char describe[] = "describe";
  char* argv[] = {program, describe, nullptr};
  testing::internal::CaptureStdout();
  EXPECT_EQ(run_command_line(2, argv), 0);
  const Json::Value root = json(testing::internal::GetCapturedStdout());
  EXPECT_EQ(root["options"][0]["usage"].asString().substr(0, 2), "-h");
  for (const Json::Value& command : root["commands"])
    if (command["name"] == name) return command;
  ADD_FAILURE() << "no command " << name;
  return {};
}

// The options of a command without their help texts, which must not be empty.
static Json::Value options_of(const std::string& name) {
  Json::Value options = description_of(name)["options"];
  for (Json::Value& option : options) {
    EXPECT_FALSE(option["help"].asString().empty());
    option.removeMember("help");
  }
  return options;
}

TEST(Commands, ANumberHasADefaultAndARange) {
  const Json::Value options = options_of("try");
  EXPECT_EQ(options[0], json(R"(
    {"usage": "FILE", "completion": "file", "words": [], "required": true, "repeated": false, "excludes": "",
     "default": ""})"));
  EXPECT_EQ(options[1], json(R"(
    {"usage": "--timeout SECONDS", "completion": "nothing", "words": [], "required": false, "repeated": false,
     "excludes": "", "default": "120", "range": [10, 86400]})"));
  EXPECT_EQ(options[2], json(R"(
    {"usage": "--force", "completion": "nothing", "words": [], "required": false, "repeated": false,
     "excludes": ""})"));
}

TEST(Commands, AnArgumentMayBeRepeatedAndAnOptionExcludeAnother) {
  EXPECT_EQ(options_of("check")[0]["repeated"], true);
  EXPECT_EQ(options_of("status")[1], json(R"(
    {"usage": "--format FORMAT", "completion": "nothing", "required": false, "repeated": false,
     "words": ["text", "json", "nagios", "prometheus"], "excludes": "--watch"})"));
}

TEST(Commands, InternalOptionsAreNotDescribed) {
  const Json::Value options = options_of("revert");
  ASSERT_EQ(options.size(), 2U);
  EXPECT_EQ(options[0]["usage"], "NUMBER");
  EXPECT_EQ(options[1]["usage"], "--yes");
  EXPECT_FALSE(description_of("revert")["help"].asString().empty());
}
