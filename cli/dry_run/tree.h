#pragma once

// Files and directories of a part of the file system, in memory.

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

// Effectively unlimited.
inline constexpr int kAnyDepth = 1000;

// Adds `directory`, unless it is missing, and the files and directories down to `depth` levels below it; a
// `depth` of 1 only adds its own entries. Files without read permission, links, sockets and devices are
// left out. Throws std::system_error if something cannot be read for another reason. `meter` counts the
// bytes of the files before they are read; it may be null.
void add_directory(const std::string& directory, int depth, Tree& tree, Meter* meter = nullptr);
