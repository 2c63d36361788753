#include "cli/status/kernel_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel_states.h"

using ::testing::ElementsAre;

TEST(KernelDrift, WhatCouldNotBeReadIsNamed) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["eth0"].is_up = false;
  snapshot.kernel.links["eth0"].forwards = true;
  snapshot.forbids_forwarding = true;
  snapshot.kernel.rules = {{0, "local", "", ""}, {32766, "main", "", ""}, {50, "77", "", ""}};
  snapshot.kernel.errors = {"the routes: ip: no answer within 2 s"};
  EXPECT_THAT(
      described(find_kernel_drift, snapshot),
      ElementsAre("eth0: it is down", "eth0: forwarding is on, but the configuration does not enable it",
                  "policy rules: rule 50 for any packet, table 77, is not configured (surplus)",
                  "kernel: could not read the routes: ip: no answer within 2 s"));
}

TEST(KernelDrift, WhatIsPendingNeedsNoFix) {
  Snapshot snapshot = gateway();
  snapshot.kernel.links["gre-tun1"] = {true, true, 1476, "", std::nullopt, {}};
  EXPECT_EQ(found(find_kernel_drift, snapshot).front().fix, "ip link delete dev gre-tun1");
  snapshot.services[kNetworkd].state = "activating";
  EXPECT_EQ(found(find_kernel_drift, snapshot).front().fix, "");
}
