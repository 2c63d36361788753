#include "cli/status/dynamic_leases.h"

#include <algorithm>
#include <cerrno>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/lint/ipv4.h"
#include "dnsmasq/dnsmasq_conf.h"

// The file has lines such as "1795292324 02:00:5e:00:01:10 192.168.1.100 printer *".
std::optional<std::string> read_leases(std::vector<Lease>& leases) {
  File file;
  if (!read_file(kDynamicLeases, file) && errno != ENOENT) return with_errno(kDynamicLeases);
  std::istringstream lines(file.content);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    Lease lease;
    fields >> lease.expires >> lease.mac_address >> lease.address >> lease.name;
    if (lease.name == "*") lease.name.clear();
    if (fields && parse_ipv4(lease.address)) leases.push_back(lease);
  }
  std::sort(leases.begin(), leases.end(), [](const Lease& one, const Lease& other) {
    return *parse_ipv4(one.address) < *parse_ipv4(other.address);
  });
  return std::nullopt;
}
