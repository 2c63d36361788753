#pragma once

// The services that a run hands its files to.

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>

inline constexpr char kNetworkd[] = "systemd-networkd";
inline constexpr char kDnsmasq[] = "dnsmasq";

// How long a query of another program or of a server may take.
inline constexpr int kQuerySeconds = 2;

struct Service {
  std::string state;         // systemd's: "active", "inactive", "failed", "activating"
  std::string detail;        // "running", "dead", "auto-restart"
  std::string result;        // "success", "exit-code"
  std::time_t since = 0;     // when it got into that state; 0 when it never was in another
  std::string process = {};  // the PID of its main process; empty if unknown
  std::int64_t started = 0;  // when that process was started: microseconds since 1970; 0 if unknown

  bool is_active() const {
    return state == "active" || state == "reloading";
  }
  // Whether it is on its way, and not for another try after it failed.
  bool is_pending() const {
    return (state == "activating" && detail != "auto-restart") || state == "deactivating";
  }
};

// By name. Returns nothing, or why systemd cannot be asked.
std::optional<std::string> read_services(std::map<std::string, Service>& services);

// By link, how far systemd-networkd is with it ("configured", "configuring", "failed", "unmanaged") and the
// .network file that it uses, if any. It must be active: the query would start it. Returns nothing, or why it
// cannot be asked; one that hangs is given up after kQuerySeconds.
std::optional<std::string> read_setup(std::map<std::string, std::string>& setup,
                                      std::map<std::string, std::string>& network_files);
