#pragma once

// The differences between two sets of files.

#include <string>
#include <vector>

#include "cli/compare/change_summary.h"
#include "cli/compare/facts.h"

struct FileDifference {
  std::string path;
  const File* before;  // null if the file is new
  const File* after;   // null if the file is removed
  std::string text;    // in unified diff format; empty if only the mode differs
  // The path of an earlier file with the same hunks, such as the original of a copy; empty without one.
  std::string same_as;
  ChangedFile lines;

  bool has_other_mode() const {
    return before != nullptr && after != nullptr && before->mode != after->mode;
  }
};

// The differences in the order of the paths, without files whose contents and modes are equal. The result
// refers to `before` and `after`, which must outlive it.
std::vector<FileDifference> find_differences(const FilesByPath& before, const FilesByPath& after);

// The changed lines of each file, without copies: files with the old and new content of an earlier file.
std::vector<ChangedFile> changed_files(const std::vector<FileDifference>& differences);

// The path as patch(1) reads it: if some of it is not printable, in quotes with octal escapes.
std::string quoted_if_needed(const std::string& path);
