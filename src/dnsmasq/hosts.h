#pragma once

// The hosts file that dnsmasq serves names from.

#include <json/json.h>

#include <optional>
#include <string>

#include "config/network_context.h"

inline constexpr char kHostsFile[] = "/var/run/hosts";

// An element of "hostnames", as read from the configuration.
struct HostName {
  std::optional<std::string> name;
  std::optional<std::string> ipv4;

  bool is_written() const {
    return name && ipv4;
  }
};

HostName read_host_name(const Json::Value& host);

// Appends the "hostnames" of the configuration.
void dnsmasq_add_hostnames(const NetworkContext* ctx);

// Appends one name. Returns 0, or -1 if it cannot be written.
int dnsmasq_add_dns_host(const NetworkContext* ctx, const char* hostname, const char* ipv4);
