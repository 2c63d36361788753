#pragma once

// `lanfab revert`: rolls back a trial or, without one, restores the configuration before the last one.

#include <string>

// Rolls back the trial, unless it has ended, and reports which configuration is active. `reason` is recorded:
// "since its APPLY failed"; if empty, the caller. Returns the exit status: 0, 1 when the trial had been
// confirmed, or 2 when the previous configuration is not active yet, or may not be.
int end_trial(const std::string& reason = "");

// Reports, once the trial with this ID has ended, which configuration is active, as end_trial does. `target`
// is the SHA-256 of the previous one.
int report_end_of_trial(const std::string& id, const std::string& target);
