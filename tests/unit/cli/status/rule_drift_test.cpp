#include "cli/status/rule_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static std::vector<std::string> rule_drift_of(const Snapshot& snapshot) {
  return described(find_rule_drift, snapshot);
}

static std::string rule_fix_of(const Snapshot& snapshot) {
  return found(find_rule_drift, snapshot).front().fix;
}

static Snapshot gateway_with_rules() {
  Snapshot snapshot = gateway();
  snapshot.kernel.rules = {{0, "local", "", ""}, {32766, "main", "", ""}, {32767, "default", "", ""}};
  return snapshot;
}

TEST(RuleDrift, TheRulesOfTheKernel) {
  EXPECT_THAT(rule_drift_of(gateway_with_rules()), IsEmpty());
}

TEST(RuleDrift, ARuleThatIsNotFromTheConfiguration) {
  struct {
    KernelRule rule;
    const char* expected;
  } const cases[] = {
      {{50, "77", "", ""}, "policy rules: rule 50 for any packet, table 77, is not configured (surplus)"},
      {{50, "77", "from 10.8.0.1", ""},
       "policy rules: rule 50 for packets from 10.8.0.1, table 77, is not configured (surplus)"},
      {{50, "", "to 10.20.0.0/16", ""},
       "policy rules: rule 50 for packets to 10.20.0.0/16 is not configured (surplus)"},
      {{50, "main", "", "0"},
       "policy rules: rule 50 for any packet, table main, is not configured "
       "(surplus)"},
      {{0, "main", "", ""}, "policy rules: rule 0 for any packet, table main, is not configured (surplus)"},
      {{32766, "77", "", ""},
       "policy rules: rule 32766 for any packet, table 77, is not configured (surplus)"},
      {{32767, "main", "", ""},
       "policy rules: rule 32767 for any packet, table main, is not configured (surplus)"},
      {{50, "default", "", ""},
       "policy rules: rule 50 for any packet, table default, is not configured (surplus)"},
  };
  for (const auto& [rule, expected] : cases) {
    Snapshot snapshot = gateway_with_rules();
    snapshot.kernel.rules.push_back(rule);
    EXPECT_THAT(rule_drift_of(snapshot), ElementsAre(expected));
    EXPECT_EQ(rule_fix_of(snapshot), "ip rule del pref " + std::to_string(rule.priority));
  }
}

TEST(RuleDrift, TheRulesOfTheKernelAreNeeded) {
  Snapshot snapshot = gateway_with_rules();
  snapshot.kernel.rules.erase(snapshot.kernel.rules.begin() + 1);
  EXPECT_THAT(rule_drift_of(snapshot), ElementsAre("policy rules: the rule for the table main is missing"));
  EXPECT_EQ(rule_fix_of(snapshot), "ip rule add pref 32766 table main protocol kernel");
  snapshot = gateway_with_rules();
  snapshot.kernel.rules.erase(snapshot.kernel.rules.begin());
  EXPECT_THAT(rule_drift_of(snapshot), ElementsAre("policy rules: the rule for the table local is missing"));
}

TEST(RuleDrift, ARuleThatDropsPacketsDivertsThem) {
  Snapshot snapshot = gateway_with_rules();
  EXPECT_EQ(diverting_rule(snapshot, std::nullopt), nullptr);
  EXPECT_EQ(diverting_rule(snapshot, RouteChoice{"eth0", "", ""}), nullptr);
  snapshot.kernel.rules.push_back({50, "", "", ""});
  EXPECT_EQ(diverting_rule(snapshot, RouteChoice{"eth0", "", ""}), nullptr);
  EXPECT_EQ(diverting_rule(snapshot, RouteChoice{"eth0", "", "77"}), nullptr);
  ASSERT_NE(diverting_rule(snapshot, std::nullopt), nullptr);
  EXPECT_EQ(diverting_rule(snapshot, std::nullopt)->priority, 50);
}

static Snapshot gateway_with_wireguard() {
  Snapshot snapshot = gateway_with_rules();
  snapshot.wanted.interfaces["wg0"].rules = {{"51820", "51820", true, ""}, {"main", "", false, "0"}};
  snapshot.kernel.links["wg0"] = {true, true, 1420, "", std::nullopt, {}};
  snapshot.kernel.rules.push_back({32764, "main", "", "0"});
  snapshot.kernel.rules.push_back({32765, "51820", "not fwmark 0xca6c", ""});
  return snapshot;
}

TEST(RuleDrift, TheRulesOfWireguard) {
  Snapshot snapshot = gateway_with_wireguard();
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty());
  snapshot.kernel.rules.pop_back();
  EXPECT_THAT(rule_drift_of(snapshot), ElementsAre("wg0: the policy rule for table 51820 is missing"));
  EXPECT_EQ(rule_fix_of(snapshot), "networkctl reconfigure wg0");
  snapshot.setup["wg0"] = "configuring";
  EXPECT_THAT(rule_drift_of(snapshot),
              ElementsAre("wg0: the policy rule for table 51820 is missing (pending)"));
  snapshot.kernel.links.erase("wg0");
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty()) << "the interface is missing";
  snapshot = gateway_with_wireguard();
  snapshot.kernel.rules.clear();
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty()) << "they could not be read";
  snapshot = gateway_with_wireguard();
  snapshot.wanted.interfaces["wg0"].rules.push_back({"52", "7", false, ""});
  snapshot.kernel.rules.push_back({7, "52", "fwmark 0x7", ""});
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty());
}

TEST(RuleDrift, TheTablesForRepliesToTunnels) {
  Snapshot snapshot = gateway_with_rules();
  snapshot.wanted.reply_gateways = {{"gre-tun2", "10.255.2.1"}};
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty()) << "there is no tunnel";
  snapshot.kernel.links["gre-tun2"] = {true, true, 1476, "", std::nullopt, {}};
  snapshot.kernel.rules.push_back({40000, "309", "iif gre-tun2", ""});
  EXPECT_THAT(rule_drift_of(snapshot), ElementsAre("gre-tun2: the routing table 309 for replies is empty"));
  EXPECT_EQ(rule_fix_of(snapshot), "/usr/bin/route_table_add 309 gre-tun2 10.255.2.1");
  snapshot.setup["gre-tun2"] = "configuring";
  EXPECT_THAT(rule_drift_of(snapshot),
              ElementsAre("gre-tun2: the routing table 309 for replies is empty (pending)"));
  snapshot.kernel.routes.push_back({"default", "10.255.2.1", "gre-tun2", 0, false, "309", "boot"});
  EXPECT_THAT(rule_drift_of(snapshot), IsEmpty());
  // The name of this tunnel does not belong to any routing table.
  snapshot.wanted.reply_gateways = {{"tun0", "10.255.2.1"}};
  EXPECT_THAT(
      rule_drift_of(snapshot),
      ElementsAre(
          "policy rules: rule 40000 for packets iif gre-tun2, table 309, is not configured (surplus)"));
}
