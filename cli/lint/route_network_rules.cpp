#include "cli/lint/route_network_rules.h"

#include <functional>

#include "cli/lint/connected_networks.h"
#include "cli/lint/route_rules.h"

// Calls `report` with each static route to a connected network or a part of it, with its destination, and
// with that network. Skips routes that lead straight to the network.
static void for_each_route_inside(
    const Site& site,
    const std::function<void(const StaticRoute&, const Subnet&, const ConnectedNetwork&)>& report) {
  const ConnectedNetworks networks(site);
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (!destination) continue;
    const ConnectedNetwork* network = networks.find_around(*destination, route.interface_name);
    if (network == nullptr) continue;
    if (network->owner != route.interface_name || written_gateway_of(route))
      report(route, *destination, *network);
  }
}

static FindingDetails details_of(const ConnectedNetwork& network) {
  return related_to(*network.location, to_text(network.subnet) + " is the network of " + network.owner);
}

void route_to_own_network(const Site& site, Findings& findings) {
  for_each_route_inside(site, [&](const StaticRoute& route, const Subnet& destination,
                                  const ConnectedNetwork& network) {
    // A route with a metric is used only while the interface is down.
    if (destination.prefix != network.subnet.prefix || route.written.metric) return;
    findings.add(location_of(*route.settings, "ipv4"),
                 to_text(destination) + " is already the network of " + network.owner, details_of(network));
  });
}

void route_inside_network(const Site& site, Findings& findings) {
  for_each_route_inside(
      site, [&](const StaticRoute& route, const Subnet& destination, const ConnectedNetwork& network) {
        if (destination.prefix == network.subnet.prefix) return;
        const std::string target =
            network.owner != route.interface_name ? route.interface_name : *written_gateway_of(route);
        findings.add(location_of(*route.settings, "ipv4"),
                     to_text(destination) + " is a part of " + to_text(network.subnet) + ", the network of " +
                         network.owner + ", but the route leads to " + target,
                     details_of(network));
      });
}
