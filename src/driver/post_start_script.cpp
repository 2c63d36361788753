#include "driver/post_start_script.h"

#include <cstdio>

#include "platform/libvantor.h"
#include "util/open_file.h"

constexpr char kPostNetworkdStartScript[] = "/var/run/post_networkd_start_actions_script";

void write_post_networkd_start_actions_script(const NetworkContext* /*ctx*/, const char* command) {
  if (const OpenFile script{kPostNetworkdStartScript, "w"}) {
    std::fprintf(script.get(), "#!/bin/sh\n");
    std::fprintf(script.get(), "%s\n", command);
  }
  qelsys("/bin/chmod +x %s", kPostNetworkdStartScript);
}
