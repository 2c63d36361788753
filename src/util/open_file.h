#pragma once

// A standard stream that is flushed and closed with its owner.

#include <cstdio>
#include <memory>

struct CloseFile {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};

using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

// Opens like fopen; null when that fails, with errno set.
inline OpenFile open_file(const char* path, const char* mode) {
  return OpenFile(std::fopen(path, mode));
}
