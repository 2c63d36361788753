// Sets up the configured WireGuard interfaces; no action of cmd_lanfab does.

#include <sys/stat.h>
#include <syslog.h>

#include "config/network_context.h"
#include "tunnels/wireguard.h"

int main() {
  umask(022);
  openlog("network", 0, LOG_LOCAL0);
  const NetworkContext ctx(false);
  return is_initialized(&ctx) ? wireguard_apply(&ctx) : 1;
}
