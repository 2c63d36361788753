#include "cli/graph/shorten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;

using Texts = std::vector<std::string>;

static const Finding kFinding{"some-rule", Severity::kError, {}, "message", {}};

// A node with this number of children, named "0", "1" and so on.
static Node node_with(Node::Kind kind, int count) {
  Node node{Node::Kind::kGateway, "gateway", ""};
  for (int i = 0; i < count; ++i)
    node.children.push_back({kind, std::to_string(i), ""});
  return node;
}

// The names of the remaining children; for the one that replaces the others, its text.
static Texts names_in(const Node& node) {
  Texts names;
  for (const Node& inner : node.children)
    names.push_back(inner.name.empty() ? inner.text : inner.name);
  return names;
}

TEST(Shorten, AShortListStaysWhole) {
  for (const Node::Kind kind : {Node::Kind::kLine, Node::Kind::kLan}) {
    Node node = node_with(kind, 8);
    summarize(node);
    EXPECT_EQ(node.children.size(), 8U);
  }
}

TEST(Shorten, OfALongListTheFirstStay) {
  Node node = node_with(Node::Kind::kLan, 9);
  summarize(node);
  EXPECT_THAT(names_in(node), ElementsAre("0", "1", "2", "3", "and 5 more, not shown"));
  EXPECT_EQ(node.children.back().kind, Node::Kind::kAside);
}

TEST(Shorten, WhatStandsForLinesIsALine) {
  Node node = node_with(Node::Kind::kLine, 9);
  summarize(node);
  EXPECT_THAT(names_in(node), ElementsAre("0", "1", "2", "3", "and 5 more, not shown"));
  EXPECT_EQ(node.children.back().kind, Node::Kind::kLine);
}

TEST(Shorten, SomeOfThoseWithFindingsStayToo) {
  Node node = node_with(Node::Kind::kLan, 20);
  for (const std::size_t marked : std::vector<std::size_t>{1, 6, 8, 10, 12, 14, 16})
    node.children[marked].findings = {kFinding};
  summarize(node);
  EXPECT_THAT(names_in(node), ElementsAre("0", "1", "2", "3", "6", "8", "10", "12",
                                          "and 12 more, not shown, 2 of them with findings"));
}

TEST(Shorten, AFindingFurtherInsideCounts) {
  Node node = node_with(Node::Kind::kLan, 9);
  node.children[7].children = {{Node::Kind::kLine, "line", ""}};
  node.children[7].children[0].findings = {kFinding};
  summarize(node);
  EXPECT_THAT(names_in(node), ElementsAre("0", "1", "2", "3", "7", "and 4 more, not shown"));
}

TEST(Shorten, NothingStandsForNothing) {
  Node node = node_with(Node::Kind::kLan, 9);
  for (const std::size_t marked : std::vector<std::size_t>{4, 5, 6, 7})
    node.children[marked].findings = {kFinding};
  node.children.erase(node.children.begin() + 8);
  node.children.insert(node.children.begin(), {Node::Kind::kLine, "line", ""});
  summarize(node);
  EXPECT_EQ(node.children.size(), 9U) << "eight boxes and a line are two short lists";
}

TEST(Shorten, EveryLevelIsShortened) {
  Node node = node_with(Node::Kind::kLan, 1);
  node.children[0] = node_with(Node::Kind::kLine, 30);
  summarize(node);
  EXPECT_THAT(names_in(node.children[0]), ElementsAre("0", "1", "2", "3", "and 26 more, not shown"));
}

TEST(Shorten, OfManyFindingsTheFirstStay) {
  Node node = node_with(Node::Kind::kLine, 1);
  node.findings.assign(8, kFinding);
  summarize(node);
  EXPECT_EQ(node.findings.size(), 8U);
  node.findings.assign(9, kFinding);
  summarize(node);
  EXPECT_EQ(node.findings.size(), 4U);
  EXPECT_THAT(names_in(node), ElementsAre("and 5 more findings, not shown", "0"));
}
