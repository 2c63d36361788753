#include "cli/lint/report_json.h"

#include <gtest/gtest.h>

#include "expect_json.h"

TEST(ReportJson, AFindingHasBothEndsOfItsRange) {
  const Source source{"network.json", "{\n  \"ä\": \"中\",\n  \"b\": 2\n}\n", {}};
  const Finding error{"some-rule", Severity::kError, {10, 15}, "message", {}};
  const Finding warning{"other-rule", Severity::kWarning, {0, 27}, "other message", {}};
  expect_json(json_report(source, {{error, warning}, {}}), R"({"file": "network.json", "findings": [
    {"line": 2, "column": 8, "end_line": 2, "end_column": 11,
     "severity": "error", "rule": "some-rule", "message": "message"},
    {"line": 1, "column": 1, "end_line": 4, "end_column": 2,
     "severity": "warning", "rule": "other-rule", "message": "other message"}]})");
}

TEST(ReportJson, RelatedLocationsAndEditsHaveThem) {
  Finding finding{"some-rule", Severity::kError, {4, 5}, "message", {}};
  finding.details.related = {{{0, 1}, "already here"}};
  finding.details.fix = {{{4, 5}, "24"}, {{7, 7}, "}"}};
  const Json::Value entry = json_report({"a", "1,\n2,\n3", {}}, {{finding}, {}})["findings"][0];
  expect_json(entry["related"], R"([{"line": 1, "column": 1, "end_line": 1, "end_column": 2,
                                          "message": "already here"}])");
  expect_json(entry["fix"], R"([{"line": 2, "column": 2, "end_line": 2, "end_column": 3, "text": "24"},
                       {"line": 3, "column": 2, "end_line": 3, "end_column": 2, "text": "}"}])");
}

TEST(ReportJson, WithoutFindingsTheListIsEmpty) {
  expect_json(json_report({"network.json", "{}", {}}, {}), R"({"file": "network.json", "findings": []})");
}

TEST(ReportJson, WhatIsNotListedIsCounted) {
  Finding finding{"some-rule", Severity::kError, {0, 2}, "message", {}};
  finding.unlisted = 7;
  expect_json(json_report({"network.json", "{}", {}}, {{finding}, {}})["unlisted"], R"({"some-rule": 7})");
}

TEST(ReportJson, WhatIsAllowedIsInAListOfItsOwn) {
  const Finding finding{"some-rule", Severity::kError, {0, 2}, "message", {}};
  expect_json(json_report({"network.json", "{}", {}}, {{}, {{finding, true}}}),
              R"({"file": "network.json", "findings": [], "allowed": [
    {"line": 1, "column": 1, "end_line": 1, "end_column": 3,
     "severity": "error", "rule": "some-rule", "message": "message"}]})");
}

TEST(ReportJson, AFileThatCannotBeReadHasAnError) {
  const Json::Value report = json_report_of_unreadable("a.json", "a.json: Is a directory");
  EXPECT_EQ(report["file"], "a.json");
  EXPECT_EQ(report["error"], "a.json: Is a directory");
  EXPECT_EQ(report["findings"], Json::Value(Json::arrayValue));
}
