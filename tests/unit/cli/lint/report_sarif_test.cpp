#include "cli/lint/report_sarif.h"

#include <gtest/gtest.h>

#include "cli/base/json.h"
#include "cli/lint/rules.h"
#include "expect_json.h"

static Finding wrong_type_at(TextRange range, const std::string& message = "message") {
  return {"wrong-type", Severity::kError, range, message, {}};
}

static Json::Value log_of(const SarifReport& report) {
  Json::Value log;
  EXPECT_TRUE(parse_json(report.text(), log)) << report.text();
  // The report is assembled from strings, but must look as if written at once.
  EXPECT_EQ(report.text(), Json::writeString(Json::StreamWriterBuilder(), log));
  return log;
}

// The only run in the report about one file.
static Json::Value run_about_all(const Source& source, const Judgement& judgement) {
  SarifReport report;
  report.add(sarif_results(source, judgement));
  return log_of(report)["runs"][0];
}

static Json::Value run_about(const Source& source, const std::vector<Finding>& findings) {
  return run_about_all(source, {findings, {}});
}

static std::string message_about(const std::string& message) {
  const Source source{"network.json", "{}", {}};
  return run_about(source, {wrong_type_at({0, 2}, message)})["results"][0]["message"]["text"].asString();
}

static std::string uri_of(const std::string& name) {
  const Json::Value run = run_about({name, "{}", {}}, {wrong_type_at({0, 2})});
  return run["results"][0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"].asString();
}

TEST(ReportSarif, AFindingIsAResultWithARegion) {
  const Source source = {"network.json", "{\n  \"ä\": 1\n}\n", {}};
  expect_json(run_about(source, {wrong_type_at({4, 8})})["results"], R"([{
      "ruleId": "wrong-type", "ruleIndex": 1, "level": "error",
      "message": {"text": "message"}, "suppressions": [],
      "locations": [{"physicalLocation": {
        "artifactLocation": {"uri": "network.json"},
        "region": {"startLine": 2, "startColumn": 3, "endLine": 2, "endColumn": 6}}}]}])");
}

TEST(ReportSarif, RelatedLocationsAndFixesAreBesideIt) {
  Finding finding = wrong_type_at({0, 1});
  finding.details.related = {{{2, 3}, "already here"}};
  finding.details.fix = {{{0, 1}, "24"}, {{3, 3}, "}"}};
  const Json::Value result = run_about({"network.json", "1\n2", {}}, {finding})["results"][0];
  expect_json(result["relatedLocations"], R"([{
      "message": {"text": "already here"},
      "physicalLocation": {
        "artifactLocation": {"uri": "network.json"},
        "region": {"startLine": 2, "startColumn": 1, "endLine": 2, "endColumn": 2}}}])");
  expect_json(result["fixes"], R"([{"artifactChanges": [{
      "artifactLocation": {"uri": "network.json"},
      "replacements": [
        {"deletedRegion": {"startLine": 1, "startColumn": 1, "endLine": 1, "endColumn": 2},
         "insertedContent": {"text": "24"}},
        {"deletedRegion": {"startLine": 2, "startColumn": 2, "endLine": 2, "endColumn": 2},
         "insertedContent": {"text": "}"}}]}]}])");
}

TEST(ReportSarif, EachRuleHasItsLevelAndItsEntry) {
  const Json::Value run = run_about({"network.json", "{}", {}}, {});
  const Json::Value& rules = run["tool"]["driver"]["rules"];
  ASSERT_EQ(rules.size(), all_rules().size());
  for (const Json::Value& rule : rules) {
    const std::string description = rule["shortDescription"]["text"].asString();
    const std::string text = rule["fullDescription"]["text"].asString();
    EXPECT_EQ(text.rfind(description + " ", 0), 0U) << rule;
    EXPECT_EQ(description.back(), '.') << rule;
    EXPECT_EQ(text.find("Example:"), std::string::npos) << rule;
  }
  EXPECT_EQ(rules[1]["id"], "wrong-type");
  EXPECT_EQ(rules[1]["shortDescription"]["text"], "A value has another type than `cmd_lanfab` reads there.");
  EXPECT_EQ(rules[1]["help"]["text"], rules[1]["fullDescription"]["text"]);
  EXPECT_EQ(rules[1]["help"]["markdown"], rules[1]["fullDescription"]["text"]);
  EXPECT_EQ(rules[1]["defaultConfiguration"]["level"], "error");
  EXPECT_EQ(rules[2]["defaultConfiguration"]["level"], "warning");
}

TEST(ReportSarif, ARunOverAllFilesCountsColumnsInCharacters) {
  SarifReport report;
  for (const char* name : {"a.json", "b.json"})
    report.add(sarif_results({name, "{}", {}}, {{wrong_type_at({0, 2})}, {}}));
  report.add("");
  const Json::Value log = log_of(report);
  EXPECT_EQ(log["version"], "2.1.0");
  ASSERT_EQ(log["runs"].size(), 1U);
  const Json::Value& run = log["runs"][0];
  EXPECT_EQ(run["columnKind"], "unicodeCodePoints");
  EXPECT_EQ(run["tool"]["driver"]["name"], "lanfab");
  EXPECT_EQ(run["results"].size(), 2U);
  expect_json(run["invocations"], R"([{"executionSuccessful": true, "toolExecutionNotifications": []}])");
}

TEST(ReportSarif, AFileThatCannotBeExaminedIsANotification) {
  SarifReport report;
  report.add_failure("none.json: No such file or directory");
  const Json::Value run = log_of(report)["runs"][0];
  EXPECT_TRUE(run["results"].isArray());
  expect_json(run["invocations"], R"([{"executionSuccessful": false, "toolExecutionNotifications": [
      {"level": "error", "message": {"text": "none.json: No such file or directory"}}]}])");
}

TEST(ReportSarif, WhatIsNotListedIsAResultWithoutARegion) {
  Finding finding = wrong_type_at({0, 2});
  finding.unlisted = 7;
  const Json::Value results = run_about({"network.json", "{}", {}}, {finding})["results"];
  ASSERT_EQ(results.size(), 2U);
  expect_json(results[1], R"({
      "ruleId": "wrong-type", "ruleIndex": 1, "level": "error",
      "message": {"text": "and 7 more"}, "suppressions": [],
      "locations": [{"physicalLocation": {"artifactLocation": {"uri": "network.json"}}}]})");
}

TEST(ReportSarif, WhatIsAllowedIsSuppressed) {
  const Judgement judgement{{}, {{wrong_type_at({0, 2}), true}, {wrong_type_at({0, 2}), false}}};
  const Json::Value results = run_about_all({"network.json", "{}", {}}, judgement)["results"];
  ASSERT_EQ(results.size(), 2U);
  expect_json(results[0]["suppressions"], R"([{"kind": "inSource"}])");
  expect_json(results[1]["suppressions"], R"([{"kind": "external"}])");
}

TEST(ReportSarif, APathBecomesAUri) {
  EXPECT_EQ(uri_of("site-1/network_a.json"), "site-1/network_a.json");
  EXPECT_EQ(uri_of("/etc/lanfab/network.json"), "file:///etc/lanfab/network.json");
  EXPECT_EQ(uri_of("http://a?b#c d\xff"), "http%3A//a%3Fb%23c%20d%FF");
  EXPECT_EQ(uri_of("<stdin>"), "%3Cstdin%3E");
}

TEST(ReportSarif, AMessageHasNoLinksOrArguments) {
  EXPECT_EQ(message_about("[a] and {0} \\"), "[a] and {{0}} \\");
  EXPECT_EQ(message_about("[a](http://b) \\"), "\\[a\\](http://b) \\\\");
}
