#pragma once

// A file opened for writing, whose write errors are detected.

#include <cstdio>
#include <memory>
#include <string>

// The content is collected in memory and written at once when the file is closed: a run that is killed while
// it generates a file does not leave half of it. A file that could not be written completely is removed, or
// truncated to its former length if it was appended to.
class OpenFile {
 public:
  // Opens a file like fopen, with mode "w" or "a"; tools that this process starts do not inherit it. On
  // failure there is no file, and errno is set.
  OpenFile(const std::string& path, const char* mode);
  OpenFile(OpenFile&& other) noexcept;
  ~OpenFile();

  // Whether the file is open.
  explicit operator bool() const;

  // The stream to write to.
  std::FILE* get() const;

  // The file's descriptor, for changing its owner and mode. The content is written only when the file is
  // closed.
  int descriptor() const;

  // Writes the content and closes the file; so does the destructor. Returns 0, or -1 with a notice in the log
  // that names path and error if the content could not be written completely.
  int close();

 private:
  struct File;
  std::unique_ptr<File> file_;
};
