#pragma once

// Queries about the whole configuration that the nodes of a diagram need.

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

  // ", metric 50, preferred" for settings that may add a default route, with their configured metric. Empty
  // without a metric, unless there are several default routes: then the metric of each is shown.
  std::string metric_text(const Json::Value& settings, const std::optional<int>& metric) const;

  // Whether the settings add a default route, and whether that one alone has the lowest metric of several.
  Node::Internet internet_by(const Json::Value& settings) const;

  // "till", "till, register": the names that the gateway resolves to an address; may be empty.
  std::string host_names(const std::string& address) const;

 private:
  bool is_preferred(const DefaultRoute& route) const;

  std::unordered_map<const Json::Value*, DefaultRoute> default_routes_;
  std::optional<int> preferred_metric_;  // nullopt unless one of several routes alone has the lowest
  std::unordered_map<Ipv4, std::string> host_names_;
};
