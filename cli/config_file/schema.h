#pragma once

// The schema of the configuration, schema/network.schema.json: what may stand where.

#include <json/json.h>

#include <functional>
#include <string>
#include <string_view>

// The text of the schema.
extern const std::string_view kSchema;

// The schema, each "$ref" replaced by what it refers to.
const Json::Value& configuration_schema();

// The schema of an object's member, and that of an array's elements; null where the schema has none.
const Json::Value* member_schema(const Json::Value& schema, const std::string& key);
const Json::Value* element_schema(const Json::Value& schema);

// Whether a value is of the type that the schema wants, in range, and not an unknown word; the members of an
// object and the elements of an array are not considered.
bool is_allowed_by(const Json::Value& value, const Json::Value& schema);

// Whether the program takes an element of an array, given their schema, for a name: all that has a text, in a
// list of names.
bool is_name_in_list(const Json::Value& element, const Json::Value& schema);

// A value that its schema does not allow.
struct Violation {
  enum class Kind { kWrongType, kOutOfRange, kUnknownWord };

  const Json::Value* value;
  const Json::Value* schema;
  Kind kind;
};

// Calls `judge` with each value below `root` that the schema does not allow, the innermost ones only. What
// the program takes for a name, though it is not a string, is allowed in a list of names. Keys that the
// schema does not know are left alone.
void for_each_violation(const Json::Value& root, const std::function<void(const Violation&)>& judge);
