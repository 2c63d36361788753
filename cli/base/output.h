#pragma once

// Files that a command writes where its caller says. What the path means is decided once, when the place is
// opened; from then on nobody who changes names in the path decides where is written.
//
// Links are followed, except in a directory that other users may write to: there anybody may have put one.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/file.h"

// A location in the file system.
struct OutputLocation {
  Descriptor directory;          // that of the file
  std::string name;              // in the directory
  Descriptor file;               // for the path alone; not open if there is no such file
  bool is_process_link = false;  // such as /dev/stdout: a link of the kernel to an open file
};

// Whose a file is that replaces another one: the caller's, or still the same user's and group's.
enum class Owner { kCaller, kKept };

// One file.
class OutputFile {
 public:
  explicit OutputFile(std::string path) : path_(std::move(path)) {}

  // Finds the location. Returns nothing, or why nothing can be written there.
  std::optional<std::string> open();

  // Writes the file so that its readers see either the former content or the new one, also if this program is
  // killed. An existing file keeps its mode; a terminal or a pipe is written to. Returns nothing, or why it
  // failed; nothing has changed then.
  std::optional<std::string> write(const std::string& content, Owner owner = Owner::kCaller) const;

  // Writes a file for the caller alone, which must not exist. Its readers see all of it or nothing. Returns
  // nothing, or why it failed; there is no such file then, or still the one that was there.
  std::optional<std::string> create(const std::string& content) const;

 private:
  std::string path_;
  OutputLocation location_;
};

// A directory and the files below it.
class OutputDirectory {
 public:
  explicit OutputDirectory(std::string path) : path_(std::move(path)) {}

  // Finds the location. Returns nothing, or why nothing can be written there: the directory must be missing
  // or empty.
  std::optional<std::string> open();

  // Writes the files below the directory, all or none; the signals that end a program wait. Only new files
  // and directories are written to. The modes are those of the files, without the right to run as another
  // user. Returns nothing, or why it failed.
  std::optional<std::string> write(const std::vector<File>& files);

 private:
  std::string path_;
  OutputLocation location_;
};
