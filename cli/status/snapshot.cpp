#include "cli/status/snapshot.h"

#include <algorithm>

#include "cli/config_file/source.h"
#include "cli/dry_run/initial_state.h"
#include "cli/live/installed_file.h"
#include "cli/live/trial_state.h"
#include "config/network_context.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"

// Units of others may match several links, or none by name.
static bool is_name(const std::string& text) {
  return !text.empty() && text.find_first_of("*?[! ") == std::string::npos;
}

static bool read_wanted(Look& look) {
  const std::vector<File> files = state_of_this_machine().files;
  look.wanted = read_facts(files);
  auto& interfaces = look.wanted.interfaces;
  for (auto one = interfaces.begin(); one != interfaces.end();)
    one = is_name(one->first) ? std::next(one) : interfaces.erase(one);
  look.wants_dnsmasq =
      std::any_of(files.begin(), files.end(), [](const File& file) { return file.path == kDnsmasqConf; });
  return look.wants_dnsmasq || !interfaces.empty();
}

// The units only show where forwarding is on. A pass-through port has a unit without that line as long as the
// link is down. False without a configuration that can be read.
static bool forbids_forwarding() {
  Source source;
  if (load_source(kInstalledConfiguration, source)) return false;
  const NetworkContext context(source.root);
  return !is_router(&context) && !context.passthrough_enabled;
}

std::optional<std::string> take_look(Look& look) {
  if (!is_gateway() || !read_wanted(look)) {
    return "this is not a gateway that a run of cmd_lanfab has set up";
  }
  look.forbids_forwarding = forbids_forwarding();
  // The lock and the services first: a run that ends meanwhile leaves the rest as it should be.
  look.lock = read_run_lock();
  if (auto trouble = look_at_services(look.services)) return trouble;
  if (look.services[kNetworkd].is_active()) {
    if (auto trouble = look_at_setup(look.setup)) return trouble;
  }
  if (auto trouble = look_at_kernel(look.kernel)) return trouble;
  look.leases = look_at_leases();
  look.cellular = look_at_cellular();
  if (const auto trial = read_state()) look.trial = describe(*trial);
  look.journal_trouble = look_at_runs(look.runs).value_or("");
  return std::nullopt;
}
