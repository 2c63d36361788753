// Configures the WireGuard interfaces. No action of cmd_lanfab does this.

#include <sys/stat.h>
#include <syslog.h>

#include "driver/load.h"
#include "tunnels/wireguard.h"

int main() {
  umask(022);
  openlog("network", 0, LOG_LOCAL0);
  const auto ctx = load_network_context(false);
  return is_initialized(ctx.get()) ? wireguard_apply(ctx.get()) : 1;
}
