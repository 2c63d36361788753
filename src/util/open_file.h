#pragma once

// A file that is being written, and whether everything reached it.

#include <cstdio>
#include <memory>
#include <string>

// The content is collected in memory and written when the file is closed, all at once: a run that dies while
// it generates a file leaves no half of it. A file that could not be written whole is removed, or cut to its
// former length if it was appended to.
class OpenFile {
 public:
  // Opens like fopen, with mode "w" or "a"; tools that this process starts do not inherit it. If that fails,
  // there is no file, and errno says why.
  OpenFile(const std::string& path, const char* mode);
  OpenFile(OpenFile&& other) noexcept;
  ~OpenFile();

  // Whether there is a file.
  explicit operator bool() const;

  // The stream to write to.
  std::FILE* get() const;

  // The file's descriptor, for its owner and mode. The file gets its content only when it is closed.
  int descriptor() const;

  // Writes the content and closes the file; the owner's end does the same. Returns 0; -1, with a notice in
  // the log that names path and reason, when not all of it reached the file.
  int close();

 private:
  struct File;
  std::unique_ptr<File> file_;
};
