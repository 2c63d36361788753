#include "cli/status/kernel.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"

// The text of a value of any type but an object or a list, for which it is empty.
static std::string text_in(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isArray() || value.isObject() ? "" : value.asString();
}

static int number_in(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isInt() ? value.asInt() : 0;
}

static const Json::Value& object_in(const Json::Value& object, const char* key) {
  static const Json::Value kNone(Json::objectValue);
  const Json::Value& value = object[key];
  return value.isObject() ? value : kNone;
}

static bool has_flag(const Json::Value& link, const char* flag) {
  const Json::Value& flags = link["flags"];
  return std::find(flags.begin(), flags.end(), Json::Value(flag)) != flags.end();
}

static std::map<std::string, std::string> read_details(const Json::Value& from) {
  std::map<std::string, std::string> details;
  for (const std::string& key : from.getMemberNames())
    details[key] = text_in(from, key.c_str());
  return details;
}

static Link read_link(const Json::Value& from) {
  Link link;
  link.is_up = has_flag(from, "UP");
  link.has_carrier = has_flag(from, "LOWER_UP");
  link.mtu = number_in(from, "mtu");
  link.bridge = text_in(from, "master");
  link.mac = text_in(from, "address");
  link.permanent_mac = text_in(from, "permaddr");
  link.parent = text_in(from, "link");
  const Json::Value& info = object_in(from, "linkinfo");
  link.kind = text_in(info, "info_kind");
  link.details = read_details(object_in(info, "info_data"));
  for (const Json::Value& address : from["addr_info"]) {
    if (!address.isObject() || text_in(address, "family") != "inet") continue;
    // Of an address with a peer, the prefix length is the peer's.
    link.addresses.push_back(
        {text_in(address, "local") + "/" + text_in(address, "prefixlen"), address["dynamic"] == true});
  }
  return link;
}

static KernelRoute read_route(const Json::Value& from) {
  KernelRoute route;
  route.destination = text_in(from, "dst");
  const bool is_host = route.destination != "default" && route.destination.find('/') == std::string::npos;
  if (is_host) route.destination += "/32";
  route.gateway = text_in(from, "gateway");
  route.interface = text_in(from, "dev");
  route.metric = number_in(from, "metric");
  route.protocol = text_in(from, "protocol");
  route.is_dynamic = route.protocol == "dhcp";
  route.table = text_in(from, "table");
  if (route.table == "main") route.table.clear();
  route.type = text_in(from, "type");
  if (route.type == "unicast") route.type.clear();
  return route;
}

static void read_routes(const Json::Value& routes, Kernel& kernel) {
  for (const Json::Value& from : routes) {
    if (!from.isObject()) continue;
    KernelRoute route = read_route(from);
    if (route.table != "local") kernel.routes.push_back(std::move(route));
  }
}

// The selectors of a rule in the words in which `ip rule` takes them.
static std::string selector_of(const Json::Value& from) {
  std::string selector = from.isMember("not") ? "not" : "";
  const auto add = [&selector](const std::string& word, const std::string& value) {
    selector += (selector.empty() ? "" : " ") + word + " " + value;
  };
  const auto add_network = [&](const char* word, const char* key, const char* length_key) {
    const std::string network = text_in(from, key);
    const std::string length = text_in(from, length_key);
    if (!network.empty() && network != "all") add(word, network + (length.empty() ? "" : "/" + length));
  };
  add_network("from", "src", "srclen");
  add_network("to", "dst", "dstlen");
  const std::string mark = text_in(from, "fwmark");
  const std::string mask = text_in(from, "fwmask");
  if (!mark.empty()) add("fwmark", mark + (mask.empty() ? "" : "/" + mask));
  for (const char* key : {"tos", "iif", "oif", "ipproto", "sport", "dport"})
    if (const std::string value = text_in(from, key); !value.empty()) add(key, value);
  return selector;
}

static void read_rules(const Json::Value& rules, Kernel& kernel) {
  for (const Json::Value& from : rules) {
    if (!from.isObject()) continue;
    kernel.rules.push_back({number_in(from, "priority"), text_in(from, "table"), selector_of(from),
                            text_in(from, "suppress_prefixlen")});
  }
}

static void read_settings(const Json::Value& settings, Kernel& kernel) {
  for (const Json::Value& setting : settings) {
    if (!setting.isObject()) continue;
    const auto link = kernel.links.find(text_in(setting, "interface"));
    if (link == kernel.links.end()) continue;
    if (setting["forwarding"].isBool()) link->second.forwards = setting["forwarding"].asBool();
    if (setting["proxy_neigh"].isBool()) link->second.proxies_arp = setting["proxy_neigh"].asBool();
  }
}

// One line each for the routes that the kernel takes, in any order; an address without a route has no line.
static void read_choices(const std::string& output, const std::vector<std::string>& addresses,
                         bool is_complete, Kernel& kernel) {
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    Json::Value answer;
    if (!parse_json(line, answer) || !answer.isArray() || !answer[0].isObject()) continue;
    const KernelRoute route = read_route(answer[0]);
    kernel.choices[text_in(answer[0], "dst")] = RouteChoice{route.interface, route.gateway, route.table};
  }
  if (is_complete) return;
  for (const std::string& address : addresses)
    kernel.choices.insert({address, std::nullopt});
}

// All in one call. For an address without a route, `ip` prints an error and goes on with the next one.
// Returns nothing, or why it cannot be asked.
static std::optional<std::string> ask_for_choices(const std::vector<std::string>& addresses, Kernel& kernel) {
  std::string questions;
  for (const std::string& address : addresses)
    questions += "route get " + address + "\n";
  const MemoryFile batch;
  if (!batch.fill(questions)) return with_errno("the routes that are taken");
  const std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(batch.number());
  std::string output;
  const auto error = capture({"ip", "-json", "-4", "-force", "-batch", path}, output);
  read_choices(output, addresses, !error, kernel);
  return std::nullopt;
}

// Leaves the value null, and a line in the errors, if there is no answer.
static Json::Value ask(const char* subject, const std::vector<std::string>& command, Kernel& kernel) {
  Json::Value answer;
  if (const auto error = capture_json(command, answer)) kernel.errors.push_back(subject + (": " + *error));
  return answer;
}

std::optional<std::string> read_kernel(const std::vector<std::string>& addresses, Kernel& kernel) {
  Json::Value links;
  if (auto error = capture_json({"ip", "-json", "-details", "address", "show"}, links)) return error;
  for (const Json::Value& link : links)
    if (link.isObject() && link.isMember("ifname")) kernel.links[text_in(link, "ifname")] = read_link(link);
  read_settings(ask("forwarding", {"ip", "-json", "-4", "netconf", "show"}, kernel), kernel);
  read_routes(ask("the routes", {"ip", "-json", "-4", "route", "show", "table", "all"}, kernel), kernel);
  read_rules(ask("the policy rules", {"ip", "-json", "-4", "rule", "show"}, kernel), kernel);
  if (!addresses.empty())
    if (const auto error = ask_for_choices(addresses, kernel)) kernel.errors.push_back(*error);
  kernel.time = std::time(nullptr);
  return std::nullopt;
}
