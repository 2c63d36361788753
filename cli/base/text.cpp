#include "cli/base/text.h"

bool begins_with(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::string trimmed(const std::string& text, const char* blanks) {
  const std::size_t begin = text.find_first_not_of(blanks);
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string joined(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words)
    line += (line.empty() ? "" : " ") + word;
  return line;
}
