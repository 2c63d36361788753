#pragma once

// Files and directories of a part of the file system, kept in memory.

#include <string>
#include <vector>

#include "cli/dry_run/result.h"

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

// Reads a regular file. Returns false, with errno set, when it cannot be read.
bool read_file(const std::string& path, File& file);

// Writes a file, whose directory must be there, with its mode. False, with errno set, when it cannot be
// written.
bool write_file(const File& file);

// Makes a directory and those above it. False, with errno set, when one cannot be made.
bool make_directories(const std::string& path, mode_t mode);
