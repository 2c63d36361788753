#pragma once

// `lanfab revert --timer`, which the rollback service runs.

// Whether anything of a trial is left: its state, its configuration, or a rollback that has failed.
bool is_trial_left();

// Rolls back the trial, at any time, even if `lanfab try` and its shell are gone. Returns the exit status: 0
// when the previous configuration is active or there was no trial. Otherwise it has to be called again: 1
// when the APPLY has failed, 2 after any other failure. The first failure is an alert.
int roll_back();
