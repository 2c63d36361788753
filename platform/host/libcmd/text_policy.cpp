#include "text_policy.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>

// The paths of the strings that the program writes to shell lines and scripts; [] is any element of an array.
constexpr std::array<const char*, 3> kShellTexts = {
    "static_routes[].interface",            // the scripts that remove the static routes
    "static_routes[].gateway",              // the script that adds the cellular routes
    "tunnels.gre[].incoming_gre_gateway"};  // the command that fills a tunnel's routing table

// All characters that POSIX requires to be quoted at least sometimes, and the braces that some shells expand.
constexpr std::string_view kShellCharacters = " \t|&;<>()$`\\\"'*?[]#~=%{}!^";

namespace {

// A location in the configuration: the root, a member of an object, or an element of an array.
struct Place {
  const Place* parent;   // null for the root
  std::string_view key;  // of a member
  bool is_element;
  Json::ArrayIndex index;  // of an element
};

}  // namespace

// The characters of most strings, to which no rule applies: a string of only these needs no further checks.
static std::array<bool, 256> plain_characters() {
  std::array<bool, 256> is_plain{};
  for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-:/"))
    is_plain[static_cast<unsigned char>(c)] = true;
  return is_plain;
}

static bool is_plain(std::string_view text) {
  static const std::array<bool, 256> kPlain = plain_characters();
  for (const char c : text) {
    if (!kPlain[static_cast<unsigned char>(c)]) return false;
  }
  return true;
}

// Returns the length of the character at the beginning of `text`, which has `size` bytes; 0 if it is not
// valid UTF-8.
static std::size_t character_length(const unsigned char* text, std::size_t size) {
  const unsigned lead = text[0];
  if (lead < 0x80) return 1;
  const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (lead < 0xc2 || lead > 0xf4 || size < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((text[i] & 0xc0) != 0x80) return 0;
  }
  // Overlong encodings, surrogates, and code points above the last one.
  const unsigned second = text[1];
  if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f)) return 0;
  if ((lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f)) return 0;
  return length;
}

static bool is_utf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length = character_length(bytes + position, text.size() - position);
    if (length == 0) return false;
    position += length;
  }
  return true;
}

// Returns the first control character of a valid string, except tabs; nothing if there is none.
static std::optional<unsigned> find_control_character(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte < 0x20 && byte != '\t') || byte == 0x7f) return byte;
    // U+0080 to U+009F have this lead byte and are their second byte.
    const unsigned second = byte == 0xc2 ? static_cast<unsigned char>(text[i + 1]) : 0xa0;
    if (second < 0xa0) return second;
  }
  return std::nullopt;
}

// Returns why the string is rejected at any path; nothing if it is not.
static std::optional<std::string> why_refused(std::string_view text) {
  if (is_plain(text)) return std::nullopt;
  if (!is_utf8(text)) return "not valid UTF-8";
  const std::optional<unsigned> found = find_control_character(text);
  if (!found) return std::nullopt;
  char reason[32];
  std::snprintf(reason, sizeof reason, "control character U+%04X", *found);
  return reason;
}

static std::string join(const std::string& path, const std::string& key) {
  return path.empty() ? key : path + "." + key;
}

// Returns the path of the location, such as static_routes[2].gateway. A rejected key is quoted, with special
// characters escaped.
static std::string path_of(const Place& place) {
  if (place.parent == nullptr) return "";
  const std::string parent = path_of(*place.parent);
  if (place.is_element) return parent + "[" + std::to_string(place.index) + "]";
  const std::string key(place.key);
  return join(parent, why_refused(key) ? Json::writeString(Json::StreamWriterBuilder(), key) : key);
}

// Returns the path without array indexes: static_routes[].gateway.
static std::string pattern_of(const Place& place) {
  if (place.parent == nullptr) return "";
  const std::string parent = pattern_of(*place.parent);
  return place.is_element ? parent + "[]" : join(parent, std::string(place.key));
}

static bool reaches_shell(const Place& place) {
  return std::find(kShellTexts.begin(), kShellTexts.end(), pattern_of(place)) != kShellTexts.end();
}

static std::optional<std::string> why_refused_at(const Place& place, std::string_view text) {
  if (auto reason = why_refused(text)) return reason;
  const std::size_t found = text.find_first_of(kShellCharacters);
  if (found == std::string_view::npos || !reaches_shell(place)) return std::nullopt;
  return std::string("the character '") + text[found] + "' is special to the shell";
}

static std::string_view text_of_string(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  value.getString(&begin, &end);
  return {begin, static_cast<std::size_t>(end - begin)};
}

static std::string_view key_of(const Json::Value::const_iterator& member) {
  const char* end = nullptr;
  const char* begin = member.memberName(&end);
  return {begin, static_cast<std::size_t>(end - begin)};
}

// The depth of the recursion is that of the configuration, which the parser limits.
static void check(const Json::Value& value, const Place& place, std::vector<RefusedText>& refused) {
  if (value.isString()) {
    if (const auto reason = why_refused_at(place, text_of_string(value))) {
      refused.push_back({&value, path_of(place), *reason});
    }
  } else if (value.isArray()) {
    Json::ArrayIndex index = 0;
    for (const Json::Value& element : value)
      check(element, {&place, {}, true, index++}, refused);
  } else if (value.isObject()) {
    for (auto member = value.begin(); member != value.end(); ++member) {
      const Place inside{&place, key_of(member), false, 0};
      if (const auto reason = why_refused(inside.key)) {
        refused.push_back({&*member, path_of(inside), "in the key: " + *reason});
      }
      check(*member, inside, refused);
    }
  }
}

std::vector<RefusedText> find_refused_texts(const Json::Value& root) {
  std::vector<RefusedText> refused;
  check(root, {nullptr, {}, false, 0}, refused);
  std::stable_sort(refused.begin(), refused.end(), [](const RefusedText& a, const RefusedText& b) {
    return a.value->getOffsetStart() < b.value->getOffsetStart();
  });
  return refused;
}
