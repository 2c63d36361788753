#pragma once

// WireGuard interfaces: the one at position N of the configuration's list, counting the disabled ones, is
// wgN. Its two units, its private key, its peers, and the policy rules that send the traffic through it. For
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

// What the configuration makes of a peer.
struct WireguardPeer {
  const Json::Value* settings;
  std::optional<std::string> public_key;  // not empty, like the endpoint and the other key
  std::optional<std::string> endpoint;
  std::optional<std::string> allowed_ips;
  std::optional<std::string> preshared_key;
  std::optional<int> keep_alive;  // seconds, greater than 0

  // Whether it has a section. Its networks get their routes in any case.
  bool is_written() const {
    return public_key.has_value();
  }
  // The pieces of `allowed_ips` between commas, spaces included.
  std::vector<std::string> networks() const;
};

// What the configuration makes of an enabled interface.
struct WireguardInterface {
  const Json::Value* settings;
  unsigned index;
  std::optional<std::string> address;
  std::vector<WireguardPeer> peers;
};

// The enabled interfaces of an object "tunnels.wireguard"; none when it is not enabled itself.
std::vector<WireguardInterface> read_wireguard_interfaces(const Json::Value& wireguard);

// The name of the link at position `index`.
std::string wireguard_link_name(unsigned index);

// The file with the private key of the link `name`.
std::string wireguard_private_key_file(const std::string& name);

// Writes the section's head and the line of the private key, and wipes the buffer of
// `size` bytes that held it.
void write_wireguard_private_key(std::FILE* file, char* key, std::size_t size);

// Writes the units of every enabled interface and creates its link. Always 0; a failing interface is logged
// and does not stop the rest.
int wireguard_apply(const NetworkContext* ctx);

// Writes both units of wg<index> from its object of the configuration. Returns 0; -1 when the key cannot be
// read or a unit cannot be written.
int write_wireguard_network_unit_files(const NetworkContext* ctx, unsigned index,
                                       const Json::Value& interface_config);
