#include "cli/status/kernel.h"

#include <algorithm>

#include "cli/base/json.h"

static bool has_flag(const Json::Value& link, const char* flag) {
  const Json::Value& flags = link["flags"];
  return std::find(flags.begin(), flags.end(), Json::Value(flag)) != flags.end();
}

static Link read_link(const Json::Value& from) {
  Link link;
  link.is_up = has_flag(from, "UP");
  link.has_carrier = has_flag(from, "LOWER_UP");
  link.mtu = from["mtu"].asInt();
  link.bridge = from["master"].asString();
  for (const Json::Value& address : from["addr_info"]) {
    if (address["family"].asString() != "inet") continue;
    // Of an address with a peer, the prefix length is the peer's.
    link.addresses.push_back(
        {address["local"].asString() + "/" + address["prefixlen"].asString(), address["dynamic"].asBool()});
  }
  return link;
}

static KernelRoute read_route(const Json::Value& from) {
  KernelRoute route;
  route.destination = from["dst"].asString();
  const bool is_host = route.destination != "default" && route.destination.find('/') == std::string::npos;
  if (is_host) route.destination += "/32";
  route.gateway = from["gateway"].asString();
  route.interface = from["dev"].asString();
  route.metric = from["metric"].asInt();
  route.is_dynamic = from["protocol"].asString() == "dhcp";
  return route;
}

static void read_forwarding(const Json::Value& settings, Kernel& kernel) {
  for (const Json::Value& setting : settings) {
    if (!setting.isObject() || !setting["forwarding"].isBool()) continue;
    const auto link = kernel.links.find(setting["interface"].asString());
    if (link != kernel.links.end()) link->second.forwards = setting["forwarding"].asBool();
  }
}

std::optional<std::string> read_kernel(Kernel& kernel) {
  Json::Value links;
  Json::Value routes;
  Json::Value settings;
  if (auto trouble = capture_json({"ip", "-json", "address", "show"}, links)) return trouble;
  if (auto trouble = capture_json({"ip", "-json", "-4", "route", "show"}, routes)) return trouble;
  if (auto trouble = capture_json({"ip", "-json", "-4", "netconf", "show"}, settings)) return trouble;
  for (const Json::Value& link : links)
    if (link.isObject() && link.isMember("ifname")) kernel.links[link["ifname"].asString()] = read_link(link);
  for (const Json::Value& route : routes)
    if (route.isObject()) kernel.routes.push_back(read_route(route));
  read_forwarding(settings, kernel);
  return std::nullopt;
}
