#include "cli/lint/switch_rules.h"

#include <algorithm>

#include "cli/config_file/schema.h"
#include "cli/lint/schema_level.h"

void enable_missing(const Site& site, Findings& findings) {
  for_each_level(site.root, [&findings](const Level& level) {
    if (!lacks_enable(level)) return;
    const std::string what =
        level.is_element() ? "this element of " + quoted(level.name) : quoted(level.name);
    findings.add(level.object, what + " has settings but no \"enable\", so it is disabled");
  });
}

namespace {

// A value, and the key of the boolean that enables it.
struct Switched {
  const Json::Value* value;
  std::string key;
  std::string switch_key;
};

}  // namespace

// Whether the value would have an effect if it were enabled: a nonempty string, or a positive integer other
// than the default.
static bool could_have_effect(const Json::Value& value, const Json::Value& schema) {
  if (value.isString()) return !value.asString().empty();
  return value.isInt() && value.asInt() > 0 && value != schema["default"];
}

// The values of an object whose switches are missing, in file order.
static std::vector<Switched> unswitched_values(const Level& level) {
  std::vector<Switched> values;
  for (auto member = level.object.begin(); member != level.object.end(); ++member) {
    const Json::Value* known = member_schema(level.schema, member.name());
    if (known == nullptr || !known->isMember("switch") || !could_have_effect(*member, *known)) continue;
    const std::string key = (*known)["switch"].asString();
    if (!level.object.isMember(key)) values.push_back({&*member, member.name(), key});
  }
  std::sort(values.begin(), values.end(), [](const Switched& a, const Switched& b) {
    return a.value->getOffsetStart() < b.value->getOffsetStart();
  });
  return values;
}

void switch_missing(const Site& site, Findings& findings) {
  for_each_level(site.root, [&findings](const Level& level) {
    const std::vector<Switched> values = unswitched_values(level);
    if (values.empty() || is_off(level)) return;
    FindingDetails details;
    std::string message = quoted(values[0].key) + " has no effect without " + quoted(values[0].switch_key);
    for (std::size_t i = 1; i < values.size(); ++i) {
      message += ", nor " + quoted(values[i].key) + " without " + quoted(values[i].switch_key);
      details.related.push_back({range_of(*values[i].value), "this has no effect either"});
    }
    findings.add(*values[0].value, message, std::move(details));
  });
}

// Whether hosts can reach the gateway on the interface.
static bool has_address(const Interface& interface, const Site& site) {
  return interface.kind == Interface::Kind::kPassthroughPort || interface.unit.is_dhcp_client ||
         !interface.unit.ipv4.value_or("").empty() || !site.addresses_of(interface).empty();
}

void locked_out(const Site& site, Findings& findings) {
  const bool is_reachable =
      site.context.cell_enabled ||
      std::any_of(site.interfaces.begin(), site.interfaces.end(),
                  [&site](const Interface& interface) { return has_address(interface, site); });
  if (!is_reachable)
    findings.add(site.root, "no interface has an address: nobody can reach the gateway over the network");
}
