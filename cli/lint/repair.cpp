#include "cli/lint/repair.h"

#include <algorithm>
#include <utility>

#include "cli/config_file/characters.h"
#include "cli/config_file/schema.h"
#include "cli/lint/ip_network.h"
#include "cli/lint/likely_value.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "libcmd/text_policy.h"
#include "util/json_path.h"

// Each repair takes memory until it is undone.
constexpr std::size_t kMostRepairs = 2000;

// The dotted path of the bridge's settings; empty if the bridge is not enabled.
static std::string bridge_network_of(const Json::Value& root) {
  NetworkContext context;
  context.bridge_primary_interface = string_at(root, "wired.bridge.primary_interface").value_or("");
  return is_true(root, "wired.bridge.enable") ? bridge_primary_network_path(&context) : std::string();
}

Repair::Repair(Source& source, Severity least)
    : least_(least), bridge_network_(bridge_network_of(source.root)), replaced_(source.text.size()) {
  for (const RefusedText& refused : find_refused_texts(source.root)) {
    if (refused_.size() < kMostRepairs) refused_.push_back(refused.value);
  }
  std::sort(refused_.begin(), refused_.end());
  visit("", source.root, configuration_schema(), nullptr);
}

Repair::~Repair() {
  for (auto step = undo_.rbegin(); step != undo_.rend(); ++step)
    (*step)();
}

// The first part of a refused string that consists of harmless characters only.
static Json::Value plain_part(const Json::Value& value) {
  constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-:/";
  const std::string text = text_of(value);
  const std::size_t begin = std::min(text.find_first_of(kPlain), text.size());
  return text.substr(begin, text.find_first_not_of(kPlain, begin) - begin);
}

// The string without deceptive characters; nothing if it has none.
static std::optional<Json::Value> plain_string(const Json::Value& value) {
  if (!value.isString()) return std::nullopt;
  const std::string text = value.asString();
  std::string plain = plain_text(text);
  return plain == text ? std::nullopt : std::optional(Json::Value(plain));
}

// Whether the schema requires an integer and the value is one. If that is not allowed, it is out of range,
// which is only a warning.
static bool is_number_of(const Json::Value& schema, const Json::Value& value) {
  return schema["type"] == "integer" && value.isInt();
}

void Repair::visit(const std::string& name, Json::Value& value, const Json::Value& schema,
                   MutableLevel* around) {
  if (undo_.size() >= kMostRepairs) return;
  const bool is_refused = std::binary_search(refused_.begin(), refused_.end(), &value);
  if (is_refused) {
    replace(value, likely_value(plain_part(value), schema));
  } else if (const auto plain = plain_string(value)) {
    replace(value, is_allowed_by(*plain, schema) ? *plain : likely_value(*plain, schema));
  } else if (!is_allowed_by(value, schema) &&
             (least_ == Severity::kWarning || !is_number_of(schema, value))) {
    replace(value, likely_value(value, schema));
  } else if (value.isObject() && schema.isMember("properties")) {
    visit_object(name, value, schema, around);
  } else if (const Json::Value* items = value.isArray() ? element_schema(schema) : nullptr) {
    for (Json::Value& element : value)
      if (element.isString() || !is_name_in_list(element, *items)) visit(name, element, *items, around);
  }
}

void Repair::visit_object(const std::string& name, Json::Value& object, const Json::Value& schema,
                          MutableLevel* around) {
  MutableLevel at{object, {name, object, schema, around != nullptr ? &around->level : nullptr}, around};
  std::vector<std::string> unknown;
  for (auto member = object.begin(); member != object.end(); ++member) {
    if (unknown.size() < kMostRepairs && member_schema(schema, member.name()) == nullptr)
      unknown.push_back(member.name());
  }
  for (const std::string& key : unknown) {
    if (undo_.size() >= kMostRepairs || is_of_bridge(at.level, key)) continue;
    if (at.level.is_closed()) {
      repair_key(at, key);
    } else if (least_ == Severity::kWarning) {
      repair_shared_key(at, key);
    }
  }
  const bool needs_enable = least_ == Severity::kWarning && lacks_enable(at.level);
  for (auto member = object.begin(); member != object.end(); ++member)
    if (const Json::Value* known = member_schema(schema, member.name()))
      visit(member.name(), *member, *known, &at);
  // The missing "enable" may have moved here from an inner object.
  if (needs_enable && !object.isMember("enable")) complete(at, "enable", true);
  complete_port(at);
}

bool Repair::is_of_bridge(const Level& level, const std::string& key) const {
  const std::string beginning = level.path_to(key) + ".";
  return bridge_network_.compare(0, beginning.size(), beginning) == 0;
}

// --- Values

// Gives a replacement the location of the value that it replaces.
static void set_range(Json::Value& value, TextRange range) {
  value.setOffsetStart(range.begin);
  value.setOffsetLimit(range.end);
  for (Json::Value& member : value)
    set_range(member, range);
}

void Repair::replace(Json::Value& value, Json::Value likely) {
  replaced_.add(range_of(value).begin);
  set_range(likely, range_of(value));
  value.swap(likely);
  undo_.emplace_back([&value, before = std::move(likely)]() mutable { value.swap(before); });
}

Json::Value& Repair::add_member(Json::Value& object, const std::string& key, Json::Value value) {
  Json::Value& member = object[key];
  member.swap(value);
  undo_.emplace_back([&object, key] { object.removeMember(key); });
  return member;
}

static Json::Value empty_object_at(const Json::Value& location) {
  Json::Value object(Json::objectValue);
  set_range(object, range_of(location));
  return object;
}

// --- Keys

void Repair::repair_key(MutableLevel& at, const std::string& key) {
  const std::string plain = plain_text(key);
  if (member_schema(at.level.schema, plain) != nullptr && !at.object.isMember(plain))
    return move(at.object, key, at.object, plain);
  const std::optional<Home> home = home_of(at.level, key, kMaxHomeDepth);
  if ((home && move_home(at, key, *home)) || move_beside(at, key)) return;
  if (const auto meant = nearest_key(at.level, key, true)) {
    move(at.object, key, at.object, *meant);
  } else {
    fill_missing(at, at.object[key]);
  }
}

void Repair::repair_shared_key(MutableLevel& at, const std::string& key) {
  const std::optional<Home> home = home_of(at.level, key, 1);
  if (home && is_likely_home(at.level, key, *home) && move_home(at, key, *home)) return;
  if (const auto meant = nearest_key(at.level, key, true)) move(at.object, key, at.object, *meant);
}

void Repair::complete(MutableLevel& at, const std::string& key, Json::Value likely) {
  replaced_.add(range_of(at.object).begin);
  set_range(likely, range_of(at.object));
  add_member(at.object, key, std::move(likely));
}

// Adds the "network" and the "mode" that an enabled port needs.
void Repair::complete_port(MutableLevel& at) {
  const Json::Value* network = member_schema(at.level.schema, "network");
  if (network != nullptr && member_schema(*network, "mode") != nullptr && is_enabled(at.object) &&
      !at.object.isMember("network")) {
    complete(at, "network", example_of(*network));
  }
  const Json::Value* mode = member_schema(at.level.schema, "mode");
  if (mode != nullptr && is_enabled(at.around->object) && !at.object.isMember("mode"))
    complete(at, "mode", example_of(*mode));
}

// Moves a key to the object where it is known. Returns false if that object already has the key, or if a
// value on the path to it is not an object.
bool Repair::move_home(MutableLevel& at, const std::string& key, const Home& home) {
  MutableLevel* reader = &at;
  while (&reader->level != home.level)
    reader = reader->around;
  Json::Value* object = &reader->object;
  for (std::size_t begin = 0; begin < home.inside.size();) {
    const std::size_t end = std::min(home.inside.find('.', begin), home.inside.size());
    const std::string name = home.inside.substr(begin, end - begin);
    object = object->isMember(name) ? &(*object)[name] : &add_member(*object, name, empty_object_at(*object));
    if (!object->isObject()) return false;
    begin = end + 1;
  }
  if (object->isMember(key)) return false;
  move(at.object, key, *object, key);
  return true;
}

// Moves a key to the enclosing object, or to an object directly inside, that knows the key and lacks it.
// Returns false if there is no such object.
bool Repair::move_beside(MutableLevel& at, const std::string& key) {
  Json::Value* beside = nullptr;
  const auto consider = [&](Json::Value& object, const Json::Value& schema) {
    const bool is_room = object.isObject() && member_schema(schema, key) != nullptr && !object.isMember(key);
    if (beside == nullptr && is_room) beside = &object;
  };
  if (at.around != nullptr) consider(at.around->object, at.around->level.schema);
  // Only the known keys, which are few: an object may have any number of others.
  const Json::Value& members = at.level.schema["properties"];
  for (auto member = members.begin(); member != members.end(); ++member)
    if (at.object.isMember(member.name())) consider(at.object[member.name()], *member);
  if (beside != nullptr) move(at.object, key, *beside, key);
  return beside != nullptr;
}

void Repair::move(Json::Value& from, const std::string& key, Json::Value& to, const std::string& new_key) {
  Json::Value& old_location = from[key];
  Json::Value& new_location = add_member(to, new_key, Json::Value());
  new_location.swap(old_location);
  undo_.emplace_back([&old_location, &new_location] { new_location.swap(old_location); });
}

// Whether the value may be that of a missing member with this schema.
static bool fits(const Json::Value& value, const Json::Value& schema) {
  if (!is_allowed_by(value, schema)) return false;
  if (schema["format"] == "ipv4") return parse_ipv4(value.asString()).has_value();
  // "anyOf" describes an address of either family.
  if (schema.isMember("anyOf")) return is_ip_address(value.asString());
  if (!value.isObject()) return true;
  // Most keys of the object must be known.
  const std::vector<std::string> keys = value.getMemberNames();
  const auto known = std::count_if(keys.begin(), keys.end(), [&schema](const std::string& key) {
    return member_schema(schema, key) != nullptr;
  });
  return 2 * static_cast<std::size_t>(known) > keys.size();
}

// Adds the value of an unrecognizable key as each missing member that it fits.
void Repair::fill_missing(MutableLevel& at, const Json::Value& value) {
  const Json::Value& members = at.level.schema["properties"];
  for (auto member = members.begin(); member != members.end(); ++member) {
    if (at.object.isMember(member.name()) || !fits(value, *member)) continue;
    add_member(at.object, member.name(), value);
    // Do not copy a large value more than once.
    if (value.isObject() || value.isArray()) return;
  }
}
