#pragma once

// The last run of each action, from the journal.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/dry_run/result.h"

struct LastRun {
  // How the run ended, as far as known.
  enum class End { kDone, kFailed, kRunning, kInterrupted };

  std::string action;       // "APPLY"
  std::int64_t began = 0;   // microseconds since 1970
  std::int64_t lasted = 0;  // microseconds, until its last message
  End end = End::kInterrupted;
  std::vector<Message> messages;
};

// Reads the last run of each action since boot; actions without a run are left out. Returns nothing, or why
// the journal cannot be read. Each query of the journal has a time limit of kQuerySeconds.
std::optional<std::string> read_last_runs(std::vector<LastRun>& runs);

// "done", "failed", "running" or "interrupted".
const char* word_for(LastRun::End end);
