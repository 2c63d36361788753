#include "cli/status/findings.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/status/allowances.h"
#include "cli/status/file_drift.h"
#include "cli/status/probes.h"
#include "cli/status/trial_drift.h"

static void append(std::vector<Drift>& list, std::vector<Drift> more) {
  list.insert(list.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

StatusFindings find_all_drift(const Snapshot& snapshot, bool probe) {
  StatusFindings findings;
  append(findings.drift, find_trial_drift(findings.not_checked));
  append(findings.drift, find_file_drift(snapshot, findings.not_checked));
  append(findings.drift, find_drift(snapshot));
  if (probe) add_probe_drift(snapshot, findings.drift);
  if (!snapshot.runs_error.empty()) findings.not_checked.push_back("the last runs: " + snapshot.runs_error);
  set_allowed_aside(findings.drift, findings.allowed, findings.not_checked);
  return findings;
}

int exit_status_of(const StatusFindings& findings) {
  if (findings.drift.empty()) return kNoDrift;
  const auto is_pending = [](const Drift& drift) { return drift.is_pending; };
  return std::all_of(findings.drift.begin(), findings.drift.end(), is_pending) ? kPendingOnly : kDrift;
}
