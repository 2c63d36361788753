#pragma once

// `lanfab revert`: rolls back a trial; without one, applies the previous configuration.

#include <string>

// Rolls back the trial, unless it has ended, and reports which configuration is active. Records `reason`,
// such as "since its APPLY failed"; if it is empty, the caller. Returns the exit status: 0 when the
// previous configuration is active, 1 when the trial had been confirmed, 2 when the previous configuration
// is not active yet, or may not be.
int end_trial(const std::string& reason = "");

// Reports which configuration is active after the end of the trial with this ID. Returns the same exit
// status as end_trial(). `target` is the SHA-256 of the previous configuration.
int report_end_of_trial(const std::string& id, const std::string& target);
