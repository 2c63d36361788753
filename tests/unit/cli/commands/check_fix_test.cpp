#include "cli/commands/check_fix.h"

#include <gtest/gtest.h>

#include "cli/base/file.h"
#include "test_files.h"

constexpr char kFixedFile[] = "/run/network.json";

// Writes the fixed `text` to kFixedFile, whose text was `before`; returns the error, "" on success.
static std::string written(const std::string& before, const std::string& text) {
  return write_fixed(kFixedFile, {kFixedFile, text, {}}, {before, {}}).value_or("");
}

TEST(CheckFix, TheByteOrderMarkStays) {
  put_file(kFixedFile, "\xef\xbb\xbf{}\r\n");
  EXPECT_EQ(written("{}\r\n", "{ }\r\n"), "");
  EXPECT_EQ(text_of_file(kFixedFile), "\xef\xbb\xbf{ }\r\n");
}

TEST(CheckFix, AFileThatHasChangedMeanwhileIsNotOverwritten) {
  put_file(kFixedFile, "{\"saved\": \"in an editor\"}");
  EXPECT_EQ(written("{}", "{ }"), "/run/network.json: not written, since it has changed meanwhile");
  EXPECT_EQ(text_of_file(kFixedFile), "{\"saved\": \"in an editor\"}");
}

TEST(CheckFix, AFileThatIsGoneIsNotWritten) {
  unlink(kFixedFile);
  EXPECT_EQ(written("{}", "{ }"), "/run/network.json: No such file or directory");
  EXPECT_FALSE(exists(kFixedFile));
}

TEST(CheckFix, RoundsEndWhenNothingIsLeft) {
  Source source{"network.json", "{\"a\": 1}", {}};
  Judgement judgement{{{"rule", Severity::kError, {6, 7}, "", {{}, {{{6, 7}, "2"}}}}}, {}};
  int rounds = 0;
  const FixedText fixed = apply_fixes(source, judgement, [&rounds](Source& changed) {
    Judgement next;
    const std::string number = changed.text.substr(6, 1);
    if (++rounds < 3)
      next.findings.push_back(
          {"rule", Severity::kError, {6, 7}, "", {{}, {{{6, 7}, std::to_string(rounds + 2)}}}});
    return next;
  });
  EXPECT_EQ(source.text, "{\"a\": 4}");
  EXPECT_TRUE(judgement.findings.empty());
  EXPECT_EQ(fixed.before, "{\"a\": 1}");
  EXPECT_EQ(fixed.report, (std::vector<std::string>{"network.json:1:7: fixed: 1 is now 2 [rule]",
                                                    "network.json:1:7: fixed: 2 is now 3 [rule]",
                                                    "network.json:1:7: fixed: 3 is now 4 [rule]"}));
}

TEST(CheckFix, TheDifferenceShowsNoKeys) {
  const std::string key(43, 'A');
  const auto text = [&key](const std::string& end) {
    return "{\n\"preshared_key\": \"" + key + "=\",\n\"netmask\": \"24\"" + end + "\n";
  };
  for (const char* end : {"}", ",}"}) {
    const std::string difference = diff_of_fixes({"network.json", text("}"), {}}, {text(end) + " ", {}});
    EXPECT_NE(difference.find("@@"), std::string::npos);
    EXPECT_EQ(difference.find(key), std::string::npos) << difference;
  }
  EXPECT_EQ(diff_of_fixes({"network.json", "{}", {}}, {"{}", {}}), "");
}
