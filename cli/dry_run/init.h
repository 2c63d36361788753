#pragma once

// What the first process of a world does.

#include "cli/dry_run/result_pipe.h"
#include "cli/dry_run/sandbox.h"

// Lays out the world, runs the program and reports the outcome. `recorder` is this program's own path.
[[noreturn]] void live(const Run& run, const std::string& recorder, Report& report);
