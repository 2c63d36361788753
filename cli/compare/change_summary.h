#pragma once

// A difference in sentences.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/compare/facts.h"

// The lines of a file that differ, by their numbers from 0.
struct ChangedFile {
  std::string path;
  std::vector<std::size_t> removed;  // of the text before
  std::vector<std::size_t> added;    // of the text after
};

// Which units the two sides have.
enum class Scope {
  kGateway,  // all of them
  kPart,     // those of an action that does not write all: what follows from the others is not known
};

// A sentence for each change and, behind them, how many changed lines of each file no sentence explains.
// Blank lines, comments and headings are explained where any other line of their file is.
std::vector<std::string> change_summary(const Facts& before, const Facts& after,
                                        const std::vector<ChangedFile>& files, Scope scope);
