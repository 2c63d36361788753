#include "cli/graph/annotations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "libcmd/configuration_text.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

// A configuration with two ports, and a diagram of it.
class AnnotationsTest : public ::testing::Test {
 protected:
  AnnotationsTest() {
    EXPECT_FALSE(parse_configuration(text_, root_));
    diagram_ = {Node::Kind::kGateway, "gateway", "", {&root_}};
    for (const char* port : {"eth0", "eth1"}) {
      const Json::Value& location = root_["wired"][port];
      diagram_.children.push_back({Node::Kind::kLan, port, "", {&location}});
      diagram_.children.back().children = {{Node::Kind::kLine, "network", "", {&location["network"]}}};
    }
  }

  // A finding at the first occurrence of the character.
  Finding finding_at(const std::string& character) const {
    const auto offset = static_cast<std::ptrdiff_t>(text_.find(character));
    return {character, Severity::kError, {offset, offset + 1}, "", {}};
  }

  static Texts rules_of(const Node& node) {
    Texts rules;
    for (const Finding& finding : node.findings)
      rules.push_back(finding.rule);
    return rules;
  }

  const std::string text_ = R"({"a": 0, "wired": {"eth0": {"b": 0, "network": {"c": 0}, "d": 0}, "e": 0, )"
                            R"("eth1": {"network": {"f": 0}, "g": 0}}, "h": 0})";
  Json::Value root_;
  Node diagram_;
};

TEST_F(AnnotationsTest, AFindingGoesToTheInnermostPartAroundIt) {
  std::vector<Finding> findings;
  for (const char* character : {"\"a", "\"b", "\"c", "\"d", "\"e\"", "\"f", "\"g", "\"h"})
    findings.push_back(finding_at(character));
  mark(findings, diagram_);
  EXPECT_THAT(rules_of(diagram_), ElementsAre("\"a", "\"e\"", "\"h"));
  EXPECT_THAT(rules_of(diagram_.children[0]), ElementsAre("\"b", "\"d"));
  EXPECT_THAT(rules_of(diagram_.children[0].children[0]), ElementsAre("\"c"));
  EXPECT_THAT(rules_of(diagram_.children[1]), ElementsAre("\"g"));
  EXPECT_THAT(rules_of(diagram_.children[1].children[0]), ElementsAre("\"f"));
}

TEST_F(AnnotationsTest, TheFirstByteOfAValueIsInsideTheFirstAfterItIsNot) {
  const Json::Value& network = root_["wired"]["eth0"]["network"];
  Finding first = finding_at("");
  first.range.begin = network.getOffsetStart();
  Finding after = first;
  after.range.begin = network.getOffsetLimit();
  mark({first, after}, diagram_);
  EXPECT_EQ(diagram_.children[0].children[0].findings.size(), 1U);
  EXPECT_EQ(diagram_.children[0].findings.size(), 1U);
}

TEST_F(AnnotationsTest, OfTwoNodesWithOneLocationTheOuterOneGetsTheFinding) {
  diagram_.children[0].locations = {&root_["wired"]["eth0"]["network"]};
  mark({finding_at("\"c")}, diagram_);
  EXPECT_THAT(rules_of(diagram_.children[0]), ElementsAre("\"c"));
  EXPECT_THAT(rules_of(diagram_.children[0].children[0]), IsEmpty());
}

TEST_F(AnnotationsTest, ANodeMayHaveSeveralLocations) {
  diagram_.children[0].locations.push_back(&root_["wired"]["eth1"]);
  diagram_.children.pop_back();
  mark({finding_at("\"b"), finding_at("\"g")}, diagram_);
  EXPECT_THAT(rules_of(diagram_.children[0]), ElementsAre("\"b", "\"g"));
}
