#pragma once

// The stubs that replace `ip`, `systemctl` and the other tools in the sandbox: one small program under their
// names, which records how it was called and succeeds. `systemctl is-active` answers for some services.

#include <set>
#include <string>
#include <vector>

#include "cli/dry_run/limits.h"

const std::set<std::string>& stubbed_tools();

// Where it is in the sandbox.
inline constexpr char kStub[] = "/.sandbox/stub";

// The executable file itself.
std::string stub_program();

// Creates the stub and its files. `systemctl is-active` succeeds for `active_services`. False, with errno
// set, when that fails.
bool prepare_stubs(const std::vector<std::string>& active_services);

// The calls in their order, each with the words of its command line. `meter` counts them before they are
// read.
std::vector<std::vector<std::string>> recorded_calls(Meter& meter);
