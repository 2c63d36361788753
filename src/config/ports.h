#pragma once

// The Ethernet ports and the radios of the device, with all their differences. Loops use the order of these
// tables, which is that of the output files.

#include <string_view>

#include "config/network_context.h"

inline constexpr char kSecondaryNetmask[] = "255.255.255.128";

// The fixed link-local addresses of a port: half of a /24 of 169.254.0.0/16.
struct SecondaryPair {
  const char* gateway;  // the port's own secondary address
  const char* device;   // for the single device behind a pass-through port
};

struct EthernetPort {
  const char* name;  // interface name, and key below "wired"
  bool NetworkContext::*enabled;
  UnitOrderIndex order;
  SecondaryPair secondary_pair;
  const char* hostname;  // published for its address; null if none
  // Whether pass-through uses an empty address or a prefix length below 1 as it is. Other ports then use
  // those of the cellular link.
  bool takes_empty_address;
  const char* mac_address_keys[2];  // in the system database; null if none
  const char* mode_key;             // in its database "NET"
};

struct Radio {
  const char* name;  // interface name, and key below "wireless.wifi"
  bool NetworkContext::*is_access_point;
  const char* hostname;  // published for the address of the access point
};

// The first port in pass-through mode is the pass-through port.
inline constexpr EthernetPort kEthernetPorts[] = {
    {"eth0",
     &NetworkContext::eth0_enabled,
     kEth0Order,
     {"169.254.0.1", "169.254.0.2"},
     "qele",
     false,
     {"SYS_MACADDR", "SYS_ETH0_MACADDR"},
     "NET_ETH0_MODE"},
    {"eth1",
     &NetworkContext::eth1_enabled,
     kEth1Order,
     {"169.254.0.129", "169.254.0.130"},
     nullptr,
     true,
     {"SYS_ETH1_MACADDR", nullptr},
     "NET_ETH1_MODE"},
};

inline constexpr Radio kRadios[] = {
    {"wlan0", &NetworkContext::wlan0_ap_enabled, "qel"},
    {"wlan1", &NetworkContext::wlan1_ap_enabled, "qel2"},
};

// Returns the port or the radio with this name; null if there is none.
const EthernetPort* find_ethernet_port(std::string_view name);
const Radio* find_radio(std::string_view name);

// Returns the address pair of a port; null for any other name.
const SecondaryPair* secondary_pair_of(std::string_view port);
