#pragma once

// The services that use the files of a run.

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>

inline constexpr char kNetworkd[] = "systemd-networkd";
inline constexpr char kDnsmasq[] = "dnsmasq";
inline constexpr char kRestartNetworkd[] = "systemctl restart systemd-networkd";

// In a second.
inline constexpr std::int64_t kMicroseconds = 1'000'000;

struct Service {
  std::string state;         // systemd's: "active", "inactive", "failed", "activating"
  std::string detail;        // "running", "dead", "auto-restart"
  std::string result;        // "success", "exit-code"
  std::time_t since = 0;     // when it entered that state; 0 if its state has never changed
  std::string process = {};  // the PID of its main process; empty if unknown
  std::int64_t started = 0;  // when that process was started: microseconds since 1970; 0 if unknown

  bool is_active() const {
    return state == "active" || state == "reloading";
  }
  // Whether the service is starting or stopping; false if it waits to be restarted after a failure.
  bool is_pending() const {
    return (state == "activating" && detail != "auto-restart") || state == "deactivating";
  }
};

// Reads the services by name. Returns nothing, or why systemd cannot be queried.
std::optional<std::string> read_services(std::map<std::string, Service>& services);

// Reads, by link, the setup state of systemd-networkd ("configured", "configuring", "failed", "unmanaged")
// and the .network file that it uses, if any. systemd-networkd must be active, since the query would start
// it. Returns nothing, or why the query failed; its time limit is kQuerySeconds.
std::optional<std::string> read_setup(std::map<std::string, std::string>& setup,
                                      std::map<std::string, std::string>& network_files);
