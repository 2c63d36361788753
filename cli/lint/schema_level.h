#pragma once

// The objects of a configuration that the schema describes, and keys that the schema does not know there.

#include <json/json.h>

#include <functional>
#include <optional>
#include <string>

// An object of the configuration, among those around it.
struct Level {
  std::string name;  // the key of the object, or of the array that it is in
  const Json::Value& object;
  const Json::Value& schema;
  const Level* around;  // null for the configuration itself

  // Whether only this program reads the object.
  bool is_closed() const {
    return schema.isMember("additionalProperties");
  }

  // Whether it is an element of a list.
  bool is_element() const {
    return around != nullptr && around->schema["properties"][name]["type"] == "array";
  }

  // The dotted path of a member.
  std::string path_to(const std::string& key) const {
    if (around == nullptr) return key;
    return around->path_to(name) + "." + key;
  }
};

// Whether the object has settings that need an "enable", and none: not under an object that is disabled on
// purpose, by false.
bool lacks_enable(const Level& level);

// Whether the object, or one around it, is disabled by false.
bool is_off(const Level& level);

// Calls `judge` with each object of the configuration that the schema describes, the outer ones first.
void for_each_level(const Json::Value& root, const std::function<void(const Level&)>& judge);

// Where a key is known that is not known where it stands.
struct Home {
  const Level* level;
  std::string inside;  // the dotted path of an object below the level's own; empty for the level's own
};

// The known key of this level that a key was probably to be. With `absent_only` a key that the object has is
// not a candidate.
std::optional<std::string> nearest_key(const Level& level, const std::string& key, bool absent_only);

// The nearest object that knows the key: one around the level's or, failing that, one inside it, at most
// `depth` objects further in. Never for "enable", which too many objects know.
std::optional<Home> home_of(const Level& level, const std::string& key, int depth);

// Whether a key of a shared object, which may be another program's, was probably to be there: the key is
// missing there, one object further in or out.
bool is_likely_home(const Level& level, const std::string& key, const Home& home);

// From "eth0" to "network.advanced.vlan".
inline constexpr int kMaxHomeDepth = 3;
