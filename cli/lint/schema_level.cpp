#include "cli/lint/schema_level.h"

#include <vector>

#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"
#include "config/lookup.h"

std::optional<std::string> nearest_key(const Level& level, const std::string& key, bool absent_only) {
  std::vector<std::string> candidates;
  for (const std::string& known : level.schema["properties"].getMemberNames())
    if (!absent_only || !level.object.isMember(known)) candidates.push_back(known);
  return nearest(key, candidates);
}

// Whether the value is neither empty nor null nor false.
static bool has_content(const Json::Value& value) {
  if (value.isObject() || value.isArray() || value.isNull()) return !value.empty();
  if (value.isString()) return !value.asString().empty();
  return !value.isBool() || value.asBool();
}

// Whether the settings of a "dhcp" object may have an effect without "enable": automatic pass-through always
// serves DHCP, and an enabled relay replaces the server. A mode that cannot be read may be automatic
// pass-through.
static bool may_be_served_otherwise(const Level& level) {
  if (level.name != "dhcp") return false;
  const Json::Value& mode = level.around->object["mode"];
  const bool has_mode = member_schema(level.around->schema, "mode") != nullptr;
  const bool is_manual = !has_mode || mode == "router" || mode == "pass-through";
  return !is_manual || is_true(level.object, "dhcp_relay.enable");
}

bool is_off(const Level& level) {
  if (level.object["enable"] == false) return true;
  const Level* outer = level.around;
  if (outer == nullptr) return false;
  const bool works_disabled = outer->schema["properties"][level.name].isMember("works_disabled");
  return is_off(works_disabled && outer->around != nullptr ? *outer->around : *outer);
}

bool lacks_enable(const Level& level) {
  const Json::Value* enable = member_schema(level.schema, "enable");
  if (enable == nullptr || (*enable)["default"] != false || level.object.isMember("enable")) return false;
  if (is_off(level) || may_be_served_otherwise(level)) return false;
  for (auto member = level.object.begin(); member != level.object.end(); ++member) {
    const Json::Value* known = member_schema(level.schema, member.name());
    if (known != nullptr && !known->isMember("works_disabled") && has_content(*member)) return true;
  }
  return false;
}

static void visit(const std::string& name, const Json::Value& value, const Json::Value& schema,
                  const Level* around, const std::function<void(const Level&)>& judge) {
  if (value.isArray()) {
    const Json::Value* items = element_schema(schema);
    for (const Json::Value& element : value)
      if (items != nullptr) visit(name, element, *items, around, judge);
  } else if (value.isObject() && schema.isMember("properties")) {
    const Level level{name, value, schema, around};
    judge(level);
    for (auto member = value.begin(); member != value.end(); ++member)
      if (const Json::Value* known = member_schema(schema, member.name()))
        visit(member.name(), *member, *known, &level, judge);
  }
}

void for_each_level(const Json::Value& root, const std::function<void(const Level&)>& judge) {
  visit("", root, configuration_schema(), nullptr, judge);
}

// The dotted path from this schema to the nearest object inside that knows the key, at most `depth` levels
// down; nothing if there is none.
static std::optional<std::string> home_inside(const Json::Value& schema, const std::string& key, int depth) {
  const Json::Value& members = schema["properties"];
  for (const std::string& name : members.getMemberNames())
    if (member_schema(members[name], key) != nullptr) return name;
  for (const std::string& name : members.getMemberNames()) {
    if (depth == 1) break;
    if (const auto home = home_inside(members[name], key, depth - 1)) return name + "." + *home;
  }
  return std::nullopt;
}

std::optional<Home> home_of(const Level& level, const std::string& key, int depth) {
  if (key == "enable") return std::nullopt;
  for (const Level* outer = level.around; outer != nullptr; outer = outer->around)
    if (member_schema(outer->schema, key) != nullptr) return Home{outer, ""};
  const auto inside = home_inside(level.schema, key, depth);
  return inside ? std::optional(Home{&level, *inside}) : std::nullopt;
}

bool is_likely_home(const Level& level, const std::string& key, const Home& home) {
  if (home.level != &level && home.level != level.around) return false;
  const Json::Value* object = &home.level->object;
  if (!home.inside.empty()) object = object_at(*object, home.inside);
  return object == nullptr || !object->isMember(key);
}
