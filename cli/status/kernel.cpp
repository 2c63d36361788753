#include "cli/status/kernel.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/subprocess.h"

// In seconds: the kernel answers a query immediately, or not at all.
constexpr int kLongestAnswer = 2;

// A member as a string; empty if it is an object or an array.
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
    // If the address has a peer, this is the prefix length of the peer.
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

// Selectors of a rule, as arguments of `ip rule`.
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

// Reads a line for each address that has a route, in any order.
static void read_choices(const std::string& output, Kernel& kernel) {
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    Json::Value answer;
    if (!parse_json(line, answer) || !answer.isArray() || !answer[0].isObject()) continue;
    const KernelRoute route = read_route(answer[0]);
    kernel.choices[text_in(answer[0], "dst")] = RouteChoice{route.interface, route.gateway, route.table};
  }
}

// Reads lines such as "Command failed -:2", which contain the number of an address without a route. Returns
// whether there is such a line.
static bool read_failures(const std::string& errors, const std::vector<std::string>& addresses,
                          Kernel& kernel) {
  constexpr char kFailed[] = "Command failed -:";
  bool has_failure = false;
  std::istringstream lines(errors);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(kFailed, 0) != 0) continue;
    const std::size_t number = std::strtoul(line.c_str() + std::strlen(kFailed), nullptr, 10);
    if (number == 0 || number > addresses.size()) continue;
    kernel.choices[addresses[number - 1]] = std::nullopt;
    has_failure = true;
  }
  return has_failure;
}

// Queries the routes to all addresses in one call: `ip -force` continues after an address without a route.
// Returns nothing, or why the query failed.
static std::optional<std::string> query_route_choices(const std::vector<std::string>& addresses,
                                                      Kernel& kernel) {
  std::string queries;
  for (const std::string& address : addresses)
    queries += "route get " + address + "\n";
  const MemoryFile batch;
  const MemoryFile answers;
  const MemoryFile errors;
  Subprocess subprocess{{"ip", "-json", "-4", "-force", "-batch", "-"}};
  subprocess.input = batch.number();
  subprocess.output = answers.number();
  subprocess.errors = errors.number();
  subprocess.seconds = kLongestAnswer;
  const int status = batch.fill(queries) ? run(subprocess) : -1;
  if (auto error = missing_status("ip", status)) return error;
  read_choices(answers.content(), kernel);
  if (read_failures(errors.content(), addresses, kernel) || WEXITSTATUS(status) == 0) return std::nullopt;
  return "ip: status " + std::to_string(WEXITSTATUS(status));
}

// Runs `ip` with JSON output. Returns nothing, or why there is no valid output.
static std::optional<std::string> query_kernel(std::vector<std::string> words, Json::Value& answer) {
  words.insert(words.begin(), {"ip", "-json"});
  std::string output;
  if (auto error = capture(words, output, kLongestAnswer)) return error;
  // `ip` prints nothing if the list is empty.
  if (output.find_first_not_of(" \n") == std::string::npos || parse_json(output, answer)) return std::nullopt;
  return "ip: invalid JSON output";
}

// Runs `ip` with JSON output. If that fails, adds a line to `kernel.errors` and returns null.
static Json::Value query_kernel(const char* subject, const std::vector<std::string>& words, Kernel& kernel) {
  Json::Value answer;
  if (const auto error = query_kernel(words, answer)) kernel.errors.push_back(subject + (": " + *error));
  return answer;
}

std::optional<std::string> read_kernel(const std::vector<std::string>& addresses, Kernel& kernel) {
  Json::Value links;
  if (auto error = query_kernel({"-details", "address", "show"}, links)) return error;
  for (const Json::Value& link : links)
    if (link.isObject() && link.isMember("ifname")) kernel.links[text_in(link, "ifname")] = read_link(link);
  read_settings(query_kernel("forwarding", {"-4", "netconf", "show"}, kernel), kernel);
  read_routes(query_kernel("the routes", {"-4", "route", "show", "table", "all"}, kernel), kernel);
  read_rules(query_kernel("the policy rules", {"-4", "rule", "show"}, kernel), kernel);
  if (const auto error = query_route_choices(addresses, kernel))
    kernel.errors.push_back("the routes that are taken: " + *error);
  kernel.time = std::time(nullptr);
  return std::nullopt;
}
