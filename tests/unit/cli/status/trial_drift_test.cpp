#include "cli/status/trial_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A trial that ends in 80 s.
static TrialFacts trial() {
  return {true, 1080, true, false, 1000, true, false};
}

static std::vector<std::string> texts_of(const TrialFacts& facts) {
  std::vector<std::string> texts;
  for (const Drift& drift : trial_drift(facts))
    texts.push_back(drift.subject + ": " + describe(drift) + "; " + drift.fix);
  return texts;
}

TEST(TrialDrift, ATrialWithItsTimerIsNoAlarm) {
  EXPECT_THAT(texts_of(trial()), IsEmpty());
  EXPECT_THAT(texts_of({}), IsEmpty()) << "no trial";
}

TEST(TrialDrift, ALostTimerIsAnAlarm) {
  TrialFacts facts = trial();
  facts.has_timer = false;
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: its timer is gone; lanfab revert"));
}

TEST(TrialDrift, ALostGuardIsAnAlarm) {
  TrialFacts facts = trial();
  facts.has_guard = false;
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: its guard is gone; lanfab revert"));
}

TEST(TrialDrift, AFailedRollbackIsAnAlarmUntilOneSucceeds) {
  TrialFacts facts;
  facts.has_failed = true;
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: its rollback failed; retrying; lanfab revert"));
}

TEST(TrialDrift, AnOverdueTrialIsAnAlarmWhenTheTimerHadTime) {
  TrialFacts facts = trial();
  facts.now = 1085;
  EXPECT_THAT(texts_of(facts), IsEmpty());
  facts.now = 1086;
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: it has been overdue for 6 s; lanfab revert"));
}

TEST(TrialDrift, ARollbackUnderWayIsPending) {
  TrialFacts facts = trial();
  facts.now = 2000;
  facts.is_rolling_back = true;
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: it is being rolled back (pending); "));
}

TEST(TrialDrift, ATrialWithoutItsStateIsAnAlarm) {
  TrialFacts facts = trial();
  facts.ends.reset();
  EXPECT_THAT(texts_of(facts), ElementsAre("trial: its state is missing or damaged; lanfab revert"));
}
