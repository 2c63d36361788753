#pragma once

// The stubs that replace `ip`, `systemctl` and the other tools in the sandbox: this program under their
// names, which only records how it was called.

#include <set>
#include <string>
#include <vector>

#include "cli/dry_run/limits.h"

const std::set<std::string>& stubbed_tools();

// Whether a program called like this is a stub.
bool is_stub(const char* called);

// Records a call. Returns the status that the tool would end with: `systemctl is-active` answers for the
// services of prepare_stubs, everything else succeeds.
int record_call(int argc, char* argv[]);

// Creates the files of the stubs. False, with errno set, when that fails.
bool prepare_stubs(const std::vector<std::string>& active_services);

// The calls in their order, each with the words of its command line. `meter` counts them before they are
// read.
std::vector<std::vector<std::string>> recorded_calls(Meter& meter);
