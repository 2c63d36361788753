#pragma once

// Repairs a configuration to what was probably intended. A finding that disappears with the repair only
// follows from a value that cannot be read, and that value has its own finding.

#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"
#include "cli/lint/schema_level.h"

// Replaces values that the schema does not allow, and strings that are refused, by likely values, and moves
// values to the keys that they were probably meant for. The destructor undoes this. The number of repairs is
// limited.
class Repair {
 public:
  // Repairs the causes of errors. If `least` is kWarning, also repairs those of warnings, such as a doubtful
  // key or a missing "enable".
  Repair(Source& source, Severity least);
  ~Repair();
  Repair(const Repair&) = delete;
  Repair& operator=(const Repair&) = delete;

  // Whether anything was repaired.
  bool is_needed() const {
    return !undo_.empty();
  }

  // The locations of the replaced values, and of the objects that got a missing member.
  const LocationSet& replaced() const {
    return replaced_;
  }

 private:
  struct MutableLevel {
    Json::Value& object;
    Level level;
    MutableLevel* around;
  };

  void visit(const std::string& name, Json::Value& value, const Json::Value& schema, MutableLevel* around);
  void visit_object(const std::string& name, Json::Value& object, const Json::Value& schema,
                    MutableLevel* around);
  void replace(Json::Value& value, Json::Value likely);
  void repair_key(MutableLevel& at, const std::string& key);
  void repair_shared_key(MutableLevel& at, const std::string& key);
  void complete_port(MutableLevel& at);
  void complete(MutableLevel& at, const std::string& key, Json::Value likely);
  bool move_beside(MutableLevel& at, const std::string& key);
  bool move_home(MutableLevel& at, const std::string& key, const Home& home);
  void move(Json::Value& from, const std::string& key, Json::Value& to, const std::string& new_key);
  void fill_missing(MutableLevel& at, const Json::Value& value);
  Json::Value& add_member(Json::Value& object, const std::string& key, Json::Value value);
  bool is_of_bridge(const Level& level, const std::string& key) const;

  Severity least_;
  std::string bridge_network_;  // the dotted path of the bridge's settings, whose key may have any name
  std::vector<const Json::Value*> refused_;  // sorted
  LocationSet replaced_;
  std::vector<std::function<void()>> undo_;
};
