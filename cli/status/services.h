#pragma once

// The services that a run hands its files to.

#include <ctime>
#include <map>
#include <optional>
#include <string>

inline constexpr char kNetworkd[] = "systemd-networkd";
inline constexpr char kDnsmasq[] = "dnsmasq";

struct Service {
  std::string state;      // systemd's: "active", "inactive", "failed", "activating"
  std::string detail;     // "running", "dead", "auto-restart"
  std::string result;     // "success", "exit-code"
  std::time_t since = 0;  // when it got into that state; 0 when it never was in another

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

// How far systemd-networkd is with each link: "configured", "configuring", "failed", "unmanaged". It must be
// active: the question would start it. Returns nothing, or why it cannot be asked.
std::optional<std::string> read_setup(std::map<std::string, std::string>& setup);
