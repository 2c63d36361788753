#include "cli/status/prometheus_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::HasSubstr;
using ::testing::Not;

TEST(PrometheusReport, EveryMetricHasHelpTypeAndItsSamples) {
  Snapshot snapshot;
  snapshot.wants_dnsmasq = true;
  snapshot.services["dnsmasq"] = {"failed", "dead", "exit-code", 1000};
  snapshot.services["systemd-networkd"] = {"active", "running", "success", 1000};
  snapshot.cellular.is_connected = true;
  snapshot.leases.resize(2);
  snapshot.runs.push_back({"WWAN_APPLY", 9'000'000, 1, LastRun::End::kFailed, {}});
  snapshot.runs.push_back({"APPLY", 1'795'291'200'000'042, 2'500'000, LastRun::End::kDone, {}});
  snapshot.last_trial = Outcome{"7", "anna", "new.json", Ending::kRolledBack, "by anna", "", "", 1795291300};
  const Drift present{"eth0", "it is down", false, "nothing passes", "ip link set eth0 up"};
  const Drift pending{"eth0", "the address is missing", true, "", ""};
  EXPECT_EQ(
      metrics_of(snapshot, {{present, pending, present}, {present}, {"the trial", "the files"}}),
      "# HELP lanfab_status_success Whether the gateway could be examined.\n"
      "# TYPE lanfab_status_success gauge\n"
      "lanfab_status_success 1\n"
      "# HELP lanfab_build_info The version of lanfab.\n"
      "# TYPE lanfab_build_info gauge\n"
      "lanfab_build_info{version=\"" LANFAB_VERSION
      "\"} 1\n"
      "# HELP lanfab_drift Differences between the gateway and its configuration.\n"
      "# TYPE lanfab_drift gauge\n"
      "lanfab_drift{state=\"present\"} 2\n"
      "lanfab_drift{state=\"pending\"} 1\n"
      "lanfab_drift{state=\"allowed\"} 1\n"
      "# HELP lanfab_drift_not_checked Checks that could not be made.\n"
      "# TYPE lanfab_drift_not_checked gauge\n"
      "lanfab_drift_not_checked 2\n"
      "# HELP lanfab_service_active Whether a service that has the files of the last run is active.\n"
      "# TYPE lanfab_service_active gauge\n"
      "lanfab_service_active{service=\"dnsmasq\"} 0\n"
      "lanfab_service_active{service=\"systemd-networkd\"} 1\n"
      "# HELP lanfab_last_apply_timestamp_seconds When the last apply since the boot began.\n"
      "# TYPE lanfab_last_apply_timestamp_seconds gauge\n"
      "lanfab_last_apply_timestamp_seconds 1795291200.000042\n"
      "# HELP lanfab_last_apply_duration_seconds How long the last apply took.\n"
      "# TYPE lanfab_last_apply_duration_seconds gauge\n"
      "lanfab_last_apply_duration_seconds 2.500000\n"
      "# HELP lanfab_last_apply_success Whether the last apply succeeded.\n"
      "# TYPE lanfab_last_apply_success gauge\n"
      "lanfab_last_apply_success 1\n"
      "# HELP lanfab_trial_active Whether a configuration is on trial.\n"
      "# TYPE lanfab_trial_active gauge\n"
      "lanfab_trial_active 0\n"
      "# HELP lanfab_last_trial_end_timestamp_seconds When the last trial since the boot ended.\n"
      "# TYPE lanfab_last_trial_end_timestamp_seconds gauge\n"
      "lanfab_last_trial_end_timestamp_seconds 1795291300\n"
      "# HELP lanfab_last_trial_confirmed Whether the last trial was confirmed.\n"
      "# TYPE lanfab_last_trial_confirmed gauge\n"
      "lanfab_last_trial_confirmed 0\n"
      "# HELP lanfab_last_trial_rollback_failing Whether the rollback of the last trial keeps failing.\n"
      "# TYPE lanfab_last_trial_rollback_failing gauge\n"
      "lanfab_last_trial_rollback_failing 0\n"
      "# HELP lanfab_cellular_connected Whether the cellular link is connected.\n"
      "# TYPE lanfab_cellular_connected gauge\n"
      "lanfab_cellular_connected 1\n"
      "# HELP lanfab_dhcp_leases Addresses that the DHCP server has leased.\n"
      "# TYPE lanfab_dhcp_leases gauge\n"
      "lanfab_dhcp_leases 2\n");
}

TEST(PrometheusReport, ATrialHasADeadline) {
  Snapshot snapshot;
  snapshot.kernel.time = 1795291200;
  const std::int64_t now = monotonic_seconds();
  snapshot.trial = TrialState{"anna", "new.json", now - 20, now + 100};
  const std::string text = metrics_of(snapshot, {});
  EXPECT_THAT(text, HasSubstr("lanfab_trial_active 1\n"));
  // The clock advances while the report is made.
  EXPECT_THAT(text, testing::ContainsRegex("lanfab_trial_deadline_timestamp_seconds 1795291(300|29[0-9])\n"));
}

TEST(PrometheusReport, WhatIsUnknownHasNoSample) {
  Snapshot snapshot;
  snapshot.services["dnsmasq"] = {"inactive", "dead", "success", 0};
  snapshot.leases_error = "dnsmasq.leases: Permission denied";
  EXPECT_THAT(metrics_of(snapshot, {}), Not(HasSubstr("last_apply")));
  EXPECT_THAT(metrics_of(snapshot, {}), Not(HasSubstr("deadline")));
  EXPECT_THAT(metrics_of(snapshot, {}), Not(HasSubstr("leases")));
  EXPECT_THAT(metrics_of(snapshot, {}), Not(HasSubstr("service=")));
  snapshot.runs.push_back({"APPLY", 1'000'000, 5, LastRun::End::kRunning, {}});
  EXPECT_THAT(metrics_of(snapshot, {}), HasSubstr("lanfab_last_apply_timestamp_seconds 1.000000\n"));
  EXPECT_THAT(metrics_of(snapshot, {}), Not(HasSubstr("lanfab_last_apply_success")));
}

TEST(PrometheusReport, ARunThatWasCutOffIsNoSuccess) {
  Snapshot snapshot;
  for (const LastRun::End end : {LastRun::End::kFailed, LastRun::End::kInterrupted}) {
    snapshot.runs = {{"APPLY", 1'000'000, 5, end, {}}};
    EXPECT_THAT(metrics_of(snapshot, {}), HasSubstr("lanfab_last_apply_success 0\n"));
  }
}

TEST(PrometheusReport, AGatewayThatCouldNotBeExaminedHasOnlyTheVersion) {
  EXPECT_EQ(metrics_of_failure(),
            "# HELP lanfab_status_success Whether the gateway could be examined.\n"
            "# TYPE lanfab_status_success gauge\n"
            "lanfab_status_success 0\n"
            "# HELP lanfab_build_info The version of lanfab.\n"
            "# TYPE lanfab_build_info gauge\n"
            "lanfab_build_info{version=\"" LANFAB_VERSION "\"} 1\n");
}
