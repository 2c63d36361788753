#pragma once

// What the first process of a world does.

#include "companion/world/report.h"
#include "companion/world/world.h"

// Lays out the world, runs the program and reports the outcome. `recorder` is this program's own path.
[[noreturn]] void live(const Run& run, const std::string& recorder, Report& report);
