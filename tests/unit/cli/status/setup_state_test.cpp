#include "cli/status/setup_state.h"

#include <gtest/gtest.h>

#include "kernel_states.h"

TEST(SetupState, SettlesWhileARunIsAtWork) {
  Snapshot snapshot = gateway();
  EXPECT_FALSE(is_settling(snapshot));
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = false;
  EXPECT_FALSE(is_settling(snapshot)) << "a stale lock";
  snapshot.lock->is_held = true;
  EXPECT_TRUE(is_settling(snapshot));
}

TEST(SetupState, SettlesForSomeSecondsOnceSystemdNetworkdHasStarted) {
  Snapshot snapshot = gateway();
  Service& service = snapshot.services[kNetworkd];
  service.since = 1000;
  snapshot.kernel.time = 1004;
  EXPECT_TRUE(is_settling(snapshot));
  snapshot.kernel.time = 1005;
  EXPECT_FALSE(is_settling(snapshot));
  snapshot.kernel.time = 999;
  EXPECT_FALSE(is_settling(snapshot)) << "the clock was set back";
  service.state = "failed";
  snapshot.kernel.time = 1000;
  EXPECT_FALSE(is_settling(snapshot));
  service.state = "activating";
  EXPECT_TRUE(is_settling(snapshot));
  snapshot.services.clear();
  EXPECT_FALSE(is_settling(snapshot));
}

TEST(SetupState, WhatAnInterfaceLacksComesWithTheCarrier) {
  Snapshot snapshot = gateway();
  EXPECT_FALSE(is_coming(snapshot, "eth0"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_TRUE(is_coming(snapshot, "eth0"));
  snapshot.kernel.links["eth0"].has_carrier = false;
  EXPECT_FALSE(is_coming(snapshot, "eth0"));
  snapshot.kernel.links["eth0"].is_up = false;
  EXPECT_TRUE(is_coming(snapshot, "eth0"));
  snapshot.kernel.links.clear();
  EXPECT_TRUE(is_coming(snapshot, "eth0"));
  EXPECT_FALSE(is_coming(snapshot, "eth1")) << "systemd-networkd does not know it";
}
