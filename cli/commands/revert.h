#pragma once

// `lanfab revert`: rolls back a trial or, without one, restores the configuration before the last one.

#include <string>

// Rolls back the trial, unless it has ended, and reports which configuration is in force. `reason` is for
// those who ask later: "since its APPLY failed"; empty, it names the caller. Returns the exit status: 0, 1
// when the trial had been confirmed, or 2 when the old configuration is not in force yet, or not known to be.
int end_trial(const std::string& reason = "");

// Reports, once the trial with this ID has ended, which configuration is in force: as end_trial does.
// `target` is the SHA-256 of the old one.
int report_end_of_trial(const std::string& id, const std::string& target);
