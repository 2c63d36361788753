#pragma once

// The DHCP relay lines: an interface's requests go to one or two other servers.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>

#include "config/network_context.h"

// The comment in front of a relay line, with the interface's name; the line itself has only its address.
inline constexpr char kDhcpRelayHeading[] = "\n# DHCP relay on %s\n";

// Where a "dhcp" object names the two servers.
inline constexpr const char* kRelayServerKeys[] = {"dhcp_relay.relay_server1", "dhcp_relay.relay_server2"};

// What the configuration makes of a relay.
struct DhcpRelay {
  const Json::Value* dhcp = nullptr;  // the "dhcp" object; null when there is none
  bool is_enabled = false;
  std::optional<std::string> local_ip;

  bool is_written() const {
    return is_enabled && local_ip;
  }
};

// Reads the relay from a "network" object.
DhcpRelay read_dhcp_relay(const Json::Value& network);

// The server, an address or a name, at `key` of a "dhcp" object; nothing when it is missing or too short.
std::optional<std::string> read_relay_server(const Json::Value& dhcp, const std::string& key);

// Writes the relay lines of the interface from its "network" object of the configuration. Returns -1 in every
// case; the callers ignore it.
int dnsmasq_add_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes the lines for the server, an address or a name, at `key` of the "dhcp" object; `local_ip` is the
// interface's own address. Returns 0 when a server is configured, even one whose name does not resolve and so
// gets no lines; -1 otherwise.
int dnsmasq_write_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                             const Json::Value& dhcp, const std::string& key, const std::string& local_ip);
