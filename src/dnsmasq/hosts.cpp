#include "dnsmasq/hosts.h"

#include <cstdio>
#include <string>

#include "config/lookup.h"
#include "platform/libcmd.h"
#include "util/open_file.h"

void dnsmasq_add_hostnames(const NetworkContext* ctx) {
  for (const Json::Value& host : array_at(ctx->config, "hostnames")) {
    std::string name;
    std::string ipv4;
    if (config_get_string(host, name, "name") && config_get_string(host, ipv4, "ipv4")) {
      dnsmasq_add_dns_host(ctx, name.c_str(), ipv4.c_str());
    }
  }
}

int dnsmasq_add_dns_host(const NetworkContext* ctx, const char* hostname, const char* ipv4) {
  print_trace(ctx, __func__);
  OpenFile hosts(kHostsFile, "a");
  if (!hosts) return -1;
  std::fprintf(hosts.get(), "%s %s\n", ipv4, hostname);
  return hosts.close();
}
