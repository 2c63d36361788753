#include "cli/lint/mac.h"

#include <algorithm>
#include <cctype>
#include <string_view>

constexpr std::size_t kParts = 6;

static bool is_hex_digit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

static char lower_digit(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// One or two hexadecimal digits as two lower-case digits; empty for any other string.
static std::string normal_byte(std::string_view text) {
  if (text.empty() || text.size() > 2 || !std::all_of(text.begin(), text.end(), is_hex_digit)) return {};
  std::string byte(2 - text.size(), '0');
  std::transform(text.begin(), text.end(), std::back_inserter(byte), lower_digit);
  return byte;
}

// Removes the hardware type and its hyphen from the front. Returns them in their normal form, which is empty
// for the types of Ethernet and of any network, and for an address without a type.
static std::string take_type(std::string_view& text) {
  const std::size_t hyphen = text.substr(0, 3).find('-');
  if (hyphen == std::string_view::npos) return {};
  const std::string type = normal_byte(text.substr(0, hyphen));
  if (!type.empty()) text.remove_prefix(hyphen + 1);
  return type == "00" || type == "01" || type.empty() ? "" : type + "-";
}

std::optional<std::string> normal_mac(const std::string& text) {
  std::string_view rest = text;
  std::string mac = take_type(rest);
  for (std::size_t part = 1; part <= kParts; ++part) {
    // The last part is all that is left, so a seventh part makes it invalid.
    const std::size_t end = part == kParts ? rest.size() : rest.find(':');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view digits = rest.substr(0, end);
    const std::string byte = digits == "*" ? "*" : normal_byte(digits);
    if (byte.empty()) return std::nullopt;
    mac += part == kParts ? byte : byte + ":";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return mac;
}

bool is_mac_without_colons(const std::string& text) {
  const auto is_separator = [](char c) { return c == '-' || c == '.' || c == ' '; };
  const auto digits = std::count_if(text.begin(), text.end(), is_hex_digit);
  const auto separators = std::count_if(text.begin(), text.end(), is_separator);
  return digits == 2 * kParts && static_cast<std::size_t>(digits + separators) == text.size();
}
