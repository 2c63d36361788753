#include "dnsmasq/passthrough.h"

#include <syslog.h>

#include <cstring>
#include <string>

#include "config/lookup.h"
#include "config/ports.h"
#include "config/wwan_state.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"

// The name of the operation in the log.
constexpr char kOperation[] = "dnsmasq_add_eth_interface";

namespace {

// The offer to the device behind the port.
struct DhcpOffer {
  bool is_fallback;
  std::string client;
  std::string gateway;
  std::string netmask;
  std::string leasetime;
};

// The pass-through port.
struct ServedPort {
  const char* ifname;
  std::string network;  // the dotted path of its "network" object
  char mac[18];         // its own MAC address, with colons
  const SecondaryPair* pair;
};

}  // namespace

static std::string string_at(const NetworkContext* ctx, const std::string& path, const char* default_text) {
  std::string text = default_text;
  config_get_string(ctx->config, text, path);
  return text;
}

static DhcpOffer wwan_offer(const NetworkContext* ctx, const ServedPort& port) {
  char client[kIpv4TextSize] = "";
  char gateway[kIpv4TextSize] = "";
  char netmask[kIpv4TextSize] = "";
  read_wwan_ipv4(client);
  read_wwan_gw(gateway);
  read_wwan_netmask(netmask);
  return {false, client, gateway, netmask, string_at(ctx, port.network + ".dhcp.leasetime", "2m")};
}

// The configured "leasetime" is for the cellular address only.
static DhcpOffer fallback_offer(const NetworkContext* ctx, const ServedPort& port) {
  return {true, port.pair->device, port.pair->gateway, kSecondaryNetmask,
          string_at(ctx, port.network + ".dhcp.secondary_leasetime", "2m")};
}

static DhcpOffer current_offer(const NetworkContext* ctx, const ServedPort& port) {
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

PassthroughSection choose_passthrough_section(const NetworkContext* ctx, const char* port,
                                              const char* gateway) {
  const std::string dhcp = wired_network_path(port) + ".dhcp";
  // The only effect of "disable_dhcp_secondary": it does not disable the fallback.
  if (gateway != nullptr && is_true(ctx->config, dhcp + ".disable_dhcp_secondary") &&
      std::strcmp(gateway, secondary_pair_of(port)->gateway) == 0) {
    return PassthroughSection::kOrdinaryPort;
  }
  if (ctx->passthrough_auto) return PassthroughSection::kAutomatic;
  if (gateway == nullptr) return PassthroughSection::kStaticFallback;
  return is_true(ctx->config, dhcp + ".enable") ? PassthroughSection::kStaticWwan
                                                : PassthroughSection::kOrdinaryPort;
}

std::optional<PassthroughRange> read_passthrough_range(const Json::Value& network, const std::string& own) {
  const PassthroughRange range{string_at(network, "dhcp.start").value_or(""),
                               string_at(network, "dhcp.end").value_or("")};
  const auto is_set = [&own](const std::string& text) { return !text.empty() && text != own; };
  if (!is_set(range.start) && !is_set(range.end)) return std::nullopt;
  return range;
}

// Writes a pool of exactly one address and its options: the netmask before the router.
static void write_one_address_pool(std::FILE* file, const ServedPort& port, const DhcpOffer& offer) {
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", port.ifname, offer.client.c_str(), offer.client.c_str(),
               offer.leasetime.c_str());
  std::fprintf(file, "dhcp-option=%s,1,%s\n", port.ifname, offer.netmask.c_str());
  std::fprintf(file, "dhcp-option=%s,3,%s\n", port.ifname, offer.gateway.c_str());
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", port.ifname, offer.gateway.c_str());
}

static void write_automatic_section(std::FILE* file, const ServedPort& port, const DhcpOffer& offer) {
  syslog(LOG_NOTICE, "%s: configure dnsmasq for passthrough_auto %s", kOperation, port.ifname);
  std::fprintf(file, "\n# pass-through automatic mode DHCP on %s\n", port.ifname);
  std::fprintf(file, "dhcp-host=%s,%s\n", port.mac, offer.gateway.c_str());
  write_one_address_pool(file, port, offer);
}

// Returns the port's configured address.
static std::string write_static_head(const NetworkContext* ctx, std::FILE* file, const ServedPort& port) {
  syslog(LOG_NOTICE, "%s: configure dnsmasq for passthrough_static %s", kOperation, port.ifname);
  std::string ipv4 = string_at(ctx, port.network + ".ipv4", "");
  std::fprintf(file, "\n# pass-through static mode DHCP on %s\n", port.ifname);
  std::fprintf(file, "dhcp-host=%s,%s\n", port.mac, ipv4.c_str());
  return ipv4;
}

static void write_static_fallback_section(const NetworkContext* ctx, std::FILE* file, const ServedPort& port,
                                          const DhcpOffer& offer) {
  write_static_head(ctx, file, port);
  syslog(LOG_NOTICE, "configure dnsmasq for passthrough_static secondary fallback %s", port.ifname);
  write_one_address_pool(file, port, offer);
}

static void write_static_wwan_section(const NetworkContext* ctx, std::FILE* file, const ServedPort& port,
                                      const DhcpOffer& offer) {
  const std::string ipv4 = write_static_head(ctx, file, port);
  // Two spaces: log filters depend on this line.
  syslog(LOG_NOTICE, "configure dnsmasq for passthrough_static  %s", port.ifname);
  PassthroughRange range{offer.client, offer.client};
  if (const Json::Value* network = object_at(ctx->config, port.network)) {
    range = read_passthrough_range(*network, ipv4).value_or(range);
  }
  std::fprintf(file, "dhcp-range=%s,%s,%s,%s\n", port.ifname, range.start.c_str(), range.end.c_str(),
               offer.leasetime.c_str());
  // The router before the netmask, unlike in the one-address pool. Without a configured netmask, the option
  // is left out and dnsmasq sends that of the interface.
  std::fprintf(file, "dhcp-option=%s,3,%s\n", port.ifname, ipv4.c_str());
  if (const std::optional<int> prefix = number_at(ctx->config, port.network + ".netmask")) {
    char netmask[kIpv4TextSize] = "";
    std::fprintf(file, "dhcp-option=%s,1,%s\n", port.ifname, cidr_to_netmask(*prefix, netmask));
  }
  std::fprintf(file, "dhcp-option=%s,6,%s\n\n", port.ifname, ipv4.c_str());
}

bool dnsmasq_add_passthrough(const NetworkContext* ctx, std::FILE* file, const char* port_name) {
  syslog(LOG_NOTICE, "%s: update dnsmasq for pass-through mode", kOperation);
  ServedPort port{port_name, wired_network_path(port_name), "", secondary_pair_of(port_name)};
  get_if_hw_addr_formatted(port_name, port.mac);
  const DhcpOffer offer = current_offer(ctx, port);
  const char* gateway = offer.is_fallback ? nullptr : offer.gateway.c_str();
  switch (choose_passthrough_section(ctx, port_name, gateway)) {
    case PassthroughSection::kAutomatic:
      write_automatic_section(file, port, offer);
      return true;
    case PassthroughSection::kStaticFallback:
      write_static_fallback_section(ctx, file, port, offer);
      return true;
    case PassthroughSection::kStaticWwan:
      write_static_wwan_section(ctx, file, port, offer);
      return true;
    case PassthroughSection::kOrdinaryPort:
      break;
  }
  return false;
}
