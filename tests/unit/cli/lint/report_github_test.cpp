#include "cli/lint/report_github.h"

#include <gtest/gtest.h>

static Finding finding_at(TextRange range, const std::string& message) {
  return {"some-rule", Severity::kError, range, message, {}};
}

TEST(ReportGithub, EachFindingIsACommand) {
  Finding warning = finding_at({7, 9}, "other message");
  warning.severity = Severity::kWarning;
  EXPECT_EQ(
      github_report({"a/network.json", "{\n  \"ä\": 1\n}\n", {}}, {finding_at({4, 8}, "message"), warning}),
      "::error file=a/network.json,line=2,endLine=2,col=3,endColumn=6,title=some-rule::message\n"
      "::warning file=a/network.json,line=2,endLine=2,col=5,endColumn=7,title=some-rule::other message\n");
}

TEST(ReportGithub, ARangeOfSeveralLinesHasNoColumns) {
  EXPECT_EQ(github_report({"network.json", "{\n}", {}}, {finding_at({0, 3}, "message")}),
            "::error file=network.json,line=1,endLine=2,title=some-rule::message\n");
}

TEST(ReportGithub, RelatedLocationsAreLinesOfTheMessage) {
  Finding finding = finding_at({0, 1}, "message");
  finding.details.related = {{{2, 3}, "already here"}, {{3, 4}, "and here"}};
  EXPECT_EQ(github_report({"network.json", "1\n23", {}}, {finding}),
            "::error file=network.json,line=1,endLine=1,col=1,endColumn=2,title=some-rule::"
            "message%0Aline 2, column 1: already here%0Aline 2, column 2: and here\n");
}

TEST(ReportGithub, NothingBecomesAPropertyOrAnotherCommand) {
  EXPECT_EQ(github_report({"a,b:c%\n::d", "{}", {}}, {finding_at({0, 2}, "100 %: x,y\n::error::forged\033")}),
            "::error file=a%2Cb%3Ac%25%0A%3A%3Ad,line=1,endLine=1,col=1,endColumn=3,title=some-rule::"
            "100 %25: x,y%0A::error::forged?\n");
}

TEST(ReportGithub, WhatIsNotListedIsCountedAtTheEnd) {
  Finding first = finding_at({0, 1}, "first");
  first.unlisted = 7;
  EXPECT_EQ(github_report({"network.json", "{}", {}}, {first, finding_at({1, 2}, "second")}),
            "::error file=network.json,line=1,endLine=1,col=1,endColumn=2,title=some-rule::first\n"
            "::error file=network.json,line=1,endLine=1,col=2,endColumn=3,title=some-rule::second\n"
            "::error file=network.json,title=some-rule::and 7 more\n");
}

TEST(ReportGithub, WithoutFindingsItIsEmpty) {
  EXPECT_EQ(github_report({"network.json", "{}", {}}, {}), "");
}
