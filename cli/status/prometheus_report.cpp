#include "cli/status/prometheus_report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {

// Text of the metrics; the samples of each metric follow its name.
class Metrics {
 public:
  // Begins a metric.
  void add(const char* name, const char* help) {
    name_ = std::string("lanfab_") + name;
    text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " gauge\n";
  }

  void sample(const std::string& value, const std::string& labels = "") {
    text_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
  }

  void sample(std::int64_t value, const std::string& labels = "") {
    sample(std::to_string(value), labels);
  }

  // A metric with one sample.
  void add(const char* name, const char* help, std::int64_t value) {
    add(name, help);
    sample(value);
  }

  // A metric with one sample, printed in seconds with a fraction.
  void add_microseconds(const char* name, const char* help, std::int64_t microseconds) {
    constexpr std::int64_t kSecond = 1'000'000;
    char text[32];
    std::snprintf(text, sizeof text, "%" PRId64 ".%06" PRId64, microseconds / kSecond,
                  microseconds % kSecond);
    add(name, help);
    sample(text);
  }

  const std::string& text() const {
    return text_;
  }

 private:
  std::string text_;
  std::string name_;
};

}  // namespace

static void add_success(bool is_success, Metrics& metrics) {
  metrics.add("status_success", "Whether the gateway could be examined.", is_success ? 1 : 0);
  metrics.add("build_info", "The version of lanfab.");
  metrics.sample(1, "version=\"" LANFAB_VERSION "\"");
}

static void add_drift(const StatusFindings& findings, Metrics& metrics) {
  const auto pending = std::count_if(findings.drift.begin(), findings.drift.end(),
                                     [](const Drift& one) { return one.is_pending; });
  metrics.add("drift", "Differences between the gateway and its configuration.");
  metrics.sample(static_cast<std::int64_t>(findings.drift.size()) - pending, "state=\"present\"");
  metrics.sample(pending, "state=\"pending\"");
  metrics.sample(static_cast<std::int64_t>(findings.allowed.size()), "state=\"allowed\"");
  metrics.add("drift_not_checked", "Checks that could not be made.",
              static_cast<std::int64_t>(findings.not_checked.size()));
}

static void add_services(const Snapshot& snapshot, Metrics& metrics) {
  metrics.add("service_active", "Whether a service that has the files of the last run is active.");
  for (const auto& [name, service] : snapshot.services) {
    if (name != kDnsmasq || snapshot.wants_dnsmasq)
      metrics.sample(service.is_active() ? 1 : 0, "service=\"" + name + "\"");
  }
}

static void add_last_apply(const Snapshot& snapshot, Metrics& metrics) {
  const auto apply = std::find_if(snapshot.runs.begin(), snapshot.runs.end(),
                                  [](const LastRun& run) { return run.action == "APPLY"; });
  if (apply == snapshot.runs.end()) return;
  metrics.add_microseconds("last_apply_timestamp_seconds", "When the last apply since the boot began.",
                           apply->began);
  // The duration and the result of a running apply are not known yet.
  if (apply->end == LastRun::End::kRunning) return;
  metrics.add_microseconds("last_apply_duration_seconds", "How long the last apply took.", apply->lasted);
  metrics.add("last_apply_success", "Whether the last apply succeeded.",
              apply->end == LastRun::End::kDone ? 1 : 0);
}

static void add_trials(const Snapshot& snapshot, Metrics& metrics) {
  metrics.add("trial_active", "Whether a configuration is on trial.", snapshot.trial ? 1 : 0);
  if (snapshot.trial) {
    const std::int64_t left = snapshot.trial->ends - monotonic_seconds();
    metrics.add("trial_deadline_timestamp_seconds", "When the trial is rolled back unless it is confirmed.",
                snapshot.kernel.time + left);
  }
  if (!snapshot.last_trial) return;
  metrics.add("last_trial_end_timestamp_seconds", "When the last trial since the boot ended.",
              snapshot.last_trial->ended);
  metrics.add("last_trial_confirmed", "Whether the last trial was confirmed.",
              snapshot.last_trial->ending == Ending::kConfirmed ? 1 : 0);
  metrics.add("last_trial_rollback_failing", "Whether the rollback of the last trial keeps failing.",
              snapshot.last_trial->ending == Ending::kStuck ? 1 : 0);
}

std::string metrics_of(const Snapshot& snapshot, const StatusFindings& findings) {
  Metrics metrics;
  add_success(true, metrics);
  add_drift(findings, metrics);
  add_services(snapshot, metrics);
  add_last_apply(snapshot, metrics);
  add_trials(snapshot, metrics);
  metrics.add("cellular_connected", "Whether the cellular link is connected.",
              snapshot.cellular.is_connected ? 1 : 0);
  if (snapshot.leases_error.empty()) {
    metrics.add("dhcp_leases", "Addresses that the DHCP server has leased.",
                static_cast<std::int64_t>(snapshot.leases.size()));
  }
  return metrics.text();
}

std::string metrics_of_failure() {
  Metrics metrics;
  add_success(false, metrics);
  return metrics.text();
}
