#include "cli/status/service_health.h"

#include <algorithm>

#include "cli/base/file.h"
#include "dnsmasq/dnsmasq_conf.h"

constexpr char kReload[] = "networkctl reload";
constexpr char kApply[] = "cmd_lanfab apply";
constexpr char kRestartDnsmasq[] = "systemctl restart dnsmasq";

// The loopback address and the addresses of interfaces with a DHCP server.
static std::vector<std::string> served_addresses(const Snapshot& snapshot) {
  std::vector<std::string> addresses = {"127.0.0.1"};
  for (const auto& [name, server] : snapshot.wanted.servers) {
    const auto link = snapshot.kernel.links.find(name);
    if (link == snapshot.kernel.links.end()) continue;
    for (const KernelAddress& address : link->second.addresses)
      addresses.push_back(address.text.substr(0, address.text.find('/')));
  }
  return addresses;
}

void read_service_health(Snapshot& snapshot) {
  snapshot.units = read_networkd_units();
  const Service& dnsmasq = snapshot.services[kDnsmasq];
  if (snapshot.wants_dnsmasq && dnsmasq.is_active() && !dnsmasq.process.empty())
    snapshot.dnsmasq = read_dnsmasq_health(dnsmasq.process, served_addresses(snapshot));
}

static bool is_device_unit(const std::string& path) {
  return path.find(".netdev") != std::string::npos;
}

namespace {

class ServiceDrift {
 public:
  ServiceDrift(const Snapshot& snapshot, std::vector<Drift>& drift)
      : snapshot_(snapshot), drift_(drift), is_running_(snapshot.lock && snapshot.lock->is_held) {}

  void compare_networkd() {
    const Service& networkd = snapshot_.services.at(kNetworkd);
    if (!networkd.is_active()) return;
    if (!snapshot_.setup_error.empty()) {
      say(kNetworkd, "it does not answer (" + snapshot_.setup_error + ")",
          "while it hangs, no change of a link or a lease takes effect", kRestartNetworkd);
    }
    for (const auto& [name, units] : snapshot_.units) {
      compare_network_file(name, units);
      for (const UnitFile& file : units.overrides)
        compare_override(name, file);
      compare_age(name, units, networkd.started);
    }
  }

  void compare_dnsmasq() {
    if (!snapshot_.dnsmasq) return;
    const DnsmasqHealth& health = *snapshot_.dnsmasq;
    const std::int64_t started = snapshot_.services.at(kDnsmasq).started;
    if (started != 0 && health.files_modified > started) {
      say(kDnsmasq, "it runs with older files than those of the last run",
          "leases and names are those of the previous files", kRestartDnsmasq);
    }
    if (!health.configuration.empty()) {
      say(kDnsmasq, "it was started with " + health.configuration + ", not with " + kDnsmasqConf,
          "it serves another configuration", std::string("systemctl daemon-reload && ") + kRestartDnsmasq);
    }
    compare_answers(health);
  }

 private:
  // Pending during a run, whose files are newer than the services.
  void say(const std::string& subject, const std::string& what, const std::string& why,
           const std::string& fix) {
    drift_.push_back({subject, what, is_running_, why, is_running_ ? "" : fix});
  }

  std::string used_file(const std::string& interface) const {
    const auto found = snapshot_.network_files.find(interface);
    return found != snapshot_.network_files.end() ? found->second : "";
  }

  void compare_network_file(const std::string& name, const InterfaceUnits& units) {
    const std::string used = used_file(name);
    const std::string own = units.network_file();
    if (used.empty() || own.empty() || used == own || is_same_file(used, own)) return;
    say(name, "systemd-networkd uses " + used + " for it, not " + own,
        "its addresses and routes are those of another file", disable(used) + kReload);
  }

  void compare_override(const std::string& name, const UnitFile& file) {
    if (file.path == used_file(name)) return;
    const bool is_drop_in = file.path.find(".d/") != std::string::npos;
    say(name, file.path + (is_drop_in ? " changes its unit" : " replaces its unit"),
        "systemd-networkd does not apply the unit of the last run",
        disable(file.path) + (is_device_unit(file.path) ? kApply : kReload));
  }

  // systemd-networkd saves the state of a link when it sets up the link again because its files have changed.
  void compare_age(const std::string& name, const InterfaceUnits& units, std::int64_t started) {
    if (units.saved == 0 || started == 0) return;
    const std::int64_t read = std::max(units.saved, started);
    for (const auto* files : {&units.own, &units.overrides})
      for (const UnitFile& file : *files)
        if (file.modified > read)
          say(name, "systemd-networkd has not read " + file.path + " since it was changed",
              "it still uses the previous file", is_device_unit(file.path) ? kApply : kReload);
  }

  void compare_answers(const DnsmasqHealth& health) {
    if (!health.silent.empty()) {
      std::string addresses;
      for (const std::string& address : health.silent)
        addresses += (addresses.empty() ? "" : ", ") + address;
      say(kDnsmasq, "it does not answer DNS queries within 2 s at " + addresses,
          "hosts cannot resolve names, and get no leases if it hangs", kRestartDnsmasq);
    }
    const bool serves = !snapshot_.wanted.servers.empty() || !snapshot_.wanted.relays.empty();
    if (serves && health.has_dhcp_socket == false)
      say(kDnsmasq, "it does not listen for DHCP clients", "hosts get no leases", kRestartDnsmasq);
  }

  // The beginning of a command that renames the file, so that it has no effect.
  static std::string disable(const std::string& path) {
    return "mv " + quoted_for_shell(path) + " " + quoted_for_shell(path + ".disabled") + " && ";
  }

  const Snapshot& snapshot_;
  std::vector<Drift>& drift_;
  const bool is_running_;
};

}  // namespace

void add_service_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  ServiceDrift services(snapshot, drift);
  services.compare_networkd();
  services.compare_dnsmasq();
}
