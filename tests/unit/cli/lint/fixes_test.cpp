#include "cli/lint/fixes.h"

#include <gtest/gtest.h>

#include "cli/config_file/edit.h"
#include "cli/lint/rules.h"
#include "libcmd/configuration_text.h"

static std::vector<Finding> findings_in(const std::string& text) {
  Source source{"network.json", text, {}};
  EXPECT_FALSE(parse_configuration(source.text, source.root).has_value()) << text;
  Judgement judgement = judgement_of(text, examine(source), {});
  settle_fixes(text, judgement);
  return judgement.findings;
}

// The text after all fixes, which are applied at once.
static std::string fixed(const std::string& text) {
  std::vector<Finding> findings = findings_in(text);
  return apply_edits(text, all_edits(findings));
}

// A port whose "network" object has these members and the others that every port needs.
static std::string port_with(const std::string& network, const std::string& name = "eth0") {
  return "\"" + name + R"(": {"enable": true, "network": {"mode": "router", "protocol": "static", )" +
         network + "}}";
}

static std::string ports(const std::string& some) {
  return "{\"wired\": {" + some + R"(}, "firewall": {"general": {"router": 1}}})";
}

constexpr char kSound[] = R"("ipv4": "10.1.0.1", "netmask": 24)";

TEST(Fixes, AllAreAppliedAtOnce) {
  EXPECT_EQ(fixed(ports(port_with(R"("ipv4": "10.1.0.1/24", "netmask": 24)") + ", " +
                        port_with(R"("ipv4": "10.2.0.1", "netmask": "24")", "eth1"))),
            ports(port_with(kSound) + ", " + port_with(R"("ipv4": "10.2.0.1", "netmask": 24)", "eth1")));
}

TEST(Fixes, WhatAFixUncoversIsFixedWithIt) {
  EXPECT_EQ(fixed(ports(R"("eth0": {"enable": true, "netwrk": {"mode": "router", "protocol": "static", )"
                        R"("ipv4": "10.1.0.1", "netmaks": "255.255.255.0"}})")),
            ports(port_with(kSound)));
}

TEST(Fixes, AFixThatUncoversAMistakeIsNotCertain) {
  // With its netmask, the second network is the same as the first.
  const std::string text =
      ports(port_with(kSound) + ", " + port_with(R"("ipv4": "10.1.0.2", "netmaks": 24)", "eth1"));
  for (const Finding& finding : findings_in(text))
    EXPECT_TRUE(finding.details.fix.empty()) << finding.message;
}

TEST(Fixes, AFixDoesNotSpoilOthers) {
  const std::string mistake = R"("gateway": "10.1.0.9", "netmsk": 24, "netmaks": 24, "metric": "5")";
  std::vector<Finding> findings = findings_in(ports(port_with(R"("ipv4": "10.1.0.1", )" + mistake)));
  std::vector<std::string> replacements;
  for (const Edit& edit : all_edits(findings))
    replacements.push_back(edit.replacement);
  // Only one of the two misspelled keys can become "netmask".
  EXPECT_EQ(replacements, (std::vector<std::string>{"\"netmask\"", "5"}));
}

TEST(Fixes, BlanksAndALengthOf32AreRemoved) {
  const auto dhcp = [](const std::string& start, const std::string& end) {
    return ports(port_with(std::string(kSound) + R"(, "dhcp": {"enable": true, "start": )" + start +
                           ", \"end\": " + end + "}"));
  };
  EXPECT_EQ(fixed(dhcp(R"("  10.1.0.10")", R"(" 10.1.0.20/32 ")")), dhcp(R"("10.1.0.10")", R"("10.1.0.20")"));
  // Without blanks and "/32", these strings would still be invalid.
  for (const char* end : {R"(" ")", R"("10.1.0.2x ")", R"("10.1.0.20/31")", R"("10.1.0/32")"})
    EXPECT_EQ(fixed(dhcp(R"("10.1.0.10")", end)), dhcp(R"("10.1.0.10")", end));
}

TEST(Fixes, AFindingInOtherWordsIsNotNew) {
  // The message about "eth7" can only suggest a port once that port is enabled.
  const std::string route = R"("static_routes": [{"enable": true, "interface": "eth7", "ipv4": "10.9.0.0", )"
                            R"("netmask": 16}]})";
  EXPECT_EQ(
      fixed(R"({"wired": {"eth0": {"enabel": true, "network": {"mode": "router", "protocol": "static", )" +
            std::string(kSound) + "}}}, " + route),
      "{\"wired\": {" + port_with(kSound) + "}, " + route);
}

TEST(Fixes, ALargeTextGetsNone) {
  const std::string blanks(300'000, ' ');
  std::vector<Finding> findings =
      findings_in(ports(port_with(R"("ipv4": "10.1.0.1", "netmask": "24")")) + blanks);
  ASSERT_FALSE(findings.empty());
  EXPECT_TRUE(all_edits(findings).empty());
}

// Each fix uncovers another mistake, so the fixes are tried one by one.
TEST(Fixes, ManyAreTriedUpToALimit) {
  std::string routes;
  for (int number = 0; number < 600; ++number)
    routes += R"(, {"enabel": true, "interface": "eth9", "ipv4": "10.0.0.0", "netmask": 8})";
  std::vector<Finding> findings = findings_in("{\"static_routes\": [" + routes.substr(2) + "]}");
  EXPECT_GE(findings.size(), 600U);
  EXPECT_TRUE(all_edits(findings).empty());
}

TEST(Fixes, WhatWasNotListedIsNotNew) {
  std::string hosts;
  std::string sound;
  for (int number = 0; number < 1'200; ++number) {
    const std::string name = "{\"name\": \"h" + std::to_string(number) + "\", \"ipv4\": \"10.0.0.1";
    hosts += (number > 0 ? ", " : "") + name + (number < 1'000 ? " \"}" : "x\"}");
    sound += (number > 0 ? ", " : "") + name + (number < 1'000 ? "\"}" : "x\"}");
  }
  EXPECT_EQ(fixed("{\"hostnames\": [" + hosts + "]}"), "{\"hostnames\": [" + sound + "]}");
}

TEST(Fixes, OfThoseThatOverlapTheFirstStays) {
  const auto finding = [](std::ptrdiff_t begin, std::ptrdiff_t end) {
    return Finding{"rule", Severity::kError, {begin, end}, "", {{}, {{{begin, end}, "x"}}}};
  };
  std::vector<Finding> findings = {finding(5, 8), finding(7, 9), finding(1, 6), finding(8, 9)};
  EXPECT_EQ(all_edits(findings).size(), 2U);
  EXPECT_TRUE(findings[1].details.fix.empty());
  EXPECT_TRUE(findings[2].details.fix.empty());
}

TEST(Fixes, AFindingThatWasNotListedIsNotNew) {
  std::string routes = R"({"netmask": "24"})";
  for (std::size_t i = 0; i < kMostListed; ++i)
    routes += R"(,{"netmask": "x"})";
  const std::vector<Finding> findings = findings_in("{\"static_routes\": [" + routes + "]}");
  // The first finding is about the missing "enable".
  ASSERT_GT(findings.size(), 1U);
  EXPECT_EQ(findings[1].rule, "wrong-type");
  EXPECT_EQ(findings[1].details.fix.size(), 1U);
}
