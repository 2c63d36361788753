#pragma once

// Objects of a configuration that the schema describes, and keys that the schema does not know in them.

#include <json/json.h>

#include <functional>
#include <optional>
#include <string>

// An object of the configuration, with a link to the object around it.
struct Level {
  std::string name;  // the key of the object, or of the array that it is in
  const Json::Value& object;
  const Json::Value& schema;
  const Level* around;  // null for the configuration itself

  // Whether only cmd_lanfab reads the object, so that every unknown key in it is an error.
  bool is_closed() const {
    return schema.isMember("additionalProperties");
  }

  // Whether the object is an element of an array.
  bool is_element() const {
    return around != nullptr && around->schema["properties"][name]["type"] == "array";
  }

  // The dotted path of a member.
  std::string path_to(const std::string& key) const {
    if (around == nullptr) return key;
    return around->path_to(name) + "." + key;
  }
};

// Whether the object has settings that need an "enable", but no "enable". False if is_off().
bool lacks_enable(const Level& level);

// Whether "enable" is explicitly false in the object or in one around it. An object that works while the
// next one around it is disabled ignores that one.
bool is_off(const Level& level);

// Calls `judge` with each object of the configuration that the schema describes, the outer ones first.
void for_each_level(const Json::Value& root, const std::function<void(const Level&)>& judge);

// The object in which a misplaced key is known.
struct Home {
  const Level* level;
  std::string inside;  // the dotted path of an object inside the level's own; empty for the level's own
};

// The known key of this level that a misspelled key was probably meant to be; nothing if there is none. With
// `absent_only`, keys that the object already has are not candidates.
std::optional<std::string> nearest_key(const Level& level, const std::string& key, bool absent_only);

// The nearest object that knows the key: one around that of the level or, failing that, one inside it, at
// most `depth` levels down. Nothing if there is none, and for "enable", which too many objects know.
std::optional<Home> home_of(const Level& level, const std::string& key, int depth);

// Whether an unknown key of a shared object, which may belong to another program, was probably meant to be
// in `home`: that is within the object or the next one around it, and lacks the key.
bool is_likely_home(const Level& level, const std::string& key, const Home& home);

// The maximum depth for home_of(): from "eth0" to "network.advanced.vlan".
inline constexpr int kMaxHomeDepth = 3;
