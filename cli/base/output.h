#pragma once

// Writes files and directories to paths that the user chose. open() resolves the path once; after that,
// changes of names in the path do not redirect the output.
//
// Links are followed, except in a directory that other users can write to, since any of them may have
// created the link.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/file.h"

// A resolved path.
struct OutputLocation {
  Descriptor directory;          // directory of the file
  std::string name;              // in the directory
  Descriptor file;               // opened with O_PATH; not open if the file does not exist
  bool is_process_link = false;  // reached by a link in /proc to an open file, as /dev/stdout is
};

// Owner of a file that replaces another one: the caller, or the user and group of the replaced file.
enum class Owner { kCaller, kKept };

// A file to write.
class OutputFile {
 public:
  explicit OutputFile(std::string path) : path_(std::move(path)) {}

  // Resolves the path. Returns nothing on success; otherwise an error message.
  std::optional<std::string> open();

  // Writes the file atomically: readers see either the old or the new content, even if this program is
  // killed. An existing file of the caller or root keeps its mode. A terminal, a pipe or an open file such
  // as /dev/stdout is written to directly. Returns nothing on success; otherwise an error message, and a
  // file that was to be replaced is unchanged.
  std::optional<std::string> write(const std::string& content, Owner owner = Owner::kCaller) const;

  // Creates a file that only the caller can access. It must not exist; readers see the complete file or
  // none. Returns nothing on success; otherwise an error message, and nothing is created or replaced.
  std::optional<std::string> create(const std::string& content) const;

 private:
  std::string path_;
  OutputLocation location_;
};

// A directory to write files into.
class OutputDirectory {
 public:
  explicit OutputDirectory(std::string path) : path_(std::move(path)) {}

  // Resolves the path. The directory must be missing or empty. Returns nothing on success; otherwise an
  // error message.
  std::optional<std::string> open();

  // Creates the files below the directory: all of them or, on failure, none. Signals are blocked meanwhile.
  // Never writes to existing files. The files get their modes, but without the set-user-ID and set-group-ID
  // bits. Returns nothing on success; otherwise an error message.
  std::optional<std::string> write(const std::vector<File>& files);

 private:
  std::string path_;
  OutputLocation location_;
};
