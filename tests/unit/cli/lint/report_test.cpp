#include "cli/lint/report.h"

#include <gtest/gtest.h>

#include "cli/base/json.h"

static Finding finding_at(std::size_t offset, Severity severity = Severity::kError) {
  const auto begin = static_cast<std::ptrdiff_t>(offset);
  return {"some-rule", severity, {begin, begin + 1}, "message", {}};
}

// Plain text with excerpts, and without them.
static const TextStyle kExcerpt{true, false, 80};
static const TextStyle kLines{false, false, 80};

// The report, in plain text, of one finding at the character '!' of the text.
static std::string report_of(const std::string& text) {
  return text_report({"network.json", text, {}}, {finding_at(text.find('!'))}, kExcerpt);
}

TEST(Report, EachFindingIsALineWithItsLocation) {
  const Source source{"network.json", "{\n  \"a\": 1,\n  \"b\": 2\n}\n", {}};
  const std::vector<Finding> findings = {finding_at(0), finding_at(9, Severity::kWarning), finding_at(9),
                                         finding_at(19)};
  EXPECT_EQ(text_report(source, findings, kLines),
            "network.json:1:1: error: message [some-rule]\n"
            "network.json:2:8: warning: message [some-rule]\n"
            "network.json:2:8: error: message [some-rule]\n"
            "network.json:3:8: error: message [some-rule]\n");
}

TEST(Report, TheExcerptHasACaretUnderTheLocation) {
  EXPECT_EQ(report_of("{\n  \"a\": !,\n}\n"),
            "network.json:2:8: error: message [some-rule]\n"
            "      \"a\": !,\n"
            "           ^\n");
}

TEST(Report, TheExcerptOfTheFirstAndTheLastLine) {
  EXPECT_EQ(report_of("!"),
            "network.json:1:1: error: message [some-rule]\n"
            "    !\n"
            "    ^\n");
  EXPECT_EQ(report_of("{\n!"),
            "network.json:2:1: error: message [some-rule]\n"
            "    !\n"
            "    ^\n");
}

TEST(Report, TheExcerptHidesKeys) {
  Source source{"network.json",
                R"({"private-key": "\"a", "peers": [{"preshared_key": [12, "b", true], "c": ""}]})",
                {}};
  ASSERT_TRUE(parse_json(source.text, source.root));
  EXPECT_EQ(
      text_report(source, {finding_at(0)}, {true, false, 100}),
      "network.json:1:1: error: message [some-rule]\n"
      "    {\"private-key\": \"***\", \"peers\": [{\"preshared_key\": [**, \"*\", true], \"c\": \"\"}]}\n"
      "    ^\n");
}

TEST(Report, TheExcerptHidesKeysOfATextThatIsNotJson) {
  EXPECT_EQ(
      text_report({"network.json", R"({"preshared_key": "abc, "a": 1})", {}}, {finding_at(18)}, kExcerpt),
      "network.json:1:19: error: message [some-rule]\n"
      "    {\"preshared_key\": \"***, \"a\": 1}\n"
      "                      ^\n");
}

TEST(Report, ColumnsCountCharacters) {
  EXPECT_EQ(report_of("\t\"ä中\": !"),
            "network.json:1:8: error: message [some-rule]\n"
            "        \"ä中\": !\n"
            "               ^\n");
}

TEST(Report, ARelatedLocationIsANoteBelowTheFinding) {
  Finding finding = finding_at(5);
  finding.details.related = {{{0, 3}, "already the network of eth0"}, {{8, 9}, "and of eth1"}};
  const Source source{"network.json", "one,\ntwo", {}};
  EXPECT_EQ(text_report(source, {finding}, kLines),
            "network.json:2:1: error: message [some-rule]\n"
            "network.json:1:1: note: already the network of eth0\n"
            "network.json:2:4: note: and of eth1\n");
  EXPECT_EQ(text_report(source, {finding}, {true, true, 80}),
            "\033[1mnetwork.json:2:1: \033[0m\033[1;31merror: \033[0mmessage [some-rule]\n"
            "    two\n"
            "    \033[1;32m^\033[0m\n"
            "\033[1mnetwork.json:1:1: \033[0m\033[1;36mnote: \033[0malready the network of eth0\n"
            "    one,\n"
            "    \033[1;32m^~~\033[0m\n"
            "\033[1mnetwork.json:2:4: \033[0m\033[1;36mnote: \033[0mand of eth1\n"
            "    two\n"
            "       \033[1;32m^\033[0m\n");
}

TEST(Report, NothingOfTheConfigurationReachesTheTerminalAsACommand) {
  EXPECT_EQ(report_of("\033[31m!\r\x7f"),
            "network.json:1:6: error: message [some-rule]\n"
            "    ?[31m!??\n"
            "         ^\n");
  Finding finding = finding_at(0);
  finding.message = "the value is \"\033[31m\"";
  EXPECT_EQ(text_report({"network.json", "", {}}, {finding}, kLines),
            "network.json:1:1: error: the value is \"?[31m\" [some-rule]\n");
}

TEST(Report, LocationAndSeverityAreColored) {
  const Source source{"network.json", "{}", {}};
  EXPECT_EQ(text_report(source, {finding_at(0), finding_at(1, Severity::kWarning)}, {true, true, 80}),
            "\033[1mnetwork.json:1:1: \033[0m\033[1;31merror: \033[0mmessage [some-rule]\n"
            "    {}\n"
            "    \033[1;32m^\033[0m\n"
            "\033[1mnetwork.json:1:2: \033[0m\033[1;35mwarning: \033[0mmessage [some-rule]\n"
            "    {}\n"
            "     \033[1;32m^\033[0m\n");
}

TEST(Report, TheSummaryCountsFilesErrorsAndWarnings) {
  Summary summary;
  count({}, summary);
  EXPECT_EQ(text_of(summary), "0 errors and 0 warnings in 1 file");
  count({{finding_at(0), finding_at(0), finding_at(0, Severity::kWarning)}, {}}, summary);
  EXPECT_EQ(text_of(summary), "2 errors and 1 warning in 2 files");
  Finding allowed = finding_at(0);
  allowed.unlisted = 1;
  count({{}, {{finding_at(0), true}, {allowed, false}}}, summary);
  EXPECT_EQ(text_of(summary), "2 errors and 1 warning in 3 files, 3 allowed");
}

TEST(Report, WithoutFindingsItIsEmpty) {
  EXPECT_EQ(text_report({"network.json", "{}", {}}, {}, kExcerpt), "");
}

TEST(Report, WhatIsNotListedIsCounted) {
  const Source source{"network.json", "{}", {}};
  std::vector<Finding> findings = {finding_at(0), finding_at(1, Severity::kWarning)};
  findings[0].unlisted = 7;
  EXPECT_EQ(text_report(source, findings, kLines),
            "network.json:1:1: error: message [some-rule]\n"
            "network.json:1:2: warning: message [some-rule]\n"
            "network.json: error: and 7 more [some-rule]\n");
  Summary summary;
  count({findings, {}}, summary);
  EXPECT_EQ(text_of(summary), "8 errors and 1 warning in 1 file");
}
