#include "cli/language_server/schema_help.h"

#include <algorithm>

#include "cli/config_file/schema.h"

// The schema of the value at the path; null if there is none.
static const Json::Value* schema_at(const std::vector<PathStep>& path) {
  const Json::Value* schema = &configuration_schema();
  for (const PathStep& step : path) {
    schema = step ? member_schema(*schema, *step) : element_schema(*schema);
    if (schema == nullptr) return nullptr;
  }
  return schema;
}

static std::string json_text(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// "integer, 68 to 9000, default 1500". The schema does not contain a minimum without a maximum.
static std::string type_of(const Json::Value& schema) {
  std::string text = schema["type"].asString();
  const bool has_maximum = schema.isMember("maximum");
  if (schema.isMember("minimum")) {
    text += ", " + json_text(schema["minimum"]) + " to " + json_text(schema["maximum"]);
  } else if (has_maximum) {
    text += ", at most " + json_text(schema["maximum"]);
  }
  return schema.isMember("default") ? text + ", default " + json_text(schema["default"]) : text;
}

// The value as JSON, without its opening quote if the cursor's token already has one.
static std::string rest_of(const Json::Value& value, const Cursor& cursor) {
  return json_text(value).substr(cursor.is_quoted ? 1 : 0);
}

TextRange replaced_range(const Cursor& cursor) {
  return {cursor.token.begin + (cursor.is_quoted ? 1 : 0), cursor.token.end};
}

static std::vector<Proposal> keys_for(const Json::Value& schema, const Cursor& cursor) {
  std::vector<Proposal> proposals;
  const Json::Value& properties = schema["properties"];
  for (const std::string& key : properties.getMemberNames()) {
    if (std::count(cursor.other_keys.begin(), cursor.other_keys.end(), key) > 0) continue;
    const Json::Value& member = properties[key];
    proposals.push_back({Proposal::Kind::kKey, key, rest_of(key, cursor) + (cursor.has_colon ? "" : ": "),
                         type_of(member), member["description"].asString()});
  }
  return proposals;
}

// The allowed values or, if the schema does not list them, examples.
static std::vector<Proposal> values_for(const Json::Value& schema, const Cursor& cursor) {
  Json::Value values = schema["enum"];
  if (schema["type"] == "boolean") {
    values.append(true);
    values.append(false);
  } else if (values.isNull()) {
    values = schema["examples"];
  }
  std::vector<Proposal> proposals;
  for (const Json::Value& value : values) {
    if (cursor.is_quoted && !value.isString()) continue;
    const std::string label = value.isString() ? value.asString() : json_text(value);
    proposals.push_back({Proposal::Kind::kValue, label, rest_of(value, cursor), type_of(schema), ""});
  }
  return proposals;
}

std::vector<Proposal> proposals_at(const Cursor& cursor) {
  const Json::Value* schema = schema_at(cursor.path);
  if (schema == nullptr || cursor.kind == Cursor::Kind::kElsewhere) return {};
  return cursor.kind == Cursor::Kind::kKey ? keys_for(*schema, cursor) : values_for(*schema, cursor);
}

std::string description_at(const Cursor& cursor) {
  std::vector<PathStep> path = cursor.path;
  if (cursor.kind == Cursor::Kind::kElsewhere || cursor.token.begin == cursor.token.end) return "";
  if (cursor.kind == Cursor::Kind::kKey) path.emplace_back(cursor.key);
  const Json::Value* schema = schema_at(path);
  if (schema == nullptr) return "";
  return "*" + type_of(*schema) + "*\n\n" + (*schema)["description"].asString();
}
