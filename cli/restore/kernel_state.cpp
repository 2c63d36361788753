#include "cli/restore/kernel_state.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "cli/base/text.h"
#include "cli/restore/fields.h"

// Numbers that the kernel uses for protocols, scopes, types and lifetimes. Daemons use their own protocol
// numbers, and restore themselves what they have added.
constexpr char kByHand[] = "3";
constexpr char kStatic[] = "4";
constexpr char kDhcp[] = "16";
constexpr char kHostScope[] = "254";
constexpr char kUnicast[] = "1";
constexpr char kKernel[] = "2";
constexpr char kForever[] = "4294967295";

namespace {

// A member of a JSON object, and its name on the command line of `ip`.
struct Name {
  const char* member;
  const char* word;
};

struct Kind {
  const char* name;
  std::vector<Name> parameters;
};

}  // namespace

static const std::vector<Kind>& kinds() {
  static const std::vector<Name> tunnel = {
      {"remote", "remote"}, {"local", "local"}, {"ttl", "ttl"}, {"ikey", "ikey"}, {"okey", "okey"}};
  static const std::vector<Kind> all = {
      {"gre", tunnel},
      {"gretap", tunnel},
      {"bridge",
       {{"forward_delay", "forward_delay"},
        {"hello_time", "hello_time"},
        {"max_age", "max_age"},
        {"ageing_time", "ageing_time"},
        {"stp_state", "stp_state"},
        {"priority", "priority"},
        {"vlan_filtering", "vlan_filtering"},
        {"mcast_snooping", "mcast_snooping"}}},
      // The kernel cannot change the ID of a VLAN: a difference is only reported.
      {"vlan", {{"id", "id"}}},
  };
  return all;
}

std::string AddressState::key() const {
  return joined(words);
}

std::string RouteState::key() const {
  return joined(words);
}

std::string RuleState::key() const {
  return joined(words);
}

// Appends the words for the members that the object has.
static void append(const Json::Value& object, const std::vector<Name>& names, Words& words) {
  for (const Name& name : names) {
    const std::string value = text_field(object, name.member);
    if (!value.empty()) words.insert(words.end(), {name.word, value});
  }
}

static bool contains(const Json::Value& array, const char* text) {
  return std::find(array.begin(), array.end(), Json::Value(text)) != array.end();
}

static LinkState link_of(const Json::Value& from) {
  LinkState link;
  const Json::Value& info = field(from, "linkinfo");
  link.kind = text_field(info, "info_kind");
  link.is_up = contains(array_field(from, "flags"), "UP");
  link.mtu = text_field(from, "mtu");
  if (text_field(from, "link_type") == "ether") link.mac = text_field(from, "address");
  link.master = text_field(from, "master");
  for (const Kind& kind : kinds()) {
    if (kind.name != link.kind) continue;
    for (const Name& name : kind.parameters) {
      const std::string value = text_field(field(info, "info_data"), name.member);
      if (!value.empty()) link.parameters[name.word] = value;
    }
  }
  return link;
}

static void read_addresses(const Json::Value& link, KernelState& state) {
  for (const Json::Value& from : array_field(link, "addr_info")) {
    if (text_field(from, "family") != "inet" || text_field(from, "scope") == kHostScope) continue;
    AddressState address;
    address.link = text_field(link, "ifname");
    const std::string prefix = "/" + text_field(from, "prefixlen");
    const std::string peer = text_field(from, "address");
    address.text = text_field(from, "local") + prefix;
    address.words = {peer.empty() ? address.text : text_field(from, "local")};
    if (!peer.empty()) address.words.insert(address.words.end(), {"peer", peer + prefix});
    append(from, {{"broadcast", "broadcast"}, {"scope", "scope"}, {"label", "label"}}, address.words);
    address.words.insert(address.words.end(), {"dev", address.link});
    if (has_field(from, "noprefixroute")) address.words.push_back("noprefixroute");
    const std::string lifetime = text_field(from, "valid_life_time");
    address.is_dynamic = has_field(from, "dynamic") || (!lifetime.empty() && lifetime != kForever);
    state.addresses.emplace(address.key(), address);
  }
}

static void append_next_hop(const Json::Value& from, RouteState& route) {
  append(from, {{"gateway", "via"}}, route.words);
  // A gateway of the other address family.
  const Json::Value& via = field(from, "via");
  if (has_field(via, "host"))
    route.words.insert(route.words.end(), {"via", text_field(via, "family"), text_field(via, "host")});
  append(from, {{"dev", "dev"}, {"weight", "weight"}}, route.words);
  if (contains(array_field(from, "flags"), "onlink")) route.words.push_back("onlink");
  route.links.insert(text_field(from, "dev"));
}

static RouteState route_of(const Json::Value& from) {
  RouteState route;
  route.destination = text_field(from, "dst");
  route.gateway = text_field(from, "gateway");
  route.metric = text_field(from, "metric");
  route.table = text_field(from, "table");
  route.is_dynamic = text_field(from, "protocol") == kDhcp;
  route.words = {route.destination};
  append(from,
         {{"table", "table"},
          {"protocol", "protocol"},
          {"scope", "scope"},
          {"tos", "tos"},
          {"metric", "metric"},
          {"prefsrc", "src"}},
         route.words);
  for (const Json::Value& metrics : array_field(from, "metrics"))
    append(metrics, {{"mtu", "mtu"}, {"advmss", "advmss"}}, route.words);
  const Json::Value& ways = array_field(from, "nexthops");
  if (ways.empty()) append_next_hop(from, route);
  for (const Json::Value& way : ways) {
    route.words.push_back("nexthop");
    append_next_hop(way, route);
  }
  return route;
}

// Whether the route was added by hand, from a configuration or from a DHCP lease. Routes without a link,
// such as "blackhole", do not come from a configuration.
static bool is_added(const Json::Value& route) {
  const std::string protocol = text_field(route, "protocol");
  const bool is_configured = protocol == kByHand || protocol == kStatic || protocol == kDhcp;
  const bool has_link = has_field(route, "dev") || has_field(route, "nexthops");
  return is_configured && has_link && text_field(route, "type") == kUnicast;
}

// Members of a rule that have the same meaning as a word on the command line of `ip`.
static const std::vector<Name>& rule_members() {
  static const std::vector<Name> names = {
      {"priority", "priority"}, {"tos", "tos"},
      {"iif", "iif"},           {"oif", "oif"},
      {"ipproto", "ipproto"},   {"sport", "sport"},
      {"dport", "dport"},       {"table", "table"},
      {"action", "type"},       {"suppress_prefixlen", "suppress_prefixlength"},
      {"protocol", "protocol"},
  };
  return names;
}

// The other known members, which rule_of() reads in its own way or ignores.
constexpr const char* kOtherMembers[] = {"src",    "srclen", "dst",          "dstlen",      "fwmark",
                                         "fwmask", "not",    "iif_detached", "oif_detached"};

// Whether all members of a rule are known. A rule with an unknown member is left alone, since it cannot
// be described to `ip`.
static bool is_known(const Json::Value& rule) {
  const auto is_word = [](const std::string& member) {
    const auto is_same = [&member](const Name& name) { return member == name.member; };
    return std::any_of(rule_members().begin(), rule_members().end(), is_same) ||
           std::find(std::begin(kOtherMembers), std::end(kOtherMembers), member) != std::end(kOtherMembers);
  };
  const auto members = rule.getMemberNames();
  return std::all_of(members.begin(), members.end(), is_word);
}

// "10.1.0.0/16", "0x1/0xff"; only the first member if the second is missing.
static std::string pair_of(const Json::Value& object, const char* first, const char* second) {
  const std::string end = text_field(object, second);
  return text_field(object, first) + (end.empty() ? "" : "/" + end);
}

static RuleState rule_of(const Json::Value& from) {
  RuleState rule;
  rule.priority = text_field(from, "priority");
  rule.table = text_field(from, "table");
  if (has_field(from, "not")) rule.words.push_back("not");
  for (const auto& [word, first, second] :
       {std::tuple("from", "src", "srclen"), {"to", "dst", "dstlen"}, {"fwmark", "fwmark", "fwmask"}}) {
    const std::string value = pair_of(from, first, second);
    if (!value.empty()) rule.words.insert(rule.words.end(), {word, value});
  }
  append(from, rule_members(), rule.words);
  for (const char* member : {"iif", "oif"})
    if (has_field(from, member)) rule.links.insert(text_field(from, member));
  return rule;
}

KernelState kernel_state_of(const Json::Value& record) {
  KernelState state;
  for (const Json::Value& link : array_field(record, "links")) {
    const std::string name = text_field(link, "ifname");
    if (!name.empty()) state.links[name] = link_of(link);
  }
  for (const Json::Value& link : array_field(record, "addresses"))
    read_addresses(link, state);
  for (const Json::Value& from : array_field(record, "routes")) {
    const RouteState route = route_of(from);
    if (is_added(from)) state.routes.emplace(route.key(), route);
  }
  for (const Json::Value& from : array_field(record, "rules")) {
    if (!from.isObject() || !is_known(from) || text_field(from, "protocol") == kKernel) continue;
    const RuleState rule = rule_of(from);
    state.rules.emplace(rule.key(), rule);
  }
  const Json::Value& sysctls = field(record, "sysctls");
  if (sysctls.isObject())
    for (const std::string& path : sysctls.getMemberNames())
      state.sysctls[path] = text_field(sysctls, path.c_str());
  return state;
}
