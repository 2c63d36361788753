#pragma once

// The addresses, routes and rules that systemd-networkd itself has configured, as `networkctl
// --json=short list` prints them.

#include <json/json.h>

#include <set>
#include <string>

#include "cli/restore/kernel_state.h"

class NetworkdState {
 public:
  // `answer` is the output of networkctl; a null value if systemd-networkd could not be queried.
  explicit NetworkdState(const Json::Value& answer);

  // False if systemd-networkd could not be queried; has() then always returns false.
  bool is_known() const;

  bool has(const AddressState& address) const;
  bool has(const RouteState& route) const;
  bool has(const RuleState& rule) const;

 private:
  bool is_known_;
  std::set<std::string> addresses_;
  std::set<std::string> routes_;
  std::set<std::string> rules_;
};

// Whether systemd-networkd has finished configuring all links or, unless `waits_for_carriers`, all
// links that have a carrier.
bool is_settled(const Json::Value& answer, bool waits_for_carriers);
