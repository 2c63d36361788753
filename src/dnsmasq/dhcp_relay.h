#pragma once

// The DHCP relay lines, which forward an interface's requests to one or two other servers.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>

#include "config/network_context.h"

// The comment before a relay line, with the interface's name; the line itself only has its address.
inline constexpr char kDhcpRelayHeading[] = "\n# DHCP relay on %s\n";

// The keys of the two servers in a "dhcp" object.
inline constexpr const char* kRelayServerKeys[] = {"dhcp_relay.relay_server1", "dhcp_relay.relay_server2"};

// The settings of a relay, as read from the configuration.
struct DhcpRelay {
  const Json::Value* dhcp = nullptr;  // the "dhcp" object; null if there is none
  bool is_enabled = false;
  std::optional<std::string> local_ip;

  bool is_written() const {
    return is_enabled && local_ip;
  }
};

// Reads the relay from a "network" object.
DhcpRelay read_dhcp_relay(const Json::Value& network);

// Returns the server, an address or a name, at `key` of a "dhcp" object; nothing if it is missing or too
// short.
std::optional<std::string> read_relay_server(const Json::Value& dhcp, const std::string& key);

// Writes the relay lines of the interface from its "network" object of the configuration. Always returns -1,
// which the callers ignore.
int dnsmasq_add_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes the lines for the server, an address or a name, at `key` of the "dhcp" object; `local_ip` is the
// interface's own address. Returns 0 if a server is configured, even if its name does not resolve and no line
// is written; -1 otherwise.
int dnsmasq_write_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                             const Json::Value& dhcp, const std::string& key, const std::string& local_ip);
