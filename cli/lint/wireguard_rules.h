#pragma once

// Rules about WireGuard interfaces and their peers.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void wireguard_public_key(const Site& site, Findings& findings);
void wireguard_preshared_key(const Site& site, Findings& findings);
void wireguard_address(const Site& site, Findings& findings);
void wireguard_allowed_ips(const Site& site, Findings& findings);
void wireguard_peer_without_networks(const Site& site, Findings& findings);
void wireguard_network_host_bits(const Site& site, Findings& findings);
void wireguard_endpoint(const Site& site, Findings& findings);
void wireguard_endpoint_unreachable(const Site& site, Findings& findings);
void wireguard_keep_alive(const Site& site, Findings& findings);

// The networks behind a peer, without the blanks around each one, which systemd-networkd accepts.
std::vector<std::string> trimmed_networks(const WireguardPeer& peer);
