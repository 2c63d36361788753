#include "cli/status/text_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using ::testing::EndsWith;
using ::testing::HasSubstr;

class TextReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
  }

  std::string text(const std::vector<Drift>& drift = {}, bool messages = false) const {
    return text_of(snapshot_, {drift, {}, {}}, messages, false);
  }

  Snapshot snapshot_;
};

TEST_F(TextReportTest, TheCellularLinkIsShownAsFarAsItIsKnown) {
  EXPECT_THAT(text(), HasSubstr("Cellular link\n  not connected\n"));
  snapshot_.cellular = {
      true, "wwan0", "10.64.1.2", "30", "10.64.1.1", "1430", {"198.51.100.53", "203.0.113.53"}};
  EXPECT_THAT(text(),
              HasSubstr("Cellular link\n  connected: wwan0 10.64.1.2/30, gateway 10.64.1.1, MTU 1430\n"
                        "  name servers 198.51.100.53, 203.0.113.53\n"));
  snapshot_.cellular.prefix.clear();
  EXPECT_THAT(text(), HasSubstr("connected: wwan0 10.64.1.2, gateway"));
}

TEST_F(TextReportTest, AServiceIsShownWithItsFailure) {
  snapshot_.services["dnsmasq"] = {"failed", "dead", "exit-code", 1795291200};
  EXPECT_THAT(text(), HasSubstr("  dnsmasq           failed (dead, exit-code) since 2026-11-21 20:00:00\n"));
  snapshot_.services["dnsmasq"] = {"inactive", "dead", "success", 0};
  EXPECT_THAT(text(), HasSubstr("  dnsmasq           inactive (dead)\n"));
  snapshot_.services["dnsmasq"] = {"inactive", "dead", "", 0};
  EXPECT_THAT(text(), HasSubstr("  dnsmasq           inactive (dead)\n"));
}

TEST_F(TextReportTest, ATrialIsShownWithoutWhatATerminalWouldExecute) {
  EXPECT_THAT(text(), testing::Not(HasSubstr("Trial")));
  snapshot_.trial = TrialState{"anna", "\033[2J.json"};
  EXPECT_THAT(text(), HasSubstr("Trial\n      ?[2J.json on trial by anna for "));
}

TEST_F(TextReportTest, TheEndOfTheLastTrialIsShown) {
  snapshot_.last_trial = Outcome{"7", "anna", "new.json", Ending::kRolledBack, "by anna", "", "", 1795291200};
  EXPECT_THAT(text(), HasSubstr("Last trial\n      new.json, tried by anna, was rolled back at 2026-11-21 "
                                "20:00:00 by anna\n"));
}

TEST_F(TextReportTest, TheRunsAtTheLockAreCounted) {
  snapshot_.lock = RunLockState{1795291200, true, 1};
  EXPECT_THAT(text(), HasSubstr("Lock\n  since 2026-11-21 20:00:00, 1 run of cmd_lanfab"));
  snapshot_.lock->runs = 2;
  EXPECT_THAT(text(), HasSubstr("2 runs of cmd_lanfab"));
}

TEST_F(TextReportTest, ALongMessageIsBrokenAtItsBlanks) {
  const std::string half(40, 'x');
  const std::string whole(80, 'y');
  snapshot_.runs.push_back(
      {"APPLY", 0, 0, LastRun::End::kRunning, {{5, half + " " + half}, {5, whole + "\n"}}});
  EXPECT_THAT(text({}, true), HasSubstr("\n      " + half + "\n      " + half + "\n      " + whole + "\n"));
  EXPECT_THAT(text({}, false), testing::Not(HasSubstr(half)));
}

TEST_F(TextReportTest, TheLastLineCountsTheDifferences) {
  const Drift drift{"eth0", "there is no carrier", false, "nothing passes", ""};
  const Drift pending{"eth0", "it is down", true, "", ""};
  EXPECT_THAT(text({drift}), EndsWith("\n1 difference.\n"));
  EXPECT_THAT(text({drift, drift}), EndsWith("\n2 differences.\n"));
  EXPECT_THAT(text({pending}), EndsWith("\n1 pending.\n"));
  EXPECT_THAT(text({pending, pending}), EndsWith("\n2 pending.\n"));
  EXPECT_THAT(text({drift, pending}), EndsWith("\n1 difference, 1 pending.\n"));
}

TEST_F(TextReportTest, ADifferenceIsShownWithWhyItMattersAndItsFix) {
  snapshot_.services["dnsmasq"] = {"failed", "dead", "exit-code", 0};
  EXPECT_THAT(
      text({{"dnsmasq", "it is not active", false, "hosts get no names", "systemctl restart dnsmasq"}}),
      HasSubstr("! dnsmasq           failed (dead, exit-code)\n"
                "!     it is not active: hosts get no names\n"
                "!     fix: systemctl restart dnsmasq\n"));
}

TEST_F(TextReportTest, DifferencesWithTheSameFixShareItsLine) {
  snapshot_.services["dnsmasq"];
  EXPECT_THAT(
      text({{"dnsmasq", "one", false, "", "a"},
            {"dnsmasq", "two", true, "", "a"},
            {"dnsmasq", "three", false, "", "b"},
            {"dnsmasq", "four", false, "", ""}}),
      HasSubstr("!     one\n~     two (pending)\n~     fix: a\n!     three\n!     fix: b\n!     four\n"));
}

TEST_F(TextReportTest, FilesWithTheSameFixShareItsLines) {
  EXPECT_THAT(
      text({{"/var/run/hosts\033", "it is missing", false, "names are unknown", "cmd_lanfab dnsmasq"},
            {"/var/run/resolv.conf", "it was edited", false, "names are unknown", "cmd_lanfab dnsmasq"},
            {"/var/run/dnsmasq.conf", "it was edited", true, "names are unknown", ""}}),
      HasSubstr("Files\n"
                "  /etc/lanfab/network.json\n"
                "! /var/run/hosts?: it is missing\n"
                "! /var/run/resolv.conf: it was edited\n"
                "!     names are unknown\n"
                "!     fix: cmd_lanfab dnsmasq\n"
                "~ /var/run/dnsmasq.conf: it was edited (pending)\n"
                "~     names are unknown\n"
                "\n"));
}

TEST_F(TextReportTest, TheConfigurationIsTheFirstOfTheFiles) {
  EXPECT_THAT(text({{"/etc/lanfab/network.json", "it is missing", false, "the next run fails", ""}}),
              HasSubstr("Files\n"
                        "! /etc/lanfab/network.json\n"
                        "!     it is missing: the next run fails\n\n"));
}

TEST_F(TextReportTest, ASubjectWithoutASectionIsShownAmongTheOthers) {
  EXPECT_THAT(text({{"routes", "there is a rule", true, "", ""}, {"names", "no answer", false, "", "x"}}),
              HasSubstr("\nOther\n~ routes\n~     there is a rule (pending)\n"
                        "! names\n!     no answer\n!     fix: x\n"));
}

TEST_F(TextReportTest, AnAlarmOfATrialStandsFirst) {
  const std::string begin = "Trial\n!     a configuration is on trial\n!     its timer is gone\n";
  EXPECT_EQ(text({{"trial", "its timer is gone", false, "", ""}}).compare(0, begin.size(), begin), 0);
}

TEST_F(TextReportTest, WhatIsAllowedAndWhatCouldNotBeCheckedIsListed) {
  const StatusFindings findings{
      {}, {{"eth0", "the address 10.0.0.1/32", false, "", ""}}, {"the files: why\033"}};
  const std::string allowed = "\033[1mAllowed\033[0m\n\033[2m  eth0: the address 10.0.0.1/32\033[0m\n";
  EXPECT_THAT(text_of(snapshot_, findings, false, true), HasSubstr(allowed));
  EXPECT_THAT(text_of(snapshot_, findings, false, false),
              EndsWith("Allowed\n  eth0: the address 10.0.0.1/32\n\n"
                       "Not checked\n  the files: why?\n\n"
                       "No drift in what could be checked.\n"));
}
