#include "dnsmasq/dhcp_server.h"

#include <net/if.h>
#include <syslog.h>

#include <cstdlib>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/wwan_state.h"
#include "platform/libvantor.h"

std::vector<StaticLease> read_static_leases(const Json::Value& dhcp) {
  std::vector<StaticLease> leases;
  if (!is_true(dhcp, "mac_binding.enable")) return leases;
  for (const Json::Value& device : array_at(dhcp, "mac_binding.devices")) {
    if (is_enabled(device)) leases.push_back({&device, string_at(device, "mac"), string_at(device, "ipv4")});
  }
  return leases;
}

// Reads the "dhcp" object itself.
static void read_dhcp_object(const Json::Value& dhcp, DhcpSection& section) {
  section.dhcp = &dhcp;
  section.is_enabled = is_enabled(dhcp);
  section.start = string_at(dhcp, "start");
  section.end = string_at(dhcp, "end");
  section.lease_time = string_at(dhcp, "leasetime");
  if (!section.start) section.missing_keys.push_back({&dhcp, "start"});
  if (!section.end) section.missing_keys.push_back({&dhcp, "end"});
}

DhcpSection read_dhcp_section(const Json::Value& network) {
  DhcpSection section;
  section.router = string_at(network, "ipv4");
  section.prefix = number_at(network, "netmask");
  if (!section.router) section.missing_keys.push_back({&network, "ipv4"});
  if (!section.prefix) section.missing_keys.push_back({&network, "netmask"});
  if (const Json::Value* dhcp = object_at(network, "dhcp")) read_dhcp_object(*dhcp, section);
  return section;
}

// Writes a section with a known subnet. Returns 0, or -1 without writing anything if the server is disabled
// or a key is missing.
static int dnsmasq_write_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                                     const DhcpSection& section) {
  print_trace(ctx, __func__);
  if (!section.is_enabled) return -1;
  if (!section.is_written()) {
    syslog(LOG_NOTICE, "dhcp server config for %s contains undefined IP addresses", ifname);
    return -1;
  }
  char netmask[kIpv4TextSize] = "";
  cidr_to_netmask(*section.prefix, netmask);
  std::fprintf(file, kDhcpServerHeading, ifname);
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", ifname, section.start->c_str(), section.end->c_str(),
               section.lease_time.value_or("3600").c_str());
  std::fprintf(file, "dhcp-option=%s,3,%s\n", ifname, section.router->c_str());
  std::fprintf(file, "dhcp-option=%s,1,%s\n", ifname, netmask);
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", ifname, section.router->c_str());
  for (const StaticLease& lease : read_static_leases(*section.dhcp)) {
    std::fprintf(file, "dhcp-host=%s,%s\n", lease.mac.value_or("").c_str(), lease.ipv4.value_or("").c_str());
  }
  return 0;
}

int dnsmasq_write_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                              const std::string& router, int prefix, const Json::Value& dhcp) {
  DhcpSection section;
  section.router = router;
  section.prefix = prefix;
  read_dhcp_object(dhcp, section);
  return dnsmasq_write_dhcp_server(ctx, file, ifname, section);
}

int dnsmasq_add_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  syslog(LOG_NOTICE, "%s: %s", __func__, ifname);
  std::string path;
  if (get_interface_network_node(ctx, ifname, path) != 0) return -1;
  const Json::Value* network = object_at(ctx->config, path);
  if (network == nullptr) return -1;
  const DhcpSection section = read_dhcp_section(*network);
  if (!section.has_subnet() || dnsmasq_write_dhcp_server(ctx, file, ifname, section) != 0) return -1;
  syslog(LOG_INFO, "dnsmasq: configured dhcp server for interface %s", ifname);
  return 0;
}

static void add_vlan_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                               const Vlan& vlan) {
  if (!vlan.is_complete()) return;
  const DhcpSection section = read_dhcp_section(*vlan.network());
  if (!section.is_enabled || !section.has_subnet()) return;
  const std::string name = vlan_name(port, *vlan.vid);
  // Interface names in the kernel are no longer than this. The program aborts on a longer one, rather than
  // serve addresses on another interface.
  if (name.size() >= IFNAMSIZ) std::abort();
  if (dnsmasq_write_dhcp_server(ctx, file, name.c_str(), section) == 0) {
    syslog(LOG_INFO, "configured DHCP server on VLAN %s", name.c_str());
  }
}

int dnsmasq_add_vlan_interfaces(const NetworkContext* ctx, std::FILE* file, const char* port) {
  print_trace(ctx, __func__);
  for (const Vlan& vlan : read_vlans(object_at(ctx->config, wired_network_path(port) + ".advanced.vlan")))
    add_vlan_interface(ctx, file, port, vlan);
  return 0;
}
