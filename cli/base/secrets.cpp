#include "cli/base/secrets.h"

#include <algorithm>
#include <cctype>

#include "tunnels/wireguard.h"

static bool is_name_character(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
}

bool is_secret_name(std::string_view name) {
  std::string letters;
  for (const char c : name)
    if (c != '-' && c != '_') letters += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return letters == "privatekey" || letters == "presharedkey";
}

// Blanks the value or the list of values that follows a name, and returns its end. Relies on punctuation
// only to find the end, since the text may be invalid because of its quotes.
static std::size_t blank_value(std::string& text, std::size_t position) {
  bool is_list = false;
  bool is_found = false;
  for (; position < text.size(); ++position) {
    const char c = text[position];
    is_list = is_list || c == '[';
    const bool is_end = is_list ? c == ']' : c == ',' || c == '}' || c == '\n';
    if (is_end && is_found) break;
    const bool is_mark = std::string_view(" \t\r\n\"'`:=,[]{}").find(c) != std::string_view::npos;
    if (is_mark || static_cast<unsigned char>(c) >= 0x80) continue;
    text[position] = '*';
    is_found = true;
  }
  return position;
}

void blank_secrets(std::string& text) {
  for (std::size_t position = 0; position < text.size(); ++position) {
    const std::size_t begin = position;
    while (position < text.size() && is_name_character(text[position]))
      ++position;
    if (is_secret_name(std::string_view(text).substr(begin, position - begin)))
      position = blank_value(text, position);
  }
}

// The end of the line that begins at or contains `position`: its newline, or the end of the text.
static std::size_t line_end(std::string_view text, std::size_t position) {
  return std::min(text.find('\n', position), text.size());
}

// The end of a value that begins at `position`. systemd skips comments between the lines of a value.
static std::size_t value_end(std::string_view text, std::size_t position) {
  std::size_t end = line_end(text, position);
  bool is_continued = end > position && text[end - 1] == '\\';
  while (is_continued && end < text.size()) {
    const std::size_t begin = end + 1;
    end = line_end(text, begin);
    const bool is_comment = end > begin && (text[begin] == '#' || text[begin] == ';');
    is_continued = is_comment || (end > begin && text[end - 1] == '\\');
  }
  return end;
}

// Offset of the value of the name that ends at `position`; npos if no "=" or ":" follows the name.
static std::size_t value_begin(std::string_view text, std::size_t position) {
  constexpr std::string_view kBlanks = " \t";
  if (position < text.size() && text[position] == '"') ++position;
  position = text.find_first_not_of(kBlanks, position);
  if (position == std::string_view::npos || (text[position] != '=' && text[position] != ':'))
    return std::string_view::npos;
  return std::min(text.find_first_not_of(kBlanks, position + 1), text.size());
}

std::vector<SecretLocation> find_secrets(std::string_view text, NamePredicate is_secret) {
  std::vector<SecretLocation> locations;
  for (std::size_t position = 0; position < text.size(); ++position) {
    if (!is_name_character(text[position])) continue;
    const std::size_t begin = position;
    while (position < text.size() && is_name_character(text[position]))
      ++position;
    if (!is_secret(text.substr(begin, position - begin))) continue;
    const std::size_t value = value_begin(text, position);
    if (value == std::string_view::npos) continue;
    position = value_end(text, value);
    locations.push_back({value, position});
  }
  return locations;
}

std::string SecretMask::masked(const std::string& text, NamePredicate is_secret) {
  std::string result;
  std::size_t copied = 0;
  for (const auto& [begin, end] : find_secrets(text, is_secret)) {
    result.append(text, copied, begin - copied).append(masked_key(text.substr(begin, end - begin)));
    copied = end;
  }
  return result.append(text, copied);
}

// A string of blanks is not hidden: the reader sees that the key is missing.
std::string SecretMask::masked_key(const std::string& key) {
  if (key.find_first_not_of(" \t\r\n") == std::string::npos) return key;
  const auto number = numbers_.emplace(key, numbers_.size() + 1).first->second;
  return "(hidden key " + std::to_string(number) + ")";
}

static bool is_key_file(const std::string& path) {
  const std::string any = wireguard_private_key_file("");
  const std::string directory = any.substr(0, any.rfind('/') + 1);
  return path.compare(0, directory.size(), directory) == 0;
}

void SecretMask::hide_in(File& file) {
  std::string& content = file.content;
  if (!is_key_file(file.path)) {
    content = masked(content);
    return;
  }
  // The newline at the end is not part of the key.
  const std::string end = !content.empty() && content.back() == '\n' ? "\n" : "";
  content = masked_key(content.substr(0, content.size() - end.size())) + end;
}
