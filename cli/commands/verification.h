#pragma once

// What `lanfab try` does between the APPLY of a trial and the question whether to keep it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"

// What `lanfab status` finds at one moment.
struct Look {
  std::vector<Drift> drift;
  std::optional<std::string> error;  // why there is nothing to see
};

Look look_at_gateway();

// What the second look shows and the first did not. What no unit file asks for does not count: every APPLY
// may leave something of the configuration before it in the kernel. That there is nothing to see any more
// does.
std::vector<Drift> new_drift(const Look& before, const Look& now);

// Whether the trial goes on: nobody has ended or interrupted it.
using GoesOn = std::function<bool()>;

// Looks once a second until there is no new drift, `end` has come (in seconds of monotonic_seconds) or the
// trial does not go on. Returns what is left.
std::vector<Drift> wait_until_as_configured(const Look& before, std::int64_t end, const GoesOn& goes_on);

// Runs each command with `sh -c`, once a second until it succeeds, and the next one then. Returns the command
// that has not succeeded when `end` has come or the trial does not go on; nothing if all have.
std::optional<std::string> find_failing_probe(const std::vector<std::string>& commands, std::int64_t end,
                                              const GoesOn& goes_on);
