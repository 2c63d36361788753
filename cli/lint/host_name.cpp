#include "cli/lint/host_name.h"

#include <algorithm>
#include <cctype>

bool is_host_name(std::string_view name) {
  if (name.size() > 253) return false;
  while (true) {
    const std::size_t dot = std::min(name.find('.'), name.size());
    const std::string_view label = name.substr(0, dot);
    const auto is_allowed = [](unsigned char c) { return (std::isalnum(c) != 0 && c < 0x80) || c == '-'; };
    if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-' ||
        !std::all_of(label.begin(), label.end(), is_allowed)) {
      return false;
    }
    if (dot == name.size()) return true;
    name.remove_prefix(dot + 1);
  }
}
