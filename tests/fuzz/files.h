#pragma once

#include "cli/compare/facts.h"
#include "generator.h"

// The files of two runs in the format of cmd_lanfab. Usually, they differ only in a few lines, sections and
// files.
struct TwoRuns {
  FilesByPath before;
  FilesByPath after;
};

TwoRuns draw_runs(Generator& generator);
