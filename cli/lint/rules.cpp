#include "cli/lint/rules.h"

#include "cli/lint/address_rules.h"
#include "cli/lint/allow.h"
#include "cli/lint/bridge_network_rules.h"
#include "cli/lint/bridge_rules.h"
#include "cli/lint/character_rules.h"
#include "cli/lint/dhcp_rules.h"
#include "cli/lint/forwarding_rules.h"
#include "cli/lint/gre_path_rules.h"
#include "cli/lint/gre_rules.h"
#include "cli/lint/name_rules.h"
#include "cli/lint/port_mode_rules.h"
#include "cli/lint/relay_rules.h"
#include "cli/lint/route_interface_rules.h"
#include "cli/lint/route_network_rules.h"
#include "cli/lint/route_rules.h"
#include "cli/lint/shape_rules.h"
#include "cli/lint/static_lease_rules.h"
#include "cli/lint/switch_rules.h"
#include "cli/lint/vlan_rules.h"
#include "cli/lint/wireguard_peer_rules.h"
#include "cli/lint/wireguard_rules.h"

// In the order of docs/checks.md.
const std::vector<Rule>& all_rules() {
  static const std::vector<Rule> kRules = {
      {kSyntaxRule, Severity::kError, nullptr},

      {"wrong-type", Severity::kError, wrong_type},
      {"out-of-range", Severity::kWarning, out_of_range},
      {"unknown-word", Severity::kError, unknown_word},
      {"unknown-key", Severity::kError, unknown_key},
      {"doubtful-key", Severity::kWarning, doubtful_key},

      {"text-refused", Severity::kError, text_refused},
      {"invisible-character", Severity::kError, invisible_character},
      {"lookalike-character", Severity::kError, lookalike_character},
      {"surrounding-space", Severity::kError, surrounding_space},

      {"enable-missing", Severity::kWarning, enable_missing},
      {"switch-missing", Severity::kWarning, switch_missing},
      {"locked-out", Severity::kWarning, locked_out},

      {"server-incomplete", Severity::kError, server_incomplete},
      {"vlan-server-unserved", Severity::kError, vlan_server_unserved},
      {"server-on-disabled-port", Severity::kError, server_on_disabled_port},
      {"disabled-vlan-refused", Severity::kError, disabled_vlan_refused},
      {"range-malformed", Severity::kError, range_malformed},
      {"range-outside-subnet", Severity::kError, range_outside_subnet},
      {"range-over-reserved", Severity::kWarning, range_over_reserved},
      {"range-reversed", Severity::kWarning, range_reversed},
      {"range-overlap", Severity::kError, range_overlap},
      {"range-over-passthrough", Severity::kError, range_over_passthrough},
      {"lease-time-malformed", Severity::kError, lease_time_malformed},
      {"lease-time-short", Severity::kWarning, lease_time_short},
      {"lease-address-twice", Severity::kError, lease_address_twice},
      {"lease-address-malformed", Severity::kError, lease_address_malformed},
      {"lease-address-unusable", Severity::kError, lease_address_unusable},
      {"lease-mac-malformed", Severity::kError, lease_mac_malformed},
      {"lease-mac-twice", Severity::kError, lease_mac_twice},
      {"lease-by-name", Severity::kWarning, lease_by_name},

      {"relay-unused", Severity::kError, relay_unused},
      {"relay-without-server", Severity::kError, relay_without_server},
      {"relay-server-malformed", Severity::kError, relay_server_malformed},
      {"relay-server-unusable", Severity::kError, relay_server_unusable},
      {"relay-server-unreachable", Severity::kError, relay_server_unreachable},
      {"relay-server-beside-clients", Severity::kWarning, relay_server_beside_clients},
      {"relay-beside-server", Severity::kError, relay_beside_server},
      {"relay-of-dhcp-client", Severity::kWarning, relay_of_dhcp_client},

      {"address-malformed", Severity::kError, address_malformed},
      {"address-unusable", Severity::kError, address_unusable},
      {"secondary-address-missing", Severity::kWarning, secondary_address_missing},
      {"netmask-out-of-range", Severity::kError, netmask_out_of_range},
      {"netmask-guessed", Severity::kError, netmask_guessed},
      {"subnet-twice", Severity::kError, subnet_twice},
      {"subnets-overlap", Severity::kWarning, subnets_overlap},
      {"mtu-out-of-range", Severity::kError, mtu_out_of_range},
      {"mtu-raised", Severity::kWarning, mtu_raised},
      {"mtu-above-link", Severity::kError, mtu_above_link},

      {"gateway-malformed", Severity::kError, gateway_malformed},
      {"gateway-ignored", Severity::kWarning, gateway_ignored},
      {"gateway-without-address", Severity::kError, gateway_without_address},
      {"gateway-unreachable", Severity::kError, gateway_unreachable},
      {"route-gateway-unusable", Severity::kError, route_gateway_unusable},
      {"route-gateway-outside", Severity::kWarning, route_gateway_outside},
      {"route-gateway-without-address", Severity::kError, route_gateway_without_address},
      {"route-gateway-in-passthrough", Severity::kError, route_gateway_in_passthrough},
      {"default-routes-alike", Severity::kWarning, default_routes_alike},
      {"route-without-interface", Severity::kError, route_without_interface},
      {"route-incomplete", Severity::kError, route_incomplete},
      {"route-host-bits", Severity::kWarning, route_host_bits},
      {"route-twice", Severity::kWarning, route_twice},
      {"route-to-own-network", Severity::kError, route_to_own_network},
      {"route-inside-network", Severity::kWarning, route_inside_network},
      {"forwarding-off", Severity::kWarning, forwarding_off},

      {"port-without-network", Severity::kError, port_without_network},
      {"port-mode-missing", Severity::kError, port_mode_missing},
      {"passthrough-twice", Severity::kError, passthrough_twice},
      {"passthrough-port-disabled", Severity::kError, passthrough_port_disabled},
      {"passthrough-without-cell", Severity::kWarning, passthrough_without_cell},
      {"passthrough-incomplete", Severity::kError, passthrough_incomplete},
      {"passthrough-netmask", Severity::kWarning, passthrough_netmask},
      {"fallback-without-address", Severity::kWarning, fallback_without_address},

      {"bridge-member-unknown", Severity::kError, bridge_member_unknown},
      {"bridge-member-not-a-name", Severity::kError, bridge_member_not_a_name},
      {"bridge-member-twice", Severity::kWarning, bridge_member_twice},
      {"bridge-member-passthrough", Severity::kError, bridge_member_passthrough},
      {"bridge-member-disabled", Severity::kWarning, bridge_member_disabled},
      {"bridge-member-client", Severity::kError, bridge_member_client},
      {"bridge-without-members", Severity::kError, bridge_without_members},
      {"bridge-primary-missing", Severity::kError, bridge_primary_missing},
      {"bridge-primary-not-a-member", Severity::kError, bridge_primary_not_a_member},
      {"bridge-primary-disabled", Severity::kWarning, bridge_primary_disabled},
      {"bridge-primary-without-network", Severity::kError, bridge_primary_without_network},
      {"bridge-primary-without-address", Severity::kError, bridge_primary_without_address},
      {"bridge-without-address", Severity::kWarning, bridge_without_address},
      {"bridge-member-service", Severity::kError, bridge_member_service},
      {"bridge-member-address", Severity::kWarning, bridge_member_address},

      {"vlan-id-missing", Severity::kError, vlan_id_missing},
      {"vlan-id-out-of-range", Severity::kError, vlan_id_out_of_range},
      {"vlan-id-twice", Severity::kError, vlan_id_twice},
      {"vlan-without-network", Severity::kError, vlan_without_network},
      {"vlan-of-bridge-member", Severity::kError, vlan_of_bridge_member},
      {"interface-name-too-long", Severity::kError, interface_name_too_long},

      {"tunnel-without-inner-address", Severity::kError, tunnel_without_inner_address},
      {"tunnel-address-malformed", Severity::kError, tunnel_address_malformed},
      {"tunnel-netmask-out-of-range", Severity::kError, tunnel_netmask_out_of_range},
      {"tunnel-without-remote", Severity::kWarning, tunnel_without_remote},
      {"tunnel-twice", Severity::kError, tunnel_twice},
      {"tunnel-network-malformed", Severity::kError, tunnel_network_malformed},
      {"tunnel-network-host-bits", Severity::kWarning, tunnel_network_host_bits},
      {"tunnel-incoming-gateway", Severity::kError, tunnel_incoming_gateway},
      {"tunnel-dynamic-without-cell", Severity::kWarning, tunnel_dynamic_without_cell},
      {"tunnel-dynamic-in-passthrough", Severity::kError, tunnel_dynamic_in_passthrough},
      {"tunnel-inner-ends-alike", Severity::kError, tunnel_inner_ends_alike},
      {"tunnel-inner-address-unusable", Severity::kError, tunnel_inner_address_unusable},
      {"tunnel-inner-remote-outside", Severity::kWarning, tunnel_inner_remote_outside},
      {"tunnel-remote-unusable", Severity::kError, tunnel_remote_unusable},
      {"tunnel-through-itself", Severity::kError, tunnel_through_itself},
      {"tunnel-local-not-own", Severity::kError, tunnel_local_not_own},
      {"tunnel-local-elsewhere", Severity::kWarning, tunnel_local_elsewhere},
      {"tunnel-remote-unreachable", Severity::kError, tunnel_remote_unreachable},
      {"tunnel-network-twice", Severity::kError, tunnel_network_twice},
      {"tunnel-network-inside", Severity::kWarning, tunnel_network_inside},

      {"wireguard-public-key", Severity::kError, wireguard_public_key},
      {"wireguard-preshared-key", Severity::kError, wireguard_preshared_key},
      {"wireguard-address", Severity::kError, wireguard_address},
      {"wireguard-allowed-ips", Severity::kError, wireguard_allowed_ips},
      {"wireguard-peer-without-networks", Severity::kError, wireguard_peer_without_networks},
      {"wireguard-network-host-bits", Severity::kWarning, wireguard_network_host_bits},
      {"wireguard-endpoint", Severity::kError, wireguard_endpoint},
      {"wireguard-endpoint-unreachable", Severity::kError, wireguard_endpoint_unreachable},
      {"wireguard-keep-alive", Severity::kError, wireguard_keep_alive},
      {"wireguard-peer-twice", Severity::kError, wireguard_peer_twice},
      {"wireguard-endpoint-twice", Severity::kWarning, wireguard_endpoint_twice},
      {"wireguard-endpoint-own", Severity::kError, wireguard_endpoint_own},
      {"wireguard-network-twice", Severity::kError, wireguard_network_twice},
      {"wireguard-networks-overlap", Severity::kWarning, wireguard_networks_overlap},

      {"name-server-malformed", Severity::kError, name_server_malformed},
      {"name-server-none", Severity::kWarning, name_server_none},
      {"name-server-unusable", Severity::kError, name_server_unusable},
      {"name-server-unreachable", Severity::kError, name_server_unreachable},
      {"host-incomplete", Severity::kError, host_incomplete},
      {"host-address-malformed", Severity::kError, host_address_malformed},
      {"host-name-invalid", Severity::kWarning, host_name_invalid},
      {"host-name-twice", Severity::kWarning, host_name_twice},
      {"radio-two-roles", Severity::kError, radio_two_roles},

      {kDnsmasqRefuses, Severity::kError, nullptr},

      {kAllowUnknown, Severity::kWarning, nullptr},
      {kAllowUnused, Severity::kWarning, nullptr},
  };
  return kRules;
}
