#pragma once

// The first process of the sandbox.

#include "cli/dry_run/result.h"
#include "cli/dry_run/sandbox.h"

// Sets up the files and ports of the sandbox, whose root this process must have entered, runs the program
// and reports the result through `pipe`.
[[noreturn]] void run_init(const SandboxRun& run, ResultPipe& pipe);
