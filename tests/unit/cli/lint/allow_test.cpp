#include "cli/lint/allow.h"

#include <gtest/gtest.h>

static Finding finding_of(const std::string& text, const std::string& location, const std::string& rule) {
  const auto begin = static_cast<std::ptrdiff_t>(text.find(location));
  return {rule, Severity::kError, {begin, begin + 1}, "message", {}};
}

// "RULE: MESSAGE" for each finding that is not allowed.
static std::vector<std::string> left_of(const Judgement& judgement) {
  std::vector<std::string> left;
  for (const Finding& finding : judgement.findings)
    left.push_back(finding.rule + ": " + finding.message);
  return left;
}

// The findings about the comments of a text without other findings.
static std::vector<std::string> wrong_with(const std::string& text) {
  return left_of(judgement_of(text, {}, {}));
}

using Strings = std::vector<std::string>;

TEST(Allow, ACommentAllowsWhatTheRuleFindsInTheSettingBelow) {
  const std::string text = "{\n// lanfab: allow vlan-id-twice, route-twice\n\"a\": [1, 2], \"b\": 3}";
  const Judgement judgement =
      judgement_of(text,
                   {finding_of(text, "1", "route-twice"), finding_of(text, "2", "vlan-id-twice"),
                    finding_of(text, "2", "subnet-twice"), finding_of(text, "3", "route-twice")},
                   {});
  ASSERT_EQ(judgement.allowed.size(), 2U);
  EXPECT_EQ(judgement.allowed[0].finding.rule, "route-twice");
  EXPECT_TRUE(judgement.allowed[0].is_in_file);
  EXPECT_EQ(judgement.allowed[1].finding.rule, "vlan-id-twice");
  EXPECT_EQ(left_of(judgement), (Strings{"subnet-twice: message", "route-twice: message"}));
}

TEST(Allow, AnOptionAllowsAllThatTheRuleFinds) {
  const std::string text = "{\"a\": [1, 2]}";
  const Judgement judgement = judgement_of(
      text, {finding_of(text, "1", "route-twice"), finding_of(text, "2", "vlan-id-twice")}, {"route-twice"});
  ASSERT_EQ(judgement.allowed.size(), 1U);
  EXPECT_FALSE(judgement.allowed[0].is_in_file);
  EXPECT_EQ(left_of(judgement), (Strings{"vlan-id-twice: message"}));
}

TEST(Allow, ACommentThatAllowsNothingIsReported) {
  const std::string text = "{\n/* lanfab: allow route-twice\n   vlan-id-twice */\n\"a\": 1}";
  const Judgement judgement = judgement_of(text, {finding_of(text, "1", "route-twice")}, {});
  ASSERT_EQ(judgement.findings.size(), 1U);
  const Finding& finding = judgement.findings[0];
  EXPECT_EQ(finding.rule, "allow-unused");
  EXPECT_EQ(finding.severity, Severity::kWarning);
  EXPECT_EQ(finding.message, "vlan-id-twice finds nothing here: remove the comment");
  EXPECT_EQ(finding.range.begin, 2);
  EXPECT_EQ(finding.range.end, static_cast<std::ptrdiff_t>(text.find("\n\"a\"")));
}

TEST(Allow, OfTwoCommentsTheInnerOneCounts) {
  const std::string text =
      "{\n// lanfab: allow route-twice\n\"a\": {\n// lanfab: allow route-twice\n\"b\": 1}}";
  const Judgement judgement = judgement_of(text, {finding_of(text, "1", "route-twice")}, {});
  ASSERT_EQ(judgement.findings.size(), 1U);
  EXPECT_EQ(judgement.findings[0].rule, "allow-unused");
  EXPECT_EQ(judgement.findings[0].range.begin, 2);
}

TEST(Allow, ACommentUsedThoughAnOptionAllowsTheSameIsNotReported) {
  const std::string text = "{\n// lanfab: allow route-twice\n\"a\": 1}";
  EXPECT_EQ(left_of(judgement_of(text, {finding_of(text, "1", "route-twice")}, {"route-twice"})), Strings{});
}

TEST(Allow, ACommentThatNoSettingFollowsIsReported) {
  EXPECT_EQ(wrong_with("{\"a\": 1\n// lanfab: allow route-twice\n}"),
            (Strings{"allow-unused: no setting follows for which route-twice is allowed"}));
}

TEST(Allow, WhatIsWrongWithCommentsIsInTheOrderOfTheText) {
  EXPECT_EQ(
      wrong_with("{\n// lanfab: allow vlan-id-twice route-twice\n\"a\": 1,\n// lanfab: allow x\n\"b\": 2}"),
      (Strings{"allow-unused: route-twice finds nothing here: remove the comment",
               "allow-unused: vlan-id-twice finds nothing here: remove the comment",
               "allow-unknown: unknown rule \"x\""}));
}

TEST(Allow, WhatDnsmasqRefusesIsNotAlwaysKnown) {
  EXPECT_EQ(wrong_with("{\n// lanfab: allow dnsmasq-refuses\n\"a\": 1}"), Strings{});
}

TEST(Allow, UnknownRulesAndWordsAreReported) {
  EXPECT_EQ(wrong_with("{\n// lanfab: allow route-twise\n\"a\": 1}"),
            (Strings{"allow-unknown: unknown rule \"route-twise\"; did you mean \"route-twice\"?"}));
  for (const char* text : {"{// lanfab: alow route-twice\n}", "{// lanfab: allow\n}", "{// lanfab:\n}"})
    EXPECT_EQ(wrong_with(text), (Strings{"allow-unknown: expected \"lanfab: allow RULE\""})) << text;
}

TEST(Allow, SomeRulesCannotBeAllowed) {
  EXPECT_EQ(
      wrong_with("{// lanfab: allow syntax, text-refused\n}"),
      (Strings{"allow-unknown: \"syntax\" cannot be allowed: cmd_lanfab rejects the whole configuration",
               "allow-unknown: \"text-refused\" cannot be allowed: cmd_lanfab rejects the whole "
               "configuration"}));
  EXPECT_EQ(wrong_with("{// lanfab: allow allow-unused\n}"),
            (Strings{"allow-unknown: \"allow-unused\" cannot be allowed by a comment"}));
  EXPECT_EQ(wrong_with("{// lanfab: allow allow-unknown\n}"),
            (Strings{"allow-unknown: \"allow-unknown\" cannot be allowed by a comment"}));
}

TEST(Allow, AnOptionAllowsWhatIsWrongWithComments) {
  const Judgement judgement = judgement_of("{// lanfab: allow route-twice\n}", {}, {"allow-unused"});
  EXPECT_EQ(judgement.allowed.size(), 1U);
  EXPECT_EQ(left_of(judgement), Strings{});
}

TEST(Allow, AnOptionNamesARuleThatCanBeAllowed) {
  EXPECT_EQ(why_not_allowed("route-twice"), std::nullopt);
  EXPECT_EQ(why_not_allowed("allow-unused"), std::nullopt);
  EXPECT_EQ(why_not_allowed("routes-twice"), "unknown rule \"routes-twice\"; did you mean \"route-twice\"?");
  EXPECT_EQ(why_not_allowed("syntax"),
            "\"syntax\" cannot be allowed: cmd_lanfab rejects the whole configuration");
}

TEST(Allow, WhatIsNotListedIsAllowedOnlyWithAllThatIs) {
  const std::string text = "{\n\"a\": 1,\n// lanfab: allow route-twice\n\"b\": 2}";
  Finding last = finding_of(text, "2", "route-twice");
  last.unlisted = 7;
  Judgement judgement = judgement_of(text, {finding_of(text, "1", "route-twice"), last}, {});
  ASSERT_EQ(judgement.findings.size(), 1U);
  EXPECT_EQ(judgement.findings[0].unlisted, 7U);
  ASSERT_EQ(judgement.allowed.size(), 1U);
  EXPECT_EQ(judgement.allowed[0].finding.unlisted, 0U);
  judgement = judgement_of(text, {last}, {});
  ASSERT_EQ(judgement.allowed.size(), 1U);
  EXPECT_EQ(judgement.allowed[0].finding.unlisted, 7U);
}

TEST(Allow, ACommentMayBeAboutAFindingThatIsNotListed) {
  const std::string text = "{\n\"a\": 1,\n// lanfab: allow route-twice\n\"b\": 2}";
  Finding finding = finding_of(text, "1", "route-twice");
  finding.unlisted = 1;
  EXPECT_EQ(left_of(judgement_of(text, {finding}, {})), Strings{"route-twice: message"});
}

TEST(Allow, OfWrongCommentsAThousandAreListed) {
  std::string text = "{";
  for (int i = 0; i < 1005; ++i)
    text += "\n// lanfab: allow route-twise";
  const Judgement judgement = judgement_of(text + "\n}", {}, {});
  ASSERT_EQ(judgement.findings.size(), 1000U);
  EXPECT_EQ(judgement.findings.back().unlisted, 5U);
  EXPECT_EQ(judgement.findings.back().message, "unknown rule \"route-twise\"; did you mean \"route-twice\"?");
}
