#pragma once

// The DHCP server sections: address range, lease time, router, netmask, DNS server and static leases.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// The comment before a section, with the interface's name. Only this comment distinguishes the static leases
// of a server from the line for a pass-through port.
inline constexpr char kDhcpServerHeading[] = "\n# DHCP server on %s\n";

// A static lease.
struct StaticLease {
  const Json::Value* settings;
  std::optional<std::string> mac;
  std::optional<std::string> ipv4;
};

// The settings of a DHCP server section, as read from the configuration.
struct DhcpSection {
  // A required key that is missing, and the object that lacks it.
  struct MissingKey {
    const Json::Value* object;
    const char* key;
  };

  const Json::Value* dhcp = nullptr;  // the "dhcp" object; null if there is none
  bool is_enabled = false;
  std::optional<std::string> router;
  std::optional<int> prefix;
  std::optional<std::string> start;
  std::optional<std::string> end;
  std::optional<std::string> lease_time;
  std::vector<MissingKey> missing_keys;

  // Whether the "network" object has all required keys outside its "dhcp" object.
  bool has_subnet() const {
    return dhcp != nullptr && router && prefix;
  }
  bool is_written() const {
    return is_enabled && missing_keys.empty();
  }
};

// Reads the section from a "network" object.
DhcpSection read_dhcp_section(const Json::Value& network);

// The static leases of a "dhcp" object.
std::vector<StaticLease> read_static_leases(const Json::Value& dhcp);

// Writes the section of the interface from its "network" object of the configuration. Returns 0 if a section
// was written, -1 otherwise.
int dnsmasq_add_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes one section. `router` is the interface's own address, which clients use as router and DNS server;
// `prefix` is its prefix length; `dhcp` is its "dhcp" object. Returns 0, or -1 without writing anything if
// the server is disabled or has no "start" or "end".
int dnsmasq_write_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                              const std::string& router, int prefix, const Json::Value& dhcp);

// Writes a section for each VLAN of the port "eth0" or "eth1" that has a DHCP server. Always returns 0.
int dnsmasq_add_vlan_interfaces(const NetworkContext* ctx, std::FILE* file, const char* port);
