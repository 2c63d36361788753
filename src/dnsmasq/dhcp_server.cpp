#include "dnsmasq/dhcp_server.h"

#include <net/if.h>
#include <syslog.h>

#include <cstdlib>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/wwan_state.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"

namespace {

// What a section needs from a "network" object.
struct DhcpNetwork {
  std::string ipv4;
  int prefix = 0;
  const Json::Value* dhcp = nullptr;
};

}  // namespace

// False when one of the three is missing.
static bool read_dhcp_network(const Json::Value& object, const std::string& path, DhcpNetwork& network) {
  network.dhcp = object_at(object, path + ".dhcp");
  return network.dhcp != nullptr && config_get_string(object, network.ipv4, path + ".ipv4") &&
         config_get_int(object, &network.prefix, path + ".netmask");
}

int dnsmasq_add_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  syslog(LOG_NOTICE, "%s: %s", __func__, ifname);
  std::string path;
  if (get_interface_network_node(ctx, ifname, path) != 0) return -1;
  DhcpNetwork network;
  if (!read_dhcp_network(ctx->config, path, network)) return -1;
  if (dnsmasq_write_dhcp_server(ctx, file, ifname, network.ipv4, network.prefix, *network.dhcp) != 0)
    return -1;
  syslog(LOG_INFO, "dnsmasq: configured dhcp server for interface %s", ifname);
  return 0;
}

static void write_fixed_leases(std::FILE* file, const Json::Value& dhcp) {
  if (!is_true(dhcp, "mac_binding.enable")) return;
  for (const Json::Value& device : array_at(dhcp, "mac_binding.devices")) {
    if (!is_enabled(device)) continue;
    std::string mac;
    std::string ipv4;
    config_get_string(device, mac, "mac");
    config_get_string(device, ipv4, "ipv4");
    std::fprintf(file, "dhcp-host=%s,%s\n", mac.c_str(), ipv4.c_str());
  }
}

int dnsmasq_write_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                              const std::string& router, int prefix, const Json::Value& dhcp) {
  print_trace(ctx, __func__);
  if (!is_enabled(dhcp)) return -1;
  std::string start;
  std::string end;
  if (!config_get_string(dhcp, start, "start") || !config_get_string(dhcp, end, "end")) {
    syslog(LOG_NOTICE, "dhcp server config for %s contains undefined IP addresses", ifname);
    return -1;
  }
  std::string leasetime = "3600";
  config_get_string(dhcp, leasetime, "leasetime");
  char netmask[kIpv4TextSize] = "";
  cidr_to_netmask(prefix, netmask);
  std::fprintf(file, kDhcpServerHeading, ifname);
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", ifname, start.c_str(), end.c_str(), leasetime.c_str());
  std::fprintf(file, "dhcp-option=%s,3,%s\n", ifname, router.c_str());
  std::fprintf(file, "dhcp-option=%s,1,%s\n", ifname, netmask);
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", ifname, router.c_str());
  write_fixed_leases(file, dhcp);
  return 0;
}

// The VLAN interface's name. The kernel knows no longer one than fits `name`; a configuration that asks for
// one ends the program rather than serve addresses on some other interface.
static void format_vlan_name(char (&name)[IFNAMSIZ], const char* port, int vid) {
  const int length = std::snprintf(name, sizeof name, "%s.%d", port, vid);
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) std::abort();
}

static void add_vlan_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                               const Json::Value& vlan) {
  if (!is_true(vlan, "network.dhcp.enable")) return;
  int vid = 0;
  DhcpNetwork network;
  if (!config_get_int(vlan, &vid, "vid") || !read_dhcp_network(vlan, "network", network)) return;
  char name[IFNAMSIZ];
  format_vlan_name(name, port, vid);
  if (dnsmasq_write_dhcp_server(ctx, file, name, network.ipv4, network.prefix, *network.dhcp) == 0) {
    syslog(LOG_INFO, "configured DHCP server on VLAN %s", name);
  }
}

int dnsmasq_add_vlan_interfaces(const NetworkContext* ctx, std::FILE* file, const char* port) {
  print_trace(ctx, __func__);
  const std::string vlan = wired_network_path(port) + ".advanced.vlan";
  if (!is_true(ctx->config, vlan + ".enable")) return 0;
  for (const Json::Value& network : array_at(ctx->config, vlan + ".networks")) {
    add_vlan_interface(ctx, file, port, network);
  }
  return 0;
}
