#pragma once

// The change summary: the differences between two sets of files, described in sentences.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/compare/facts.h"

// The lines of a file that differ, by line number, counted from 0.
struct ChangedFile {
  std::string path;
  std::vector<std::size_t> removed;  // in the old content
  std::vector<std::size_t> added;    // in the new content
};

// The units that both sides contain.
enum class Scope {
  kGateway,  // all units of the gateway
  kPart,     // units of an action that writes only some: consequences of the others are unknown
};

// Returns a sentence for each change, followed by the number of changed lines in each file that no sentence
// explains. Blank lines, comments and section headings count as explained if a sentence explains any other
// changed line of their file.
std::vector<std::string> change_summary(const Facts& before, const Facts& after,
                                        const std::vector<ChangedFile>& files, Scope scope);
