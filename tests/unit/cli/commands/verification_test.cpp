#include "cli/commands/verification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/live/trial_state.h"

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

static const IsActive kAlways = [] { return true; };
static const IsActive kNever = [] { return false; };

static Drift drift(const std::string& subject, const std::string& what) {
  Drift one;
  one.subject = subject;
  one.what = what;
  return one;
}

static ObservedDrift error(const std::string& text) {
  return {{}, text};
}

TEST(VerificationTest, OnlyWhatWasNotThereBeforeIsNew) {
  const ObservedDrift before{{drift("eth0", "there is no carrier"), drift("eth1", "it is down")}, {}};
  const ObservedDrift now{{drift("eth0", "there is no carrier"), drift("eth0", "it is down")}, {}};
  EXPECT_THAT(new_drift(before, now),
              ElementsAre(AllOf(Field(&Drift::subject, "eth0"), Field(&Drift::what, "it is down"))));
}

// If a DHCP server did not answer before the trial either, it does not matter that systemd-networkd sends
// another request.
TEST(VerificationTest, WhatWasMissingBeforeMayBePendingAgain) {
  const ObservedDrift before{{drift("eth0", "an address from DHCP is missing")}, {}};
  ObservedDrift now = before;
  now.drift.front().is_pending = true;
  EXPECT_THAT(new_drift(before, now), IsEmpty());
  EXPECT_THAT(new_drift(now, before), IsEmpty());
  now.drift.front().subject = "eth1";
  EXPECT_THAT(new_drift(before, now), SizeIs(1));
}

TEST(VerificationTest, WhatNoUnitAsksForIsNot) {
  ObservedDrift now{{drift("gre1", "it exists in the kernel, but is not configured")}, {}};
  now.drift.front().is_surplus = true;
  EXPECT_THAT(new_drift({}, now), IsEmpty());
}

TEST(VerificationTest, ThatThereIsNothingToSeeAnyMoreIsNew) {
  EXPECT_THAT(
      new_drift({}, error("ip: no answer")),
      ElementsAre(AllOf(Field(&Drift::subject, "lanfab status"), Field(&Drift::what, "ip: no answer"))));
  EXPECT_THAT(new_drift(error("this is not a gateway"), error("ip: no answer")), IsEmpty());
}

// The sandbox is not a gateway: every observation fails with the same error.
TEST(VerificationTest, WaitingEndsWhenThereIsNothingNew) {
  EXPECT_THAT(wait_until_as_configured(observe_drift(), monotonic_seconds() + 3600, kAlways), IsEmpty());
}

TEST(VerificationTest, WaitingEndsInTimeAndWithTheTrial) {
  EXPECT_THAT(wait_until_as_configured({}, monotonic_seconds() - 1, kAlways), Not(IsEmpty()));
  EXPECT_THAT(wait_until_as_configured({}, monotonic_seconds() + 3600, kNever), Not(IsEmpty()));
}

TEST(VerificationTest, AProbeIsRepeatedUntilItSucceeds) {
  std::filesystem::remove("/run/seen");
  const std::string second_time = "test -e /run/seen || { touch /run/seen; false; }";
  EXPECT_EQ(find_failing_probe({"true", second_time}, monotonic_seconds() + 60, kAlways), std::nullopt);
}

TEST(VerificationTest, AProbeThatFailsUntilTheEndIsNamed) {
  EXPECT_EQ(find_failing_probe({"true", "exit 7", "true"}, monotonic_seconds() + 1, kAlways), "exit 7");
  EXPECT_EQ(find_failing_probe({"true"}, monotonic_seconds() - 1, kAlways), "true");
  EXPECT_EQ(find_failing_probe({"sleep 3600"}, monotonic_seconds() + 1, kAlways), "sleep 3600");
}

TEST(VerificationTest, ProbesEndWithTheTrial) {
  EXPECT_EQ(find_failing_probe({"exit 7"}, monotonic_seconds() + 3600, kNever), "exit 7");
}
