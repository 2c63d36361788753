#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "platform/libvantor.h"

int file_exists(const char* path) {
  return access(path, F_OK) == 0 ? 1 : 0;
}

int delete_file(const char* path) {
  return unlink(path);
}

int read_var_file(const char* path, char* buffer, std::size_t size) {
  buffer[0] = '\0';
  std::ifstream file(path, std::ios::binary);
  // One byte more than fits tells a line that is too long from one that just fits, and bounds what is read of
  // a file that has no line end at all.
  std::string line;
  for (int byte = file.get(); file && byte != '\n' && line.size() < size; byte = file.get()) {
    line.push_back(static_cast<char>(byte));
  }
  const bool unreadable = !file.is_open() || file.bad();
  if (unreadable || line.size() >= size) return -1;
  std::memcpy(buffer, line.c_str(), line.size() + 1);
  return 0;
}
