#pragma once

// `lanfab revert --timer`, which the rollback service runs.

// Whether a trial is in progress or has left its state, its configuration, or a failed rollback.
bool is_trial_left();

// Rolls back the trial, even if `lanfab try` and its shell are gone. Returns the exit status: 0 when the
// previous configuration is active, there was no trial, or it had been confirmed; 1 when the APPLY failed;
// 2 on any other failure. After a failure it has to be called again; the first failure raises an alert.
int roll_back();
