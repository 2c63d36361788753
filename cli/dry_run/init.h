#pragma once

// The first process of the sandbox.

#include "cli/dry_run/result.h"
#include "cli/dry_run/sandbox.h"

// Lays out the sandbox, whose root this process has entered, runs the program and reports the result.
[[noreturn]] void run_init(const SandboxRun& run, ResultPipe& pipe);
