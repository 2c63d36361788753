#include "cli/config_file/schema.h"

#include <algorithm>
#include <memory>

#include "util/json_path.h"

static Json::Value parsed(std::string_view text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value value;
  reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
  return value;
}

// Target of a "$ref" such as "#/definitions/port".
static const Json::Value& referred(const Json::Value& document, std::string reference) {
  reference.erase(0, 2);
  std::replace(reference.begin(), reference.end(), '/', '.');
  return *find_path(document, reference);
}

static Json::Value expanded(const Json::Value& value, const Json::Value& document) {
  if (!value.isObject()) return value;
  if (value.isMember("$ref")) return expanded(referred(document, value["$ref"].asString()), document);
  Json::Value copy(Json::objectValue);
  for (auto member = value.begin(); member != value.end(); ++member)
    copy[member.name()] = expanded(*member, document);
  return copy;
}

const Json::Value& configuration_schema() {
  static const Json::Value schema = [] {
    Json::Value document = parsed(kSchema);
    Json::Value root = expanded(document, document);
    root.removeMember("definitions");
    return root;
  }();
  return schema;
}

const Json::Value* member_schema(const Json::Value& schema, const std::string& key) {
  const Json::Value& properties = schema["properties"];
  return properties.find(key.data(), key.data() + key.size());
}

const Json::Value* element_schema(const Json::Value& schema) {
  const Json::Value& items = schema["items"];
  return items.isNull() ? nullptr : &items;
}

// Whether cmd_lanfab accepts a value as one of this type. Its integers have 32 bits.
static bool is_of_type(const Json::Value& value, const std::string& type) {
  if (type == "object") return value.type() == Json::objectValue;
  if (type == "array") return value.type() == Json::arrayValue;
  if (type == "string") return value.isString();
  return type == "integer" ? value.isInt() : value.isBool();
}

static bool is_in_range(const Json::Value& value, const Json::Value& schema) {
  if (!value.isInt()) return true;
  const Json::Value& minimum = schema["minimum"];
  const Json::Value& maximum = schema["maximum"];
  return (minimum.isNull() || value.asInt64() >= minimum.asInt64()) &&
         (maximum.isNull() || value.asInt64() <= maximum.asInt64());
}

static bool is_known_word(const Json::Value& value, const Json::Value& schema) {
  const Json::Value& words = schema["enum"];
  return words.empty() || std::find(words.begin(), words.end(), value) != words.end();
}

bool is_allowed_by(const Json::Value& value, const Json::Value& schema) {
  return is_of_type(value, schema["type"].asString()) && is_in_range(value, schema) &&
         is_known_word(value, schema);
}

bool is_name_in_list(const Json::Value& element, const Json::Value& schema) {
  return schema["type"] == "string" && element.isConvertibleTo(Json::stringValue);
}

using Judge = std::function<void(const Violation&)>;

static void visit(const Json::Value& value, const Json::Value& schema, const Judge& judge);

static void visit(const Json::Value& value, const Json::Value& schema, const Judge& judge) {
  const std::string type = schema["type"].asString();
  if (!is_of_type(value, type)) {
    judge({&value, &schema, Violation::Kind::kWrongType});
  } else if (!is_in_range(value, schema)) {
    judge({&value, &schema, Violation::Kind::kOutOfRange});
  } else if (!is_known_word(value, schema)) {
    judge({&value, &schema, Violation::Kind::kUnknownWord});
  } else if (type == "object") {
    for (auto member = value.begin(); member != value.end(); ++member)
      if (const Json::Value* known = member_schema(schema, member.name())) visit(*member, *known, judge);
  } else if (const Json::Value* items = type == "array" ? element_schema(schema) : nullptr) {
    for (const Json::Value& element : value)
      if (!is_name_in_list(element, *items)) visit(element, *items, judge);
  }
}

void for_each_violation(const Json::Value& root, const Judge& judge) {
  visit(root, configuration_schema(), judge);
}
