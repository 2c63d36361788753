#include "cli/lint/name_rules.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>
#include <utility>

#include "cli/lint/gre_path_rules.h"
#include "cli/lint/host_name.h"
#include "cli/lint/ip_network.h"
#include "cli/lint/reachability.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/wifi.h"

// Whether dnsmasq accepts the string as the address of a server. A link-local IPv6 address may include the
// interface: "fe80::1%eth0".
static bool is_name_server(const std::string& text) {
  const bool is_ipv6 = text.find(':') != std::string::npos;
  return is_ip_address(is_ipv6 ? text.substr(0, text.find('%')) : text);
}

void name_server_malformed(const Site& site, Findings& findings) {
  for (const Json::Value& server : array_at(site.root, "dns.static")) {
    const std::string text = text_of(server);
    if (!is_name_server(text)) {
      findings.add(server, quoted(text) + " is not an IP address");
    } else if (name_server_of(server).empty()) {
      findings.add(server, quoted(text) + " is left out: it has fewer than 7 characters; write its zeros");
    }
  }
}

static bool names_server(const Site& site) {
  const Json::Value& servers = array_at(site.root, "dns.static");
  return std::any_of(servers.begin(), servers.end(),
                     [](const Json::Value& server) { return !name_server_of(server).empty(); });
}

// Whether clients get the gateway as their name server.
static bool serves_clients(const Site& site) {
  return std::any_of(site.servers.begin(), site.servers.end(),
                     [](const DhcpServer& server) { return server.is_served && !server.is_idle; });
}

// Why dnsmasq has no name server although it needs one; nothing if it has one, or may not need one.
static std::optional<std::string> why_no_name_server(const Site& site) {
  if (names_server(site) || wants_link_servers(site.root)) return std::nullopt;
  const std::optional<std::string> source = string_at(site.root, "dns.source");
  if (source == "static") return "the source is \"static\", but \"static\" has no server";
  if (source == "isp") {
    return "the source is \"isp\", but the cellular link is disabled, and \"static\" has no server";
  }
  // Without an uplink, there may be no server to query.
  const Route* uplink = site.reachability().default_route();
  if (source || uplink == nullptr || site.context.passthrough_enabled) return std::nullopt;
  if (!serves_clients(site) || !site.reachability().is_certain()) return std::nullopt;
  return "there is no name server: the clients cannot resolve names on the Internet";
}

void name_server_none(const Site& site, Findings& findings) {
  if (const auto reason = why_no_name_server(site)) findings.add(location_of(site.root, "dns"), *reason);
}

// Calls `judge` with each IPv4 server in "dns.static" that dnsmasq gets, and with its address.
template <typename Judge>
static void for_each_name_server(const Site& site, Judge judge) {
  for (const Json::Value& server : array_at(site.root, "dns.static")) {
    if (const auto address = parse_ipv4(name_server_of(server))) judge(server, *address);
  }
}

// Whether dnsmasq ignores a server with this address, because dnsmasq itself answers there.
static bool is_ignored(const Site& site, Ipv4 address) {
  constexpr Ipv4 kLocalhost = 0x7f000001;
  return address == kLocalhost || site.reachability().find_own(address) != nullptr;
}

void name_server_unusable(const Site& site, Findings& findings) {
  for_each_name_server(site, [&](const Json::Value& server, Ipv4 address) {
    auto obstacle = site.reachability().why_no_other_host(address);
    if (!obstacle) return;
    findings.add(server, obstacle->reason + (is_ignored(site, address) ? ": dnsmasq ignores it" : ""),
                 std::move(obstacle->details));
  });
}

// Whether a tunnel or a static route already has a finding because the uplink is missing.
static bool is_uplink_reported(const Site& site) {
  const Json::Value& routes = array_at(site.root, "static_routes");
  return has_tunnel_without_uplink(site) ||
         std::any_of(routes.begin(), routes.end(), [&site](const Json::Value& route) {
           std::string name;
           return get_static_route_interface(route, name) && !site.gets_routes(name);
         });
}

// Whether unreachable servers on the internet are reported: an uplink is missing that seems to be intended,
// and no other rule reports that. If the uplink is disabled, a gateway without the internet may be intended,
// unless the source of the name servers is the uplink.
static bool judges_public_servers(const Site& site) {
  const std::optional<LostUplink>& lost = site.reachability().lost_uplink();
  if (!lost || is_uplink_reported(site)) return false;
  return !lost->is_switched_off || string_at(site.root, "dns.source") == "isp";
}

void name_server_unreachable(const Site& site, Findings& findings) {
  // All servers on the internet need the same uplink, so only the first one is reported.
  bool judges_public = judges_public_servers(site);
  for_each_name_server(site, [&](const Json::Value& server, Ipv4 address) {
    if (!is_private(address) && !judges_public) return;
    if (site.reachability().why_no_other_host(address)) return;
    auto obstacle = site.reachability().why_unreachable(address);
    if (!obstacle) return;
    if (!is_private(address)) judges_public = false;
    add_if_any(std::move(obstacle), server, findings);
  });
}

// Calls `judge` with each entry of "hostnames", its name and its address; a missing one is an empty string.
template <typename Judge>
static void for_each_host(const Site& site, Judge judge) {
  for (const Json::Value& host : array_at(site.root, "hostnames")) {
    const auto [name, address] = read_host_name(host);
    if (host.isObject()) judge(host, name.value_or(""), address.value_or(""));
  }
}

void host_incomplete(const Site& site, Findings& findings) {
  for_each_host(site, [&](const Json::Value& host, const std::string& name, const std::string& address) {
    if (!name.empty() && !address.empty()) return;
    findings.add(host, std::string("the host has no ") + (name.empty() ? "\"name\"" : "\"ipv4\""));
  });
}

void host_address_malformed(const Site& site, Findings& findings) {
  for_each_host(site, [&](const Json::Value& host, const std::string& /*name*/, const std::string& address) {
    if (address.empty() || is_ip_address(address)) return;
    findings.add(location_of(host, "ipv4"), quoted(address) + " is not an IP address");
  });
}

void host_name_invalid(const Site& site, Findings& findings) {
  for_each_host(site, [&](const Json::Value& host, const std::string& name, const std::string& /*address*/) {
    if (name.empty() || is_host_name(name)) return;
    findings.add(location_of(host, "name"),
                 quoted(name) + " is not a host name: labels of letters, digits and hyphens");
  });
}

void host_name_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Json::Value*> hosts;
  for_each_host(site, [&](const Json::Value& host, std::string name, const std::string& address) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (name.empty() || address.empty()) return;
    // Clients query the addresses of each family separately.
    const char* family = address.find(':') == std::string::npos ? " IPv4" : " IPv6";
    const Json::Value& first = *hosts.emplace(name + family, &host).first->second;
    const std::string known = *read_host_name(first).ipv4;
    if (known == address) return;
    findings.add(location_of(host, "name"), name + " already has the address " + known,
                 related_to(location_of(first, "name"), name + " has the address " + known));
  });
}

void radio_two_roles(const Site& site, Findings& findings) {
  for (const Radio& radio : kRadios) {
    const std::string name = radio.name;
    const Json::Value* client = object_at(site.root, "wireless.wifi." + name + ".client");
    if (client == nullptr || !read_wifi_client(*client).is_enabled) continue;
    if (is_wlan_ap_enabled(&site.context, name.c_str()))
      findings.add(
          *client, name + " is already an access point",
          related_to(location_of(site.root, "wireless.wifi." + name + ".ap.enable"), "the access point"));
  }
}
