#include "cli/graph/shorten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;

using Texts = std::vector<std::string>;

static const Finding kFinding{"some-rule", Severity::kError, {}, "message", {}};

// A part that holds so many, named from 0.
static Part part_with(Part::Kind kind, int count) {
  Part part{Part::Kind::kGateway, "gateway", ""};
  for (int i = 0; i < count; ++i)
    part.parts.push_back({kind, std::to_string(i), ""});
  return part;
}

// The names of the parts that are left, or the text of the one that stands for others.
static Texts names_in(const Part& part) {
  Texts names;
  for (const Part& inner : part.parts)
    names.push_back(inner.name.empty() ? inner.text : inner.name);
  return names;
}

TEST(Shorten, AShortListStaysWhole) {
  for (const Part::Kind kind : {Part::Kind::kLine, Part::Kind::kLan}) {
    Part part = part_with(kind, 8);
    summarize(part);
    EXPECT_EQ(part.parts.size(), 8U);
  }
}

TEST(Shorten, OfALongListTheFirstStay) {
  Part part = part_with(Part::Kind::kLan, 9);
  summarize(part);
  EXPECT_THAT(names_in(part), ElementsAre("0", "1", "2", "3", "and 5 more, not shown"));
  EXPECT_EQ(part.parts.back().kind, Part::Kind::kAside);
}

TEST(Shorten, WhatStandsForLinesIsALine) {
  Part part = part_with(Part::Kind::kLine, 9);
  summarize(part);
  EXPECT_THAT(names_in(part), ElementsAre("0", "1", "2", "3", "and 5 more, not shown"));
  EXPECT_EQ(part.parts.back().kind, Part::Kind::kLine);
}

TEST(Shorten, SomeOfThoseWithFindingsStayToo) {
  Part part = part_with(Part::Kind::kLan, 20);
  for (const std::size_t marked : std::vector<std::size_t>{1, 6, 8, 10, 12, 14, 16})
    part.parts[marked].findings = {kFinding};
  summarize(part);
  EXPECT_THAT(names_in(part), ElementsAre("0", "1", "2", "3", "6", "8", "10", "12",
                                          "and 12 more, not shown, 2 of them with findings"));
}

TEST(Shorten, AFindingFurtherInsideCounts) {
  Part part = part_with(Part::Kind::kLan, 9);
  part.parts[7].parts = {{Part::Kind::kLine, "line", ""}};
  part.parts[7].parts[0].findings = {kFinding};
  summarize(part);
  EXPECT_THAT(names_in(part), ElementsAre("0", "1", "2", "3", "7", "and 4 more, not shown"));
}

TEST(Shorten, NothingStandsForNothing) {
  Part part = part_with(Part::Kind::kLan, 9);
  for (const std::size_t marked : std::vector<std::size_t>{4, 5, 6, 7})
    part.parts[marked].findings = {kFinding};
  part.parts.erase(part.parts.begin() + 8);
  part.parts.insert(part.parts.begin(), {Part::Kind::kLine, "line", ""});
  summarize(part);
  EXPECT_EQ(part.parts.size(), 9U) << "eight boxes and a line are two short lists";
}

TEST(Shorten, EveryLevelIsShortened) {
  Part part = part_with(Part::Kind::kLan, 1);
  part.parts[0] = part_with(Part::Kind::kLine, 30);
  summarize(part);
  EXPECT_THAT(names_in(part.parts[0]), ElementsAre("0", "1", "2", "3", "and 26 more, not shown"));
}

TEST(Shorten, OfManyFindingsTheFirstStay) {
  Part part = part_with(Part::Kind::kLine, 1);
  part.findings.assign(8, kFinding);
  summarize(part);
  EXPECT_EQ(part.findings.size(), 8U);
  part.findings.assign(9, kFinding);
  summarize(part);
  EXPECT_EQ(part.findings.size(), 4U);
  EXPECT_THAT(names_in(part), ElementsAre("and 5 more findings, not shown", "0"));
}
