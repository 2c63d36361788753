#pragma once

#include "cli/compare/facts.h"
#include "generator.h"

// Files of a run as the program writes them, and those of another run that differ in a few lines, sections
// and files.
struct TwoRuns {
  FilesByPath before;
  FilesByPath after;
};

TwoRuns draw_runs(Generator& generator);
