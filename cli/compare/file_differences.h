#pragma once

// The differences between two sets of files.

#include <string>
#include <vector>

#include "cli/compare/change_summary.h"
#include "cli/compare/facts.h"

struct FileDifference {
  std::string path;
  const File* before;  // null, the file is new
  const File* after;   // null, the file is removed
  std::string text;    // in the unified format; empty for equal contents on both sides
  // Another file with the same hunks, such as the one that this is copied from; empty without one.
  std::string same_as;
  ChangedFile lines;

  bool has_other_mode() const {
    return before != nullptr && after != nullptr && before->mode != after->mode;
  }
};

// By path; files that are equal, modes included, are left out. The result refers to the files.
std::vector<FileDifference> find_differences(const FilesByPath& before, const FilesByPath& after);

// The changed lines, without those of copies.
std::vector<ChangedFile> changed_files(const std::vector<FileDifference>& differences);

// The path as patch(1) reads it: in quotes, and with octal numbers for bytes, if not all of it is printable.
std::string quoted_if_needed(const std::string& path);
