#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

// A file without a name, for what another program reads or prints.
class MemoryFile {
 public:
  MemoryFile() : descriptor(memfd_create("lanfab", MFD_CLOEXEC)) {}
  ~MemoryFile() {
    if (descriptor >= 0) close(descriptor);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // False, with errno set, when there is no file or it does not take the text. What reads it then begins at
  // the start.
  bool fill(const std::string& text) const {
    return write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           lseek(descriptor, 0, SEEK_SET) == 0;
  }

  // All that was written to it.
  std::string content() const {
    std::string text;
    char block[4096];
    lseek(descriptor, 0, SEEK_SET);
    for (ssize_t size = 0; (size = read(descriptor, block, sizeof block)) > 0;)
      text.append(block, static_cast<std::size_t>(size));
    return text;
  }

  const int descriptor;
};
