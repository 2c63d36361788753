#pragma once

// The schema of the configuration, schema/network.schema.json.

#include <json/json.h>

#include <functional>
#include <string>
#include <string_view>

// The text of the schema.
extern const std::string_view kSchema;

// The parsed schema, with each "$ref" replaced by its target.
const Json::Value& configuration_schema();

// The schema of an object's member, and that of an array's elements; null if `schema` does not define it.
const Json::Value* member_schema(const Json::Value& schema, const std::string& key);
const Json::Value* element_schema(const Json::Value& schema);

// Whether a value has the type and the range of its schema, and is one of its words. Does not check the
// members of an object and the elements of an array.
bool is_allowed_by(const Json::Value& value, const Json::Value& schema);

// Whether cmd_lanfab reads an element of an array as a name, given the schema of the elements: in a list of
// strings, any value that can be converted to a string.
bool is_name_in_list(const Json::Value& element, const Json::Value& schema);

// A value that its schema does not allow.
struct Violation {
  enum class Kind { kWrongType, kOutOfRange, kUnknownWord };

  const Json::Value* value;
  const Json::Value* schema;
  Kind kind;
};

// Calls `judge` with each value in `root` that the schema does not allow, but not with the objects and
// arrays around it. Values that is_name_in_list() accepts are allowed. Keys that the schema does not define
// are ignored.
void for_each_violation(const Json::Value& root, const std::function<void(const Violation&)>& judge);
