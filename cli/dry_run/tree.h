#pragma once

// Files and directories of a part of the file system, kept in memory.

#include <string>
#include <vector>

#include "cli/base/file.h"

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
// its own. Files that cannot be read, links, sockets and devices are left out. Nothing is added for a
// directory that is missing.
void add_directory(const std::string& directory, int depth, Tree& tree);
