#include "networkd/unit_file.h"

#include <syslog.h>

#include "config/lookup.h"
#include "util/format.h"

std::string unit_file_path(int number, const char* name, const char* kind) {
  return format("%s%d-%s.%s", kUnitDir, number, name, kind);
}

OpenFile open_unit_file(const NetworkContext* ctx, int number, const char* name, const char* kind) {
  print_trace(ctx, __func__);
  const std::string path = unit_file_path(number, name, kind);
  syslog(LOG_DEBUG, "write unit file:%s\n", path.c_str());
  OpenFile file(path, "w");
  if (!file) syslog(LOG_NOTICE, "error creating network unit file: %s", path.c_str());
  return file;
}

static bool is_server(const char* address) {
  return address != nullptr && looks_like_address(address);
}

void write_unit_dns(const NetworkContext* ctx, std::FILE* file, const char* dns1, const char* dns2) {
  print_trace(ctx, __func__);
  if (ctx->dns_auto && (is_server(dns1) || is_server(dns2))) {
    // Uses either the link's servers or the configured ones, never both.
    if (is_server(dns1)) std::fprintf(file, "DNS = %s\n", dns1);
    if (is_server(dns2)) std::fprintf(file, "DNS = %s\n", dns2);
    return;
  }
  for (const Json::Value& server : array_at(ctx->config, "dns.static")) {
    const std::string address = name_server_of(server);
    if (!address.empty()) std::fprintf(file, "DNS = %s\n", address.c_str());
  }
}
