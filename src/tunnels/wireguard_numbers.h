#pragma once

// What the position N of a WireGuard interface in the configuration fixes besides its link's name, wgN.

// Routing rules are removed for wg0 up to this link.
inline constexpr int kLastWireguardRuleIndex = 7;

// The firewall mark and the routing table of wgN.
constexpr int wireguard_table(int index) {
  return 3006 + index;
}
