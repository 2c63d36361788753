#include "cli/lint/value_fixes.h"

#include <algorithm>
#include <string_view>

#include "cli/base/text.h"
#include "cli/config_file/edit.h"
#include "cli/config_file/nearest.h"
#include "cli/lint/ipv4.h"
#include "util/json_path.h"

// Parses an integer in the form that JSON allows, without a plus sign or a leading zero; nothing for any
// other string.
static std::optional<int> integer_of(const std::string& text) {
  constexpr std::size_t kMostCharacters = 10;
  const std::size_t begin = text.substr(0, 1) == "-" ? 1 : 0;
  const std::string_view digits = std::string_view(text).substr(begin);
  if (digits.empty() || text.size() > kMostCharacters ||
      digits.find_first_not_of("0123456789") != std::string_view::npos || (digits[0] == '0' && text != "0")) {
    return std::nullopt;
  }
  const long long number = std::stoll(text);
  return number <= INT32_MAX ? std::optional(static_cast<int>(number)) : std::nullopt;
}

// The prefix length of a dotted netmask, "255.255.255.0"; nothing for any other string.
static std::optional<int> length_of_netmask(const std::string& text) {
  const std::optional<Ipv4> mask = parse_ipv4(text);
  for (int length = 0; mask && length <= 32; ++length)
    if (Subnet{0, length}.broadcast() == ~*mask) return length;
  return std::nullopt;
}

static std::optional<int> prefix_length_of(const std::string& text) {
  if (const auto length = length_of_netmask(text)) return length;
  const std::optional<int> number = integer_of(text.substr(0, 1) == "/" ? text.substr(1) : text);
  return number && *number >= 0 && *number <= 32 ? number : std::nullopt;
}

std::optional<int> prefix_length_of(const Json::Value& value) {
  if (value.isString()) return prefix_length_of(trimmed(value.asString()));
  return value.isInt() ? std::optional(value.asInt()) : std::nullopt;
}

static std::optional<int> integer_meant(const Json::Value& value, const Json::Value& schema) {
  if (!value.isString()) return std::nullopt;
  const std::optional<int> number =
      schema["unit"] == "bits" ? prefix_length_of(value) : integer_of(trimmed(value.asString()));
  const bool is_allowed = number && *number >= schema.get("minimum", INT32_MIN).asInt64() &&
                          *number <= schema.get("maximum", INT32_MAX).asInt64();
  return is_allowed ? number : std::nullopt;
}

static std::optional<bool> boolean_meant(const Json::Value& value) {
  std::string word = value.isString() ? trimmed(value.asString()) : value.isInt() ? value.asString() : "";
  std::transform(word.begin(), word.end(), word.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  for (const char* yes : {"true", "yes", "on", "1"})
    if (word == yes) return true;
  for (const char* no : {"false", "no", "off", "0"})
    if (word == no) return false;
  return std::nullopt;
}

// Whether the string may be a number alone, such as a lease time in seconds. Then its default is one, too.
static bool may_be_number(const Json::Value& schema) {
  const std::string usual = schema["default"].asString();
  return !usual.empty() && usual[0] >= '0' && usual[0] <= '9';
}

// The word of the schema that is certainly meant, or a number as a string.
static std::optional<std::string> string_meant(const Json::Value& value, const Json::Value& schema) {
  if (value.isIntegral() && may_be_number(schema)) return value.asString();
  std::vector<std::string> words;
  for (const Json::Value& word : schema["enum"])
    words.push_back(word.asString());
  return value.isString() ? certainly_meant(trimmed(value.asString()), words) : std::nullopt;
}

std::optional<std::string> allowed_literal(const Json::Value& value, const Json::Value& schema) {
  const std::string type = schema["type"].asString();
  if (type == "integer") {
    const std::optional<int> number = integer_meant(value, schema);
    return number ? std::optional(std::to_string(*number)) : std::nullopt;
  }
  if (type == "boolean") {
    const std::optional<bool> answer = boolean_meant(value);
    return answer ? std::optional<std::string>(*answer ? "true" : "false") : std::nullopt;
  }
  const std::optional<std::string> text = type == "string" ? string_meant(value, schema) : std::nullopt;
  return text ? std::optional(string_literal(*text)) : std::nullopt;
}

FindingDetails write_string_instead(const Json::Value& value, const std::string& text) {
  return {{}, {replace_value(value, string_literal(text))}};
}

// Whether a key of the object is probably a misspelling of this one.
static bool has_misspelled(const Json::Value& object, const std::string& key) {
  const std::vector<std::string> keys = object.getMemberNames();
  return std::any_of(keys.begin(), keys.end(),
                     [&key](const std::string& other) { return nearest(other, {key}).has_value(); });
}

FindingDetails move_prefix_length(const std::string& text, const Json::Value& object,
                                  const std::string& address_key, const std::string& netmask_key) {
  const Json::Value* given = find_path(object, address_key);
  if (given == nullptr || !given->isString()) return {};
  const std::string network = trimmed(given->asString());
  const std::size_t slash = std::min(network.find('/'), network.size());
  constexpr int kNone = -1;
  const int length =
      slash < network.size() ? prefix_length_of(trimmed(network.substr(slash + 1))).value_or(kNone) : kNone;
  const std::string address = trimmed(network.substr(0, slash));
  if (length == kNone || !parse_ipv4(address)) return {};
  FindingDetails details = write_string_instead(*given, address);
  const Json::Value* netmask = find_path(object, netmask_key);
  if (netmask == nullptr) {
    if (has_misspelled(object, netmask_key)) return {};
    details.fix.push_back(insert_member(text, *given, netmask_key, std::to_string(length)));
  } else if (prefix_length_of(*netmask) != length) {
    return {};
  }
  return details;
}
