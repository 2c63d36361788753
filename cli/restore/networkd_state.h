#pragma once

// What systemd-networkd has configured itself, as `networkctl --json=short list` prints it.

#include <json/json.h>

#include <set>
#include <string>

#include "cli/restore/kernel_state.h"

class NetworkdState {
 public:
  // Of a null value nothing is known.
  explicit NetworkdState(const Json::Value& answer);

  // False if systemd-networkd could not be queried: the others are false then, too.
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

// Whether it is done with every link, or with every one that has a carrier.
bool is_settled(const Json::Value& answer, bool waits_for_carriers);
