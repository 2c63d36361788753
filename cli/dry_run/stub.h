#pragma once

// The stubs that replace `ip`, `systemctl` and the other tools in the sandbox: one small program
// under their names, which records how it was called and succeeds. Only `systemctl is-active` fails,
// for inactive services.

#include <set>
#include <string>
#include <vector>

#include "cli/dry_run/limits.h"

const std::set<std::string>& stubbed_tools();

// The path of the stub in the sandbox.
inline constexpr char kStub[] = "/.sandbox/stub";

// The content of the stub's executable file.
std::string stub_program();

// Creates the stub and its files. `systemctl is-active` then succeeds for `active_services`. Returns false,
// with errno set, on failure.
bool prepare_stubs(const std::vector<std::string>& active_services);

// The recorded calls in order, each as the words of its command line. `meter` counts their bytes
// before they are read.
std::vector<std::vector<std::string>> recorded_calls(Meter& meter);
