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

// A sentence for each change and, in the last one, how many lines of `files` no other explains. Blank lines,
// comments and headings are explained where any other line of their file is.
std::vector<std::string> change_summary(const Facts& before, const Facts& after,
                                        const std::vector<ChangedFile>& files);
