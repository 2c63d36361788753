#pragma once

// Files and directories of a part of the file system, kept in memory.

#include <string>
#include <vector>

#include "cli/base/file.h"
#include "cli/dry_run/limits.h"

struct Directory {
  std::string path;
  mode_t mode;
};

struct Tree {
  std::vector<Directory> directories;  // the outer ones first
  std::vector<File> files;
};

// More than there is.
inline constexpr int kAnyDepth = 1000;

// Adds `directory` and, down to `depth` levels below it, the files and directories in it: with 1, those of
// its own. Files for which the permission is missing, links, sockets and devices are left out. Nothing is
// added for a directory that is missing. Throws std::system_error if something cannot be read for another
// reason.
// `meter`, if any, counts the files before they are read.
void add_directory(const std::string& directory, int depth, Tree& tree, Meter* meter = nullptr);
