#pragma once

// WireGuard interfaces: their two units, private keys, peers, and the policy rules that route traffic through
// them. wgN is the interface at position N of the configuration's list, in which disabled ones count. For
// callers of the library: no action calls this.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// The firewall mark and the routing table of the link wg<index>.
constexpr int wireguard_table(int index) {
  return 3006 + index;
}

// A peer, as read from the configuration.
struct WireguardPeer {
  const Json::Value* settings;
  std::optional<std::string> public_key;  // not empty; so are the endpoint and the other key
  std::optional<std::string> endpoint;
  std::optional<std::string> allowed_ips;
  std::optional<std::string> preshared_key;
  std::optional<int> keep_alive;  // seconds, greater than 0

  // Whether the peer has a section. Its networks get their routes in any case.
  bool is_written() const;
  // The parts of `allowed_ips` between commas, including spaces.
  std::vector<std::string> networks() const;
};

// An enabled interface, as read from the configuration.
struct WireguardInterface {
  const Json::Value* settings;
  unsigned index;
  std::optional<std::string> address;
  std::vector<WireguardPeer> peers;
};

// Returns the enabled interfaces of an object "tunnels.wireguard"; none if the object is not enabled itself.
std::vector<WireguardInterface> read_wireguard_interfaces(const Json::Value& wireguard);

// Returns the name of the link at position `index`.
std::string wireguard_link_name(unsigned index);

// Returns the path of the private key of the link `name`.
std::string wireguard_private_key_file(const std::string& name);

// Writes the section header and the line of the private key, and erases the buffer of `size` bytes that
// contained the key.
void write_wireguard_private_key(std::FILE* file, char* key, std::size_t size);

// Writes the units of every enabled interface and creates its link. Always returns 0; a failure is logged and
// does not affect the other interfaces.
int wireguard_apply(const NetworkContext* ctx);

// Writes both units of wg<index> from its object of the configuration. Returns 0, or -1 if the key cannot be
// read or a unit cannot be written.
int write_wireguard_network_unit_files(const NetworkContext* ctx, unsigned index,
                                       const Json::Value& interface_config);
