#include "dnsmasq/hosts.h"

#include <cstdio>

#include "config/lookup.h"
#include "util/open_file.h"

HostName read_host_name(const Json::Value& host) {
  return {string_at(host, "name"), string_at(host, "ipv4")};
}

void dnsmasq_add_hostnames(const NetworkContext* ctx) {
  for (const Json::Value& host : array_at(ctx->config, "hostnames")) {
    const HostName entry = read_host_name(host);
    if (entry.is_written()) dnsmasq_add_dns_host(ctx, entry.name->c_str(), entry.ipv4->c_str());
  }
}

int dnsmasq_add_dns_host(const NetworkContext* ctx, const char* hostname, const char* ipv4) {
  print_trace(ctx, __func__);
  OpenFile hosts(kHostsFile, "a");
  if (!hosts) return -1;
  std::fprintf(hosts.get(), "%s %s\n", ipv4, hostname);
  return hosts.close();
}
