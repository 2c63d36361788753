#include <unistd.h>

#include <cstdio>

#include "platform/libvantor.h"
#include "report.h"

int file_exists(const char* path) {
  if (access(path, F_OK) == 0) return 1;
  report_file_failure("look for", path);
  return 0;
}

int delete_file(const char* path) {
  if (unlink(path) == 0) return 0;
  report_file_failure("remove", path);
  return -1;
}

// Mainly a carriage return, which systemd-networkd treats as a line end, so that a directive could follow. A
// zero byte only truncates the string.
static bool is_control_character(int byte) {
  return (byte < 0x20 && byte != '\t' && byte != '\0') || byte == 0x7f;
}

// Reads up to the line end into `line`. Returns false if the line does not fit or contains a control
// character, or on a read error, which ferror(file) reports.
static bool read_line(std::FILE* file, char* line, std::size_t size) {
  std::size_t length = 0;
  for (int byte = std::getc(file); byte != EOF && byte != '\n'; byte = std::getc(file)) {
    // The size also limits reading from a file without a line end.
    if (length + 1 >= size || is_control_character(byte)) return false;
    line[length++] = static_cast<char>(byte);
  }
  line[length] = '\0';
  return std::ferror(file) == 0;
}

int read_var_file(const char* path, char* buffer, std::size_t size) {
  std::FILE* file = std::fopen(path, "re");
  const bool is_read = file != nullptr && read_line(file, buffer, size);
  if (file == nullptr || std::ferror(file) != 0) report_file_failure("read", path);
  if (file != nullptr) std::fclose(file);
  if (is_read) return 0;
  buffer[0] = '\0';
  return -1;
}
