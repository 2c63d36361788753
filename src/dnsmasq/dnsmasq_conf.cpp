#include "dnsmasq/dnsmasq_conf.h"

#include <syslog.h>

#include <cerrno>
#include <string>

#include "config/interface_queries.h"
#include "config/ports.h"
#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/lan_interface.h"
#include "dnsmasq/resolv_conf.h"
#include "platform/libvantor.h"
#include "util/open_file.h"

// The staging file, copied to the configuration when complete. The platform provides its directory.
constexpr char kDnsmasqConfStaging[] = "/var/volatile/qel/.dnsmasq_conf";

int dnsmasq_apply(const NetworkContext* ctx) {
  syslog(LOG_NOTICE, "dnsmasq apply");
  if (dnsmasq_write_dnsmasq_conf(ctx) != 0) syslog(LOG_NOTICE, "error on dnsmasq apply");
  return 0;
}

static void write_head(std::FILE* file) {
  std::fprintf(file,
               "# Configuration file for dnsmasq\n\n"
               "# Never forward plain names (with a dot or domain port)\n"
               "domain-needed\n"
               "# dnsmasq user\n"
               "user=admin\n"
               "# Never forward addresses in the non-routed address space\n"
               "bogus-priv\n"
               "bind-dynamic\n"
               "local-service\n"
               "no-hosts\n"
               "dhcp-authoritative\n"
               "quiet-dhcp\n"
               "# dnsmasq will read /etc/ethers\n"
               "read-ethers\n"
               "\ndhcp-leasefile=%s\n",
               kDynamicLeases);
}

static void write_trailer(std::FILE* file) {
  // Repeats "no-hosts", before the line that names the replacement of /etc/hosts.
  std::fprintf(file,
               "\n# For dynhost support\n"
               "no-hosts\n"
               "addn-hosts=%s\n\n",
               kHostsFile);
}

int dnsmasq_write_dnsmasq_conf(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  // Two spaces after -f: the command string is fixed.
  qelsys("/bin/cp -f  /etc/hosts %s", kHostsFile);
  dnsmasq_add_hostnames(ctx);
  OpenFile file(kDnsmasqConfStaging, "w");
  if (!file) {
    syslog(LOG_NOTICE, "failed to open %s, errno:%d\n", kDnsmasqConfStaging, errno);
    return -1;
  }
  write_head(file.get());
  // Currently always 0; a failure would leave out the line.
  if (dnsmasq_write_resolv_conf(ctx) == 0) std::fprintf(file.get(), "resolv-file=%s\n\n", kResolvConf);
  const LanSections bridge = read_bridge_sections(ctx);
  if (bridge.has_server) dnsmasq_add_dhcp_server(ctx, file.get(), kBridgeName);
  if (bridge.has_relay) dnsmasq_add_dhcp_relay(ctx, file.get(), kBridgeName);
  for (const Radio& radio : kRadios)
    dnsmasq_add_wlan_interface(ctx, file.get(), radio.name, radio.hostname);
  for (const EthernetPort& port : kEthernetPorts)
    dnsmasq_add_eth_interface(ctx, file.get(), port.name, port.hostname);
  write_trailer(file.get());
  if (file.close() != 0) return -1;
  if (qelsys("/bin/cp -f %s %s", kDnsmasqConfStaging, kDnsmasqConf) != 0)
    syslog(LOG_NOTICE, "error writing %s", kDnsmasqConf);
  return 0;
}
