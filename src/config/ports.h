#pragma once

// The Ethernet ports and the radios of the device: all that differs from one to the other. Whoever goes
// through them goes in the order of these tables, which is that of the output files.

#include <string_view>

#include "config/network_context.h"

inline constexpr char kSecondaryNetmask[] = "255.255.255.128";

// The fixed link-local addresses of a port. Each port has a half of a /24 of 169.254.0.0/16.
struct SecondaryPair {
  const char* gateway;  // the port's own secondary address
  const char* device;   // for the one device behind a pass-through port
};

struct EthernetPort {
  const char* name;  // of the interface, and its key below "wired"
  bool NetworkContext::*enabled;
  UnitOrderIndex order;
  SecondaryPair secondary_pair;
  const char* hostname;  // published for its address; null for none
  // In pass-through, an empty address or a prefix length below 1 is taken as it is. Other ports then keep
  // those of the cellular link.
  bool takes_empty_address;
  const char* mac_address_keys[2];  // in the system database; null for none
  const char* mode_key;             // there, in the database "NET"
};

struct Radio {
  const char* name;  // of the interface, and its key below "wireless.wifi"
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

// The port or the radio of this name; null when there is none.
const EthernetPort* find_ethernet_port(std::string_view name);
const Radio* find_radio(std::string_view name);

// The pair of a port; null for any other name.
const SecondaryPair* secondary_pair_of(std::string_view port);
