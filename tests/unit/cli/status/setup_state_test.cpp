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
  EXPECT_FALSE(is_pending_at(snapshot, "eth0"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_TRUE(is_pending_at(snapshot, "eth0"));
  snapshot.kernel.links["eth0"].has_carrier = false;
  EXPECT_FALSE(is_pending_at(snapshot, "eth0"));
  snapshot.kernel.links["eth0"].is_up = false;
  EXPECT_TRUE(is_pending_at(snapshot, "eth0"));
  snapshot.kernel.links.clear();
  EXPECT_TRUE(is_pending_at(snapshot, "eth0"));
  EXPECT_FALSE(is_pending_at(snapshot, "eth1")) << "systemd-networkd does not know it";
}

// By then udev has failed, or no DHCP server answers: waiting longer would not help.
TEST(SetupState, ASetupThatDoesNotProceedFor30SecondsIsOver) {
  for (const char* setup : {"pending", "initialized", "configuring"}) {
    Snapshot snapshot = gateway();
    snapshot.setup["eth0"] = setup;
    snapshot.units["eth0"].saved = 1000'900'000;
    snapshot.kernel.time = 1029;
    EXPECT_TRUE(is_being_set_up(snapshot, "eth0")) << setup;
    EXPECT_TRUE(is_pending_at(snapshot, "eth0")) << setup;
    snapshot.kernel.time = 1030;
    EXPECT_FALSE(is_being_set_up(snapshot, "eth0")) << setup;
    EXPECT_FALSE(is_pending_at(snapshot, "eth0")) << setup;
    snapshot.kernel.time = 900;
    EXPECT_TRUE(is_being_set_up(snapshot, "eth0")) << setup << ": the clock was set back";
    snapshot.units["eth0"].saved = 0;
    snapshot.kernel.time = 1030;
    EXPECT_TRUE(is_being_set_up(snapshot, "eth0")) << setup << ": unknown";
    snapshot.units.clear();
    EXPECT_TRUE(is_being_set_up(snapshot, "eth0")) << setup << ": no unit";
  }
}

TEST(SetupState, ARunMayStillSetUpWhatIsStuck) {
  Snapshot snapshot = gateway();
  snapshot.setup["eth0"] = "pending";
  snapshot.units["eth0"].saved = 1000'000'000;
  snapshot.kernel.time = 2000;
  EXPECT_TRUE(is_held_up_by_udev(snapshot, "eth0"));
  snapshot.lock = RunLockState{};
  snapshot.lock->is_held = true;
  EXPECT_TRUE(is_being_set_up(snapshot, "eth0"));
  EXPECT_FALSE(is_held_up_by_udev(snapshot, "eth0"));
}

TEST(SetupState, OnlyAPendingLinkIsHeldUpByUdev) {
  Snapshot snapshot = gateway();
  EXPECT_FALSE(is_held_up_by_udev(snapshot, "eth0"));
  EXPECT_FALSE(is_held_up_by_udev(snapshot, "eth1")) << "systemd-networkd does not know it";
  snapshot.setup["eth0"] = "pending";
  EXPECT_FALSE(is_held_up_by_udev(snapshot, "eth0")) << "it has just appeared";
  snapshot.units["eth0"].saved = 1000'000'000;
  snapshot.kernel.time = 1030;
  EXPECT_TRUE(is_held_up_by_udev(snapshot, "eth0"));
  snapshot.setup["eth0"] = "configuring";
  EXPECT_FALSE(is_held_up_by_udev(snapshot, "eth0"));
}
