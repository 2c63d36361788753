#include "cli/status/nagios_report.h"

#include <gtest/gtest.h>

static Drift drift(const std::string& subject, bool is_pending = false) {
  return {subject, "it is down", is_pending, "nothing passes", "ip link set eth0 up"};
}

static void expect(const StatusFindings& findings, int status, const std::string& line) {
  const NagiosReport report = nagios_report_of(findings);
  EXPECT_EQ(report.status, status);
  EXPECT_EQ(report.line, line);
}

TEST(NagiosReport, WithoutDriftItIsOk) {
  expect({}, 0, "LANFAB OK - no drift | drift=0 pending=0 allowed=0\n");
  expect({{}, {drift("eth0")}, {}}, 0, "LANFAB OK - no drift | drift=0 pending=0 allowed=1\n");
}

TEST(NagiosReport, WhatIsPendingIsAWarning) {
  expect({{drift("eth0", true)}, {}, {}}, 1,
         "LANFAB WARNING - eth0: it is down (pending) | drift=0 pending=1 allowed=0\n");
}

TEST(NagiosReport, DriftIsCriticalAndComesFirst) {
  expect({{drift("a", true), drift("b"), drift("c"), drift("d"), drift("e")}, {}, {"the trial"}}, 2,
         "LANFAB CRITICAL - b: it is down; c: it is down; d: it is down; 2 more"
         " | drift=4 pending=1 allowed=0\n");
}

TEST(NagiosReport, WhatCouldNotBeCheckedIsUnknown) {
  expect({{}, {}, {"the trial: x", "the files: y"}}, 3,
         "LANFAB UNKNOWN - not checked: the trial: x; the files: y | drift=0 pending=0 allowed=0\n");
  EXPECT_EQ(nagios_report_of("ip: Permission denied").status, 3);
  EXPECT_EQ(nagios_report_of("ip: Permission denied").line, "LANFAB UNKNOWN - ip: Permission denied\n");
}

TEST(NagiosReport, IsOneLineWithoutASecondBar) {
  expect({{drift("a|b\n\033")}, {}, {}}, 2,
         "LANFAB CRITICAL - a/b??: it is down | drift=1 pending=0 allowed=0\n");
}
