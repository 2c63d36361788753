#include "cli/lint/schema_level.h"

#include <vector>

#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"

std::optional<std::string> nearest_key(const Level& level, const std::string& key, bool absent_only) {
  std::vector<std::string> candidates;
  for (const std::string& known : level.schema["properties"].getMemberNames())
    if (!absent_only || !level.object.isMember(known)) candidates.push_back(known);
  return nearest(key, candidates);
}

// The path from this schema to the next object inside that knows the key, at most `depth` objects further in.
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
