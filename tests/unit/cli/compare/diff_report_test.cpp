#include "cli/compare/diff_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

constexpr char kFile[] = "/etc/one";

static FilesByPath file_with(const std::string& content, mode_t mode = 0644) {
  return {{kFile, {kFile, mode, content}}};
}

static DiffReport report_on(const FilesByPath& before, const FilesByPath& after) {
  return {{}, {}, find_differences(before, after)};
}

TEST(DiffReport, ColorsADifferenceAsGitDoes) {
  const FilesByPath before = file_with("same\n-- old\n");
  const FilesByPath after = file_with("same\n++ new\n\n");
  EXPECT_EQ(differences_text(report_on(before, after), true, true),
            "\033[1m--- /etc/one\033[0m\n\033[1m+++ /etc/one\033[0m\n\033[36m@@ -1,2 +1,3 @@\033[0m\n same\n"
            "\033[31m--- old\033[0m\n\033[32m+++ new\033[0m\n\033[32m+\033[0m\n");
}

TEST(DiffReport, NamesAnotherMode) {
  const FilesByPath before = file_with("x\n");
  const FilesByPath after = file_with("x\n", 0755);
  const DiffReport report = report_on(before, after);
  EXPECT_EQ(differences_text(report, false, false), "mode 0644 becomes 0755: /etc/one\n");
  EXPECT_EQ(diff_json(report)["files"][0]["new_mode"].asString(), "0755");
}

TEST(DiffReport, ReplacesWhatATerminalWouldExecute) {
  const FilesByPath after = file_with("\033[2J\n");
  const DiffReport report = report_on({}, after);
  EXPECT_EQ(differences_text(report, true, false), "--- /dev/null\n+++ /etc/one\n@@ -0,0 +1,1 @@\n+?[2J\n");
  EXPECT_EQ(differences_text(report, false, false),
            "--- /dev/null\n+++ /etc/one\n@@ -0,0 +1,1 @@\n+\033[2J\n");
}

TEST(DiffReport, ListsInterruptsUnderAHeading) {
  const FilesByPath after = file_with("x\n");
  DiffReport report = report_on({}, after);
  report.interrupts = {{"service", {"dnsmasq"}, "dnsmasq restarts"}};
  EXPECT_EQ(summary_text(report, false), "Interrupts:\n  dnsmasq restarts\n");
  report.sentences = {"eth0 is new"};
  EXPECT_EQ(summary_text(report, true), "eth0 is new\n\n\033[1mInterrupts:\033[0m\n  dnsmasq restarts\n");
}

TEST(DiffReport, WithoutDifferencesNothingIsInterrupted) {
  DiffReport report;
  report.interrupts = {{"service", {"dnsmasq"}, "dnsmasq restarts"}};
  EXPECT_EQ(summary_text(report, false), "");
}
