#include "cli/lint/shape_rules.h"

#include <functional>

#include "cli/config_file/edit.h"
#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"
#include "cli/lint/likely_value.h"
#include "cli/lint/schema_level.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "libcmd/text_policy.h"

// --- Types and ranges

// The expected type in a message.
static const char* words_for_type(const std::string& type) {
  if (type == "object") return "an object";
  if (type == "array") return "an array";
  if (type == "string") return "a string";
  return type == "integer" ? "an integer" : "true or false";
}

// The value in a message, in contrast to the expected type.
static std::string words_for(const Json::Value& value, const std::string& expected_type) {
  switch (value.type()) {
    case Json::nullValue:
      return "null";
    case Json::booleanValue:
      return value.asBool() ? "true" : "false";
    case Json::stringValue:
      return "a string";
    case Json::arrayValue:
      return "an array";
    case Json::objectValue:
      return "an object";
    default:
      break;
  }
  if (expected_type != "integer") return "a number";
  return value.isIntegral() ? "one that does not fit in 32 bits" : "a fraction";
}

static std::string mismatch(const Violation& violation) {
  const std::string type = (*violation.schema)["type"].asString();
  return std::string("expected ") + words_for_type(type) + ", not " + words_for(*violation.value, type);
}

void wrong_type(const Site& site, Findings& findings) {
  for_each_violation(site.root, [&](const Violation& violation) {
    if (violation.kind != Violation::Kind::kWrongType) return;
    // jsoncpp treats null as an empty object or array.
    const std::string type = (*violation.schema)["type"].asString();
    const bool is_empty = violation.value->isNull() && (type == "object" || type == "array");
    findings.add(*violation.value,
                 mismatch(violation) + (is_empty ? "; it is read as empty" : "; it is ignored"));
  });
}

void out_of_range(const Site& site, Findings& findings) {
  for_each_violation(site.root, [&](const Violation& violation) {
    if (violation.kind != Violation::Kind::kOutOfRange) return;
    const Json::Value& minimum = (*violation.schema)["minimum"];
    const Json::Value& maximum = (*violation.schema)["maximum"];
    const std::string value = text_of(*violation.value);
    if (minimum.isNull()) {
      findings.add(*violation.value, value + " is more than " + text_of(maximum));
    } else {
      findings.add(*violation.value,
                   value + " is not between " + text_of(minimum) + " and " + text_of(maximum));
    }
  });
}

// --- Words

// "router", "pass-through-auto" and "pass-through"
static std::string listed(const Json::Value& words) {
  std::string list;
  for (Json::ArrayIndex i = 0; i < words.size(); ++i) {
    const char* separator = i == 0 ? "" : i + 1 == words.size() ? " and " : ", ";
    list += separator + quoted(words[i].asString());
  }
  return list;
}

void unknown_word(const Site& site, Findings& findings) {
  for_each_violation(site.root, [&](const Violation& violation) {
    if (violation.kind != Violation::Kind::kUnknownWord) return;
    const Json::Value& schema = *violation.schema;
    std::string message = quoted(violation.value->asString()) + " is read as " +
                          schema["otherwise"].asString() + "; the known words are " + listed(schema["enum"]);
    if (const auto word = meant_word(violation.value->asString(), schema["enum"]))
      message += "; did you mean " + quoted(*word) + "?";
    findings.add(*violation.value, message);
  });
}

// --- Keys

// Receives a key that the schema does not know.
using JudgeKey = std::function<void(const Level& level, const std::string& key, const Json::Value& value)>;

static void for_each_unknown_key(const Site& site, const JudgeKey& judge) {
  for_each_level(site.root, [&judge](const Level& level) {
    for (auto member = level.object.begin(); member != level.object.end(); ++member) {
      const std::string key = member.name();
      if (member_schema(level.schema, key) == nullptr) judge(level, key, *member);
    }
  });
}

// The details of a finding about an unknown key with this value. The fix renames it to the known key that is
// certainly meant; there is no fix if the object already has that key.
static FindingDetails write_known_key(const std::string& text, const Level& level, const std::string& key,
                                      const Json::Value& value) {
  const auto meant = certainly_meant(key, level.schema["properties"].getMemberNames());
  if (!meant || level.object.isMember(*meant)) return {};
  return {{}, {rename_key(text, value, *meant)}};
}

static std::string did_you_mean(const std::string& key, const std::string& wanted) {
  return quoted(key) + ": did you mean " + quoted(wanted) + "?";
}

static std::string is_read_in(const std::string& key, const std::string& home) {
  return quoted(key) + " is read in " + quoted(home) + ", not here";
}

// A message about where a misplaced key is read; nothing if no object nearby knows the key.
static std::optional<std::string> home_message(const Level& level, const std::string& key) {
  const std::optional<Home> home = home_of(level, key, kMaxHomeDepth);
  if (!home) return std::nullopt;
  const Level& reader = *home->level;
  if (!home->inside.empty()) return is_read_in(key, reader.path_to(home->inside));
  if (reader.around == nullptr) return quoted(key) + " is read at the top of the configuration, not here";
  return is_read_in(key, reader.around->path_to(reader.name));
}

// Whether the key is on the path to the settings of the bridge: those of its primary member, which may have
// any name.
static bool is_settings_of_bridge(const Site& site, const Level& level, const std::string& key) {
  const std::string beginning = level.path_to(key) + ".";
  return site.context.bridge_enabled &&
         bridge_primary_network_path(&site.context).compare(0, beginning.size(), beginning) == 0;
}

void unknown_key(const Site& site, Findings& findings) {
  for_each_unknown_key(site, [&](const Level& level, const std::string& key, const Json::Value& value) {
    if (!level.is_closed() || is_settings_of_bridge(site, level, key)) return;
    std::string message = quoted(key) + ": unknown key";
    FindingDetails details;
    if (const auto home = home_message(level, key)) {
      message = *home;
    } else if (const auto wanted = nearest_key(level, key, false)) {
      message = did_you_mean(key, *wanted);
      details = write_known_key(site.source.text, level, key, value);
    }
    findings.add(key_range(site.source.text, value), message, details);
  });
}

// The message about a misplaced key of a shared object; nothing if the key may belong to another program.
static std::optional<std::string> shared_home_message(const Level& level, const std::string& key) {
  const std::optional<Home> home = home_of(level, key, 1);
  if (!home || !is_likely_home(level, key, *home)) return std::nullopt;
  return home_message(level, key);
}

void doubtful_key(const Site& site, Findings& findings) {
  for_each_unknown_key(site, [&](const Level& level, const std::string& key, const Json::Value& value) {
    if (level.is_closed()) return;
    const TextRange range = key_range(site.source.text, value);
    if (const auto home = shared_home_message(level, key)) {
      findings.add(range, *home);
    } else if (const auto wanted = nearest_key(level, key, true)) {
      findings.add(range, did_you_mean(key, *wanted), write_known_key(site.source.text, level, key, value));
    }
  });
}

// --- Strings

void text_refused(const Site& site, Findings& findings) {
  for (const RefusedText& refused : find_refused_texts(site.root))
    findings.add(*refused.value, refused.path + ": " + refused.reason);
}
