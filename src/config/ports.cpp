#include "config/ports.h"

const EthernetPort* find_ethernet_port(std::string_view name) {
  for (const EthernetPort& port : kEthernetPorts) {
    if (port.name == name) return &port;
  }
  return nullptr;
}

const Radio* find_radio(std::string_view name) {
  for (const Radio& radio : kRadios) {
    if (radio.name == name) return &radio;
  }
  return nullptr;
}

const SecondaryPair* secondary_pair_of(std::string_view port) {
  const EthernetPort* found = find_ethernet_port(port);
  return found != nullptr ? &found->secondary_pair : nullptr;
}
