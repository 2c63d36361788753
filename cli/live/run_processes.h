#pragma once

// The runs of cmd_lanfab that are there, as numbers of processes.

#include <optional>
#include <string>
#include <vector>

// Nothing when the processes cannot be listed.
std::optional<std::vector<std::string>> list_runs();

// Whether the process is such a run.
bool is_run(const std::string& process);

// Whether a run has the lock, or may have it; one that waits for it has not.
bool may_hold_lock(const std::string& run);
