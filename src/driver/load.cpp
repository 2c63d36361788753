#include "driver/load.h"

#include <syslog.h>

#include <utility>

#include "driver/undo.h"
#include "platform/libcmd.h"

std::unique_ptr<NetworkContext> load_network_context(bool for_apply) {
  Json::Value configuration;
  if (cmd_get_value_json("network", configuration) != 0) {
    syslog(LOG_NOTICE, "error loading network config");
    return std::make_unique<NetworkContext>();
  }
  auto ctx = std::make_unique<NetworkContext>(std::move(configuration));
  if (for_apply) init_runtime_network_dir(ctx.get(), ctx->cell_enabled);
  return ctx;
}
