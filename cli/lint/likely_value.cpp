#include "cli/lint/likely_value.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"
#include "config/lookup.h"
#include "platform/libvantor.h"

// The string without blanks, quotes, and control characters at its ends.
static std::string without_junk(const std::string& text) {
  const auto is_junk = [](unsigned char c) { return std::isgraph(c) == 0 || c == '"' || c == '\''; };
  const auto begin = std::find_if_not(text.begin(), text.end(), is_junk);
  const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), is_junk).base();
  return std::string(begin, end);
}

static std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

static std::optional<Json::Value> meant_boolean(const Json::Value& value) {
  constexpr std::array<std::string_view, 5> kTrue = {"true", "yes", "on", "enabled", "1"};
  constexpr std::array<std::string_view, 5> kFalse = {"false", "no", "off", "disabled", "0"};
  const std::string text = lower(without_junk(text_of(value)));
  if (std::find(kTrue.begin(), kTrue.end(), text) != kTrue.end()) return Json::Value(true);
  if (std::find(kFalse.begin(), kFalse.end(), text) != kFalse.end()) return Json::Value(false);
  return std::nullopt;
}

// A number rounded to an integer, a string with a decimal number of at most nine digits, or the prefix
// length of a dotted netmask.
static std::optional<Json::Value> meant_integer(const Json::Value& value) {
  constexpr std::size_t kMostDigits = 9;
  const double number = value.isDouble() ? std::round(value.asDouble()) : 0;
  if (number != 0 && std::abs(number) <= std::numeric_limits<int>::max())
    return Json::Value(static_cast<int>(number));
  if (!value.isString()) return std::nullopt;
  std::string text = without_junk(value.asString());
  if (const int prefix = netmask_to_cidr(text.c_str()); prefix > 0) return Json::Value(prefix);
  text.erase(0, text.find_first_not_of('/'));
  const bool is_number =
      !text.empty() && text.size() <= kMostDigits &&
      std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
  return is_number ? std::optional<Json::Value>(std::stoi(text)) : std::nullopt;
}

static std::optional<Json::Value> meant_string(const Json::Value& value) {
  if (!value.isArray())
    return value.isNull() || !has_text(value) ? std::nullopt : std::optional<Json::Value>(text_of(value));
  std::string list;
  for (const Json::Value& element : value) {
    if (!element.isString()) return std::nullopt;
    list += (list.empty() ? "" : ",") + element.asString();
  }
  return list.empty() ? std::nullopt : std::optional<Json::Value>(list);
}

static bool is_contained(const std::string& a, const std::string& b) {
  constexpr std::size_t kShortest = 3;
  return std::min(a.size(), b.size()) >= kShortest &&
         (a.find(b) != std::string::npos || b.find(a) != std::string::npos);
}

std::optional<std::string> meant_word(const std::string& text, const Json::Value& words) {
  std::vector<std::string> known;
  std::vector<std::string> similar;
  const std::string meant = lower(without_junk(text));
  for (const Json::Value& word : words) {
    known.push_back(word.asString());
    if (is_contained(meant, word.asString())) similar.push_back(word.asString());
  }
  if (auto word = nearest(meant, known)) return word;
  return similar.size() == 1 ? std::optional(similar.front()) : std::nullopt;
}

// The parts of a string between commas, semicolons and spaces, or the value as the only element. Nothing if
// the schema does not allow an element.
static std::optional<Json::Value> meant_array(const Json::Value& value, const Json::Value& schema) {
  const Json::Value* items = element_schema(schema);
  Json::Value array(Json::arrayValue);
  const std::string text = value.isString() ? value.asString() : std::string();
  constexpr char kSeparators[] = ",; ";
  for (std::size_t end = 0, begin = text.find_first_not_of(kSeparators); begin != std::string::npos;
       begin = text.find_first_not_of(kSeparators, end)) {
    end = std::min(text.find_first_of(kSeparators, begin), text.size());
    array.append(text.substr(begin, end - begin));
  }
  if (array.empty()) array.append(value);
  const bool is_allowed =
      items != nullptr && std::all_of(array.begin(), array.end(),
                                      [&](const auto& element) { return is_allowed_by(element, *items); });
  return is_allowed ? std::optional(array) : std::nullopt;
}

// The only element of an array, if it is an object; for false, an object with "enable": false. Nothing for
// any other value.
static std::optional<Json::Value> meant_object(const Json::Value& value, const Json::Value& schema) {
  if (value.isArray() && value.size() == 1 && value[0].isObject()) return value[0];
  if (!value.isBool() || value.asBool() || member_schema(schema, "enable") == nullptr) return std::nullopt;
  Json::Value disabled(Json::objectValue);
  disabled["enable"] = false;
  return disabled;
}

static std::optional<Json::Value> converted(const Json::Value& value, const Json::Value& schema) {
  const std::string type = schema["type"].asString();
  if (type == "object") return meant_object(value, schema);
  if (type == "array") return meant_array(value, schema);
  const bool is_only = value.isArray() && value.size() == 1;
  const Json::Value& scalar = is_only ? value[0] : value;
  if (type == "boolean") return meant_boolean(scalar);
  if (type == "integer") return meant_integer(scalar);
  std::optional<Json::Value> text = meant_string(value);
  if (!text || !schema.isMember("enum")) return text;
  const std::optional<std::string> word = meant_word(text->asString(), schema["enum"]);
  return word ? std::optional<Json::Value>(*word) : std::nullopt;
}

std::optional<Json::Value> meant_value(const Json::Value& value, const Json::Value& schema) {
  const std::optional<Json::Value> meant = converted(value, schema);
  return meant && is_allowed_by(*meant, schema) ? meant : std::nullopt;
}

Json::Value example_of(const Json::Value& schema) {
  if (schema.isMember("examples")) return schema["examples"][0];
  if (const Json::Value* items = element_schema(schema)) {
    Json::Value array(Json::arrayValue);
    array.append(example_of(*items));
    return array;
  }
  Json::Value object(Json::objectValue);
  const Json::Value& members = schema["properties"];
  for (auto member = members.begin(); member != members.end(); ++member)
    object[member.name()] = example_of(*member);
  return object;
}

Json::Value likely_value(const Json::Value& value, const Json::Value& schema) {
  const std::optional<Json::Value> meant = meant_value(value, schema);
  return meant ? *meant : example_of(schema);
}
