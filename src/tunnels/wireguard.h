#pragma once

// WireGuard interfaces: the one at position N of the configuration's list, counting the disabled ones, is
// wgN. Its two units, its private key, its peers, and the policy rules that send the traffic through it. For
// callers of the library: no action calls this.

#include <json/json.h>

#include <cstdio>
#include <string>

#include "config/network_context.h"

// The firewall mark and the routing table of the link wg<index>.
constexpr int wireguard_table(int index) {
  return 3006 + index;
}

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
