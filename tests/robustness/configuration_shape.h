#pragma once

// Every path that the program reads, by the kind of value that it expects there. A list stands for any number
// of its one element, "@name" for the shape of that name, any other text for a kind of values.

inline constexpr char kShapes[] = R"({
"@network": {
  "wired": {
    "eth0": "@port",
    "eth1": "@port",
    "bridge": {"enable": "bool", "interfaces": ["interface"], "primary_interface": "interface"}
  },
  "wireless": {
    "wifi": {"wlan0": "@radio", "wlan1": "@radio"},
    "cell": {
      "enable": "bool", "metric": "int",
      "netmask_override": "bool", "netmask": "prefix", "mtu_override": "bool", "mtu": "int"
    }
  },
  "dns": {"source": "source", "static": ["address"]},
  "hostnames": [{"name": "text", "ipv4": "address"}],
  "static_routes": [{
    "enable": "bool", "interface": "interface", "ipv4": "address", "netmask": "prefix", "gateway": "address",
    "metric": "int"
  }],
  "firewall": {"general": {"router": "int"}},
  "tunnels": {"gre": ["@gre"]},
  "qos": {"enable": "bool", "policy": [{"traffic_filter": {"dscp": ["class"]}}]}
},

"@port": {"enable": "bool", "network": "@interface"},

"@radio": {
  "ap": {"enable": "bool", "network": "@interface"},
  "client": {"enable": "bool", "network": "@interface"}
},

"@interface": {
  "mode": "mode", "protocol": "protocol", "ipv4": "address", "netmask": "prefix", "gateway": "address",
  "metric": "int",
  "dhcp": "@dhcp",
  "advanced": {
    "mtu_override": "bool", "mtu": "int", "enable_secondary_ip": "bool", "telnet": {"enable": "bool"},
    "vlan": {
      "enable": "bool", "hybrid": "bool",
      "networks": [{"enable": "bool", "vid": "vid", "network": {
        "protocol": "protocol", "ipv4": "address", "netmask": "prefix", "gateway": "address", "dhcp": "@dhcp"
      }}]
    }
  }
},

"@dhcp": {
  "enable": "bool", "start": "address", "end": "address", "leasetime": "text", "secondary_leasetime": "text",
  "disable_dhcp_secondary": "bool",
  "mac_binding": {"enable": "bool", "devices": [{"enable": "bool", "mac": "text", "ipv4": "address"}]},
  "dhcp_relay": {"enable": "bool", "relay_server1": "address", "relay_server2": "address"}
},

"@gre": {
  "enable": "bool", "name": "text", "set_mtu": "bool", "mtu_size": "int", "remote_ip": "address",
  "local_ip": "address", "copy_dscp": "bool", "tunnel_local_ip": "address", "tunnel_netmask": "prefix",
  "tunnel_remote_ip": "address", "tunnel_networks": [{"dest_ip": "address", "dest_netmask": "prefix"}],
  "route_incoming": "bool", "incoming_gre_gateway": "address"
},

"@gre_tap": {
  "mtu_override": "bool", "mtu": "int", "peer_ipv4": "address", "local_ipv4": "address", "key": "int"
},

"@wireguard": {
  "enable": "bool",
  "interfaces": [{"enable": "bool", "local_addrs": "address", "peers": [{
    "public_key": "text", "endpoint": "text", "allowed_ips": "address", "preshared_key": "text",
    "keep_alive": "int"
  }]}]
}
})";
