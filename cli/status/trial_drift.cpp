#include "cli/status/trial_drift.h"

#include <unistd.h>

#include "cli/live/reserve.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

constexpr char kSubject[] = "trial";
constexpr char kRevert[] = "lanfab revert";
// systemd starts a timer's unit within this time.
constexpr std::int64_t kTimerSeconds = 5;

std::vector<Drift> trial_drift(const TrialFacts& facts) {
  if (facts.has_failed) {
    return {{kSubject, "its rollback failed; retrying", false, "the old configuration may not be active",
             kRevert}};
  }
  // A state without an active configuration on trial means that a trial is beginning or ending.
  if (!facts.is_active) return {};
  if (facts.is_rolling_back) return {{kSubject, "it is being rolled back", true, "", ""}};
  if (!facts.ends) {
    return {{kSubject, "its state is missing or damaged", false, "it may never be rolled back", kRevert}};
  }
  const std::int64_t overdue = facts.now - *facts.ends;
  if (overdue > kTimerSeconds) {
    return {{kSubject, "it has been overdue for " + std::to_string(overdue) + " s", false,
             "an unconfirmed configuration is active", kRevert}};
  }
  if (!facts.has_timer) return {{kSubject, "its timer is gone", false, "nothing will roll it back", kRevert}};
  if (!facts.has_guard) {
    return {{kSubject, "its guard is gone", false, "nothing restarts the timer if it is stopped", kRevert}};
  }
  return {};
}

std::vector<Drift> find_trial_drift(std::vector<std::string>& not_checked) {
  TrialFacts facts;
  facts.has_failed = has_failed();
  facts.is_active = is_trial_active();
  if (!facts.is_active) return trial_drift(facts);
  const auto state = read_state();
  // Only root can read the state.
  if (!state && geteuid() != 0) {
    not_checked.emplace_back("the trial: only root may read its state");
    return {};
  }
  if (state) facts.ends = state->ends;
  for (const auto& [unit, is_running] : {std::pair<const char*, bool*>{kRevertTimer, &facts.has_timer},
                                         {kGuardUnit, &facts.has_guard},
                                         {kRevertUnit, &facts.is_rolling_back}}) {
    if (const auto error = query_unit(unit, *is_running)) {
      not_checked.push_back("the timer of the trial: " + *error);
      return {};
    }
  }
  facts.now = monotonic_seconds();
  return trial_drift(facts);
}
