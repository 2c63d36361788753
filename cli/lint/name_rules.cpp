#include "cli/lint/name_rules.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "cli/lint/host_name.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/hosts.h"
#include "networkd/wifi.h"

void name_server_malformed(const Site& site, Findings& findings) {
  for (const Json::Value& server : array_at(site.root, "dns.static")) {
    const std::string text = text_of(server);
    if (server.isString() && parse_ipv4(text)) continue;
    findings.add(server, quoted(text) + " is not an IPv4 address" +
                             (name_server_of(server).empty() ? ", and is left out for being short" : ""));
  }
}

void name_server_none(const Site& site, Findings& findings) {
  if (string_at(site.root, "dns.source") != "static") return;
  for (const Json::Value& server : array_at(site.root, "dns.static")) {
    if (!name_server_of(server).empty()) return;
  }
  findings.add(place_of(site.root, "dns"), "the source is \"static\", but \"static\" names no server");
}

// Calls `judge` with each entry of "hostnames", its name and its address; an empty text is missing.
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
    if (address.empty() || parse_ipv4(address)) return;
    findings.add(place_of(host, "ipv4"), quoted(address) + " is not an IPv4 address");
  });
}

void host_name_invalid(const Site& site, Findings& findings) {
  for_each_host(site, [&](const Json::Value& host, const std::string& name, const std::string& /*address*/) {
    if (name.empty() || is_host_name(name)) return;
    findings.add(place_of(host, "name"),
                 quoted(name) + " is not a host name: labels of letters, digits and hyphens");
  });
}

void host_name_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Json::Value*> hosts;
  for_each_host(site, [&](const Json::Value& host, std::string name, const std::string& address) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (name.empty() || address.empty()) return;
    const Json::Value& first = *hosts.emplace(name, &host).first->second;
    const std::string known = *read_host_name(first).ipv4;
    if (known == address) return;
    findings.add(place_of(host, "name"), name + " already stands for " + known,
                 related_to(place_of(first, "name"), name + " stands for " + known));
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
          related_to(place_of(site.root, "wireless.wifi." + name + ".ap.enable"), "the access point"));
  }
}
