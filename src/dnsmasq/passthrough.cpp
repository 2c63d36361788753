#include "dnsmasq/passthrough.h"

#include <syslog.h>

#include <string>

#include "config/lookup.h"
#include "config/ports.h"
#include "config/wwan_state.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"

// The operation that the log names.
constexpr char kOperation[] = "dnsmasq_add_eth_interface";

namespace {

// What the device behind the port is offered.
struct DhcpOffer {
  bool is_fallback;
  std::string client;
  std::string gateway;
  std::string netmask;
  std::string leasetime;
};

// The port, as every step needs it.
struct Port {
  const char* ifname;
  std::string network;  // the dotted path of its "network" object
  char mac[18];         // its own hardware address, with colons
  const SecondaryPair* pair;
};

enum class Section { kAutomatic, kStaticFallback, kStaticWwan, kOrdinaryPort };

}  // namespace

static std::string string_at(const NetworkContext* ctx, const std::string& path, const char* default_text) {
  std::string text = default_text;
  config_get_string(ctx->config, text, path);
  return text;
}

static DhcpOffer wwan_offer(const NetworkContext* ctx, const Port& port) {
  char client[kIpv4TextSize] = "";
  char gateway[kIpv4TextSize] = "";
  char netmask[kIpv4TextSize] = "";
  read_wwan_ipv4(client);
  read_wwan_gw(gateway);
  read_wwan_netmask(netmask);
  return {false, client, gateway, netmask, string_at(ctx, port.network + ".dhcp.leasetime", "2m")};
}

// The configured "leasetime" is for the cellular address only.
static DhcpOffer fallback_offer(const NetworkContext* ctx, const Port& port) {
  return {true, port.pair->device, port.pair->gateway, kSecondaryNetmask,
          string_at(ctx, port.network + ".dhcp.secondary_leasetime", "2m")};
}

static DhcpOffer current_offer(const NetworkContext* ctx, const Port& port) {
  if (!is_cell_connected()) {
    syslog(LOG_NOTICE, "dnsmasq: wwan link down");
    syslog(LOG_NOTICE, "dnsmasq: no WWAN connection, using secondary ip %s and dhcp %s", port.pair->gateway,
           port.pair->device);
    return fallback_offer(ctx, port);
  }
  syslog(LOG_NOTICE, "%s: wwan link up", kOperation);
  DhcpOffer offer = wwan_offer(ctx, port);
  if (!offer.client.empty()) return offer;
  syslog(LOG_NOTICE, "%s: no WWAN address found, using secondary ip %s and dhcp %s", kOperation,
         port.pair->gateway, port.pair->device);
  return fallback_offer(ctx, port);
}

static Section choose_section(const NetworkContext* ctx, const Port& port, const DhcpOffer& offer) {
  // All that "disable_dhcp_secondary" does: it does not switch off the fallback.
  if (!offer.is_fallback && is_true(ctx->config, port.network + ".dhcp.disable_dhcp_secondary") &&
      offer.gateway == port.pair->gateway) {
    return Section::kOrdinaryPort;
  }
  if (ctx->passthrough_auto) return Section::kAutomatic;
  if (offer.is_fallback) return Section::kStaticFallback;
  return is_true(ctx->config, port.network + ".dhcp.enable") ? Section::kStaticWwan : Section::kOrdinaryPort;
}

// A pool of exactly one address, and the options that go with it: the netmask before the router.
static void write_one_address_pool(std::FILE* file, const Port& port, const DhcpOffer& offer) {
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", port.ifname, offer.client.c_str(), offer.client.c_str(),
               offer.leasetime.c_str());
  std::fprintf(file, "dhcp-option=%s,1,%s\n", port.ifname, offer.netmask.c_str());
  std::fprintf(file, "dhcp-option=%s,3,%s\n", port.ifname, offer.gateway.c_str());
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", port.ifname, offer.gateway.c_str());
}

static void write_automatic_section(std::FILE* file, const Port& port, const DhcpOffer& offer) {
  syslog(LOG_NOTICE, "%s: configure dnsmasq for passthrough_auto %s", kOperation, port.ifname);
  std::fprintf(file, "\n# pass-through automatic mode DHCP on %s\n", port.ifname);
  std::fprintf(file, "dhcp-host=%s,%s\n", port.mac, offer.gateway.c_str());
  write_one_address_pool(file, port, offer);
}

// Returns the port's configured address.
static std::string write_static_head(const NetworkContext* ctx, std::FILE* file, const Port& port) {
  syslog(LOG_NOTICE, "%s: configure dnsmasq for passthrough_static %s", kOperation, port.ifname);
  std::string ipv4 = string_at(ctx, port.network + ".ipv4", "");
  std::fprintf(file, "\n# pass-through static mode DHCP on %s\n", port.ifname);
  std::fprintf(file, "dhcp-host=%s,%s\n", port.mac, ipv4.c_str());
  return ipv4;
}

static void write_static_fallback_section(const NetworkContext* ctx, std::FILE* file, const Port& port,
                                          const DhcpOffer& offer) {
  write_static_head(ctx, file, port);
  syslog(LOG_NOTICE, "configure dnsmasq for passthrough_static secondary fallback %s", port.ifname);
  write_one_address_pool(file, port, offer);
}

static void write_static_wwan_section(const NetworkContext* ctx, std::FILE* file, const Port& port,
                                      const DhcpOffer& offer) {
  const std::string ipv4 = write_static_head(ctx, file, port);
  // Two spaces, as log readers know the line.
  syslog(LOG_NOTICE, "configure dnsmasq for passthrough_static  %s", port.ifname);
  std::string start = string_at(ctx, port.network + ".dhcp.start", "");
  std::string end = string_at(ctx, port.network + ".dhcp.end", "");
  const bool has_pool = (!start.empty() && start != ipv4) || (!end.empty() && end != ipv4);
  if (!has_pool) start = end = offer.client;
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", port.ifname, start.c_str(), end.c_str(),
               offer.leasetime.c_str());
  // The router before the netmask, unlike the one-address pool. Without a configured netmask the option is
  // left out, and dnsmasq sends the interface's own.
  std::fprintf(file, "dhcp-option=%s,3,%s\n", port.ifname, ipv4.c_str());
  int prefix = 0;
  if (config_get_int(ctx->config, &prefix, port.network + ".netmask")) {
    char netmask[kIpv4TextSize] = "";
    std::fprintf(file, "dhcp-option=%s,1,%s\n", port.ifname, cidr_to_netmask(prefix, netmask));
  }
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", port.ifname, ipv4.c_str());
}

bool dnsmasq_add_passthrough(const NetworkContext* ctx, std::FILE* file, const char* port_name) {
  syslog(LOG_NOTICE, "%s: update dnsmasq for pass-through mode", kOperation);
  Port port{port_name, wired_network_path(port_name), "", secondary_pair_of(port_name)};
  get_if_hw_addr_formatted(port_name, port.mac);
  const DhcpOffer offer = current_offer(ctx, port);
  switch (choose_section(ctx, port, offer)) {
    case Section::kAutomatic:
      write_automatic_section(file, port, offer);
      return true;
    case Section::kStaticFallback:
      write_static_fallback_section(ctx, file, port, offer);
      return true;
    case Section::kStaticWwan:
      write_static_wwan_section(ctx, file, port, offer);
      return true;
    case Section::kOrdinaryPort:
      break;
  }
  return false;
}
