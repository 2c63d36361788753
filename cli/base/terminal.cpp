#include "cli/base/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int fail(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  return kFailure;
}

std::string with_errno(const std::string& message) {
  return message + ": " + std::strerror(errno);
}

bool is_terminal(int descriptor) {
  return isatty(descriptor) != 0;
}

bool is_interactive() {
  return is_terminal(STDIN_FILENO) && is_terminal(STDOUT_FILENO);
}

bool wants_color(bool is_terminal) {
  const char* no_color = std::getenv("NO_COLOR");
  return is_terminal && (no_color == nullptr || *no_color == '\0');
}

std::string styled(const std::string& text, const char* code, bool color) {
  return color && *code != '\0' ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

std::string printable(std::string text, char kept) {
  std::replace_if(
      text.begin(), text.end(),
      [kept](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != kept) || c == 0x7f; }, '?');
  return text;
}

std::string counted(std::size_t number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}
