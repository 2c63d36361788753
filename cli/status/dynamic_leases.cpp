#include "cli/status/dynamic_leases.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "cli/lint/ipv4.h"

// Where dnsmasq.conf has dnsmasq write them.
constexpr char kLeases[] = "/var/run/dnsmasq.leases";

// Lines like "1795292324 02:00:5e:00:01:10 192.168.1.100 printer *".
std::vector<Lease> read_leases() {
  std::vector<Lease> leases;
  std::ifstream file(kLeases);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    Lease lease;
    fields >> lease.expires >> lease.mac_address >> lease.address >> lease.name;
    if (lease.name == "*") lease.name.clear();
    if (fields && parse_ipv4(lease.address)) leases.push_back(lease);
  }
  std::sort(leases.begin(), leases.end(), [](const Lease& one, const Lease& other) {
    return *parse_ipv4(one.address) < *parse_ipv4(other.address);
  });
  return leases;
}
