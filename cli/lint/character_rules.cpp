#include "cli/lint/character_rules.h"

#include <algorithm>
#include <functional>
#include <optional>

#include "cli/base/secrets.h"
#include "cli/config_file/characters.h"
#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"

using Kind = DeceptiveCharacter::Kind;

namespace {

// The worst kind of deception in a key or a string; each kind has its own rule.
enum class Deception { kNone, kInvisible, kLookalike, kSpace };

struct Suspicion {
  Deception deception = Deception::kNone;
  std::string description;  // "contains U+200B ZERO WIDTH SPACE"
  std::string plain;        // what was probably meant
  std::vector<Edit> fix;    // turns the string into `plain`; empty if that is not certain
};

// A key or a string of the configuration with deceptive characters.
struct Suspect {
  const Json::Value& schema;  // of the object with the key, or of the string
  const Json::Value* object;  // with the key; null for a string
  std::string name;           // the key; for a string, the key of its member
  TextRange range;
  Suspicion suspicion;
};

using ReportSuspect = std::function<void(const Suspect& suspect)>;

}  // namespace

static bool is_blank(char32_t code) {
  return code == ' ' || code == '\t';
}

// Whether the character is white space, including kinds that are not white space in JSON.
static bool is_space(char32_t code) {
  const auto deception = find_deception(code);
  return is_blank(code) || (deception && deception->kind == Kind::kSpace);
}

static std::string described(const DeceptiveCharacter& character) {
  const bool is_named = character.description.compare(0, 2, "U+") == 0;
  return (is_named ? "contains " : "has a ") + character.description;
}

// "begins with a space", "ends in a space"
static std::string description_of_spaces(const std::vector<StringCharacter>& characters, std::size_t begin,
                                         std::size_t end) {
  const char* name = characters[begin > 0 ? 0 : end].code == '\t' ? "a tab" : "a space";
  if (begin == 0) return std::string("ends in ") + name;
  return std::string(end == characters.size() ? "begins with " : "begins and ends with ") + name;
}

// Fills `suspicion`. The characters before `begin` and from `end` on are surrounding spaces.
static void find_inside(const std::string& text, const std::vector<StringCharacter>& characters,
                        std::size_t begin, std::size_t end, Suspicion& suspicion) {
  bool is_certain = true;
  for (std::size_t i = 0; i < characters.size(); ++i) {
    const auto [code, range] = characters[i];
    const bool is_inside = i >= begin && i < end;
    const auto character = find_deception(code);
    const bool is_deceptive = character && character->kind != Kind::kQuote;
    const std::string own =
        text.substr(static_cast<std::size_t>(range.begin), static_cast<std::size_t>(range.end - range.begin));
    const std::string meant = !is_inside ? "" : is_deceptive ? character->meant : own;
    suspicion.plain += meant;
    if (meant != own) suspicion.fix.push_back({range, meant});
    if (!is_deceptive) continue;
    const bool is_lookalike = character->kind == Kind::kLookalike;
    const Deception deception = is_lookalike ? Deception::kLookalike : Deception::kInvisible;
    is_certain = is_certain && (!is_inside || character->kind != Kind::kSpace);
    if (suspicion.deception != Deception::kNone && (is_lookalike || suspicion.deception == deception))
      continue;
    suspicion.deception = deception;
    suspicion.description = described(*character);
  }
  if (!is_certain) suspicion.fix.clear();
}

static Suspicion suspicion_of(const std::string& text, TextRange string) {
  const std::vector<StringCharacter> characters = string_characters(text, string);
  std::size_t begin = 0;
  std::size_t end = characters.size();
  while (begin < end && is_space(characters[begin].code))
    ++begin;
  while (end > begin && is_space(characters[end - 1].code))
    --end;
  Suspicion suspicion;
  // A string that consists only of spaces counts as empty.
  if (begin == end) return suspicion;
  find_inside(text, characters, begin, end, suspicion);
  if (suspicion.deception != Deception::kNone || (begin == 0 && end == characters.size())) return suspicion;
  suspicion.deception = Deception::kSpace;
  suspicion.description = description_of_spaces(characters, begin, end);
  return suspicion;
}

static bool is_ascii_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether the name has no ASCII letters. A name may be in another script; only a mix of scripts is suspect.
static bool is_own_script(const std::string& text) {
  return std::none_of(text.begin(), text.end(), is_ascii_letter);
}

static void visit(const Site& site, const std::string& name, const Json::Value& value,
                  const Json::Value& schema, const ReportSuspect& report);

static void visit_string(const Site& site, const std::string& name, const Json::Value& value,
                         const Json::Value& schema, const ReportSuspect& report) {
  if (name.compare(0, 1, "$") == 0) return;
  const Suspicion suspicion = suspicion_of(site.source.text, range_of(value));
  const bool is_host_name = name == "name";
  // Blanks around a name do not matter in a hosts file.
  if (is_host_name && suspicion.deception == Deception::kSpace) return;
  if (is_host_name && suspicion.deception == Deception::kLookalike && is_own_script(value.asString())) return;
  if (suspicion.deception != Deception::kNone) report({schema, nullptr, name, range_of(value), suspicion});
}

static void visit_members(const Site& site, const Json::Value& object, const Json::Value& schema,
                          const ReportSuspect& report) {
  for (auto member = object.begin(); member != object.end(); ++member) {
    const std::string key = member.name();
    if (const Json::Value* known = member_schema(schema, key)) {
      visit(site, key, *member, *known, report);
      continue;
    }
    const TextRange range = key_range(site.source.text, *member);
    const Suspicion suspicion = suspicion_of(site.source.text, range);
    if (suspicion.deception != Deception::kNone) report({schema, &object, key, range, suspicion});
  }
}

static void visit(const Site& site, const std::string& name, const Json::Value& value,
                  const Json::Value& schema, const ReportSuspect& report) {
  if (value.isArray()) {
    const Json::Value* items = element_schema(schema);
    for (const Json::Value& element : value)
      if (items != nullptr) visit(site, name, element, *items, report);
  } else if (value.isObject() && schema.isMember("properties")) {
    visit_members(site, value, schema, report);
  } else if (value.isString() && schema["type"] == "string") {
    visit_string(site, name, value, schema, report);
  }
}

// The known key that a key with deceptive characters was probably meant to be; nothing if there is none. A
// shared object may have keys of other programs, so only an exact match counts there.
static std::optional<std::string> wanted_key(const Suspect& suspect, bool is_shared) {
  const Json::Value& properties = suspect.schema["properties"];
  const std::string& plain = suspect.suspicion.plain;
  if (is_shared && suspect.object->isMember(plain)) return std::nullopt;
  if (properties.isMember(plain)) return plain;
  return is_shared ? std::nullopt : nearest(plain, properties.getMemberNames());
}

static void report_key(const Suspect& suspect, Findings& findings) {
  const Suspicion& suspicion = suspect.suspicion;
  const bool is_shared = !suspect.schema.isMember("additionalProperties");
  const auto wanted = wanted_key(suspect, is_shared);
  if (!wanted && (is_shared || suspicion.deception == Deception::kLookalike)) return;
  std::string message = quoted(suspect.name) + " " + suspicion.description;
  if (!wanted) return findings.add(suspect.range, message);
  message += ": did you mean " + quoted(*wanted) + "?";
  const bool is_certain = *wanted == suspicion.plain && !suspect.object->isMember(*wanted);
  findings.add(suspect.range, message, {{}, is_certain ? suspicion.fix : std::vector<Edit>()});
}

static void report_string(const Site& site, const Suspect& suspect, Findings& findings) {
  const auto begin = static_cast<std::size_t>(suspect.range.begin) + 1;
  const auto end = static_cast<std::size_t>(suspect.range.end) - 1;
  const std::string shown =
      is_secret_name(suspect.name) ? "the key" : quoted(site.source.text.substr(begin, end - begin));
  findings.add(suspect.range, shown + " " + suspect.suspicion.description, {{}, suspect.suspicion.fix});
}

static void report_all(const Site& site, Deception deception, Findings& findings) {
  visit(site, "", site.root, configuration_schema(), [&](const Suspect& suspect) {
    if (suspect.suspicion.deception != deception) return;
    if (suspect.object != nullptr) {
      report_key(suspect, findings);
    } else {
      report_string(site, suspect, findings);
    }
  });
}

void invisible_character(const Site& site, Findings& findings) {
  report_all(site, Deception::kInvisible, findings);
}

void lookalike_character(const Site& site, Findings& findings) {
  report_all(site, Deception::kLookalike, findings);
}

void surrounding_space(const Site& site, Findings& findings) {
  report_all(site, Deception::kSpace, findings);
}
