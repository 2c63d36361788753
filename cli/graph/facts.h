#pragma once

// Queries over a whole configuration that a node of the diagram needs.

#include <optional>
#include <string>
#include <unordered_map>

#include "cli/graph/node.h"
#include "cli/lint/route_rules.h"
#include "cli/lint/site.h"

class DiagramFacts {
 public:
  explicit DiagramFacts(const Site& site);

  const Site& site;

  // ", metric 50, preferred" for what may ask for a route. Where there are several default routes, the metric
  // of each is shown, also if the configuration has none.
  std::string metric_text(const Json::Value& settings, const std::optional<int>& metric) const;

  // Whether the settings ask for a default route, and whether its metric is the only lowest one.
  Node::Internet internet_by(const Json::Value& settings) const;

  // "till", "till, register": the names that the gateway resolves to an address; may be empty.
  std::string host_names(const std::string& address) const;

 private:
  bool is_preferred(const DefaultRoute& route) const;

  std::unordered_map<const Json::Value*, DefaultRoute> default_routes_;
  std::optional<int> preferred_metric_;  // nothing while two routes share the lowest one
  std::unordered_map<Ipv4, std::string> host_names_;
};
