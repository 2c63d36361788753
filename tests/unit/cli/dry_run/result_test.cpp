#include "cli/dry_run/result.h"

#include <gtest/gtest.h>

// A result with a value for every field, and with zero bytes, line ends, spaces, quotes and empty strings.
static DryRunResult full_result() {
  DryRunResult result;
  result.status = -15;
  result.files = {{{"/var/run/a", 0600, std::string("zero \0 byte\n", 12)}, Change::kWritten},
                  {{"/var/run/b", 0644, ""}, Change::kUntouched},
                  {{"/var/run/c", 0755, "\n"}, Change::kUnchanged}};
  result.removed = {"/var/run/d", ""};
  result.commands = {{"ip", "link", "del", "eth0.7"}, {}, {"a b", "\"c\""}};
  result.messages = {{3, "first"}, {7, ""}};
  result.database = {{"key", "value"}, {"base/key", ""}};
  result.standard_output = "to standard output";
  result.standard_error = "to standard error";
  return result;
}

// All fields of a result as one string, for comparison.
static std::string listing(const DryRunResult& result) {
  std::string text = "status " + std::to_string(result.status) + "\n";
  for (const auto& [file, change] : result.files) {
    text += "file " + file.path + " " + std::to_string(file.mode) + " " +
            std::to_string(static_cast<int>(change)) + " " + file.content + "\n";
  }
  for (const std::string& path : result.removed)
    text += "removed " + path + "\n";
  for (const std::vector<std::string>& command : result.commands) {
    text += "command";
    for (const std::string& word : command)
      text += " <" + word + ">";
    text += "\n";
  }
  for (const Message& message : result.messages)
    text += "message " + std::to_string(message.priority) + " " + message.text + "\n";
  for (const auto& [key, value] : result.database)
    text += "database " + key + " = " + value + "\n";
  return text + result.standard_output + "\n" + result.standard_error + "\n";
}

TEST(Result, AResultTravelsWhole) {
  DryRunResult arrived;
  EXPECT_FALSE(decode(encode(full_result()), arrived));
  EXPECT_EQ(listing(arrived), listing(full_result()));
}

TEST(Result, AResultMayBeEmpty) {
  DryRunResult arrived;
  EXPECT_FALSE(decode(encode(DryRunResult()), arrived));
  EXPECT_EQ(listing(arrived), listing(DryRunResult()));
}

TEST(Result, AnErrorTravelsWhole) {
  for (const bool is_in_setup : {true, false}) {
    DryRunResult result;
    const std::optional<SandboxError> arrived =
        decode(encode(SandboxError{"mount /run", 28, is_in_setup}), result);
    ASSERT_TRUE(arrived);
    EXPECT_EQ(arrived->what, "mount /run");
    EXPECT_EQ(arrived->code, 28);
    EXPECT_EQ(arrived->is_in_setup, is_in_setup);
  }
}

TEST(Result, BytesThatEndTooEarlyAreAnError) {
  const std::string bytes = encode(full_result());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    DryRunResult result;
    const std::optional<SandboxError> error = decode(bytes.substr(0, size), result);
    ASSERT_TRUE(error) << size;
    EXPECT_EQ(error->what, "the sandboxed process exited unexpectedly") << size;
  }
}

// Whichever byte is damaged, decoding terminates and does not read beyond the end.
TEST(Result, DamagedBytesDoNoHarm) {
  const std::string bytes = encode(full_result());
  for (std::size_t position = 0; position < bytes.size(); ++position) {
    for (const char damage : {'\x00', '\x7f', '\xff'}) {
      std::string damaged = bytes;
      damaged[position] = damage;
      DryRunResult result;
      decode(damaged, result);
      EXPECT_LE(listing(result).size(), 100 * bytes.size()) << position;
    }
  }
}
