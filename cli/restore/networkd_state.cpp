#include "cli/restore/networkd_state.h"

#include <algorithm>
#include <iterator>

#include "cli/restore/fields.h"

constexpr char kIpv4[] = "2";
constexpr char kWholeAddress[] = "32";

// Whether the object is for IPv4 and is not "foreign": systemd-networkd has configured it, not just found it.
static bool is_own(const Json::Value& object) {
  return text_field(object, "Family") == kIpv4 && text_field(object, "ConfigSource") != "foreign";
}

// An address, which is an array of bytes, in dotted notation; empty if the member is missing.
static std::string dotted(const Json::Value& object, const char* key) {
  std::string text;
  for (const Json::Value& byte : array_field(object, key))
    text += (text.empty() ? "" : ".") + (byte.isInt() ? byte.asString() : "?");
  return text;
}

// The destination of a route, as `ip` prints it.
static std::string destination_of(const Json::Value& route) {
  const std::string prefix = text_field(route, "DestinationPrefixLength");
  if (prefix == "0") return "default";
  return dotted(route, "Destination") + (prefix == kWholeAddress ? "" : "/" + prefix);
}

// `ip` does not print a metric of 0.
static std::string without_zero(const std::string& metric) {
  return metric == "0" ? "" : metric;
}

static std::string key_of(const std::string& link, const RouteState& route) {
  return link + " " + route.destination + " " + route.gateway + " " + without_zero(route.metric) + " " +
         route.table;
}

NetworkdState::NetworkdState(const Json::Value& answer) : is_known_(answer.isObject()) {
  for (const Json::Value& link : array_field(answer, "Interfaces")) {
    const std::string name = text_field(link, "Name");
    for (const Json::Value& address : array_field(link, "Addresses"))
      if (is_own(address))
        addresses_.insert(name + " " + dotted(address, "Address") + "/" +
                          text_field(address, "PrefixLength"));
    for (const Json::Value& from : array_field(link, "Routes")) {
      if (!is_own(from)) continue;
      RouteState route;
      route.destination = destination_of(from);
      route.gateway = dotted(from, "Gateway");
      route.metric = text_field(from, "Priority");
      route.table = text_field(from, "Table");
      routes_.insert(key_of(name, route));
    }
  }
  for (const Json::Value& rule : array_field(answer, "RoutingPolicyRules"))
    if (is_own(rule)) rules_.insert(text_field(rule, "Priority") + " " + text_field(rule, "Table"));
}

bool NetworkdState::is_known() const {
  return is_known_;
}

bool NetworkdState::has(const AddressState& address) const {
  return addresses_.count(address.link + " " + address.text) > 0;
}

bool NetworkdState::has(const RouteState& route) const {
  return std::any_of(route.links.begin(), route.links.end(), [this, &route](const std::string& link) {
    return routes_.count(key_of(link, route)) > 0;
  });
}

bool NetworkdState::has(const RuleState& rule) const {
  return rules_.count(rule.priority + " " + rule.table) > 0;
}

bool is_settled(const Json::Value& answer, bool waits_for_carriers) {
  constexpr const char* kSettled[] = {"configured", "unmanaged", "failed", "linger"};
  constexpr const char* kWithoutCarrier[] = {"off", "no-carrier"};
  const auto is_one_of = [](const std::string& state, const auto& states) {
    return std::find(std::begin(states), std::end(states), state) != std::end(states);
  };
  const Json::Value& links = array_field(answer, "Interfaces");
  return std::all_of(links.begin(), links.end(), [&](const Json::Value& link) {
    return is_one_of(text_field(link, "AdministrativeState"), kSettled) ||
           (!waits_for_carriers && is_one_of(text_field(link, "CarrierState"), kWithoutCarrier));
  });
}
