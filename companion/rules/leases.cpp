#include "companion/rules/leases.h"

#include <unordered_map>

void lease_address_twice(const Site& site, Findings& findings) {
  std::unordered_map<Ipv4, std::string> owners;
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served) continue;
    for (const Json::Value* lease : fixed_leases(server)) {
      const std::optional<Ipv4> address = parse_ipv4(text_at(*lease, "ipv4").value_or(""));
      if (!address) continue;
      const auto [owner, is_new] = owners.emplace(*address, text_at(*lease, "mac").value_or(""));
      if (is_new) continue;
      findings.add(place_of(*lease, "ipv4"),
                   to_text(*address) + " is already the fixed lease of " + owner->second);
    }
  }
}
