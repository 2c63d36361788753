#include "cli/config_file/schema.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <valijson/adapters/jsoncpp_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "util/json_path.h"

using valijson::adapters::JsonCppAdapter;

static Json::Value parsed(std::string_view text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value value;
  reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
  return value;
}

// What a "$ref" refers to: "#/definitions/port".
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

static bool is_of_type(const Json::Value& schema, const char* type) {
  return schema.isObject() && schema["type"] == type;
}

// Makes a schema one for the validator, in place. Unknown keys have their own rules, which know which key was
// probably wanted. The validator throws when a value with a format is no string. Its integers have 64 bits,
// the program's 32. In a list of names the program takes every value for a name that has a text.
static void adapt_to_validator(Json::Value& schema) {
  if (!schema.isObject()) return;
  schema.removeMember("additionalProperties");
  schema.removeMember("format");
  if (is_of_type(schema, "integer")) {
    if (!schema.isMember("minimum")) schema["minimum"] = std::numeric_limits<int>::min();
    if (!schema.isMember("maximum")) schema["maximum"] = std::numeric_limits<int>::max();
  }
  if (schema.isMember("items") && is_of_type(schema["items"], "string")) {
    Json::Value types(Json::arrayValue);
    for (const char* type : {"string", "number", "boolean", "null"})
      types.append(type);
    schema["items"]["type"] = types;
  }
  for (Json::Value& member : schema)
    adapt_to_validator(member);
}

static const valijson::Schema& validator_schema() {
  static const std::unique_ptr<const valijson::Schema> schema = [] {
    Json::Value document = configuration_schema();
    adapt_to_validator(document);
    auto compiled = std::make_unique<valijson::Schema>();
    valijson::SchemaParser().populateSchema(JsonCppAdapter(document), *compiled);
    return compiled;
  }();
  return *schema;
}

// The violation at the place that the validator names by its context: "<root>", "[wired]", "[eth0]". An array
// has positions instead of keys.
static Violation violation_at(const std::vector<std::string>& context, const Json::Value& root) {
  Violation violation{&root, &configuration_schema(), true};
  for (auto step = context.begin() + 1; step != context.end(); ++step) {
    const std::string name = step->substr(1, step->size() - 2);
    if (violation.value->isArray()) {
      violation.value = &(*violation.value)[static_cast<Json::ArrayIndex>(std::stoul(name))];
      violation.schema = element_schema(*violation.schema);
    } else {
      violation.value = violation.value->find(name.data(), name.data() + name.size());
      violation.schema = member_schema(*violation.schema, name);
    }
  }
  violation.is_of_wrong_type = !is_of_type(*violation.schema, "integer") || !violation.value->isInt();
  return violation;
}

// Whether the place of one context is inside that of the other, or the same.
static bool is_within(const std::vector<std::string>& inner, const std::vector<std::string>& outer) {
  return inner.size() >= outer.size() && std::equal(outer.begin(), outer.end(), inner.begin());
}

std::vector<Violation> find_violations(const Json::Value& root) {
  valijson::ValidationResults results;
  valijson::Validator().validate(validator_schema(), JsonCppAdapter(root), &results);
  std::vector<Violation> violations;
  // Each error is followed by one for every value around the place.
  const std::vector<std::string>* innermost = nullptr;
  for (const valijson::ValidationResults::Error& error : results) {
    if (innermost != nullptr && is_within(*innermost, error.context)) continue;
    innermost = &error.context;
    violations.push_back(violation_at(error.context, root));
  }
  return violations;
}
